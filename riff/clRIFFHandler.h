// The chunk layout of a wave file: scans the container header and every
// top-level chunk header of a RIFF or RF64 file into an ordered list, and
// (writer side) brings the file back in line with that list.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "WavePlugin.h"
#include "io/XFile.h"

struct RIFFChunkInfo {
  std::uint32_t ChunkID = 0;  // the identifier bytes as in the file, first in the low byte
  std::uint64_t DataSize = 0;
  std::uint64_t ChunkPosition = 0;
  std::uint64_t FileDataPosition = 0;
  bool HeaderDirty = false;
};

// True when id equals text wholly upper-cased or wholly lower-cased (caseless), or exactly.
bool FourCCMatches(std::uint32_t id, std::string_view text, bool caseless);
// The identifier's bytes as ANSI text, for the log.
std::u16string FourCCToText(std::uint32_t id);

class clRIFFHandler : public XFile {
 public:
  static constexpr std::uint32_t kRiffHeaderSize = 12;
  static constexpr std::uint32_t kChunkHeaderSize = 8;
  static constexpr std::uint32_t kDs64Size = 28;
  static constexpr std::uint64_t kMaxFmtChunk = 0x100000;

  // Stores the log, takes the handle without ownership and scans the file.
  bool Initialize(FileHandle handle, const TraceContext& log);
  // Builds the chunk list from the file; fails only when the header is unusable.
  bool ScanFile();
  // Positions of every record and RiffSize from the list, contiguous from offset 12.
  void CalcAllChunks();
  // Back to an empty 'RIFF'/'WAVE' handler with no file.
  void Reset();

  RIFFChunkInfo* FindChunk(std::string_view id, bool caseless = true);
  int FindChunkIndex(std::string_view id);
  int FindDataChunkIndex();
  bool HasChunk(std::uint32_t id) const;
  std::uint64_t GetDataChunkSize() const;
  // The first exact 'fmt ' chunk under 1 MiB, read whole.
  bool ReadFmtChunk(std::vector<std::uint8_t>& out);
  bool NeedsRF64() const { return RiffSize >= 0xFFFFFFFFu; }
  void MarkChunksDirtyFrom(std::size_t index);

  std::size_t ChunkCount() const { return Chunks.size(); }
  RIFFChunkInfo& Chunk(std::size_t index) { return *Chunks[index]; }
  const RIFFChunkInfo& Chunk(std::size_t index) const { return *Chunks[index]; }
  const TraceContext& log() const { return log_; }

  std::uint32_t RiffID = 0x46464952;  // 'RIFF'
  std::uint64_t RiffSize = 0;
  std::uint32_t FormType = 0x45564157;  // 'WAVE'
  RIFFChunkInfo* CurrentChunk = nullptr;
  bool IsRF64 = false;
  std::uint64_t Ds64RiffSize = 0;
  std::uint64_t Ds64DataSize = 0;
  std::uint64_t Ds64SampleCount = 0;

 protected:
  std::vector<std::unique_ptr<RIFFChunkInfo>> Chunks;
  TraceContext log_{};
};

constexpr std::uint32_t Low32(std::uint64_t v) { return std::uint32_t(v); }
constexpr std::uint32_t High32(std::uint64_t v) { return std::uint32_t(v >> 32); }
constexpr std::uint64_t Join64(std::uint32_t low, std::uint32_t high) { return std::uint64_t(high) << 32 | low; }
constexpr std::uint32_t Clamp32(std::uint64_t v) { return v > 0xFFFFFFFFu ? 0xFFFFFFFFu : std::uint32_t(v); }
