// Microsoft ADPCM (format tag 2, 4 bits per sample): per channel a predictor
// number, the initial delta and two samples, then nibbles for the channels in
// turn, high nibble first. The predictor coefficients come from the format
// header.
#pragma once

#include <memory>

#include "wave/BlockDecoder.h"
#include "wave/WFX.h"

// A decoder from `source` to 16-bit PCM `target`; null when the pair is not one it serves.
std::unique_ptr<BlockDecoder> MakeMsAdpcmDecoder(const WFX& source, const WFX& target);
