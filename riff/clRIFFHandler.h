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
#include "io/Limits.h"
#include "io/XFile.h"

class TraceScope;

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

// What takes the place of a chunk that is removed, and follows one that is
// inserted before others: a 'JUNK' or a 'PAD ' chunk, or nothing.
enum class PaddingType : std::uint8_t { Junk, Pad, None };

class clRIFFHandler : public XFile {
 public:
  static constexpr std::uint32_t kRiffHeaderSize = 12;
  static constexpr std::uint32_t kChunkHeaderSize = 8;
  static constexpr std::uint32_t kDs64Size = 28;

  // allowRF64: a file that an edit makes outgrow 4 GiB becomes RF64 instead of failing.
  explicit clRIFFHandler(bool allowRF64 = false) : allowRF64_(allowRF64) {}
  ~clRIFFHandler();

  // Stores the log, takes the handle without ownership (unless it is the one this
  // handler opened itself) and scans the file.
  bool Initialize(FileHandle handle, const TraceContext& log);
  // Builds the chunk list from the file; fails only when the header is unusable.
  bool ScanFile();
  // Positions of every record and the RIFF size from the list, contiguous from offset 12.
  void CalcAllChunks();
  // Back to an empty 'RIFF'/'WAVE' handler with no file.
  void Reset();

  RIFFChunkInfo* FindChunk(std::string_view id, bool caseless = true);
  int FindChunkIndex(std::string_view id);
  int FindDataChunkIndex();
  // The index of a record of this list, or -1.
  int IndexOf(const RIFFChunkInfo* record) const;
  std::size_t ChunkCount() const { return chunks_.size(); }
  RIFFChunkInfo& Chunk(std::size_t index) { return *chunks_[index]; }
  const RIFFChunkInfo& Chunk(std::size_t index) const { return *chunks_[index]; }
  const TraceContext& log() const { return log_; }

  std::uint32_t RiffID() const { return riffId_; }
  std::uint64_t RiffSize() const { return riffSize_; }
  std::uint32_t FormType() const { return formType_; }
  bool IsRF64() const { return isRF64_; }
  std::uint64_t Ds64RiffSize() const { return ds64RiffSize_; }
  std::uint64_t Ds64DataSize() const { return ds64DataSize_; }
  std::uint64_t Ds64SampleCount() const { return ds64SampleCount_; }

  // Writer side. The list and the file stay consistent after every operation;
  // an edit that must move bytes already in the file goes to a temporary copy
  // beside it, which the edit's transaction renames over the file when it commits.

  // Writes a complete chunk (header included) at index, as a new record when insert is set
  // (index -1 or past the end appends); odd lengths get their zero pad byte.
  bool WriteThisCompleteChunk(int index, std::span<const std::uint8_t> chunk, bool insert);
  // Writes the dirty chunk headers, the 'ds64' chunk of an RF64 file and the container header;
  // promotes a file past 4 GiB to RF64 when that is allowed.
  bool WriteChunkHeaders();
  // Inserts a chunk before index (index = count or -1: at the end) with padding behind it;
  // paddingSize 0 means 2048.
  bool InsertChunk(int index, std::span<const std::uint8_t> chunk, PaddingType paddingType, std::uint32_t paddingSize);
  // Gives the chunk at index new bytes (header included), in its place.
  bool ReplaceChunk(int index, std::span<const std::uint8_t> chunk, PaddingType paddingType, std::uint32_t paddingSize);
  // Removes the chunk at index: into the padding behind it, as padding in place, or out of the file.
  bool RemoveChunk(int index, PaddingType paddingType);
  // Writes the 'ds64' chunk (header, the three sizes, an empty table) from the list.
  bool WriteDs64();
  // True when the chunk list accounts for the audio, so that an edit cannot
  // write over it: the RIFF area holds a 'fmt ' and a 'data' chunk, and an
  // RF64 file its 'ds64' chunk before 'data'. Otherwise (an unfinished
  // recording, a truncated header) traces what was found under `function` and
  // returns false. Decided before anything is written.
  bool CanEdit(const char* function) const;
  // Bytes of the file beyond the chunks the list accounts for (appended by
  // another program, sector padding); they stay behind the RIFF area.
  std::uint64_t TrailingBytes() const { return trailingBytes_; }
  // True once an edit works on a temporary copy of the file.
  bool Rewriting() const { return rewriting_; }
  // The most an edit in place keeps in memory to undo itself (kMaxUndoBytes);
  // an edit that would overwrite more goes on in a temporary copy.
  void SetUndoLimit(std::uint64_t bytes) { undoLimit_ = bytes; }
  // Bytes of padding an insertion adds: none for PaddingType::None, else at least 256 and even.
  static std::uint64_t PaddingLength(PaddingType paddingType, std::uint32_t paddingSize);

