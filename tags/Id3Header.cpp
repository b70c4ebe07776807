#include "tags/Id3Header.h"

#include <algorithm>

#include "tags/Id3Errors.h"
#include "tags/Id3Unsync.h"

namespace id3parser {
namespace {

constexpr std::uint8_t kFlagUnsync = 0x80;
constexpr std::uint8_t kFlagExtended = 0x40;  // compression in 2.2
constexpr std::uint8_t kFlagFooter = 0x10;

// 2.3: a plain size that leaves out its own four bytes.
constexpr std::size_t kExtSizeFieldV23 = 4;
// 2.4: a synchsafe size that counts the whole extended header, at least
// size, flag count and one flag byte.
constexpr std::size_t kExtMinSizeV24 = 6;

std::size_t ExtendedHeaderSize(ByteSpan body, int major) {
  ByteReader r(body);
  const std::uint32_t raw = r.U32BE();
  if (!r.ok()) throw parseError();
  std::size_t size = 0;
  if (major == 3) {
    size = kExtSizeFieldV23 + std::size_t(raw);
  } else {
    if (!IsSynchsafe(raw)) throw parseError();
    size = FromSynchsafe(raw);
    if (size < kExtMinSizeV24) throw parseError();
  }
  if (size > body.size()) throw parseError();
  return size;
}

}  // namespace

std::int64_t TagHeader::TotalSize() const {
  return std::int64_t(kTagHeaderSize) + bodySize + (footer ? std::int64_t(kTagFooterSize) : 0);
}

TagHeader ReadTagHeader(ByteSpan bytes) {
  ByteReader r(bytes);
  const std::string_view magic = r.FixedText(3);
  TagHeader h;
  h.major = r.U8();
  h.revision = r.U8();
  const std::uint8_t flags = r.U8();
  const std::uint32_t rawSize = r.U32BE();
  if (!r.ok() || magic != "ID3") throw parseError();
  if (h.major < 2 || h.major > 4 || h.revision == 0xFF || !IsSynchsafe(rawSize)) throw parseError();
  h.unsync = (flags & kFlagUnsync) != 0;
  h.compressed = h.major == 2 && (flags & kFlagExtended) != 0;
  h.extended = h.major >= 3 && (flags & kFlagExtended) != 0;
  h.footer = h.major == 4 && (flags & kFlagFooter) != 0;
  h.bodySize = FromSynchsafe(rawSize);
  return h;
}

HeldBytes FrameArea(ByteSpan bytes, const TagHeader& header) {
  if (bytes.size() < kTagHeaderSize) throw parseError();
  // A tag cut short (a damaged chunk) still yields the frames that are whole;
  // the caller compares the declared size with what it had.
  const std::size_t available = bytes.size() - kTagHeaderSize;
  const std::size_t bodySize = std::min(available, std::size_t(header.bodySize));
  const ByteSpan body = bytes.subspan(kTagHeaderSize, bodySize);
  HeldBytes area = header.unsync && header.major <= 3 ? HeldBytes(RemoveUnsync(body)) : HeldBytes(body);
  if (!header.extended) return area;
  const std::size_t skip = ExtendedHeaderSize(area.bytes(), header.major);
  if (header.unsync && header.major <= 3) {
    std::vector<std::uint8_t> rest(area.bytes().begin() + std::ptrdiff_t(skip), area.bytes().end());
    return HeldBytes(std::move(rest));
  }
  return HeldBytes(body.subspan(skip));
}

}  // namespace id3parser
