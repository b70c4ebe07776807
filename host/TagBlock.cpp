#include "host/TagBlock.h"

#include "io/ByteReader.h"
#include "io/ByteWriter.h"

namespace {
// A zero-terminated UTF-16 string inside the record; false when it has no terminator.
bool ReadString(ByteReader& r, std::size_t end, std::u16string& out) {
  while (r.position() + 2 <= end) {
    const char16_t c = r.U16();
    if (c == 0) return true;
    out.push_back(c);
  }
  out.clear();
  return false;
}
}  // namespace

std::vector<HostTag> ParseTagBlock(const std::uint8_t* block, std::size_t size) {
  std::vector<HostTag> tags;
  if (!block || size < 5) return tags;
  ByteReader r(ByteSpan(block, size));
  const auto count = std::int32_t(r.U32());
  while (std::int32_t(tags.size()) < count && r.remaining() >= 4) {
    const std::size_t start = r.position();
    const auto length = std::int32_t(r.U32());
    if (length < 4 || std::size_t(length) > size - start) break;
    const std::size_t end = start + std::size_t(length);
    HostTag tag;
    if (ReadString(r, end, tag.name) && ReadString(r, end, tag.value)) {
      const ByteSpan rest = r.Bytes(end - r.position());
      tag.data.assign(rest.begin(), rest.end());
    }
    r.Seek(end);
    tags.push_back(std::move(tag));
  }
  return tags;
}

std::vector<std::uint8_t> BuildTagBlock(const std::vector<HostTag>& tags) {
  std::vector<std::uint8_t> out;
  ByteWriter w(out);
  w.U32(std::uint32_t(tags.size()));
  for (const auto& t : tags) {
    w.U32(std::uint32_t(8 + 2 * t.name.size() + 2 * t.value.size() + t.data.size()));
    for (char16_t c : t.name) w.U16(c);
    w.U16(0);
    for (char16_t c : t.value) w.U16(c);
    w.U16(0);
    w.Bytes(t.data);
  }
  return out;
}
