// The chunk layout of a wave file: scans the container header and every
// top-level chunk header of a RIFF or RF64 file into an ordered list, and
// (writer side) brings the file back in line with that list.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
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

  // Stores the log, takes the handle without ownership (unless it is the one this
  // handler opened itself) and scans the file.
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

  // Writer side. The list and the file stay consistent after every operation;
  // an edit that must move bytes already in the file goes to a temporary copy
  // beside it, which CommitEdits renames over the file.
  ~clRIFFHandler();
  // Writes a complete chunk (header included) at index, as a new record when insert is set
  // (index -1 or past the end appends); odd lengths get their zero pad byte.
  bool WriteThisCompleteChunk(int index, std::span<const std::uint8_t> chunk, bool insert);
  // Writes the dirty chunk headers, the 'ds64' chunk of an RF64 file and the container header;
  // promotes a file past 4 GiB to RF64 when AllowRF64 is set.
  bool WriteChunkHeaders();
  // Inserts a chunk before index (index = count or -1: at the end) with a padding chunk behind it;
  // paddingType 0 'JUNK', 1 'PAD ', 2 none; paddingSize 0 means 2048.
  bool InsertChunk(int index, std::span<const std::uint8_t> chunk, int paddingType, std::uint32_t paddingSize);
  // Gives the chunk at index new bytes (header included), in its place.
  bool ReplaceChunk(int index, std::span<const std::uint8_t> chunk, int paddingType, std::uint32_t paddingSize);
  // Removes the chunk at index: into the padding behind it, as padding in place, or out of the file.
  bool RemoveChunk(int index, int paddingType);
  // Writes the 'ds64' chunk (header, the three sizes, an empty table) from the list.
  bool WriteDs64();
  // Renames the temporary copy over the file when the edits needed one; true when none did.
  bool CommitEdits();
  // Deletes the temporary copy, if any; the file stays as it was.
  void DiscardEdits();
  bool Rewriting() const { return rewriting_; }
  // The index of a record of this list, or -1.
  int IndexOf(const RIFFChunkInfo* record) const;
  // Bytes of padding an insertion adds: none for type 2, else at least 256 and even.
  static std::uint64_t PaddingLength(int paddingType, std::uint32_t paddingSize);
  // May a file that outgrows 4 GiB become RF64?
  bool AllowRF64 = false;

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

 private:
  // Where writes go: the file itself, or its temporary copy once one exists.
  XFile& Out() { return rewriting_ ? rewrite_ : *this; }
  // Replaces the bytes [from, to) of the file by a gap of `gap` bytes (contents undefined).
  bool Splice(std::uint64_t from, std::uint64_t to, std::uint64_t gap);
  bool AppendChunk(std::span<const std::uint8_t> chunk, std::uint64_t oldEnd);
  bool WriteIntoPadding(std::size_t index, std::span<const std::uint8_t> chunk);
  bool ReplaceInRoom(std::size_t index, std::span<const std::uint8_t> chunk, std::uint64_t room, int paddingType);
  bool WritePaddingChunk(std::size_t index, int paddingType, std::uint64_t length);
  bool MakeRoomForDs64();
  std::uint64_t SampleCountForDs64(std::uint64_t dataSize);
  // Shortens the file to the end of the RIFF area when what lay beyond it was a chunk now gone.
  bool TrimAfterShrink(std::uint64_t fileSize, std::uint64_t oldEnd, const char* function);

  XFile rewrite_;
  bool rewriting_ = false;
};

constexpr std::uint32_t Low32(std::uint64_t v) { return std::uint32_t(v); }
constexpr std::uint32_t High32(std::uint64_t v) { return std::uint32_t(v >> 32); }
constexpr std::uint64_t Join64(std::uint32_t low, std::uint32_t high) { return std::uint64_t(high) << 32 | low; }
constexpr std::uint32_t Clamp32(std::uint64_t v) { return v > 0xFFFFFFFFu ? 0xFFFFFFFFu : std::uint32_t(v); }
// A chunk's data is followed by one pad byte when its size is odd.
constexpr std::uint64_t Padded(std::uint64_t size) { return size + (size & 1); }
