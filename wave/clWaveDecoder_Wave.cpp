#include "wave/clWaveDecoder_Wave.h"

#include <array>

#include "codec/Trace.h"
#include "io/ByteReader.h"
#include "io/Text.h"
#include "riff/FormatChunk.h"
#include "riff/TagSettings.h"
#include "wave/AudioProperties.h"

namespace {
constexpr WaveEngine::Names kNames = {"clWaveDecoder_Wave::Initialize",
                                      "clWaveDecoder_Wave::PullOutFMTnDATA",
                                      "clWaveDecoder_Wave::ReadIDTags",
                                      "clWaveDecoder_Wave::FillAudioProps",
                                      "clWaveDecoder_Wave::FillAudioInfo",
                                      "clWaveDecoder_Wave::PrepareToDecodeAudio",
                                      "clWaveDecoder_Wave::ReadDataBlock",
                                      "clWaveDecoder_Wave::DecodeBlock",
                                      "clWaveDecoder_Wave::SetPosition",
                                      "clWaveDecoder_Wave::Close",
                                      "clWaveDecoder_Wave::InitializeExternalDecoder",
                                      "clWaveDecoder_Wave::ExternalDecodeData"};
}  // namespace

clWaveDecoder_Wave::clWaveDecoder_Wave(const TraceContext& log) : WaveEngine(kNames, log) {}

bool clWaveDecoder_Wave::Initialize(FileHandle handle, const TraceContext& log, std::int64_t rangeStart,
                                    std::int64_t rangeEnd) {
  Restart(log, rangeStart, rangeEnd);
  TraceScope scope(log_, names_.initialize);
  if (!riff_.Initialize(handle, log_)) return false;
  return scope.Ok();
}

bool clWaveDecoder_Wave::PullOutFMTnDATA() {
  if (HasFormat()) return true;  // parsed once per open
  TraceScope scope(log_, names_.pull);

  scope.Line(u"Finding 'fmt ' chunk.");
  const RIFFChunkInfo* fmt = riff_.FindChunk("fmt ");
  if (!fmt) return scope.Error(u"Error cannot find 'fmt ' chunk.");
  scope.Line(u"Finding 'data' chunk.");
  const RIFFChunkInfo* data = riff_.FindChunk("data");
  if (!data) return scope.Error(u"Error cannot find 'data' chunk.");
  dataStart_ = std::int64_t(data->FileDataPosition);
  dataEnd_ = dataStart_ + std::int64_t(data->DataSize);

  scope.Line(u"Assigning 'fmt ' chunk to WFX");
  std::vector<std::uint8_t> bytes;
  switch (ReadFormatChunk(riff_, *fmt, bytes)) {
    case FmtRead::BadSize:
      return scope.Error(u"Error 'fmt ' chunk is a bad size.");
    case FmtRead::SeekFailed:
      return scope.Error(u"Error cannot Set File Position.");
    case FmtRead::ReadFailed:
      return scope.Error(u"Error cannot read 'fmt ' chunk from file.");
    case FmtRead::Ok:
      break;
  }
  AssignFormat(std::move(bytes));
  ReadFactChunk(scope);
  return scope.Ok();
}

void clWaveDecoder_Wave::ReadFactChunk(const TraceScope& scope) {
  const RIFFChunkInfo* fact = riff_.FindChunk("fact");
  if (!fact || fact->DataSize < 4) return;
  // A damaged 'fact' never stops decoding; the two seek messages differ on purpose.
  if (!riff_.Seek(std::int64_t(fact->FileDataPosition))) {
    scope.Error(u"Error cannot Set File Position");
    return;
  }
  std::array<std::uint8_t, 4> count{};
  if (riff_.Read(count.data(), 4) != 4) {
    scope.Error(u"Error cannot read 'fact' chunk from file.");
    return;
  }
  factSamples_ = ByteReader(count).U32();
  scope.Line(u"Read 'fact' chunk: " + ToTextU(factSamples_) + u" samples");
}

bool clWaveDecoder_Wave::ReadIDTags(std::u16string& summary, const ID3v2ReadOptions& id3Options) {
  TraceScope scope(log_, names_.readTags);
  if (!BeginTagRead(summary)) return false;
  const int albumOption = int(ReadTagSetting(u"WaveLISTAlbum"));
  ReadTagChunks(riff_, tags_, log_, id3Options, albumOption, tagChunks_);
  summary_ = TagSummary(tagChunks_);
  AddRiffChunkTags(riff_, tags_, log_, tagChunks_);
  LogTags(tags_, log_, names_.readTags);
  PublishTags();
  summary = summary_;
  return scope.Ok();
}

bool clWaveDecoder_Wave::CheckDecodable(const TraceScope& scope) {
  if (onFile_.Channels() == 0) return scope.Error(u"Invalid channel count.");
  const std::uint16_t type = onFile_.GetFormatType();
  if ((type == kWaveFormatPcm || type == kWaveFormatIeeeFloat) && !onFile_.IsValidBitDepth())
    return scope.Error(u"Invalid bit depth value.");
  return true;
}

void clWaveDecoder_Wave::DescribeSource(AudioPropertyInputs& in) {
  if (const RIFFChunkInfo* fmt = riff_.FindChunk("fmt ")) in.fmtChunkSize = fmt->DataSize;
  in.chunks = &riff_;
}
