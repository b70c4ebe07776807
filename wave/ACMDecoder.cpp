#include "wave/ACMDecoder.h"

namespace {
bool IsPassThrough(const WFX& wfx) {
  const std::uint16_t type = wfx.GetFormatType();
  return type == kWaveFormatPcm || type == kWaveFormatIeeeFloat;
}
}  // namespace

bool ACMDecoder::CreateNewConverter(const WFX& source) {
  firstConversion_ = true;
  input_.Assign(source);
  output_.format.Assign(source);
  // Compressed formats have no codec in this build yet.
  return IsPassThrough(source);
}

bool ACMDecoder::Convert(AudioBuffer& input, bool) {
  if (!IsPassThrough(input.format)) return false;
  output_.Borrow(input);
  return true;
}

void ACMDecoder::Close() { output_.Clear(); }
