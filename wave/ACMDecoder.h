// Turns blocks of a stored format into PCM. PCM and float pass through
// without a copy; other formats go through a codec stream, fed whole blocks
// with the last complete block of each read held back for the next.
#pragma once

#include <memory>

#include "WavePlugin.h"
#include "wave/AcmStream.h"
#include "wave/AudioBuffer.h"
#include "wave/CarryOverBuffer.h"
#include "wave/WFX.h"

class ACMDecoder {
 public:
  explicit ACMDecoder(AcmStreamOpener opener = OpenAcmStream) : opener_(std::move(opener)) {}

  // Where the information line about a changed output format goes.
  void SetTrace(const TraceContext& log) { log_ = log; }
  // Chooses the output format for `source` and opens what converting it needs.
  bool CreateNewConverter(const WFX& source);
  // Converts the input block; the result is in Output(). `final` flushes everything.
  bool Convert(AudioBuffer& input, bool final);
  // Releases the stream and drops carried-over input.
  void Close();

  const WFX& OutputFormat() const { return outputFormat_; }
  const AudioBuffer& Output() const { return output_; }
  const CarryOverBuffer& CarryOver() const { return carryOver_; }
  bool HasStream() const { return stream_ != nullptr; }

 private:
  bool OpenStream();

  AcmStreamOpener opener_;
  TraceContext log_{};
  WFX input_;
  WFX outputFormat_;
  std::unique_ptr<AcmStream> stream_;
  bool firstConversion_ = false;
  CarryOverBuffer carryOver_;
  AudioBuffer output_;
};
