// A-law and mu-law (G.711) to 8- or 16-bit PCM.
#pragma once

#include <cstdint>
#include <memory>

#include "wave/BlockDecoder.h"
#include "wave/WFX.h"

// The linear 16-bit value of a G.711 code.
std::int16_t AlawToLinear(std::uint8_t code);
std::int16_t MulawToLinear(std::uint8_t code);

// A decoder from `source` (A-law or mu-law) to `target`; null when the pair is not one it serves.
std::unique_ptr<BlockDecoder> MakeG711Decoder(const WFX& source, const WFX& target);
