// GSM 6.10 full rate as stored in wave files (format tag 49): blocks of 65
// bytes, two 160-sample frames packed back to back.
#pragma once

#include <memory>

#include "wave/BlockDecoder.h"
#include "wave/WFX.h"

// A decoder from `source` to 16-bit PCM `target`; null when the pair is not one it serves.
std::unique_ptr<BlockDecoder> MakeGsmDecoder(const WFX& source, const WFX& target);
