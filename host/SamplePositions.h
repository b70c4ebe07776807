// Positions that a wave file counts in samples, moved to a new sample rate
// the way the resampler moves the audio: position p lands at round(p x out / in).
#pragma once

#include <cstdint>
#include <span>
#include <string>

// round(position x outRate / inRate), without overflow for any 64-bit position; saturates at `limit`.
std::uint64_t RescalePosition(std::uint64_t position, int inRate, int outRate, std::uint64_t limit = UINT64_MAX);

// The data of a 'cue ' chunk: each point's dwPosition and dwSampleOffset.
void RescaleCueChunk(std::span<std::uint8_t> data, int inRate, int outRate);
// The data of a 'smpl' chunk: the sample period and each loop's start and end.
void RescaleSamplerChunk(std::span<std::uint8_t> data, int inRate, int outRate);
// The text of a "TimeReference" tag (samples since midnight); text that is no such number stays as it is.
std::u16string RescaleTimeReference(const std::u16string& text, int inRate, int outRate);
