// IMA ADPCM as stored in wave files (format tag 17, 4 bits per sample): per
// channel a 4-byte header (first sample, step index), then words of eight
// nibbles per channel in turn, low nibble first.
#pragma once

#include <memory>

#include "wave/BlockDecoder.h"
#include "wave/WFX.h"

// A decoder from `source` to 16-bit PCM `target`; null when the pair is not one it serves.
std::unique_ptr<BlockDecoder> MakeImaAdpcmDecoder(const WFX& source, const WFX& target);
