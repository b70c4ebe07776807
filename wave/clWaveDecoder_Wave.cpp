#include "wave/clWaveDecoder_Wave.h"

#include <algorithm>
#include <array>

#include "codec/Trace.h"
#include "io/ByteReader.h"
#include "io/Text.h"
#include "riff/TagSettings.h"
#include "wave/AudioProperties.h"
#include "wave/AudioText.h"

namespace {
constexpr const char* kPull = "clWaveDecoder_Wave::PullOutFMTnDATA";
constexpr const char* kRead = "clWaveDecoder_Wave::ReadDataBlock";
constexpr const char* kDecode = "clWaveDecoder_Wave::DecodeBlock";
constexpr const char* kSeek = "clWaveDecoder_Wave::SetPosition";

// base + blocks x align, clamped to [low, high] without overflowing.
std::int64_t BlockPosition(std::int64_t base, std::uint64_t blocks, std::int64_t align, std::int64_t low,
                           std::int64_t high) {
  const std::uint64_t room = high > base ? std::uint64_t(high - base) : 0;
  const std::int64_t pos = blocks > room / std::uint64_t(align) ? high : base + std::int64_t(blocks) * align;
  return std::clamp(pos, low, std::max(low, high));
}

std::int64_t RateOrOne(std::uint32_t rate) { return rate ? rate : 1; }
}  // namespace

bool clWaveDecoder_Wave::Initialize(FileHandle handle, const TraceContext& log, std::int64_t rangeStart,
                                    std::int64_t rangeEnd) {
  log_ = log;
  TraceScope scope(log_, "clWaveDecoder_Wave::Initialize");
  rangeStart_ = std::uint64_t(rangeStart);
  rangeEnd_ = std::uint64_t(rangeEnd);
  fmtBuffer_.clear();
  factSamples_ = 0;
  dataStart_ = dataEnd_ = 0;
  readPosition_ = bytesRemaining_ = 0;
  input_.Clear();
  tagBlock_.clear();
  propBlock_.clear();
  if (!riff_.Initialize(handle, log_)) return false;
  return scope.Ok();
}

bool clWaveDecoder_Wave::PullOutFMTnDATA() {
  if (!fmtBuffer_.empty()) return true;  // parsed once per open
  TraceScope scope(log_, kPull);

  scope.Line(u"Finding 'fmt ' chunk.");
  const RIFFChunkInfo* fmt = riff_.FindChunk("fmt ");
  if (!fmt) return scope.Error(u"Error cannot find 'fmt ' chunk.");
  scope.Line(u"Finding 'data' chunk.");
  const RIFFChunkInfo* data = riff_.FindChunk("data");
  if (!data) return scope.Error(u"Error cannot find 'data' chunk.");
  dataStart_ = std::int64_t(data->FileDataPosition);
  dataEnd_ = dataStart_ + std::int64_t(data->DataSize);

  scope.Line(u"Assigning 'fmt ' chunk to WFX");
  switch (ReadFormatChunk(riff_, *fmt, fmtBuffer_)) {
    case FmtRead::BadSize:
      return scope.Error(u"Error 'fmt ' chunk is a bad size.");
    case FmtRead::SeekFailed:
      return scope.Error(u"Error cannot Set File Position.");
    case FmtRead::ReadFailed:
      return scope.Error(u"Error cannot read 'fmt ' chunk from file.");
    case FmtRead::Ok:
      break;
  }
  onFile_.SetFromChunk(fmtBuffer_);
  uncompressed_ = UncompressedFrom(onFile_);

  const RIFFChunkInfo* fact = riff_.FindChunk("fact");
  if (!fact || fact->DataSize < 4) return scope.Ok();
  // A damaged 'fact' never stops decoding; the two seek messages differ on purpose.
  if (!riff_.Seek(std::int64_t(fact->FileDataPosition))) {
    scope.Error(u"Error cannot Set File Position");
    return scope.Ok();
  }
  std::array<std::uint8_t, 4> count{};
  if (riff_.Read(count.data(), 4) != 4) {
    scope.Error(u"Error cannot read 'fact' chunk from file.");
    return scope.Ok();
  }
  factSamples_ = ByteReader(count).U32();
  scope.Line(u"Read 'fact' chunk: " + ToTextU(factSamples_) + u" samples");
  return scope.Ok();
}

