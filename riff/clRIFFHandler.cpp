#include "riff/clRIFFHandler.h"

#include <array>

#include "codec/Trace.h"
#include "io/ByteReader.h"
#include "io/Text.h"

namespace {
constexpr const char* kScan = "clRIFFHandler::ScanFile";

std::uint64_t SubtractToZero(std::uint64_t from, std::uint64_t amount) { return amount > from ? 0 : from - amount; }

// A 64-bit 'ds64' field: low 32-bit word first, then the high word.
std::uint64_t ReadSplit64(ByteReader& r) {
  const std::uint32_t low = r.U32();
  const std::uint32_t high = r.U32();
  return Join64(low, high);
}
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

  if (!IsOpen() || !Seek(0)) return scope.Error(u"Error Setting File Position to 0.");
  std::array<std::uint8_t, kRiffHeaderSize> head{};
  if (Read(head.data(), head.size()) != std::int64_t(head.size()))
    return scope.Error(u"Error: File too small for RIFF.");
  ByteReader header(head);
  const std::uint32_t id = header.FourCC();
  const std::uint32_t size32 = header.U32();
  const std::uint32_t form = header.FourCC();

  if (!FourCCMatches(id, "RIFF", true) && !FourCCMatches(id, "RF64", true))
    return scope.Error(u"Error RIFF chunk unknown '" + FourCCToText(id) + u"'");
  isRF64_ = FourCCMatches(id, "RF64", true);
  if (!FourCCMatches(form, "WAVE", true))
    return scope.Error(u"Error RIFF form chunk unknown '" + FourCCToText(form) + u"'");

  scope.Info(u"  RIFF Header '" + FourCCToText(id) + u"'  Length: " + ToTextU(size32) + u"  FormType '" +
             FourCCToText(form) + u"'");
  if ((size32 & 1) && size32 != 0xFFFFFFFFu)
    scope.Info(u"Warning: RIFF chunk has uneven databytes, is non-compliant RIFF.");

  riffId_ = id;
  riffSize_ = size32;
  formType_ = form;
  std::uint64_t riffLeft = size32 < 4 ? 0 : size32 - 4;
  std::uint64_t fileLeft = std::uint64_t(fileSize) - kRiffHeaderSize;
  if (riffLeft != fileLeft && !isRF64_)
    scope.Info(u"Warning 'RiffSizeLeft != FileSizeLeft' must be extra data on end of file.");

  while (fileLeft != 0 && riffLeft != 0) {
    const std::int64_t position = Tell();
    if (position < 0) return scope.Error(u"Error reading File Position.");

    std::array<std::uint8_t, kChunkHeaderSize> chunkHead{};
    if (Read(chunkHead.data(), chunkHead.size()) < std::int64_t(chunkHead.size())) {
      // With 8 bytes or fewer of the RIFF area left this is just the end.
      if (riffLeft >= 9) scope.Error(u"File error reading chunk.");
      break;
    }
    ByteReader chunkReader(chunkHead);
    const std::uint32_t chunkId = chunkReader.FourCC();
    std::uint64_t size = chunkReader.U32();
    riffLeft = SubtractToZero(riffLeft, kChunkHeaderSize);
    fileLeft = SubtractToZero(fileLeft, kChunkHeaderSize);
    // An RF64 'data' header holds a placeholder; the real size is in 'ds64'.
    if (isRF64_ && FourCCMatches(chunkId, "data", true)) size = ds64DataSize_;

    scope.Info(u"  Got Chunk '" + FourCCToText(chunkId) + u"'  Length: " + ToTextU(size) + u"  RiffSizeLeft: " +
               ToTextU(riffLeft) + u"  ChunkPosition: " + ToText(position));

    // Running past the RIFF area is only a warning, even when the chunk also
    // runs past the file; running past the file alone is an error. Either way
    // the size is cut to what the file holds.
    if (size > fileLeft) {
      if (size <= riffLeft)
        scope.Error(u"Error Chunk is out of file.");
      else
        scope.Info(u"Warning Chunk is out of RIFF area (but still inside file).");
      size = fileLeft;
    } else if (size > riffLeft) {
      scope.Info(u"Warning Chunk is out of RIFF area (but still inside file).");
    }

    auto record = std::make_unique<RIFFChunkInfo>();
    record->ChunkID = chunkId;
    record->DataSize = size;
    record->ChunkPosition = std::uint64_t(position);
    record->FileDataPosition = std::uint64_t(position) + kChunkHeaderSize;
    currentChunk_ = record.get();
    chunks_.push_back(std::move(record));

    std::uint64_t padded = Padded(size);
    if (FourCCMatches(chunkId, "ds64", true) && size >= kDs64Size) {
      std::array<std::uint8_t, kDs64Size> ds64{};
      if (Read(ds64.data(), ds64.size()) == std::int64_t(ds64.size())) {
        ByteReader r(ds64);
        ds64RiffSize_ = ReadSplit64(r);
        ds64DataSize_ = ReadSplit64(r);
        ds64SampleCount_ = ReadSplit64(r);
        riffSize_ = ds64RiffSize_;
        const std::uint64_t consumed = std::uint64_t(size32) - riffLeft;
        riffLeft = SubtractToZero(SubtractToZero(ds64RiffSize_, consumed), kDs64Size);
        padded -= kDs64Size;
      } else if (!Seek(position + kChunkHeaderSize)) {
        scope.Error(u"Error Setting Position.");
        break;
      }
    }

    if (!Seek(std::int64_t(padded), SeekOrigin::Current)) {
      scope.Error(u"Error Setting Position.");
      break;
    }
    riffLeft = SubtractToZero(riffLeft, padded);
    fileLeft = SubtractToZero(fileLeft, padded);
  }

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
  return scope.Ok();
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
