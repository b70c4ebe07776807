// Any bytes as a bext payload: decoding never reads outside them, the tags it
// gives are all bext tags, and once written, reading and writing them again
// changes nothing.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "riff/clRIFFBEXTChunk.h"

namespace {
const TraceContext kNoTrace{0, 0, 0};

void Require(bool condition) {
  if (!condition) std::abort();
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span<const std::uint8_t> payload(data, size);
  TagList read;
  clRIFFBEXTChunk chunk;
  const bool decoded = chunk.InitFrom(payload, read, kNoTrace);
  Require(decoded == (size >= clRIFFBEXTChunk::kFixedSize));
  Require(decoded == clRIFFBEXTChunk::Version(payload).has_value());

  std::vector<std::uint8_t> written;
  Require(clRIFFBEXTChunk::TagsToBEXT(written, read, kNoTrace));
  Require(written.size() >= clRIFFBEXTChunk::kFixedSize);

  TagList reread;
  Require(chunk.InitFrom(written, reread, kNoTrace));
  std::vector<std::uint8_t> rewritten;
  Require(clRIFFBEXTChunk::TagsToBEXT(rewritten, reread, kNoTrace));
  Require(rewritten == written);

  Require(clRIFFBEXTChunk::RemoveTagsFromList(read, kNoTrace));
  Require(read.empty());
  return 0;
}
