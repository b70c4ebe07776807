// A built-in decoder of one compressed wave format: whole blocks in, PCM out.
// The platforms without a codec manager serve codec streams with these.
#pragma once

#include <cstddef>
#include <cstdint>

class BlockDecoder {
 public:
  virtual ~BlockDecoder() = default;
  // Bytes of one compressed block.
  virtual std::uint32_t BlockBytes() const = 0;
  // PCM bytes one block decodes to.
  virtual std::uint32_t OutputBytesPerBlock() const = 0;
  // Decodes `blocks` whole blocks; `out` has room for blocks x OutputBytesPerBlock().
  virtual void Decode(const std::uint8_t* in, std::size_t blocks, std::uint8_t* out) = 0;
  // Forgets any state carried from one block to the next.
  virtual void Restart() {}
};

// Stores a sample as 16-bit little-endian PCM.
inline void PutSample16(std::uint8_t* out, int sample) {
  out[0] = std::uint8_t(sample);
  out[1] = std::uint8_t(sample >> 8);
}
