// The writing half of clRIFFHandler: brings the file in line with the chunk list.
//
// Audio is never at risk. An edit that must move bytes already in the file
// (an insertion before a chunk, a chunk that outgrows its room, a removal
// that leaves no padding) copies the file once into a temporary file beside
// it, works there, and the edit's commit renames the copy over the original; until
// then the original is untouched. Every other edit happens in place and
// touches only tag chunks, padding and headers, in an order such that a
// reader following the headers never meets a half-written one: new bytes go
// where the current headers do not lead, and one header write switches over.
//
// An edit that fails changes nothing: every write in place first keeps what
// it covers, and an edit that ends without its commit puts that back, latest
// first, and the file's old size with it. Once an edit moves to a copy, the
// file itself goes back to what it was at once.
#include <algorithm>
#include <array>

#include "codec/Trace.h"
#include "io/ByteReader.h"
#include "io/ByteWriter.h"
#include "io/Text.h"
#include "riff/FormatChunk.h"
#include "riff/clRIFFHandler.h"

namespace {
constexpr const char* kWriteChunk = "clRIFFHandler::WriteThisCompleteChunk";
constexpr const char* kWriteHeaders = "clRIFFHandler::WriteChunkHeaders";
constexpr const char* kInsert = "clRIFFHandler::InsertChunk";
constexpr const char* kReplace = "clRIFFHandler::ReplaceChunk";
constexpr const char* kRemove = "clRIFFHandler::RemoveChunk";
constexpr const char* kDs64 = "clRIFFHandler::WriteDs64";
constexpr const char* kRewrite = "clRIFFHandler::Rewrite";
constexpr const char* kUndo = "clRIFFHandler::UndoEdits";

constexpr std::uint32_t kDefaultPadding = 2048;
// Below this a padding chunk would rarely hold the next tag edit.
constexpr std::uint32_t kMinPadding = 256;
constexpr std::uint64_t kDs64ChunkTotal = clRIFFHandler::kChunkHeaderSize + clRIFFHandler::kDs64Size;
constexpr std::uint64_t kLimit32 = 0xFFFFFFFFu;
constexpr std::size_t kZeroBlock = 65536;

constexpr std::uint32_t kJunk = MakeFourCC("JUNK");
constexpr std::uint32_t kPad = MakeFourCC("PAD ");
constexpr std::uint32_t kDs64Id = MakeFourCC("ds64");

std::uint64_t Total(const RIFFChunkInfo& c) { return clRIFFHandler::kChunkHeaderSize + Padded(c.DataSize); }
std::uint64_t End(const RIFFChunkInfo& c) { return c.ChunkPosition + Total(c); }
bool IsPadding(std::uint32_t id) { return FourCCMatches(id, "JUNK", true) || FourCCMatches(id, "PAD ", true); }

std::array<std::uint8_t, clRIFFHandler::kChunkHeaderSize> Header(std::uint32_t id, std::uint64_t size) {
  std::vector<std::uint8_t> bytes;
  ByteWriter w(bytes);
  w.FourCC(id);
  w.U32(Clamp32(size));
  std::array<std::uint8_t, clRIFFHandler::kChunkHeaderSize> out{};
  std::copy(bytes.begin(), bytes.end(), out.begin());
  return out;
}

std::uint32_t IdOf(std::span<const std::uint8_t> chunk) {
  ByteReader r(chunk);
  return r.FourCC();
}

}  // namespace

clRIFFHandler::~clRIFFHandler() { AbandonEdits(); }

bool clRIFFHandler::KeepForUndo(std::uint64_t position, std::uint64_t count, const char* function) {
  // The copy is nobody's until it is renamed: it needs no undo.
  if (rewriting_) return true;
  changedInPlace_ = true;
  if (position >= fileSize_ || count == 0) return true;  // beyond the old end: the old size cuts it off
  const std::uint64_t n = std::min(count, fileSize_ - position);
  if (n > undoLimit_ - std::min(undoLimit_, undoBytes_)) {
    Trace(u"The edit would overwrite more than " + ToTextU(undoLimit_) +
              u" bytes of the file in place, more than it keeps to undo itself: it goes on in a copy.",
          log_, function, true);
    return Splice(~std::uint64_t{0}, ~std::uint64_t{0}, 0);
  }
  Overwritten old{position, std::vector<std::uint8_t>(std::size_t(n))};
  if (!Seek(std::int64_t(position)) || Read(old.bytes.data(), std::int64_t(n)) != std::int64_t(n)) {
    TraceError(
        u"Error cannot read the " + ToTextU(n) + u" bytes at " + ToTextU(position) + u" that the edit would overwrite.",
        log_, function);
    return false;
  }
  undoBytes_ += n;
  undo_.push_back(std::move(old));
  return true;
}

