#include "wave/clsStreamingwavedecoder_Wave.h"

#include <algorithm>
#include <array>

#include "codec/Trace.h"
#include "io/ByteReader.h"
#include "io/Limits.h"
#include "io/Text.h"
#include "riff/FormatChunk.h"
#include "riff/TagSettings.h"
#include "riff/clRIFFHandler.h"
#include "wave/AudioProperties.h"

namespace {
constexpr WaveEngine::Names kNames = {"clsStreamingwavedecoder_Wave::Initialize",
                                      "clsStreamingwavedecoder_Wave::PullOutFMTnDATA",
                                      "clsStreamingwavedecoder_Wave::ReadIDTags",
                                      "clsStreamingwavedecoder_Wave::FillAudioProps",
                                      "clsStreamingwavedecoder_Wave::FillAudioInfo",
                                      "clsStreamingwavedecoder_Wave::PrepareToDecodeAudio",
                                      "clsStreamingwavedecoder_Wave::ReadDataBlock",
                                      "clsStreamingwavedecoder_Wave::DecodeBlock",
                                      "clsStreamingwavedecoder_Wave::SetPosition",
                                      "clsStreamingwavedecoder_Wave::Close",
                                      "clsStreamingwavedecoder_Wave::InitializeExternalDecoder",
                                      "clsStreamingwavedecoder_Wave::ExternalDecodeData"};

// What a stream that cannot tell its length is taken to hold.
constexpr std::uint64_t kAssumedStreamLength = 3000000000;
// The end of audio whose size the file leaves open: as far as the stream goes.
constexpr std::int64_t kOpenEndedData = 4294967295000;
constexpr std::size_t kSkipPiece = 65536;

std::uint64_t SubtractToZero(std::uint64_t from, std::uint64_t amount) { return amount > from ? 0 : from - amount; }

// The chunks whose bytes the tag reader needs; the walk keeps them, and only them.
bool IsTagChunk(std::uint32_t id) {
  return FourCCMatches(id, "LIST", true) || FourCCMatches(id, "bext", true) || id == MakeFourCC("id3 ") ||
         id == MakeFourCC("ID3 ");
}
}  // namespace

clsStreamingwavedecoder_Wave::clsStreamingwavedecoder_Wave(const TraceContext& log) : WaveEngine(kNames, log) {}

bool clsStreamingwavedecoder_Wave::Initialize(WaveStream& stream, const TraceContext& log, std::int64_t rangeStart,
                                              std::int64_t rangeEnd) {
  Restart(log, rangeStart, rangeEnd);
  TraceScope scope(log_, names_.initialize);
  stream_ = &stream;
  headerParsed_ = formatFound_ = walked_ = unknownLength_ = false;
  streamLeft_ = riffLeft_ = 0;
  fmtSize_.reset();
  chunks_.clear();
  kept_.clear();
  return scope.Ok();
}

bool clsStreamingwavedecoder_Wave::PullOutFMTnDATA() {
  if (headerParsed_) return walked_;
  headerParsed_ = true;
  TraceScope scope(log_, names_.pull);
  if (!stream_) return scope.Error(u"Error: File too small for RIFF.");
  const std::optional<std::int64_t> length = stream_->Length();
  streamLeft_ = length ? std::uint64_t(std::max<std::int64_t>(*length, 0)) : kAssumedStreamLength;
  std::uint64_t riffSize = 0;
  if (!ReadRiffHeader(scope, riffSize)) return false;
  streamLeft_ = SubtractToZero(streamLeft_, clRIFFHandler::kRiffHeaderSize);
  riffLeft_ = riffSize < 4 ? 0 : riffSize - 4;
  Step step = streamLeft_ == 0 ? Step::Done : Step::Next;
  while (step == Step::Next) {
    if (riffLeft_ == 0) break;
    if (chunks_.size() == kMaxChunkRecords) {
      scope.Error(u"Error more than " + ToTextU(kMaxChunkRecords) + u" chunks before the audio.");
      return false;
    }
    step = WalkChunk(scope);
  }
  if (step == Step::Fail) return false;
  // Ended (RIFF area or stream) before any 'fmt ': nothing could describe or decode the audio.
  if (!formatFound_) return scope.Error(u"Error wave file has no format chunk.");
  walked_ = true;
  return scope.Ok();
}

