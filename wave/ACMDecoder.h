// Turns blocks of a stored format into PCM. PCM and float pass through
// without a copy; other formats need a codec stream.
#pragma once

#include "wave/AudioBuffer.h"
#include "wave/WFX.h"

class ACMDecoder {
 public:
  // Chooses the output format for `source` and opens what converting it needs.
  bool CreateNewConverter(const WFX& source);
  // Converts the input block; the result is in Output(). `final` flushes everything.
  bool Convert(AudioBuffer& input, bool final);
  void Close();

  const WFX& OutputFormat() const { return output_.format; }
  const AudioBuffer& Output() const { return output_; }

 private:
  WFX input_;
  AudioBuffer output_;
  bool firstConversion_ = false;
};
