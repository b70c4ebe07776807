// The framing of a tag being written: frame headers with the size field of
// each version, and the tag header in front of the frames.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace id3parser {

// Largest value a 28-bit synchsafe field holds: the limit of a tag body, and of a 2.4 frame.
constexpr std::uint32_t kMaxSynchsafe = 0x0FFFFFFF;
// Largest frame body of 2.2, whose frame sizes are 24 bits.
constexpr std::uint32_t kMaxFrameSizeV22 = 0xFFFFFF;

constexpr std::uint32_t ToSynchsafe(std::uint32_t v) {
  return (v & 0x7Fu) | (v << 1 & 0x7F00u) | (v << 2 & 0x7F0000u) | (v << 3 & 0x7F000000u);
}

// Appends a frame (header without flags, then the body) of this major
// version; throws writeError when the body is too large for its size field.
void AppendFrame(std::vector<std::uint8_t>& out, int major, std::string_view id, std::span<const std::uint8_t> body);

// The complete tag: a header of this major version without flags, then the
// frames. Throws writeError when they exceed what the header can declare.
std::vector<std::uint8_t> WrapFrames(int major, std::span<const std::uint8_t> frames);

}  // namespace id3parser