clWaveDecoder_Wave::ByteRange clWaveDecoder_Wave::DecodeRange() const {
  const std::int64_t align = BlockAlign();
  // Whole blocks only, also where a range reaches past the data.
  const std::int64_t wholeEnd =
      std::clamp(dataEnd_ - (dataEnd_ - dataStart_) % align, dataStart_, std::max(dataStart_, dataEnd_));
  ByteRange r{};
  r.start = BlockPosition(dataStart_, rangeStart_, align, dataStart_, wholeEnd);
  r.end = rangeEnd_ == ~std::uint64_t{0} ? wholeEnd : BlockPosition(dataStart_, rangeEnd_, align, dataStart_, wholeEnd);
  r.length = std::max(r.end, r.start) - r.start;
  return r;
}

bool clWaveDecoder_Wave::ReadIDTags(std::u16string& summary, const ID3v2ReadOptions& id3Options) {
  constexpr const char* kTags = "clWaveDecoder_Wave::ReadIDTags";
  TraceScope scope(log_, kTags);
  tags_.Clear();
  tagBlock_.clear();
  summary_.clear();
  summary.clear();
  if (!PullOutFMTnDATA()) return false;
  const int albumOption = int(ReadTagSetting(u"WaveLISTAlbum"));
  ReadTagChunks(riff_, tags_, log_, id3Options, albumOption, tagChunks_);
  summary_ = TagSummary(tagChunks_);
  AddRiffChunkTags(riff_, tags_, log_, tagChunks_);
  LogTags(tags_, log_, kTags);
  tagBlock_ = tags_.ToBlock();
  summary = summary_;
  return scope.Ok();
}

bool clWaveDecoder_Wave::FillAudioProps(bool) {
  // The property text reads no tagging settings, so ignoring them changes nothing here.
  TraceScope scope(log_, "clWaveDecoder_Wave::FillAudioProps");
  propBlock_.clear();
  if (!PullOutFMTnDATA()) return false;
  AudioPropertyInputs in;
  in.onFile = &onFile_;
  in.uncompressed = &uncompressed_;
  in.decodeBytes = DecodeRange().length;
  in.factSamples = factSamples_;
  in.chunks = &riff_;
  in.tags = &tags_;
  in.tagSummary = summary_;
  propBlock_ = BuildAudioProperties(in, log_).ToBlock();
  return scope.Ok();
}

