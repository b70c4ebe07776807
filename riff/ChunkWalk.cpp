#include "riff/ChunkWalk.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "codec/Trace.h"
#include "io/ByteReader.h"
#include "io/Limits.h"
#include "io/Text.h"
#include "riff/clRIFFHandler.h"

namespace {
constexpr std::uint32_t kHeaderSize = clRIFFHandler::kRiffHeaderSize;
constexpr std::uint32_t kChunkHeaderSize = clRIFFHandler::kChunkHeaderSize;
constexpr std::uint32_t kDs64Size = clRIFFHandler::kDs64Size;

std::uint64_t SubtractToZero(std::uint64_t from, std::uint64_t amount) { return amount > from ? 0 : from - amount; }

// A 64-bit 'ds64' field: low 32-bit word first, then the high word.
std::uint64_t ReadSplit64(ByteReader& r) {
  const std::uint32_t low = r.U32();
  const std::uint32_t high = r.U32();
  return Join64(low, high);
}

// Where the walk stands: what is left of the RIFF area and of the file.
struct Walk {
  ChunkSource& source;
  const TraceScope& scope;
  ChunkWalk& out;
  std::uint32_t size32 = 0;  // the RIFF size as the container header holds it
  std::uint64_t riffLeft = 0;
  std::uint64_t fileLeft = 0;