bool clsStreamingwavedecoder_Wave::ReadRiffHeader(const TraceScope& scope, std::uint64_t& riffSize) {
  std::array<std::uint8_t, clRIFFHandler::kRiffHeaderSize> head{};
  if (stream_->Read(head.data(), std::int64_t(head.size())) != std::int64_t(head.size()))
    return scope.Error(u"Error: File too small for RIFF.");
  ByteReader r(head);
  const std::uint32_t id = r.FourCC();
  riffSize = r.U32();
  const std::uint32_t form = r.FourCC();
  // A stream cannot go back for a 'ds64' chunk: RF64 is refused at its first identifier.
  if (!FourCCMatches(id, "RIFF", true)) return scope.Error(u"Error RIFF chunk unknown '" + FourCCToText(id) + u"'");
  if (!FourCCMatches(form, "WAVE", true))
    return scope.Error(u"Error RIFF form chunk unknown '" + FourCCToText(form) + u"'");
  scope.Line(u"  RIFF Header '" + FourCCToText(id) + u"'  Length: " + ToTextU(riffSize) + u"  FormType '" +
             FourCCToText(form) + u"'");
  if (riffSize & 1) scope.Info(u"Warning: RIFF chunk has uneven databytes, is non-compliant RIFF.");
  return true;
}

void clsStreamingwavedecoder_Wave::Consume(std::uint64_t amount) {
  riffLeft_ = SubtractToZero(riffLeft_, amount);
  streamLeft_ = SubtractToZero(streamLeft_, amount);
}

clsStreamingwavedecoder_Wave::Step clsStreamingwavedecoder_Wave::WalkChunk(const TraceScope& scope) {
  const std::int64_t position = stream_->Position();
  std::array<std::uint8_t, clRIFFHandler::kChunkHeaderSize> head{};
  if (stream_->Read(head.data(), std::int64_t(head.size())) != std::int64_t(head.size())) {
    // Deliberately lenient: a stream cut short is not refused here.
    if (riffLeft_ > clRIFFHandler::kChunkHeaderSize) scope.Error(u"File error reading chunk.");
    return Step::Done;
  }
  ByteReader r(head);
  const std::uint32_t id = r.FourCC();
  std::uint64_t size = r.U32();
  Consume(clRIFFHandler::kChunkHeaderSize);
  scope.Line(u"  Got Chunk '" + FourCCToText(id) + u"'  Length: " + ToTextU(size) + u"  RiffSizeLeft: " +
             ToTextU(riffLeft_) + u"  ChunkPosition: " + ToText(position));
  if (size > streamLeft_) {
    scope.Error(u"Error Chunk is out of file.");
    size = streamLeft_;
  } else if (size > riffLeft_) {
    scope.Info(u"Warning Chunk is out of RIFF area (but still inside file).");
  }
  if (FourCCMatches(id, "data", true)) return StartData(scope, size);
  const bool passed = FourCCMatches(id, "fmt ", true) ? ReadFormat(scope, size) : PassChunk(scope, id, size);
  if (!passed) return Step::Fail;
  // The pad byte of an odd chunk arrives with it.
  if ((size & 1) && !Skip(1)) return Step::Done;
  Consume(Padded(size));
  return streamLeft_ == 0 ? Step::Done : Step::Next;
}

bool clsStreamingwavedecoder_Wave::ReadFormat(const TraceScope& scope, std::uint64_t size) {
  chunks_.push_back({MakeFourCC("fmt "), size});
  if (size < kFmtChunkMinSize || size > kFmtChunkMaxSize) return scope.Error(u"Error 'fmt ' chunk is a bad size.");
  std::vector<std::uint8_t> bytes(std::size_t(size), 0);
  if (stream_->Read(bytes.data(), std::int64_t(size)) != std::int64_t(size))
    return scope.Error(u"Error cannot read 'fmt ' chunk from file.");
  scope.Line(u"Assigning 'fmt ' chunk to WFX");
  // A later 'fmt ' chunk is passed like any other: the first one describes the audio.
  if (!formatFound_) {
    fmtSize_ = size;
    AssignFormat(std::move(bytes));
    formatFound_ = true;
  }
  return true;
}