bool clWaveDecoder_Wave::FillAudioInfo(OpenRecord& record) {
  TraceScope scope(log_, "clWaveDecoder_Wave::FillAudioInfo");
  if (!PullOutFMTnDATA()) return false;
  uncompressed_.CopyTo(record.Format);
  const ByteRange range = DecodeRange();
  record.DataBytes = range.length;
  const std::uint64_t bitRate = std::uint64_t(onFile_.AvgBytesPerSec()) * 8;
  record.BitRate = std::uint32_t(std::min<std::uint64_t>(bitRate, 0xFFFFFFFFu));
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

bool clWaveDecoder_Wave::PrepareToDecodeAudio(std::uint8_t (&format)[40]) {
  TraceScope scope(log_, "clWaveDecoder_Wave::PrepareToDecodeAudio");
  if (!PullOutFMTnDATA()) return false;
  if (onFile_.Channels() == 0) return scope.Error(u"Invalid channel count.");
  const std::uint16_t type = onFile_.GetFormatType();
  if ((type == kWaveFormatPcm || type == kWaveFormatIeeeFloat) && !onFile_.IsValidBitDepth())
    return scope.Error(u"Invalid bit depth value.");
  input_.format.Assign(onFile_);
  converter_.SetTrace(log_);

  external_ = false;
  pendingData_ = nullptr;
  pendingBytes_ = 0;
  if (type == kWaveFormatMpeg || type == kWaveFormatMpegLayer3) {
    scope.Line(u"Loading MP3 Sub-Decoder");
    const std::u16string path = SiblingPath(Mp3SiblingName());
    subDecoder_.Reset();
    if (!subDecoder_.Load(path)) return scope.Error(u"Error loading external Decoder '" + path + u"'");
    subDecoder_.extension = u".mp3";
    subDecoder_.libraryPath = path;
    external_ = true;
  }

  if (!external_) {
    scope.Line(u"Calling ACMDecoder.CreateNewConverter");
    if (!converter_.CreateNewConverter(onFile_))
      return scope.Error(u"Error Cannot Create Wave Decoder (" + FormatTagName(onFile_) + u")");
    scope.Line(u"Compressed WFX (on file): " + WfxText(onFile_));
    uncompressed_.Assign(converter_.OutputFormat());
    scope.Line(u"Uncompressed WFX (sent to qv): " + WfxText(uncompressed_));
  }

  scope.Line(u"Setting Position in File");
  const ByteRange range = DecodeRange();
  readPosition_ = range.start;
  bytesRemaining_ = range.length;
  if (!riff_.IsOpen() || !riff_.Seek(readPosition_)) return scope.Error(u"Error SetPosition returned false.");
  if (external_ && !InitializeExternalDecoder()) return false;

  uncompressed_.CopyTo(format);
  return scope.Ok();
}

bool clWaveDecoder_Wave::ReadDataBlock() {
  const std::int64_t align = BlockAlign();
  if (bytesRemaining_ < align) bytesRemaining_ = 0;  // a trailing part-block is never decoded
  const std::int64_t size = std::min<std::int64_t>(kMaxRead / align * align, bytesRemaining_);
  if (size == 0) {
    input_.valid = 0;
    return true;
  }
  if (!input_.Reserve(std::size_t(size))) {
    TraceError(u"Error allocating decoding buffer.", log_, kRead);
    return false;
  }
  if (riff_.Read(input_.writable(), size) != size) {
    TraceError(u"Error reading data from file.", log_, kRead);
    return false;
  }
  input_.valid = std::size_t(size);
  bytesRemaining_ -= size;
  readPosition_ += size;
  return true;
}

bool clWaveDecoder_Wave::DecodeBlock(AudioBlock& block) {
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
      TraceError(u"Error cannot decode data, audio file corrupt?", log_, kDecode);
      return false;
    }
    const AudioBuffer& out = converter_.Output();
    if (out.valid > 0xFFFFFFFFu) {
      TraceError(u"AudioBlock.DataBytes overflow", log_, kDecode);
      return false;
    }
    block.Data = out.data;
    block.DataBytes = std::uint32_t(out.valid);
  }
  uncompressed_.CopyTo(block.Format);
  block.BitRate = std::uint32_t(std::min<std::uint64_t>(std::uint64_t(onFile_.AvgBytesPerSec()) * 8, 0xFFFFFFFFu));
  block.DurationMs = std::int64_t(block.DataBytes) * 1000 / RateOrOne(uncompressed_.AvgBytesPerSec());
  block.LastBlock = bytesRemaining_ == 0 ? 1 : 0;
  return true;
}

bool clWaveDecoder_Wave::SetPosition(std::uint64_t block) {
  const ByteRange range = DecodeRange();
  // Beyond the end means at the end; with an end below the start that is
  // before the start, and nothing remains.
  const std::int64_t position =
      std::min(BlockPosition(range.start, block, BlockAlign(), range.start, range.end), range.end);
  readPosition_ = position;
  bytesRemaining_ = range.end - position;
  // The converter keeps its carried-over input and state: decoding simply
  // continues from the new position.
  if (!riff_.IsOpen() || !riff_.Seek(position)) {
    TraceError(u"Error SetPosition returned false.", log_, kSeek);
    return false;
  }
  return true;
}

void clWaveDecoder_Wave::Close(std::int64_t argument) {
  TraceScope scope(log_, "clWaveDecoder_Wave::Close");
  riff_.Reset();
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

bool clWaveDecoder_Wave::InitializeExternalDecoder() {
  TraceScope scope(log_, "clWaveDecoder_Wave::InitializeExternalDecoder");
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

bool clWaveDecoder_Wave::ExternalDecodeData() {
  constexpr const char* kExternal = "clWaveDecoder_Wave::ExternalDecodeData";
  while (bytesRemaining_ != 0) {
    if (!ReadDataBlock()) return false;
    if (input_.valid > 0xFFFFFFFFu) {
      TraceError(u"AudioBlock.DataBytes overflow", log_, kExternal);
      return false;
    }
    AudioBlock packet{};
    packet.Data = input_.data;
    packet.DataBytes = std::uint32_t(input_.valid);
    packet.LastBlock = bytesRemaining_ == 0 ? 1 : 0;
    if (!subDecoder_.instance || !subDecoder_.DecodeBlock || !subDecoder_.DecodeBlock(subDecoder_.instance, &packet)) {
      TraceError(u"Error decoding audio with external Decoder.", log_, kExternal);
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
