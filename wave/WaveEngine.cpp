#include "wave/WaveEngine.h"

#include <algorithm>

#include "codec/Trace.h"
#include "io/Text.h"
#include "wave/AudioProperties.h"
#include "wave/AudioText.h"

namespace {
// base + blocks x align, clamped to [low, high] without overflowing.
std::int64_t BlockPosition(std::int64_t base, std::uint64_t blocks, std::int64_t align, std::int64_t low,
                           std::int64_t high) {
  const std::uint64_t room = high > base ? std::uint64_t(high - base) : 0;
  const std::int64_t pos = blocks > room / std::uint64_t(align) ? high : base + std::int64_t(blocks) * align;
  return std::clamp(pos, low, std::max(low, high));
}

std::int64_t RateOrOne(std::uint32_t rate) { return rate ? rate : 1; }

// The record's field is 32 bits wide: an absurd byte rate wraps there as it does in the quality class.
std::uint32_t BitRate(const WFX& format) { return format.AvgBytesPerSec() * 8u; }
}  // namespace

void WaveEngine::Restart(const TraceContext& log, std::int64_t rangeStart, std::int64_t rangeEnd) {
  log_ = log;
  rangeStart_ = std::uint64_t(rangeStart);
  rangeEnd_ = std::uint64_t(rangeEnd);
  fmtBuffer_.clear();
  factSamples_ = 0;
  dataStart_ = dataEnd_ = 0;
  readPosition_ = bytesRemaining_ = 0;
  input_.Clear();
  tags_.Clear();
  summary_.clear();
  tagBlock_.clear();
  propBlock_.clear();
}

void WaveEngine::AssignFormat(std::vector<std::uint8_t>&& fmt) {
  fmtBuffer_ = std::move(fmt);
  onFile_.SetFromChunk(fmtBuffer_);
  uncompressed_ = UncompressedFrom(onFile_);
}

void WaveEngine::PublishTags() { tagBlock_ = tags_.ToBlock(); }

bool WaveEngine::BeginTagRead(std::u16string& summary) {
  tags_.Clear();
  tagBlock_.clear();
  summary_.clear();
  summary.clear();
  return PullOutFMTnDATA();
}

WaveEngine::ByteRange WaveEngine::DecodeRange() const {
  const std::int64_t align = BlockAlign();
  ByteRange r{};
  r.start = BlockPosition(dataStart_, rangeStart_, align, dataStart_, dataEnd_);
  if (rangeEnd_ == ~std::uint64_t{0}) {
    r.end = dataEnd_ - (dataEnd_ - dataStart_) % align;  // whole blocks only
    r.end = std::clamp(r.end, dataStart_, std::max(dataStart_, dataEnd_));
  } else {
    r.end = BlockPosition(dataStart_, rangeEnd_, align, dataStart_, dataEnd_);
  }
  r.length = std::max(r.end, r.start) - r.start;
  return r;
}

bool WaveEngine::FillAudioProps(bool) {
  // The property text reads no tagging settings, so ignoring them changes nothing here.
  TraceScope scope(log_, names_.fillProps);
  propBlock_.clear();
  if (!PullOutFMTnDATA()) return false;
  AudioPropertyInputs in;
  in.onFile = &onFile_;
  in.uncompressed = &uncompressed_;
  in.decodeBytes = DecodeRange().length;
  in.factSamples = factSamples_;
  in.tags = &tags_;
  in.tagSummary = summary_;
  DescribeSource(in);
  propBlock_ = BuildAudioProperties(in, log_).ToBlock();
  return scope.Ok();
}

bool WaveEngine::FillAudioInfo(OpenRecord& record) {
  TraceScope scope(log_, names_.fillInfo);
  if (!PullOutFMTnDATA()) return false;
  uncompressed_.CopyTo(record.Format);
  record.DataBytes = DecodeRange().length;
  record.BitRate = BitRate(onFile_);
  const std::uint16_t type = onFile_.GetFormatType();
  // Compressed formats know their true sample count only from 'fact', and
  // that count describes the whole file, not a part of it.
  if (factSamples_ != 0 && type != kWaveFormatPcm && type != kWaveFormatIeeeFloat && rangeStart_ == 0 &&
      rangeEnd_ == ~std::uint64_t{0})
    record.LengthMs = std::int64_t(factSamples_) * 1000 / RateOrOne(onFile_.SamplesPerSec());
  else
    record.LengthMs = record.DataBytes * 1000 / RateOrOne(onFile_.AvgBytesPerSec());
  scope.Line(u"Audio Length: " + ToText(record.LengthMs) + u" mili-seconds  " + ToText(record.DataBytes) + u" bytes  " +
             ToText(std::int64_t(record.BitRate) / 1000) + u" kbps");
  return scope.Ok();
}