clsStreamingwavedecoder_Wave::Step clsStreamingwavedecoder_Wave::StartData(const TraceScope& scope,
                                                                           std::uint64_t size) {
  chunks_.push_back({MakeFourCC("data"), size});
  dataStart_ = stream_->Position();
  dataEnd_ = dataStart_ + std::int64_t(size);
  if (size == 0 && !stream_->Length()) {
    dataEnd_ = dataStart_ + kOpenEndedData;
    unknownLength_ = true;
  }
  if (!formatFound_) return scope.Error(u"Error wave file has no format chunk."), Step::Fail;
  return Step::Done;
}

bool clsStreamingwavedecoder_Wave::PassChunk(const TraceScope& scope, std::uint32_t id, std::uint64_t size) {
  if (size > kMaxStreamedChunkBytes) return scope.Error(u"Error unknown Chunk too large for streaming.");
  chunks_.push_back({id, size});
  if (!IsTagChunk(id)) {
    if (!Skip(size)) return scope.Error(u"Error cannot read unknown chunk from file.");
    return true;
  }
  std::vector<std::uint8_t> bytes(std::size_t(size), 0);
  if (stream_->Read(bytes.data(), std::int64_t(size)) != std::int64_t(size))
    return scope.Error(u"Error cannot read unknown chunk from file.");
  kept_[chunks_.size() - 1] = std::move(bytes);
  return true;
}

bool clsStreamingwavedecoder_Wave::Skip(std::uint64_t count) {
  std::array<std::uint8_t, kSkipPiece> scratch{};
  while (count > 0) {
    const auto n = std::int64_t(std::min<std::uint64_t>(count, scratch.size()));
    if (stream_->Read(scratch.data(), n) != n) return false;
    count -= std::uint64_t(n);
  }
  return true;
}

bool clsStreamingwavedecoder_Wave::ReadIDTags(std::u16string& summary, const ID3v2ReadOptions& id3Options) {
  TraceScope scope(log_, names_.readTags);
  if (!BeginTagRead(summary)) return false;
  const ChunkBytes bytes = [&](std::size_t index, std::vector<std::uint8_t>& data) {
    const auto it = kept_.find(index);
    if (it == kept_.end()) return false;
    data = it->second;
    return true;
  };
  ReadTagChunks(chunks_, bytes, tags_, log_, id3Options, int(ReadTagSetting(u"WaveLISTAlbum")), tagChunks_);
  summary_ = TagSummary(tagChunks_);
  LogTags(tags_, log_, names_.readTags);
  PublishTags();
  summary = summary_;
  return scope.Ok();
}

std::int64_t clsStreamingwavedecoder_Wave::ReadSource(void* buffer, std::int64_t count) {
  return stream_ ? stream_->Read(buffer, count) : -1;
}

bool clsStreamingwavedecoder_Wave::StartSource(std::int64_t position) {
  if (!stream_) return false;
  const std::int64_t at = stream_->Position();
  if (stream_->Seek(position)) return true;
  // A stream that cannot move still gets to a later start by reading up to it.
  return position > at && Skip(std::uint64_t(position - at));
}

bool clsStreamingwavedecoder_Wave::ShortReadEndsData() const {
  // A stream that never said how long it is ends where it ends; one that did
  // and then stopped short, or failed, lost audio.
  return stream_ && !stream_->Failed() && (unknownLength_ || !stream_->Length());
}

void clsStreamingwavedecoder_Wave::DescribeSource(AudioPropertyInputs& in) { in.fmtChunkSize = fmtSize_; }

void clsStreamingwavedecoder_Wave::CloseSource() {
  stream_ = nullptr;
  kept_.clear();
  chunks_.clear();
  headerParsed_ = formatFound_ = walked_ = false;
}