bool clRIFFHandler::Put(std::uint64_t position, std::span<const std::uint8_t> bytes, const char* function,
                        std::u16string_view seekError) {
  if (!KeepForUndo(position, bytes.size(), function)) return false;
  XFile& out = Out();  // after KeepForUndo, which may have moved the edit to a copy
  if (!out.Seek(std::int64_t(position))) {
    TraceError(seekError, log_, function);
    return false;
  }
  if (!out.Write(bytes.data(), std::int64_t(bytes.size()))) {
    TraceError(u"Error writing to file, disk full?", log_, function);
    return false;
  }
  return true;
}

bool clRIFFHandler::PutZeros(std::uint64_t position, std::uint64_t count, const char* function) {
  const std::vector<std::uint8_t> zeros(std::size_t(std::min<std::uint64_t>(count, kZeroBlock)), 0);
  while (count > 0) {
    const std::size_t n = std::size_t(std::min<std::uint64_t>(count, zeros.size()));
    if (!Put(position, std::span(zeros).first(n), function)) return false;
    position += n;
    count -= n;
  }
  return true;
}

bool clRIFFHandler::UndoInPlace() {
  if (!changedInPlace_) return true;
  if (!IsOpen()) return false;
  while (!undo_.empty()) {
    const Overwritten& last = undo_.back();
    if (!Seek(std::int64_t(last.position)) || !Write(last.bytes.data(), std::int64_t(last.bytes.size()))) return false;
    undoBytes_ -= last.bytes.size();
    undo_.pop_back();
  }
  if (Size() != std::int64_t(fileSize_) && !SetSize(std::int64_t(fileSize_))) return false;
  if (!Flush()) return false;
  changedInPlace_ = false;
  unflushed_ = false;
  return true;
}

void clRIFFHandler::ForgetUndo() {
  undo_.clear();
  undoBytes_ = 0;
  changedInPlace_ = false;
}

void clRIFFHandler::AbandonEdits() {
  DiscardEdits();
  if (!UndoInPlace())
    TraceError(u"Error cannot undo the failed edit of '" + path() + u"'; its audio is unchanged. (Win:" +
                   ToTextU(LastError()) + u")",
               log_, kUndo);
  ForgetUndo();
}

int clRIFFHandler::IndexOf(const RIFFChunkInfo* record) const {
  for (std::size_t i = 0; i < chunks_.size(); ++i)
    if (chunks_[i].get() == record) return int(i);
  return -1;
}

std::uint64_t clRIFFHandler::PaddingLength(PaddingType paddingType, std::uint32_t paddingSize) {
  if (paddingType == PaddingType::None) return 0;
  std::uint64_t length = std::max(paddingSize == 0 ? kDefaultPadding : paddingSize, kMinPadding);
  return Padded(length);
}

bool clRIFFHandler::WriteThisCompleteChunk(int index, std::span<const std::uint8_t> chunk, bool insert) {
  if (chunk.size() < kChunkHeaderSize) {
    TraceError(u"Error chunk of " + ToTextU(chunk.size()) + u" bytes has no room for its header.", log_, kWriteChunk);
    return false;
  }
  std::size_t at = 0;
  if (insert) {
    at = index < 0 || std::size_t(index) > chunks_.size() ? chunks_.size() : std::size_t(index);
    chunks_.insert(chunks_.begin() + std::ptrdiff_t(at), std::make_unique<RIFFChunkInfo>());
  } else {
    if (index < 0 || std::size_t(index) >= chunks_.size()) {
      TraceError(u"Error no chunk at index " + ToText(index) + u".", log_, kWriteChunk);
      return false;
    }
    at = std::size_t(index);
  }
  RIFFChunkInfo& record = *chunks_[at];
  record.ChunkID = IdOf(chunk);
  record.DataSize = chunk.size() - kChunkHeaderSize;
  record.HeaderDirty = true;
  currentChunk_ = &record;
  CalcAllChunks();
  unflushed_ = true;
  if (!Put(record.ChunkPosition, chunk, kWriteChunk)) return false;
  const std::array<std::uint8_t, 1> pad{};
  return (chunk.size() & 1) == 0 || Put(record.ChunkPosition + chunk.size(), pad, kWriteChunk);
}