  void Consume(std::uint64_t amount) {
    riffLeft = SubtractToZero(riffLeft, amount);
    fileLeft = SubtractToZero(fileLeft, amount);
  }
};

bool ReadContainerHeader(Walk& w, std::int64_t fileSize) {
  if (!w.source.Seek(0)) return w.scope.Error(u"Error Setting File Position to 0.");
  std::array<std::uint8_t, kHeaderSize> head{};
  if (w.source.Read(head.data(), head.size()) != std::int64_t(head.size()))
    return w.scope.Error(u"Error: File too small for RIFF.");
  ByteReader header(head);
  const std::uint32_t id = header.FourCC();
  w.size32 = header.U32();
  const std::uint32_t form = header.FourCC();

  if (!FourCCMatches(id, "RIFF", true) && !FourCCMatches(id, "RF64", true))
    return w.scope.Error(u"Error RIFF chunk unknown '" + FourCCToText(id) + u"'");
  w.out.isRF64 = FourCCMatches(id, "RF64", true);
  if (!FourCCMatches(form, "WAVE", true))
    return w.scope.Error(u"Error RIFF form chunk unknown '" + FourCCToText(form) + u"'");

  w.scope.Info(u"  RIFF Header '" + FourCCToText(id) + u"'  Length: " + ToTextU(w.size32) + u"  FormType '" +
               FourCCToText(form) + u"'");
  if ((w.size32 & 1) && w.size32 != 0xFFFFFFFFu)
    w.scope.Info(u"Warning: RIFF chunk has uneven databytes, is non-compliant RIFF.");

  w.out.riffId = id;
  w.out.riffSize = w.size32;
  w.out.formType = form;
  w.riffLeft = w.size32 < 4 ? 0 : w.size32 - 4;
  w.fileLeft = std::uint64_t(fileSize) - kHeaderSize;
  if (w.riffLeft != w.fileLeft && !w.out.isRF64)
    w.scope.Info(u"Warning 'RiffSizeLeft != FileSizeLeft' must be extra data on end of file.");
  return true;
}

// Running past the RIFF area is only a warning, even when the chunk also runs
// past the file; running past the file alone is an error. Either way the size
// is cut to what the file holds.
std::uint64_t CheckedSize(const Walk& w, std::uint64_t size) {
  if (size > w.fileLeft) {
    if (size <= w.riffLeft)
      w.scope.Error(u"Error Chunk is out of file.");
    else
      w.scope.Info(u"Warning Chunk is out of RIFF area (but still inside file).");
    return w.fileLeft;
  }
  if (size > w.riffLeft) w.scope.Info(u"Warning Chunk is out of RIFF area (but still inside file).");
  return size;
}

// The three sizes of an RF64 file; they replace the RIFF size and what is left of it.
void ReadDs64(Walk& w) {
  std::array<std::uint8_t, kDs64Size> ds64{};
  if (w.source.Read(ds64.data(), ds64.size()) != std::int64_t(ds64.size())) return;
  ByteReader r(ds64);
  w.out.ds64RiffSize = ReadSplit64(r);
  w.out.ds64DataSize = ReadSplit64(r);
  w.out.ds64SampleCount = ReadSplit64(r);
  w.out.riffSize = w.out.ds64RiffSize;
  const std::uint64_t consumed = std::uint64_t(w.size32) - w.riffLeft;
  w.riffLeft = SubtractToZero(w.out.ds64RiffSize, consumed);
}

enum class Step { Next, Stop, Fail };

// One chunk header and the seek past its data.
Step WalkOneChunk(Walk& w) {
  const std::int64_t position = w.source.Tell();
  if (position < 0) return w.scope.Error(u"Error reading File Position."), Step::Fail;

  std::array<std::uint8_t, kChunkHeaderSize> head{};
  if (w.source.Read(head.data(), head.size()) < std::int64_t(head.size())) {
    // With 8 bytes or fewer of the RIFF area left this is just the end.
    if (w.riffLeft >= 9) w.scope.Error(u"File error reading chunk.");
    return Step::Stop;
  }
  ByteReader reader(head);
  const std::uint32_t id = reader.FourCC();
  std::uint64_t size = reader.U32();
  w.Consume(kChunkHeaderSize);
  // An RF64 'data' header holds a placeholder; the real size is in 'ds64'.
  if (w.out.isRF64 && FourCCMatches(id, "data", true)) size = w.out.ds64DataSize;
  w.scope.Info(u"  Got Chunk '" + FourCCToText(id) + u"'  Length: " + ToTextU(size) + u"  RiffSizeLeft: " +
               ToTextU(w.riffLeft) + u"  ChunkPosition: " + ToText(position));
  size = CheckedSize(w, size);

  auto record = std::make_unique<RIFFChunkInfo>();
  record->ChunkID = id;
  record->DataSize = size;
  record->ChunkPosition = std::uint64_t(position);
  record->FileDataPosition = std::uint64_t(position) + kChunkHeaderSize;
  w.out.chunks.push_back(std::move(record));

  if (FourCCMatches(id, "ds64", true) && size >= kDs64Size) ReadDs64(w);
  const std::uint64_t padded = Padded(size);
  const std::uint64_t next = std::uint64_t(position) + kChunkHeaderSize + padded;
  if (next > std::uint64_t(INT64_MAX) || !w.source.Seek(std::int64_t(next))) {
    w.scope.Error(u"Error Setting Position.");
    return Step::Stop;
  }
  w.Consume(padded);
  return Step::Next;
}
}  // namespace

std::int64_t MemorySource::Read(void* buffer, std::int64_t count) {
  const std::int64_t size = std::int64_t(bytes_.size());
  const std::int64_t n = std::clamp<std::int64_t>(std::min(count, size - position_), 0, size);
  if (n > 0) std::memcpy(buffer, bytes_.data() + position_, std::size_t(n));
  position_ += n;
  return n;
}

bool MemorySource::Seek(std::int64_t position) {
  if (position < 0) return false;
  position_ = position;
  return true;
}

bool WalkChunks(ChunkSource& source, std::int64_t fileSize, const TraceScope& scope, ChunkWalk& out) {
  Walk w{source, scope, out};
  if (!ReadContainerHeader(w, fileSize)) return false;
  while (w.fileLeft != 0 && w.riffLeft != 0) {
    if (out.chunks.size() == kMaxChunkRecords) {
      scope.Error(u"Error more than " + ToTextU(kMaxChunkRecords) + u" chunks: the rest of the file is not scanned.");
      break;
    }
    const Step step = WalkOneChunk(w);
    if (step == Step::Fail) return false;
    if (step == Step::Stop) break;
  }
  return true;
}