bool WaveEngine::LoadSubDecoder(const TraceScope& scope) {
  scope.Line(u"Loading MP3 Sub-Decoder");
  const std::u16string path = SiblingPath(Mp3SiblingName());
  subDecoder_.Reset();
  if (!subDecoder_.Load(path)) return scope.Error(u"Error loading external Decoder '" + path + u"'");
  subDecoder_.extension = u".mp3";
  subDecoder_.libraryPath = path;
  external_ = true;
  return true;
}

bool WaveEngine::CreateConverter(const TraceScope& scope) {
  scope.Line(u"Calling ACMDecoder.CreateNewConverter");
  if (!converter_.CreateNewConverter(onFile_))
    return scope.Error(u"Error Cannot Create Wave Decoder (" + FormatTagName(onFile_) + u")");
  scope.Line(u"Compressed WFX (on file): " + WfxText(onFile_));
  uncompressed_.Assign(converter_.OutputFormat());
  scope.Line(u"Uncompressed WFX (sent to qv): " + WfxText(uncompressed_));
  return true;
}

bool WaveEngine::PrepareToDecodeAudio(std::uint8_t (&format)[40]) {
  TraceScope scope(log_, names_.prepare);
  if (!PullOutFMTnDATA() || !CheckDecodable(scope)) return false;
  input_.format.Assign(onFile_);
  converter_.SetTrace(log_);
  external_ = false;
  pendingData_ = nullptr;
  pendingBytes_ = 0;
  const std::uint16_t type = onFile_.GetFormatType();
  if ((type == kWaveFormatMpeg || type == kWaveFormatMpegLayer3) && !LoadSubDecoder(scope)) return false;
  if (!external_ && !CreateConverter(scope)) return false;

  scope.Line(u"Setting Position in File");
  const ByteRange range = DecodeRange();
  readPosition_ = range.start;
  bytesRemaining_ = range.length;
  if (!StartSource(readPosition_)) return scope.Error(u"Error SetPosition returned false.");
  if (external_ && !InitializeExternalDecoder()) return false;

  uncompressed_.CopyTo(format);
  return scope.Ok();
}

bool WaveEngine::ReadDataBlock() {
  const std::int64_t align = BlockAlign();
  // A trailing part-block is never decoded, also where a range's end falls inside a block.
  bytesRemaining_ -= bytesRemaining_ % align;
  std::int64_t size = std::min<std::int64_t>(kMaxRead / align * align, bytesRemaining_);
  if (size == 0) {
    input_.valid = 0;
    return true;
  }
  if (!input_.Reserve(std::size_t(size))) {
    TraceError(u"Error allocating decoding buffer.", log_, names_.read);
    return false;
  }
  const std::int64_t got = ReadSource(input_.writable(), size);
  if (got != size) {
    if (got < 0 || !ShortReadEndsData()) {
      TraceError(u"Error reading data from file.", log_, names_.read);
      return false;
    }
    // Audio of unknown length ends where its source does, in whole blocks.
    size = got - got % align;
    bytesRemaining_ = size;
  }
  input_.valid = std::size_t(size);
  bytesRemaining_ -= size;
  readPosition_ += size;
  return true;
}

