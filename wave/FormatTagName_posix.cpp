#include <array>

#include "wave/AudioText.h"

namespace {
// The decoders built in here, named as the Windows build's decoders answer, so
// that a file is described alike on both.
constexpr std::array<FormatTagNameEntry, 8> kInstalledDecoders = {{
    {kWaveFormatPcm, u"PCM"},
    {kWaveFormatAdpcm, u"Microsoft ADPCM"},
    {kWaveFormatAlaw, u"A-Law"},
    {kWaveFormatMulaw, u"U-Law"},
    {kWaveFormatImaAdpcm, u"IMA ADPCM"},
    {kWaveFormatGsm610, u"GSM 6.10"},
    {kWaveFormatMpeg, u"MPeg"},
    {kWaveFormatMpegLayer3, u"MPeg3"},
}};
}  // namespace

std::optional<std::u16string> AcmFormatTagName(std::uint16_t tag, std::uint32_t) {
  for (const FormatTagNameEntry& decoder : kInstalledDecoders) {
    if (decoder.tag == tag) return std::u16string(decoder.name);
  }
  return std::nullopt;
}