bool clRIFFHandler::WritePaddingChunk(std::size_t index, PaddingType paddingType, std::uint64_t length) {
  std::vector<std::uint8_t> bytes;
  ByteWriter w(bytes);
  w.FourCC(paddingType == PaddingType::Junk ? kJunk : kPad);
  w.U32(Clamp32(length - kChunkHeaderSize));
  w.Zeros(std::size_t(length - kChunkHeaderSize));
  return WriteThisCompleteChunk(int(index), bytes, true);
}

bool clRIFFHandler::WriteChunkHeader(const TraceScope& scope, const RIFFChunkInfo& chunk) {
  scope.Line(u"Writing Chunk Header '" + FourCCToText(chunk.ChunkID) + u"'  Length: " + ToTextU(chunk.DataSize) +
             u"  ChunkPosition: " + ToTextU(chunk.ChunkPosition) + u"  ChunkDataPos: " +
             ToTextU(chunk.FileDataPosition));
  // In an RF64 file the audio's real size is in 'ds64'; its own header keeps the marker readers expect.
  const bool rf64Data = isRF64_ && FourCCMatches(chunk.ChunkID, "data", true);
  const auto head = Header(chunk.ChunkID, rf64Data ? kLimit32 : chunk.DataSize);
  return Put(chunk.ChunkPosition, head, scope.function(), u"Error Setting File Chunk Position, lack of disk space?");
}

bool clRIFFHandler::WriteContainerHeader(const TraceScope& scope) {
  std::vector<std::uint8_t> head;
  ByteWriter w(head);
  riffId_ = MakeFourCC(isRF64_ ? "RF64" : "RIFF");
  w.FourCC(riffId_);
  w.U32(Clamp32(isRF64_ ? kLimit32 : riffSize_));
  w.FourCC(formType_);
  return Put(0, head, scope.function(), u"Error Setting File Position to 0.");
}

bool clRIFFHandler::Barrier() {
  // Only a file others can read needs the order kept on the device (the copy
  // is nobody's until it is renamed), and only bytes a header will lead to.
  if (rewriting_ || !unflushed_) return true;
  unflushed_ = false;
  if (Flush()) return true;
  return TraceFailure(u"Error cannot flush '" + path() + u"' to disk. (Win:" + ToTextU(LastError()) + u")");
}

// Headers are what lead readers to the bytes written before them, so those
// bytes reach the device first. An RF64 file gets its sizes ('ds64') before
// its container says RF64, and its 'data' header the RF64 marker only after:
// at no point can a RIFF reader take the marker for the size of the audio.
bool clRIFFHandler::WriteChunkHeaders() {
  TraceScope scope(log_, kWriteHeaders);
  CalcAllChunks();
  if (!isRF64_ && riffSize_ >= kLimit32) {
    if (!allowRF64_) return scope.Error(u"4GB wave limit exceeded.");
    if (!MakeRoomForDs64()) return scope.Error(u"Could not write proper RIFF64 header.");
    CalcAllChunks();
  }
  // Known before the first header is written: an RF64 file keeps its sizes in 'ds64' or is not touched.
  const RIFFChunkInfo* ds64 = isRF64_ ? FindDs64() : nullptr;
  if (isRF64_ && !ds64) return scope.Error(u"Could not write proper RIFF64 header.");
  if (!Barrier()) return false;
  if (Out().Size() == 0 && !WriteContainerHeader(scope)) return false;
  const RIFFChunkInfo* dataHeader = nullptr;
  for (auto& chunk : chunks_) {
    if (!chunk->HeaderDirty) continue;
    chunk->HeaderDirty = false;
    // WriteDs64 writes that header together with its data, in one piece.
    if (chunk.get() == ds64) continue;
    if (isRF64_ && FourCCMatches(chunk->ChunkID, "data", true)) {
      dataHeader = chunk.get();
      continue;
    }
    if (!WriteChunkHeader(scope, *chunk)) return false;
  }
  if (isRF64_ && !WriteDs64()) return scope.Error(u"Could not write proper RIFF64 header.");
  if (!WriteContainerHeader(scope)) return false;
  if (dataHeader && !WriteChunkHeader(scope, *dataHeader)) return false;
  return scope.Ok();
}

