// The 'fmt ' chunk as it lies in a file: the layout of its head, the format
// tags the system tells apart, its size limits, and the one reader of its
// bytes. WFX, the engines and the 'ds64' writer all take it from here.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "io/ByteReader.h"
#include "io/Limits.h"

class XFile;
struct RIFFChunkInfo;

// The 18-byte head and the 40 bytes of the extensible form.
inline constexpr std::size_t kWfxHeadSize = 18;
inline constexpr std::size_t kWfxExtensibleSize = 40;
// Extra bytes of the extensible form: valid bits, channel mask, SubFormat.
inline constexpr std::uint16_t kWfxExtensibleExtraSize = 22;
inline constexpr std::size_t kWfxGuidSize = 16;

// Field offsets of the head and of the extensible block.
inline constexpr std::size_t kWfxFormatTagOffset = 0;
inline constexpr std::size_t kWfxChannelsOffset = 2;
inline constexpr std::size_t kWfxSamplesPerSecOffset = 4;
inline constexpr std::size_t kWfxAvgBytesPerSecOffset = 8;
inline constexpr std::size_t kWfxBlockAlignOffset = 12;
inline constexpr std::size_t kWfxBitsPerSampleOffset = 14;
inline constexpr std::size_t kWfxCbSizeOffset = 16;
inline constexpr std::size_t kWfxValidBitsOffset = 18;
inline constexpr std::size_t kWfxChannelMaskOffset = 20;
inline constexpr std::size_t kWfxSubFormatOffset = 24;

inline constexpr std::uint16_t kWaveFormatPcm = 1;
inline constexpr std::uint16_t kWaveFormatAdpcm = 2;
inline constexpr std::uint16_t kWaveFormatIeeeFloat = 3;
inline constexpr std::uint16_t kWaveFormatAlaw = 6;
inline constexpr std::uint16_t kWaveFormatMulaw = 7;
inline constexpr std::uint16_t kWaveFormatImaAdpcm = 17;
inline constexpr std::uint16_t kWaveFormatGsm610 = 49;
inline constexpr std::uint16_t kWaveFormatMpeg = 80;
inline constexpr std::uint16_t kWaveFormatMpegLayer3 = 85;
inline constexpr std::uint16_t kWaveFormatExtensible = 0xFFFE;

// Bytes 4..15 of every standard SubFormat GUID (xxxxxxxx-0000-0010-8000-00AA00389B71)
// as they lie in the file; the first four bytes carry the format tag.
inline constexpr std::array<std::uint8_t, 12> kSubFormatGuidTail = {0x00, 0x00, 0x10, 0x00, 0x80, 0x00,
                                                                    0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

// The smallest head that says how the audio is laid out ends after the block
// alignment (the upper limit is kFmtChunkMaxSize).
inline constexpr std::uint64_t kFmtChunkMinSize = 14;

// The format tag of raw header bytes, or for the extensible form the tag its
// SubFormat stands for (0xFFFE when it stands for none the system knows).
std::uint16_t FormatTypeOf(ByteSpan header);
// Formats whose blocks are single sample frames, so that the data size counts the samples.
constexpr bool BlocksAreFrames(std::uint16_t type) {
  return type == kWaveFormatPcm || type == kWaveFormatIeeeFloat || type == kWaveFormatAlaw || type == kWaveFormatMulaw;
}

enum class FmtRead { Ok, BadSize, SeekFailed, ReadFailed };
// Reads the payload of a 'fmt ' chunk whole, once its size is within the limits.
FmtRead ReadFormatChunk(XFile& file, const RIFFChunkInfo& chunk, std::vector<std::uint8_t>& out);
