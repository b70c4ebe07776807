// Error-feedback filters for noise-shaped dither, designed so that the
// requantisation noise follows the threshold of hearing: pushed out of the
// ear's most sensitive region (1 to 5 kHz) towards the top of the band.
#pragma once

#include <vector>

namespace dsp {

// Absolute threshold of hearing in dB SPL at `hz` (Terhardt's approximation).
double HearingThresholdDb(double hz);
// Coefficients a1..ap of the noise transfer function 1 + a1 z^-1 + ... + ap z^-p
// for `rate`, or nothing where no shaping is designed for it (44.1 and 48 kHz have one).
std::vector<double> NoiseShapingFilter(int rate);

}  // namespace dsp
