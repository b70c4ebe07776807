// IMA ADPCM (format tag 17) through the converter as the engine drives it; see CodecFuzz.h.
#include "fuzz/CodecFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return codec_fuzz::Run({kWaveFormatImaAdpcm}, ByteSpan(data, size));
}