std::uint64_t clRIFFHandler::SampleCountForDs64(std::uint64_t dataSize) {
  // The audio never changes in a tag edit: a count the file already gave stays.
  if (ds64SampleCount_ != 0 && ds64DataSize_ == dataSize) return ds64SampleCount_;
  const RIFFChunkInfo* fmtChunk = FindChunk("fmt ");
  std::vector<std::uint8_t> fmt;
  if (!fmtChunk || ReadFormatChunk(Out(), *fmtChunk, fmt) != FmtRead::Ok) return 0;
  ByteReader r(fmt);
  r.Seek(kWfxBlockAlignOffset);
  const std::uint16_t blockAlign = r.U16();
  if (!BlocksAreFrames(FormatTypeOf(fmt))) {
    // Compressed audio: the 'fact' chunk counts the samples, the blocks do not.
    const RIFFChunkInfo* fact = FindChunk("fact");
    std::array<std::uint8_t, 4> count{};
    if (fact && fact->DataSize >= count.size() && Out().Seek(std::int64_t(fact->FileDataPosition)) &&
        Out().Read(count.data(), std::int64_t(count.size())) == std::int64_t(count.size()))
      return ByteReader(count).U32();
  }
  return dataSize / (blockAlign ? blockAlign : 1);
}

RIFFChunkInfo* clRIFFHandler::FindDs64() {
  for (auto& c : chunks_)
    if (IsDs64(*c)) return c.get();
  return nullptr;
}

bool clRIFFHandler::WriteDs64() {
  RIFFChunkInfo* ds64 = FindDs64();
  if (!ds64) return false;
  const RIFFChunkInfo* data = FindChunk("data");
  const std::uint64_t dataSize = data ? data->DataSize : 0;
  const std::uint64_t samples = SampleCountForDs64(dataSize);
  std::vector<std::uint8_t> bytes;
  ByteWriter w(bytes);
  w.FourCC(kDs64Id);
  w.U32(Clamp32(ds64->DataSize));
  for (const std::uint64_t v : {riffSize_, dataSize, samples}) {
    w.U32(Low32(v));
    w.U32(High32(v));
  }
  w.U32(0);  // no table: no chunk but 'data' outgrows 32 bits
  unflushed_ = true;
  if (!Put(ds64->ChunkPosition, bytes, kDs64)) return false;
  if (!PutZeros(ds64->FileDataPosition + kDs64Size, ds64->DataSize - kDs64Size, kDs64)) return false;
  ds64RiffSize_ = riffSize_;
  ds64DataSize_ = dataSize;
  ds64SampleCount_ = samples;
  return true;
}

// Room for 'ds64': a chunk of that name already there; else a 'JUNK' chunk
// before 'data' big enough for it (the first one, which is where writers that
// plan for RF64 put it), split when it is bigger; else a new chunk at the very
// front, where RF64 readers look for it, through the temporary copy.
bool clRIFFHandler::MakeRoomForDs64() {
  if (FindDs64()) {
    isRF64_ = true;
    return true;
  }
  const int dataIndex = FindDataChunkIndex();
  const std::size_t limit = dataIndex < 0 ? chunks_.size() : std::size_t(dataIndex);
  for (std::size_t i = 0; i < limit; ++i) {
    RIFFChunkInfo& junk = *chunks_[i];
    if (!FourCCMatches(junk.ChunkID, "JUNK", true) || junk.DataSize < kDs64Size) continue;
    const std::uint64_t total = Total(junk);
    junk.ChunkID = kDs64Id;
    junk.HeaderDirty = true;
    if (total >= kDs64ChunkTotal + kChunkHeaderSize) {
      junk.DataSize = kDs64Size;
      auto rest = std::make_unique<RIFFChunkInfo>();
      rest->ChunkID = kJunk;
      rest->DataSize = total - kDs64ChunkTotal - kChunkHeaderSize;
      rest->HeaderDirty = true;
      chunks_.insert(chunks_.begin() + std::ptrdiff_t(i + 1), std::move(rest));
    }
    isRF64_ = true;
    CalcAllChunks();
    return true;
  }
  if (!Splice(kRiffHeaderSize, kRiffHeaderSize, kDs64ChunkTotal)) return false;
  auto ds64 = std::make_unique<RIFFChunkInfo>();
  ds64->ChunkID = kDs64Id;
  ds64->DataSize = kDs64Size;
  chunks_.insert(chunks_.begin(), std::move(ds64));
  isRF64_ = true;
  CalcAllChunks();
  return true;
}

