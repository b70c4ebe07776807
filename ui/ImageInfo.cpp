#include "ui/ImageInfo.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <initializer_list>

#include "io/Text.h"

namespace {
constexpr std::uint8_t kPngSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

bool StartsWith(ByteSpan bytes, std::initializer_list<std::uint8_t> head) {
  if (bytes.size() < head.size()) return false;
  std::size_t i = 0;
  for (std::uint8_t b : head)
    if (bytes[i++] != b) return false;
  return true;
}

// Walks the segments up to the first start-of-frame marker, which holds the size.
void JpegSize(ByteSpan image, ImageInfo& info) {
  ByteReader r(image);
  r.Skip(2);
  while (r.ok() && r.remaining() >= 4) {
    if (r.U8() != 0xFF) return;
    const std::uint8_t marker = r.U8();
    if (marker == 0xFF || (marker >= 0xD0 && marker <= 0xD7)) continue;
    const std::uint16_t length = r.U16BE();
    const bool startOfFrame = marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
    if (startOfFrame) {
      r.Skip(1);  // sample precision
      info.height = r.U16BE();
      info.width = r.U16BE();
      if (!r.ok()) info.width = info.height = 0;
      return;
    }
    if (length < 2 || !r.Skip(length - 2u)) return;
  }
}
}  // namespace

ImageInfo ImageInfoOf(ByteSpan image) {
  ImageInfo info;
  ByteReader r(image);
  if (image.size() >= 8 && std::equal(kPngSignature, kPngSignature + 8, image.begin())) {
    info.kind = u"PNG";
    r.Seek(16);  // signature, then the IHDR chunk's length and type
    info.width = int(r.U32BE() & 0x7FFFFFFF);
    info.height = int(r.U32BE() & 0x7FFFFFFF);
  } else if (StartsWith(image, {0xFF, 0xD8, 0xFF})) {
    info.kind = u"JPEG";
    JpegSize(image, info);
  } else if (StartsWith(image, {'G', 'I', 'F', '8'})) {
    info.kind = u"GIF";
    r.Seek(6);
    info.width = r.U16();
    info.height = r.U16();
  } else if (StartsWith(image, {'B', 'M'})) {
    info.kind = u"BMP";
    r.Seek(18);
    info.width = int(std::int32_t(r.U32()));
    const auto height = std::int32_t(r.U32());
    info.height = height == INT32_MIN ? 0 : height < 0 ? -height : height;
  }
  if (!r.ok() || info.width < 0) info.width = info.height = 0;
  return info;
}

std::u16string DescribeImage(ByteSpan image) {
  const ImageInfo info = ImageInfoOf(image);
  std::u16string out = info.kind.empty() ? u"Image" : info.kind;
  if (info.width > 0 && info.height > 0) out += u", " + ToText(info.width) + u" \u00D7 " + ToText(info.height);
  char size[32];
  if (image.size() < 1024)
    std::snprintf(size, sizeof size, ", %zu bytes", image.size());
  else
    std::snprintf(size, sizeof size, ", %.1f KB", double(image.size()) / 1024);
  out += Utf8ToWide(size);
  return out;
}
