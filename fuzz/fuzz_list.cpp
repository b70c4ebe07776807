// Any bytes as a LIST payload: decoding never reads outside them, and once
// tags have been through one write, reading and writing them again changes
// nothing (the first write drops what an INFO list cannot hold).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "riff/clRIFFLISTChunk.h"

namespace {
const TraceContext kNoTrace{0, 0, 0};

void Require(bool condition) {
  if (!condition) std::abort();
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const int albumOption = int(size % 2);
  const int trackOption = int(size % 3);
  TagList read;
  clRIFFLISTChunk chunk;
  chunk.InitFrom(std::span<const std::uint8_t>(data, size), read, kNoTrace, albumOption);
  Require(chunk.Tags().size() == read.size());

  std::vector<std::uint8_t> written;
  Require(clRIFFLISTChunk::TagsToLIST(written, read, kNoTrace, trackOption, albumOption));
  if (written.empty()) return 0;

  TagList reread;
  Require(chunk.InitFrom(written, reread, kNoTrace, albumOption));
  std::vector<std::uint8_t> rewritten;
  Require(clRIFFLISTChunk::TagsToLIST(rewritten, reread, kNoTrace, trackOption, albumOption));
  Require(rewritten == written);
  return 0;
}
