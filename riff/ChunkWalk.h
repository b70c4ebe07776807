// The chunk walk of a RIFF or RF64 WAVE file over any random-access source:
// the container header, then every top-level chunk header, into records.
// Tolerant by design: most defects are traced and the walk goes on; only an
// unusable container header stops it.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

class TraceScope;
struct RIFFChunkInfo;

// What the walk reads through: a file, or bytes in memory.
class ChunkSource {
 public:
  virtual ~ChunkSource() = default;
  // Bytes read, fewer at the end.
  virtual std::int64_t Read(void* buffer, std::int64_t count) = 0;
  virtual bool Seek(std::int64_t position) = 0;
  // The position of the next read, or -1.
  virtual std::int64_t Tell() = 0;
};

class MemorySource : public ChunkSource {
 public:
  explicit MemorySource(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
  std::int64_t Read(void* buffer, std::int64_t count) override;
  bool Seek(std::int64_t position) override;
  std::int64_t Tell() override { return position_; }

 private:
  std::span<const std::uint8_t> bytes_;
  std::int64_t position_ = 0;
};

// What the walk found: the container as its header (or 'ds64') gives it, and the chunks in file order.
struct ChunkWalk {
  std::uint32_t riffId = 0;
  std::uint32_t formType = 0;
  std::uint64_t riffSize = 0;
  bool isRF64 = false;
  std::uint64_t ds64RiffSize = 0;
  std::uint64_t ds64DataSize = 0;
  std::uint64_t ds64SampleCount = 0;
  std::vector<std::unique_ptr<RIFFChunkInfo>> chunks;
};

// Walks a source of fileSize bytes (at least 12) from its start, tracing every
// finding under the scope's name. False only when the container header is
// unusable or the position cannot be told; `out` then holds what came before.
// At most kMaxChunkRecords chunks are listed, whatever the file claims.
bool WalkChunks(ChunkSource& source, std::int64_t fileSize, const TraceScope& scope, ChunkWalk& out);