bool clRIFFHandler::Splice(std::uint64_t from, std::uint64_t to, std::uint64_t gap) {
  if (rewriting_) {
    // The copy is ours alone: its bytes may move in place.
    const std::uint64_t removed = to - from;
    const bool ok = gap >= removed ? rewrite_.OpenUp(std::int64_t(to), std::int64_t(gap - removed))
                                   : rewrite_.CloseUp(std::int64_t(from + gap), std::int64_t(removed - gap));
    if (!ok) TraceError(u"Error writing to file, disk full?", log_, kRewrite);
    return ok;
  }
  if (!BeginRewrite()) return false;
  const std::int64_t size = Size();
  const std::uint64_t end = size < 0 ? 0 : std::uint64_t(size);
  from = std::min(from, end);
  to = std::clamp(to, from, end);
  if (size < 0 || !rewrite_.CopyFrom(*this, 0, std::int64_t(from), 0) ||
      !rewrite_.CopyFrom(*this, std::int64_t(to), std::int64_t(end - to), std::int64_t(from + gap))) {
    TraceError(u"Error writing to file, disk full?", log_, kRewrite);
    DiscardEdits();
    return false;
  }
  // The copy holds what was changed in place so far; the file itself goes back
  // at once, so that it stays whole whatever becomes of the copy. What cannot
  // be put back now is tried again when the edit ends.
  UndoInPlace();
  return true;
}

// The copy is made beside the file its name leads to, so that a symbolic link
// stays a link to the rewritten file and the rename never crosses a volume;
// it is created afresh under a name nobody can have planted a link at, and
// gets the original's permissions before it ever holds the audio.
bool clRIFFHandler::BeginRewrite() {
  if (path().empty()) {
    TraceError(u"Error the file must be rewritten, but its name is not known.", log_, kRewrite);
    return false;
  }
  // A file known by several names would keep the old audio under the others.
  if (const std::uint32_t links = LinkCount(); links > 1) {
    TraceError(u"Error '" + path() + u"' has " + ToTextU(links) +
                   u" names (hard links); rewriting it would part them, so it is left as it is.",
               log_, kRewrite);
    return false;
  }
  const std::u16string target = ResolvedPath();
  if (!rewrite_.CreateTemporaryBeside(target)) {
    TraceError(XFile::OpenErrorText(rewrite_.path(), rewrite_.LastError()), log_, kRewrite);
    return false;
  }
  rewriting_ = true;
  rewrite_.SetRewriteTarget(target);
  if (!rewrite_.CopyAccessFrom(*this)) {
    TraceError(u"Error cannot give '" + rewrite_.path() + u"' the permissions of '" + target + u"'. (Win:" +
                   ToTextU(rewrite_.LastError()) + u")",
               log_, kRewrite);
    DiscardEdits();
    return false;
  }
  Trace(u"Rewriting through '" + rewrite_.path() + u"'", log_, kRewrite, true);
  return true;
}

bool clRIFFHandler::CommitEdits() {
  if (!TrimToRiffArea()) return false;
  // An edit in place is in order on the device header by header; the copy is flushed before its rename.
  if (!rewriting_) {
    ForgetUndo();
    return true;
  }
  UndoInPlace();  // normally done when the copy was made; the file cannot be reached once closed
  rewriting_ = false;
  Close();  // the rename cannot replace a file that is still open
  rewrite_.SetCommit(true);
  if (rewrite_.FinishRewrite()) {
    ForgetUndo();
    return true;
  }
  return TraceFailure(u"Error cannot replace '" + path() + u"' with its rewritten copy. (Win:" +
                      ToTextU(rewrite_.LastError()) + u")");
}

// A file known by several names cannot be rewritten without parting them;
// where room is left behind, padding stays in place instead.
PaddingType clRIFFHandler::PaddingKeepingLinks(PaddingType paddingType, const TraceScope& scope) {
  if (paddingType != PaddingType::None || rewriting_ || LinkCount() <= 1) return paddingType;
  scope.Info(u"'" + path() + u"' has several names (hard links): room left behind becomes padding.");
  return PaddingType::Junk;
}

bool clRIFFHandler::TraceFailure(std::u16string_view text) {
  TraceError(text, log_, kRewrite);
  return false;
}

void clRIFFHandler::DiscardEdits() {
  if (!rewriting_) return;
  rewriting_ = false;
  rewrite_.DiscardRewrite();
}

EditTransaction::~EditTransaction() {
  if (!committed_) riff_.AbandonEdits();
  riff_.Close();
}

bool EditTransaction::Commit() {
  committed_ = true;
  const bool ok = riff_.CommitEdits();
  if (!ok) riff_.AbandonEdits();
  riff_.Close();
  return ok;
}

// The last step of an edit, so that what it cuts never needs putting back:
// the bytes a chunk that went or shrank at the end left behind the RIFF area.
// Bytes that lay behind the area before the edit are not ours to cut.
bool clRIFFHandler::TrimToRiffArea() {
  if (trailingBytes_ > 0) return true;
  const std::uint64_t end = riffSize_ + 8;
  const std::int64_t size = Out().Size();
  if (size < 0 || std::uint64_t(size) <= end) return true;
  if (Out().SetSize(std::int64_t(end))) return true;
  return TraceFailure(u"Error cannot set the file size to " + ToTextU(end) + u".");
}

