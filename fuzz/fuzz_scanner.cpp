// Any bytes as a wave file in memory: the walk fails only on a container
// header that is no RIFF or RF64 WAVE, and lists at most kMaxChunkRecords
// chunks, each right behind the one before, each with its data inside the bytes.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "codec/Trace.h"
#include "fuzz/FuzzSupport.h"
#include "riff/ChunkWalk.h"
#include "riff/clRIFFHandler.h"

namespace {
void CheckWalk(std::span<const std::uint8_t> file) {
  MemorySource source(file);
  ChunkWalk walk;
  bool walked = false;
  {
    TraceScope scope(kNoTrace, "fuzz_scanner");
    walked = WalkChunks(source, std::int64_t(file.size()), scope, walk);
    scope.Ok();
  }
  ByteReader head(file);
  const std::uint32_t id = head.FourCC();
  head.U32();
  const bool container = (FourCCMatches(id, "RIFF", true) || FourCCMatches(id, "RF64", true)) &&
                         FourCCMatches(head.FourCC(), "WAVE", true);
  Require(walked == container);
  Require(walk.chunks.size() <= kMaxChunkRecords);
  std::uint64_t next = clRIFFHandler::kRiffHeaderSize;
  for (const auto& chunk : walk.chunks) {
    Require(chunk->ChunkPosition == next);
    Require(chunk->FileDataPosition == next + clRIFFHandler::kChunkHeaderSize);
    Require(chunk->FileDataPosition <= file.size() && chunk->DataSize <= file.size() - chunk->FileDataPosition);
    next = chunk->FileDataPosition + Padded(chunk->DataSize);
  }
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < clRIFFHandler::kRiffHeaderSize) return 0;
  const std::span<const std::uint8_t> file(data, size);
  CheckWalk(file);
  // A 'RIFF' of unknown size (all ones, as streaming writers leave it) whose
  // body is one chunk header: that chunk repeated far enough to reach the
  // record cap. Narrow on purpose: such a walk costs as much as a thousand others.
  ByteReader head(file);
  const bool riff = head.FourCC() == MakeFourCC("RIFF") && head.U32() == 0xFFFFFFFFu;
  constexpr std::size_t kChunk = clRIFFHandler::kChunkHeaderSize;
  if (riff && size == clRIFFHandler::kRiffHeaderSize + kChunk) {
    std::vector<std::uint8_t> big(data, data + size);
    big.resize(size + kMaxChunkRecords * kChunk);
    for (std::size_t at = size; at < big.size(); at += kChunk) std::memcpy(&big[at], data + size - kChunk, kChunk);
    CheckWalk(big);
  }
  return 0;
}
