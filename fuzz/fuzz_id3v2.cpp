// Any bytes as an ID3v2 tag: the reader may reject them, never crash or read
// outside them, and every option path is taken.
#include <cstddef>
#include <cstdint>
#include <span>

#include "tags/Id3Errors.h"
#include "tags/TagID3v2.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span<const std::uint8_t> bytes(data, size);
  const ID3v2ReadOptions options{.reportVersion = size % 2 == 0, .tpe2Orchestra = size % 3 == 0, .tit1Style = true};
  TagList list;
  try {
    ReadID3v2(bytes, list, options);
  } catch (const id3parser::parseError&) {
  } catch (const id3parser::notSeekableError&) {
  }
  return 0;
}