bool clRIFFHandler::AppendChunk(std::span<const std::uint8_t> chunk) {
  CalcAllChunks();
  if (trailingBytes_ > 0) {
    // What another program left behind the RIFF area stays behind it: those
    // bytes alone move back, in place, to open a gap at the end of the area
    // for the new chunk. The last chunk is whole then, pad byte included.
    const std::uint64_t end = riffSize_ + 8;
    const std::int64_t size = Out().Size();
    if (size < 0 || !KeepForUndo(end, std::uint64_t(size) - std::min(end, std::uint64_t(size)), kInsert)) return false;
    unflushed_ = true;
    if (!Out().OpenUp(std::int64_t(end), std::int64_t(kChunkHeaderSize + Padded(chunk.size() - kChunkHeaderSize)))) {
      TraceError(u"Error writing to file, disk full?", log_, kInsert);
      return false;
    }
    return WriteThisCompleteChunk(-1, chunk, true);
  }
  if (!chunks_.empty()) {
    RIFFChunkInfo& last = *chunks_.back();
    // A recording cut short: its header claims more than the file holds, and
    // would swallow the new chunk. It is cut to what is there, and the pad
    // byte it may lack is written.
    std::array<std::uint8_t, kChunkHeaderSize> head{};
    if (Out().Seek(std::int64_t(last.ChunkPosition)) && Out().Read(head.data(), 8) == 8) {
      ByteReader r(head);
      r.FourCC();
      const std::uint32_t claimed = r.U32();
      const bool rf64Data = isRF64_ && FourCCMatches(last.ChunkID, "data", true);
      if (!rf64Data && claimed != Clamp32(last.DataSize)) last.HeaderDirty = true;
    }
    if (last.DataSize & 1) {
      const std::array<std::uint8_t, 1> pad{};
      unflushed_ = true;
      if (!Put(last.FileDataPosition + last.DataSize, pad, kInsert)) return false;
    }
  }
  return WriteThisCompleteChunk(-1, chunk, true);
}

bool clRIFFHandler::WriteIntoPadding(std::size_t index, std::span<const std::uint8_t> chunk) {
  RIFFChunkInfo& padding = *chunks_[index];
  const std::uint64_t position = padding.ChunkPosition;
  const std::uint64_t room = Total(padding);
  const std::uint64_t dataSize = chunk.size() - kChunkHeaderSize;
  const std::uint64_t need = kChunkHeaderSize + Padded(dataSize);
  const std::uint32_t paddingId = padding.ChunkID;
  // Data and the remaining padding's header first, inside the old padding, where readers do not look.
  std::vector<std::uint8_t> body(chunk.begin() + kChunkHeaderSize, chunk.end());
  if (dataSize & 1) body.push_back(0);
  unflushed_ = true;
  if (!Put(position + kChunkHeaderSize, body, kInsert)) return false;
  if (room > need && !Put(position + need, Header(paddingId, room - need - kChunkHeaderSize), kInsert)) return false;
  if (!Barrier() || !Put(position, Header(IdOf(chunk), dataSize), kInsert)) return false;
  padding.ChunkID = IdOf(chunk);
  padding.DataSize = dataSize;
  padding.HeaderDirty = false;
  currentChunk_ = &padding;
  if (room > need) {
    auto rest = std::make_unique<RIFFChunkInfo>();
    rest->ChunkID = paddingId;
    rest->DataSize = room - need - kChunkHeaderSize;
    chunks_.insert(chunks_.begin() + std::ptrdiff_t(index + 1), std::move(rest));
  }
  CalcAllChunks();
  return true;
}

