// Any bytes as an ID3v2 tag: the reader may reject them, never crash or read
// outside them, and every option path is taken. Read from storage given up
// (where a picture may take the storage over) the tag reads the same.
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "fuzz/FuzzSupport.h"
#include "tags/Id3Errors.h"
#include "tags/TagID3v2.h"

namespace {
struct Read {
  TagList list;
  std::int64_t size = -2;  // -2: rejected
};

template <typename Bytes>
Read ReadTag(Bytes&& bytes, const ID3v2ReadOptions& options) {
  Read r;
  try {
    r.size = ReadID3v2(std::forward<Bytes>(bytes), r.list, options);
  } catch (const id3parser::parseError&) {
  } catch (const id3parser::notSeekableError&) {
  }
  return r;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span<const std::uint8_t> bytes(data, size);
  const ID3v2ReadOptions options{.reportVersion = size % 2 == 0, .tpe2Orchestra = size % 3 == 0, .tit1Style = true};
  const Read viewed = ReadTag(bytes, options);
  const Read stored = ReadTag(std::vector<std::uint8_t>(bytes.begin(), bytes.end()), options);
  Require(viewed.size == stored.size && viewed.list.size() == stored.list.size());
  for (std::size_t i = 0; i < viewed.list.size(); ++i) {
    const TagEntry &a = viewed.list[i], &b = stored.list[i];
    Require(a.name == b.name && a.value == b.value && a.data == b.data);
  }
  return 0;
}
