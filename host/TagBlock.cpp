#include "host/TagBlock.h"

#include <algorithm>

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

// Calls add(name, value, data) for each record.
template <typename Add>
void ForEachRecord(const std::uint8_t* block, std::size_t size, Add add) {
  if (!block || size < 5) return;
  ByteReader r(ByteSpan(block, size));
  const auto count = std::int32_t(r.U32());
  for (std::int32_t read = 0; read < count && r.remaining() >= 4; ++read) {
    const std::size_t start = r.position();
    const auto length = std::int32_t(r.U32());
    if (length < 4 || std::size_t(length) > size - start) break;
    const std::size_t end = start + std::size_t(length);
    std::u16string name, value;
    ByteSpan data;
    if (ReadString(r, end, name) && ReadString(r, end, value)) data = r.Bytes(end - r.position());
    r.Seek(end);
    add(std::move(name), std::move(value), data);
  }
}
}  // namespace

std::vector<HostTag> ParseTagBlock(const std::uint8_t* block, std::size_t size) {
  std::vector<HostTag> tags;
  ForEachRecord(block, size, [&](std::u16string&& name, std::u16string&& value, ByteSpan data) {
    tags.push_back({std::move(name), std::move(value), {data.begin(), data.end()}});
  });
  return tags;
}

std::vector<ShownTag> ShowTagBlock(const std::uint8_t* block, std::size_t size) {
  // Enough for the signature of any image type the host names.
  constexpr std::size_t kHeadBytes = 16;
  std::vector<ShownTag> tags;
  ForEachRecord(block, size, [&](std::u16string&& name, std::u16string&& value, ByteSpan data) {
    const ByteSpan head = data.first(std::min(data.size(), kHeadBytes));
    tags.push_back({std::move(name), std::move(value), data.size(), {head.begin(), head.end()}});
  });
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