bool clRIFFHandler::InsertChunk(int index, std::span<const std::uint8_t> chunk, PaddingType paddingType,
                                std::uint32_t paddingSize) {
  TraceScope scope(log_, kInsert);
  if (chunk.size() < kChunkHeaderSize) return scope.Error(u"Error no chunk to insert.");
  std::size_t at = index < 0 || std::size_t(index) > chunks_.size() ? chunks_.size() : std::size_t(index);
  CalcAllChunks();
  if (at + 1 == chunks_.size() && IsPadding(chunks_[at]->ChunkID) && trailingBytes_ == 0) {
    // Padding at the very end holds nothing: the new chunk takes its place.
    chunks_.erase(chunks_.begin() + std::ptrdiff_t(at));
  }
  const std::uint64_t need = kChunkHeaderSize + Padded(chunk.size() - kChunkHeaderSize);
  if (at >= chunks_.size()) {
    if (!AppendChunk(chunk)) return false;
  } else if (IsPadding(chunks_[at]->ChunkID) &&
             (Total(*chunks_[at]) == need || Total(*chunks_[at]) >= need + kChunkHeaderSize)) {
    // Padding that can hold the chunk is used instead of moving what follows.
    if (!WriteIntoPadding(at, chunk)) return false;
  } else {
    const std::uint64_t padding = PaddingLength(paddingType, paddingSize);
    if (!Splice(chunks_[at]->ChunkPosition, chunks_[at]->ChunkPosition, need + padding)) return false;
    if (!WriteThisCompleteChunk(int(at), chunk, true)) return false;
    if (padding >= kChunkHeaderSize && !WritePaddingChunk(at + 1, paddingType, padding)) return false;
  }
  if (!WriteChunkHeaders()) return false;
  return scope.Ok();
}

// The new chunk fits the room of the old one plus the padding behind it.
// While the old headers stand, readers skip the old chunk's data and the
// padding's data; the new bytes go there first, and the chunk's own header,
// written last, switches to the new layout. When the new bytes would cover
// the padding's header, the chunk first claims the whole room, so that no
// reader is ever led to a header that is being overwritten.
bool clRIFFHandler::ReplaceInRoom(std::size_t index, std::span<const std::uint8_t> chunk, std::uint64_t room,
                                  PaddingType paddingType) {
  RIFFChunkInfo& record = *chunks_[index];
  const bool nextIsPadding = index + 1 < chunks_.size() && IsPadding(chunks_[index + 1]->ChunkID);
  const std::uint64_t position = record.ChunkPosition;
  const std::uint64_t roomEnd = position + room;
  const std::uint64_t dataSize = chunk.size() - kChunkHeaderSize;
  const std::uint64_t newPadding = position + kChunkHeaderSize + Padded(dataSize);
  const std::uint64_t oldPadding = nextIsPadding ? chunks_[index + 1]->ChunkPosition : roomEnd;
  const std::uint32_t paddingId = nextIsPadding                     ? chunks_[index + 1]->ChunkID
                                  : paddingType == PaddingType::Pad ? kPad
                                                                    : kJunk;
  const bool leftover = newPadding < roomEnd;

  if (nextIsPadding && newPadding != oldPadding && newPadding + kChunkHeaderSize > oldPadding) {
    if (!Put(position, Header(record.ChunkID, room - kChunkHeaderSize), kReplace)) return false;
  }
  if (leftover && newPadding != oldPadding &&
      !Put(newPadding, Header(paddingId, roomEnd - newPadding - kChunkHeaderSize), kReplace))
    return false;
  std::vector<std::uint8_t> body(chunk.begin() + kChunkHeaderSize, chunk.end());
  if (dataSize & 1) body.push_back(0);
  unflushed_ = true;
  if (!Put(position + kChunkHeaderSize, body, kReplace)) return false;
  if (!Barrier() || !Put(position, Header(IdOf(chunk), dataSize), kReplace)) return false;
  // What the old chunk held and the padding now covers is cleared: a deleted tag leaves no trace.
  const std::uint64_t clearEnd = std::min(roomEnd, nextIsPadding ? oldPadding + kChunkHeaderSize : roomEnd);
  if (leftover && newPadding + kChunkHeaderSize < clearEnd &&
      !PutZeros(newPadding + kChunkHeaderSize, clearEnd - newPadding - kChunkHeaderSize, kReplace))
    return false;

  record.ChunkID = IdOf(chunk);
  record.DataSize = dataSize;
  record.HeaderDirty = false;
  currentChunk_ = &record;
  if (nextIsPadding) chunks_.erase(chunks_.begin() + std::ptrdiff_t(index + 1));
  if (leftover) {
    auto rest = std::make_unique<RIFFChunkInfo>();
    rest->ChunkID = paddingId;
    rest->DataSize = roomEnd - newPadding - kChunkHeaderSize;
    chunks_.insert(chunks_.begin() + std::ptrdiff_t(index + 1), std::move(rest));
  }
  CalcAllChunks();
  return true;
}

