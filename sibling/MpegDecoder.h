// MPEG audio packets in, 16-bit PCM out: the decoding behind the sibling
// plug-in, on each platform through what that platform offers.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

struct PcmFormat {
  std::uint32_t rate = 0;
  std::uint16_t channels = 0;
};

class MpegDecoder {
 public:
  virtual ~MpegDecoder() = default;
  // Feeds a packet of any size and appends whatever PCM became ready to `out`;
  // `last` says no more packets follow. False when the data cannot be decoded.
  virtual bool Decode(const std::uint8_t* data, std::size_t size, bool last, std::vector<std::uint8_t>& out) = 0;
  // The output format, known once PCM has come out.
  virtual PcmFormat Format() const = 0;
};

// A decoder ready for packets; null when the platform's decoder is not available.
std::unique_ptr<MpegDecoder> MakeMpegDecoder();