bool WaveEngine::DecodeBlock(AudioBlock& block) {
  const ByteRange range = DecodeRange();
  block.PositionMs = (readPosition_ - range.start) * 1000 / RateOrOne(onFile_.AvgBytesPerSec());
  if (bytesRemaining_ == 0 && !(pendingData_ && pendingBytes_)) {
    block.Data = nullptr;
    block.DataBytes = 0;
    block.LastBlock = 1;
    return true;
  }
  if (external_) {
    if (pendingData_ && pendingBytes_) {
      // The output was produced ahead: its time lies before the read position.
      block.PositionMs -= std::int64_t(pendingBytes_) * 1000 / RateOrOne(uncompressed_.AvgBytesPerSec());
    } else if (!ExternalDecodeData()) {
      return false;
    }
    block.Data = pendingData_;
    block.DataBytes = pendingBytes_;
    pendingData_ = nullptr;
    pendingBytes_ = 0;
  } else {
    if (!ReadDataBlock()) return false;
    if (!converter_.Convert(input_, bytesRemaining_ == 0)) {
      TraceError(u"Error cannot decode data, audio file corrupt?", log_, names_.decode);
      return false;
    }
    const AudioBuffer& out = converter_.Output();
    if (out.valid > 0xFFFFFFFFu) {
      TraceError(u"AudioBlock.DataBytes overflow", log_, names_.decode);
      return false;
    }
    block.Data = out.data;
    block.DataBytes = std::uint32_t(out.valid);
  }
  uncompressed_.CopyTo(block.Format);
  block.BitRate = BitRate(onFile_);
  block.DurationMs = std::int64_t(block.DataBytes) * 1000 / RateOrOne(uncompressed_.AvgBytesPerSec());
  block.LastBlock = bytesRemaining_ == 0 ? 1 : 0;
  return true;
}

bool WaveEngine::SetPosition(std::uint64_t block) {
  const ByteRange range = DecodeRange();
  // Beyond the end means at the end; with an end below the start that is
  // before the start, and nothing remains.
  const std::int64_t position =
      std::min(BlockPosition(range.start, block, BlockAlign(), range.start, range.end), range.end);
  // The converter keeps its carried-over input and state: decoding simply
  // continues from the new position.
  if (!SeekSource(position)) {
    TraceError(u"Error SetPosition returned false.", log_, names_.seek);
    return false;
  }
  readPosition_ = position;
  bytesRemaining_ = range.end - position;
  return true;
}

void WaveEngine::Close(std::int64_t argument) {
  TraceScope scope(log_, names_.close);
  CloseSource();
  if (external_ && subDecoder_.instance && subDecoder_.Close) subDecoder_.Close(subDecoder_.instance, argument);
  external_ = false;
  pendingData_ = nullptr;
  pendingBytes_ = 0;
  converter_.Close();
  fmtBuffer_.clear();
  input_.Clear();
  readPosition_ = bytesRemaining_ = 0;
  tagBlock_.clear();
  propBlock_.clear();
  scope.Ok();
}

bool WaveEngine::InitializeExternalDecoder() {
  TraceScope scope(log_, names_.initExternal);
  scope.Line(u"Creating External Decoder");
  if (subDecoder_.instance) subDecoder_.Destroy(subDecoder_.instance);
  subDecoder_.instance = subDecoder_.Create(&log_);
  if (!subDecoder_.instance) return scope.Error(u"Error creating external Decoder.");

  scope.Line(u"Opening External Decoder");
  OpenRecord record{};
  record.Flags = kOpenExternalPackets;
  if (!subDecoder_.Open(subDecoder_.instance, &record)) return scope.Error(u"Error opening external Decoder.");

  // The sibling names its output format only with its first output, and the
  // host must learn the format before the first block.
  scope.Line(u"Decoding until first data with External Decoder");
  if (!ExternalDecodeData()) return false;
  return scope.Ok();
}

bool WaveEngine::ExternalDecodeData() {
  while (bytesRemaining_ != 0) {
    if (!ReadDataBlock()) return false;
    if (input_.valid > 0xFFFFFFFFu) {
      TraceError(u"AudioBlock.DataBytes overflow", log_, names_.externalDecode);
      return false;
    }
    AudioBlock packet{};
    packet.Data = input_.data;
    packet.DataBytes = std::uint32_t(input_.valid);
    packet.LastBlock = bytesRemaining_ == 0 ? 1 : 0;
    if (!subDecoder_.instance || !subDecoder_.DecodeBlock || !subDecoder_.DecodeBlock(subDecoder_.instance, &packet)) {
      TraceError(u"Error decoding audio with external Decoder.", log_, names_.externalDecode);
      return false;
    }
    if (packet.Data && packet.DataBytes) {
      pendingData_ = packet.Data;
      pendingBytes_ = packet.DataBytes;
      uncompressed_.Assign(ByteSpan(packet.Format, sizeof packet.Format));
      return true;
    }
  }
  return true;
}
