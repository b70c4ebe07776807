#include "wave/clWaveDecoder_Wave.h"

#include "codec/Trace.h"

bool clWaveDecoder_Wave::Initialize(FileHandle handle, const TraceContext& log, std::int64_t rangeStart,
                                    std::int64_t rangeEnd) {
  log_ = log;
  TraceScope scope(log_, "clWaveDecoder_Wave::Initialize");
  rangeStart_ = rangeStart;
  rangeEnd_ = rangeEnd;
  tagBlock_.clear();
  propBlock_.clear();
  if (!riff_.Initialize(handle, log_)) return false;
  return scope.Ok();
}

bool clWaveDecoder_Wave::ReadIDTags(std::u16string& summary) {
  TraceScope scope(log_, "clWaveDecoder_Wave::ReadIDTags");
  summary.clear();
  return scope.Error(u"Error tag reading is not available in this build.");
}

bool clWaveDecoder_Wave::FillAudioProps(bool) {
  TraceScope scope(log_, "clWaveDecoder_Wave::FillAudioProps");
  return scope.Error(u"Error audio properties are not available in this build.");
}

bool clWaveDecoder_Wave::FillAudioInfo(OpenRecord&) {
  TraceScope scope(log_, "clWaveDecoder_Wave::FillAudioInfo");
  return scope.Error(u"Error audio information is not available in this build.");
}

bool clWaveDecoder_Wave::PrepareToDecodeAudio(std::uint8_t (&)[40]) {
  TraceScope scope(log_, "clWaveDecoder_Wave::PrepareToDecodeAudio");
  return scope.Error(u"Error decoding is not available in this build.");
}

bool clWaveDecoder_Wave::DecodeBlock(AudioBlock&) {
  TraceError(u"Error decoding is not available in this build.", log_, "clWaveDecoder_Wave::DecodeBlock");
  return false;
}

bool clWaveDecoder_Wave::SetPosition(std::uint64_t) {
  TraceError(u"Error SetPosition returned false.", log_, "clWaveDecoder_Wave::SetPosition");
  return false;
}

void clWaveDecoder_Wave::Close(std::int64_t) {
  TraceScope scope(log_, "clWaveDecoder_Wave::Close");
  riff_.Reset();
  tagBlock_.clear();
  propBlock_.clear();
  scope.Ok();
}
