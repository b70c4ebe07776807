#include "host/SamplePositions.h"

#include <algorithm>

#include "io/ByteReader.h"

namespace {
// 'cue ': a point count, then records of name, position, chunk id, chunk start, block start, sample offset.
constexpr std::size_t kCueCountSize = 4;
constexpr std::size_t kCuePointSize = 24;
constexpr std::size_t kCuePositionAt = 4;
constexpr std::size_t kCueSampleOffsetAt = 20;
// 'smpl': nine 32-bit fields (sample period third, loop count eighth), then the loops.
constexpr std::size_t kSamplerHeadSize = 36;
constexpr std::size_t kSamplerPeriodAt = 8;
constexpr std::size_t kSamplerLoopCountAt = 28;
constexpr std::size_t kLoopSize = 24;
constexpr std::size_t kLoopStartAt = 8;
constexpr std::size_t kLoopEndAt = 12;

std::uint32_t ReadU32(std::span<const std::uint8_t> data, std::size_t at) {
  ByteReader r(data.subspan(at, 4));
  return r.U32();
}

void WriteU32(std::span<std::uint8_t> data, std::size_t at, std::uint32_t v) {
  for (std::size_t i = 0; i < 4; ++i) data[at + i] = std::uint8_t(v >> (8 * i));
}

void RescaleField(std::span<std::uint8_t> data, std::size_t at, int inRate, int outRate) {
  WriteU32(data, at, std::uint32_t(RescalePosition(ReadU32(data, at), inRate, outRate, UINT32_MAX)));
}

// Records a chunk claims, but no more than it holds.
std::size_t RecordCount(std::span<const std::uint8_t> data, std::size_t headSize, std::size_t countAt,
                        std::size_t recordSize) {
  if (data.size() < headSize) return 0;
  return std::min<std::size_t>(ReadU32(data, countAt), (data.size() - headSize) / recordSize);
}
}  // namespace

std::uint64_t RescalePosition(std::uint64_t position, int inRate, int outRate, std::uint64_t limit) {
  const auto in = std::uint64_t(inRate), out = std::uint64_t(outRate);
  const std::uint64_t whole = position / in, rest = position % in;
  // Rounds as the resampler counts its output frames: (p x out + in / 2) / in.
  const std::uint64_t part = (rest * out + in / 2) / in;
  if (whole > (limit - part) / out) return limit;
  return whole * out + part;
}

void RescaleCueChunk(std::span<std::uint8_t> data, int inRate, int outRate) {
  const std::size_t points = RecordCount(data, kCueCountSize, 0, kCuePointSize);
  for (std::size_t i = 0; i < points; ++i) {
    const std::size_t at = kCueCountSize + i * kCuePointSize;
    RescaleField(data, at + kCuePositionAt, inRate, outRate);
    RescaleField(data, at + kCueSampleOffsetAt, inRate, outRate);
  }
}

void RescaleSamplerChunk(std::span<std::uint8_t> data, int inRate, int outRate) {
  if (data.size() < kSamplerHeadSize) return;
  // Nanoseconds per sample: the inverse ratio.
  RescaleField(data, kSamplerPeriodAt, outRate, inRate);
  const std::size_t loops = RecordCount(data, kSamplerHeadSize, kSamplerLoopCountAt, kLoopSize);
  for (std::size_t i = 0; i < loops; ++i) {
    const std::size_t at = kSamplerHeadSize + i * kLoopSize;
    const std::uint32_t start =
        std::uint32_t(RescalePosition(ReadU32(data, at + kLoopStartAt), inRate, outRate, UINT32_MAX));
    // The end sample is played too: the loop's boundary is the sample after it, and that boundary moves, so
    // that a loop keeps its length in time and still closes seamlessly.
    const std::uint64_t boundary = RescalePosition(std::uint64_t(ReadU32(data, at + kLoopEndAt)) + 1, inRate, outRate,
                                                   std::uint64_t(UINT32_MAX) + 1);
    WriteU32(data, at + kLoopStartAt, start);
    WriteU32(data, at + kLoopEndAt, std::uint32_t(std::max<std::uint64_t>(boundary - 1, start)));
  }
}

std::u16string RescaleTimeReference(const std::u16string& text, int inRate, int outRate) {
  if (text.empty() || text.size() > 20) return text;
  std::uint64_t value = 0;
  for (char16_t c : text) {
    if (c < u'0' || c > u'9') return text;
    const std::uint64_t digit = std::uint64_t(c - u'0');
    if (value > (UINT64_MAX - digit) / 10) return text;
    value = value * 10 + digit;
  }
  const std::string digits = std::to_string(RescalePosition(value, inRate, outRate));
  return std::u16string(digits.begin(), digits.end());
}