// A chunk whose size changes: written in its room when it fits there (with the
// rest as padding, which padding type 2 allows only where padding already
// was); rewritten at the end of the file when nothing but padding follows it;
// otherwise the file is rewritten with the chunk and, as for an insertion, a
// fresh padding chunk behind it.
bool clRIFFHandler::ReplaceChunk(int index, std::span<const std::uint8_t> chunk, PaddingType paddingType,
                                 std::uint32_t paddingSize) {
  TraceScope scope(log_, kReplace);
  paddingType = PaddingKeepingLinks(paddingType, scope);
  if (chunk.size() < kChunkHeaderSize) return scope.Error(u"Error no chunk to write.");
  if (index < 0 || std::size_t(index) >= chunks_.size())
    return scope.Error(u"Error no chunk at index " + ToText(index) + u".");
  CalcAllChunks();
  const std::size_t at = std::size_t(index);
  const bool nextIsPadding = at + 1 < chunks_.size() && IsPadding(chunks_[at + 1]->ChunkID);
  const std::uint64_t roomEnd = nextIsPadding ? End(*chunks_[at + 1]) : End(*chunks_[at]);
  const std::uint64_t room = roomEnd - chunks_[at]->ChunkPosition;
  const std::uint64_t need = kChunkHeaderSize + Padded(chunk.size() - kChunkHeaderSize);
  bool standsLast = true;
  for (std::size_t i = at + 1; i < chunks_.size(); ++i) standsLast = standsLast && IsPadding(chunks_[i]->ChunkID);

  if (standsLast && trailingBytes_ == 0) {
    // What the chunk leaves behind at the end is cut off when the edit commits.
    chunks_.erase(chunks_.begin() + std::ptrdiff_t(at + 1), chunks_.end());
    if (!WriteThisCompleteChunk(index, chunk, false)) return false;
  } else if (need == room || (need + kChunkHeaderSize <= room && (nextIsPadding || paddingType != PaddingType::None))) {
    if (!ReplaceInRoom(at, chunk, room, paddingType)) return false;
  } else {
    const std::uint64_t padding = PaddingLength(paddingType, paddingSize);
    if (!Splice(chunks_[at]->ChunkPosition, roomEnd, need + padding)) return false;
    if (nextIsPadding) chunks_.erase(chunks_.begin() + std::ptrdiff_t(at + 1));
    if (!WriteThisCompleteChunk(index, chunk, false)) return false;
    if (padding >= kChunkHeaderSize && !WritePaddingChunk(at + 1, paddingType, padding)) return false;
  }
  if (!WriteChunkHeaders()) return false;
  return scope.Ok();
}

// Nothing moves unless padding type 2 asks for no padding and no padding
// follows: then the chunk leaves the file through the temporary copy. A last
// chunk is cut off the end.
bool clRIFFHandler::RemoveChunk(int index, PaddingType paddingType) {
  TraceScope scope(log_, kRemove);
  paddingType = PaddingKeepingLinks(paddingType, scope);
  if (index < 0 || std::size_t(index) >= chunks_.size())
    return scope.Error(u"Error no chunk at index " + ToText(index) + u".");
  CalcAllChunks();
  const std::size_t at = std::size_t(index);
  RIFFChunkInfo& record = *chunks_[at];
  // What the removed chunk held is cleared once the new headers stand, so that a deleted tag cannot be read
  // back from the padding, and a stop in between leaves either the old chunk or padding.
  std::uint64_t clearFrom = 0, clearTo = 0;
  if (at + 1 < chunks_.size() && IsPadding(chunks_[at + 1]->ChunkID)) {
    RIFFChunkInfo& next = *chunks_[at + 1];
    clearFrom = record.FileDataPosition;
    clearTo = next.FileDataPosition;  // the old padding's own header too
    next.DataSize += Padded(record.DataSize) + kChunkHeaderSize;
    next.HeaderDirty = true;
    chunks_.erase(chunks_.begin() + std::ptrdiff_t(at));
    currentChunk_ = &next;
  } else if (at + 1 == chunks_.size() && trailingBytes_ == 0) {
    // Cut off the end when the edit commits.
    chunks_.erase(chunks_.begin() + std::ptrdiff_t(at));
    currentChunk_ = nullptr;
    CalcAllChunks();
  } else if (paddingType != PaddingType::None) {
    record.ChunkID = paddingType == PaddingType::Junk ? kJunk : kPad;
    record.HeaderDirty = true;
    currentChunk_ = &record;
    clearFrom = record.FileDataPosition;
    clearTo = End(record);
  } else {
    if (!Splice(record.ChunkPosition, End(record), 0)) return false;
    chunks_.erase(chunks_.begin() + std::ptrdiff_t(at));
    currentChunk_ = nullptr;
  }
  if (!WriteChunkHeaders()) return false;
  if (clearTo > clearFrom && !PutZeros(clearFrom, clearTo - clearFrom, kRemove)) return false;
  return scope.Ok();
}
