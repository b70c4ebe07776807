#include "riff/clRIFFHandler.h"

#include <array>

#include "codec/Trace.h"
#include "io/ByteReader.h"
#include "io/Text.h"
#include "riff/ChunkWalk.h"

namespace {
constexpr const char* kScan = "clRIFFHandler::ScanFile";

// The walk reads the handler's own file.
class FileSource : public ChunkSource {
 public:
  explicit FileSource(XFile& file) : file_(file) {}
  std::int64_t Read(void* buffer, std::int64_t count) override { return file_.Read(buffer, count); }
  bool Seek(std::int64_t position) override { return file_.Seek(position); }
  std::int64_t Tell() override { return file_.Tell(); }

 private:
  XFile& file_;
};
}  // namespace

bool FourCCMatches(std::uint32_t id, std::string_view text, bool caseless) {
  if (text.size() != 4) return false;
  if (!caseless) return id == MakeFourCC(text);
  return id == MakeFourCC(UpperAscii(text)) || id == MakeFourCC(LowerAscii(text));
}

std::u16string FourCCToText(std::uint32_t id) {
  std::string text;
  for (int i = 0; i < 4; ++i) {
    const char c = char(id >> (8 * i));
    if (c == '\0') break;  // read as a C string, as the log always has
    text.push_back(c);
  }
  return AnsiToWide(text);
}

bool clRIFFHandler::Initialize(FileHandle handle, const TraceContext& log) {
  log_ = log;
  TraceScope scope(log_, "clRIFFHandler::Initialize");
  riffId_ = MakeFourCC("RIFF");
  formType_ = MakeFourCC("WAVE");
  CalcAllChunks();
  // A foreign handle is taken without ownership (closing one we owned); our own stays ours.
  if (handle != this->handle()) Attach(handle);
  scope.Ok();
  return ScanFile();
}

void clRIFFHandler::CalcAllChunks() {
  TraceInformation(u"clRIFFHandler::CalcAllChunks: ", log_, nullptr);
  std::uint64_t position = kRiffHeaderSize;
  for (auto& chunk : chunks_) {
    chunk->ChunkPosition = position;
    chunk->FileDataPosition = position + kChunkHeaderSize;
    position += kChunkHeaderSize + Padded(chunk->DataSize);
  }
  riffSize_ = position - 8;
}

void clRIFFHandler::Reset() {
  riffId_ = MakeFourCC("RIFF");
  formType_ = MakeFourCC("WAVE");
  riffSize_ = 0;
  chunks_.clear();
  currentChunk_ = nullptr;
  headerRiffSize_ = fileSize_ = trailingBytes_ = 0;
  ForgetUndo();
  Close();
  log_ = TraceContext{};
}

bool clRIFFHandler::ScanFile() {
  TraceScope scope(log_, kScan);
  isRF64_ = false;

  const std::int64_t fileSize = IsOpen() ? Size() : 0;
  if (fileSize < 0) return scope.Error(u"Error reading File Size.");
  // An empty or nearly empty file is not the scanner's error: callers find no chunks.
  if (fileSize < std::int64_t(kRiffHeaderSize)) return scope.Ok();

  riffId_ = MakeFourCC("RIFF");
  formType_ = MakeFourCC("WAVE");
  CalcAllChunks();
  chunks_.clear();
  currentChunk_ = nullptr;
  fileSize_ = std::uint64_t(fileSize);
  headerRiffSize_ = 0;
  trailingBytes_ = 0;

  FileSource source(*this);
  ChunkWalk walk;
  const bool walked =
      IsOpen() ? WalkChunks(source, fileSize, scope, walk) : scope.Error(u"Error Setting File Position to 0.");
  if (walk.riffId != 0) {
    riffId_ = walk.riffId;
    formType_ = walk.formType;
    riffSize_ = walk.riffSize;
    headerRiffSize_ = walk.riffSize;
  }
  isRF64_ = walk.isRF64;
  ds64RiffSize_ = walk.ds64RiffSize;
  ds64DataSize_ = walk.ds64DataSize;
  ds64SampleCount_ = walk.ds64SampleCount;
  chunks_ = std::move(walk.chunks);
  currentChunk_ = chunks_.empty() ? nullptr : chunks_.back().get();
  if (!walked) return false;
  CheckLayout(scope);
  const std::uint64_t end = riffSize_ + 8;
  trailingBytes_ = fileSize_ > end ? fileSize_ - end : 0;
  return scope.Ok();
}