 private:
  friend class EditTransaction;
  // Traces where the file's layout differs from the contiguous one the list now gives.
  void CheckLayout(const TraceScope& scope);
  // Starts working on a temporary copy of the file.
  bool BeginRewrite();
  // Ends the edits: an edit in place is done; a temporary copy is flushed and renamed over the file.
  bool CommitEdits();
  // Ends the edits without a commit: the copy goes, and the file gets back what edits in place changed.
  void AbandonEdits();
  // Writes at a position of the file being edited; in the file itself, what the bytes cover is kept first.
  bool Put(std::uint64_t position, std::span<const std::uint8_t> bytes, const char* function,
           std::u16string_view seekError = u"Error Setting File Position.");
  bool PutZeros(std::uint64_t position, std::uint64_t count, const char* function);
  // Keeps what an edit in place is about to change, up to the file's old end; past the
  // undo limit the edit moves to a copy instead.
  bool KeepForUndo(std::uint64_t position, std::uint64_t count, const char* function);
  // Puts back, latest first, what edits in place changed, and the old size; false when it cannot.
  bool UndoInPlace();
  void ForgetUndo();
  // The last step of a commit: cuts what the edit left behind the RIFF area.
  bool TrimToRiffArea();
  // The 'ds64' chunk that holds the sizes of an RF64 file, or null.
  RIFFChunkInfo* FindDs64();
  bool WriteChunkHeader(const TraceScope& scope, const RIFFChunkInfo& chunk);
  bool WriteContainerHeader(const TraceScope& scope);
  // Puts what was written so far on the device before a header leads readers to it.
  bool Barrier();
  PaddingType PaddingKeepingLinks(PaddingType paddingType, const TraceScope& scope);
  // Traces a failure of the rewrite; false.
  bool TraceFailure(std::u16string_view text);
  // Deletes the temporary copy, if any; the file stays as it was.
  void DiscardEdits();
  // Where writes go: the file itself, or its temporary copy once one exists.
  XFile& Out() { return rewriting_ ? rewrite_ : *this; }
  // Replaces the bytes [from, to) of the file by a gap of `gap` bytes (contents undefined).
  bool Splice(std::uint64_t from, std::uint64_t to, std::uint64_t gap);
  bool AppendChunk(std::span<const std::uint8_t> chunk);
  bool WriteIntoPadding(std::size_t index, std::span<const std::uint8_t> chunk);
  bool ReplaceInRoom(std::size_t index, std::span<const std::uint8_t> chunk, std::uint64_t room,
                     PaddingType paddingType);
  bool WritePaddingChunk(std::size_t index, PaddingType paddingType, std::uint64_t length);
  bool MakeRoomForDs64();
  std::uint64_t SampleCountForDs64(std::uint64_t dataSize);

  std::uint32_t riffId_ = 0x46464952;  // 'RIFF'
  std::uint64_t riffSize_ = 0;
  std::uint32_t formType_ = 0x45564157;  // 'WAVE'
  std::vector<std::unique_ptr<RIFFChunkInfo>> chunks_;
  RIFFChunkInfo* currentChunk_ = nullptr;  // the record touched last; nothing depends on it
  bool isRF64_ = false;
  std::uint64_t ds64RiffSize_ = 0;
  std::uint64_t ds64DataSize_ = 0;
  std::uint64_t ds64SampleCount_ = 0;
  std::uint64_t headerRiffSize_ = 0;  // as the container header (or 'ds64') gave it
  std::uint64_t fileSize_ = 0;
  std::uint64_t trailingBytes_ = 0;
  bool allowRF64_ = false;
  TraceContext log_{};

  XFile rewrite_;
  bool rewriting_ = false;
  bool unflushed_ = false;  // bytes written that no header leads to yet

  // What an edit in place wrote over, and where.
  struct Overwritten {
    std::uint64_t position = 0;
    std::vector<std::uint8_t> bytes;
  };
  std::vector<Overwritten> undo_;  // in the order written
  std::uint64_t undoBytes_ = 0;
  std::uint64_t undoLimit_ = kMaxUndoBytes;
  bool changedInPlace_ = false;  // the file itself was written to since the scan
};

// One edit of a file as a transaction: Commit makes the edits the file's
// (renaming a rewritten copy over it); an edit that ends without a commit, or
// whose commit fails, leaves no temporary copy behind and the file as it was,
// unless the file itself fails while being put back (traced). The file is
// closed either way.
class EditTransaction {
 public:
  explicit EditTransaction(clRIFFHandler& riff) : riff_(riff) {}
  ~EditTransaction();
  EditTransaction(const EditTransaction&) = delete;
  EditTransaction& operator=(const EditTransaction&) = delete;
  // True when the edits are in the file.
  bool Commit();

 private:
  clRIFFHandler& riff_;
  bool committed_ = false;
};

constexpr std::uint32_t Low32(std::uint64_t v) { return std::uint32_t(v); }
constexpr std::uint32_t High32(std::uint64_t v) { return std::uint32_t(v >> 32); }
constexpr std::uint64_t Join64(std::uint32_t low, std::uint32_t high) { return std::uint64_t(high) << 32 | low; }
constexpr std::uint32_t Clamp32(std::uint64_t v) { return v > 0xFFFFFFFFu ? 0xFFFFFFFFu : std::uint32_t(v); }
// A chunk's data is followed by one pad byte when its size is odd.
constexpr std::uint64_t Padded(std::uint64_t size) { return size + (size & 1); }
// A 'ds64' chunk that holds the three sizes of an RF64 file.
inline bool IsDs64(const RIFFChunkInfo& chunk) {
  return FourCCMatches(chunk.ChunkID, "ds64", true) && chunk.DataSize >= clRIFFHandler::kDs64Size;
}