void clRIFFHandler::CheckLayout(const TraceScope& scope) {
  // The list now describes the contiguous layout that a writer would produce;
  // where the file disagrees, say so, but keep going with the computed one.
  std::vector<std::pair<std::uint64_t, std::uint64_t>> read;
  read.reserve(chunks_.size());
  for (const auto& c : chunks_) read.emplace_back(c->ChunkPosition, c->FileDataPosition);
  const std::uint64_t storedSize = riffSize_;
  CalcAllChunks();
  if (storedSize != riffSize_ && !isRF64_ && (storedSize & 1) == 0)
    scope.Info(u"Error calculated total RIFF chunk size differs from file.");
  for (std::size_t i = 0; i < chunks_.size(); ++i) {
    if (chunks_[i]->ChunkPosition != read[i].first)
      scope.Error(u"Error calculated sub-chunk ChunkPosition differs from file.");
    if (chunks_[i]->FileDataPosition != read[i].second)
      scope.Error(u"Error calculated sub-chunk FileDataPosition differs from file.");
  }
}

RIFFChunkInfo* clRIFFHandler::FindChunk(std::string_view id, bool caseless) {
  for (auto& c : chunks_) {
    currentChunk_ = c.get();
    if (FourCCMatches(c->ChunkID, id, caseless)) return c.get();
  }
  return nullptr;
}

int clRIFFHandler::FindChunkIndex(std::string_view id) {
  for (std::size_t i = 0; i < chunks_.size(); ++i) {
    currentChunk_ = chunks_[i].get();
    if (FourCCMatches(chunks_[i]->ChunkID, id, true)) return int(i);
  }
  return -1;
}

int clRIFFHandler::FindDataChunkIndex() { return FindChunkIndex("data"); }

bool clRIFFHandler::CanEdit(const char* function) const {
  bool fmt = false, data = false, ds64 = false;
  std::u16string seen, beforeAudio;
  for (const auto& c : chunks_) {
    fmt = fmt || FourCCMatches(c->ChunkID, "fmt ", true);
    const bool isData = FourCCMatches(c->ChunkID, "data", true);
    if (!data) {
      ds64 = ds64 || IsDs64(*c);
      beforeAudio += (beforeAudio.empty() ? u"'" : u", '") + FourCCToText(c->ChunkID) + u"'";
    }
    data = data || isData;
    seen += (seen.empty() ? u"'" : u", '") + FourCCToText(c->ChunkID) + u"'";
  }
  if (!fmt || !data) {
    const std::u16string missing = !fmt && !data ? u"no 'fmt ' and no 'data' chunk"
                                   : !fmt        ? u"no 'fmt ' chunk"
                                                 : u"no 'data' chunk";
    TraceError(u"Error the RIFF area (RIFF size " + ToTextU(headerRiffSize_) + u", file size " + ToTextU(fileSize_) +
                   u", chunks " + (seen.empty() ? std::u16string(u"none") : seen) + u") holds " + missing +
                   u": an unfinished or damaged file is left as it is.",
               log_, function);
    return false;
  }
  // Without its sizes the 'data' header of an RF64 file says nothing, and the
  // walk went on into the audio, reading it as chunks; those must not be edited.
  if (isRF64_ && !ds64) {
    TraceError(u"Error the RF64 file (file size " + ToTextU(fileSize_) + u", chunks " + beforeAudio +
                   u") has no 'ds64' chunk of " + ToTextU(kDs64Size) +
                   u" bytes before its 'data' chunk, so the size of its audio is not known: it is left as it is.",
               log_, function);
    return false;
  }
  return true;
}
