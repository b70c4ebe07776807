#include "wave/ImaAdpcmDecoder.h"

#include <algorithm>
#include <array>
#include <vector>

namespace {
constexpr int kStepCount = 89;
constexpr std::uint32_t kHeaderBytesPerChannel = 4;
constexpr std::uint32_t kWordBytes = 4;
constexpr std::uint32_t kSamplesPerWord = 8;

constexpr std::array<int, kStepCount> kSteps = {
    7,    8,     9,     10,    11,    12,    13,    14,    16,    17,    19,    21,    23,    25,   28,
    31,   34,    37,    41,    45,    50,    55,    60,    66,    73,    80,    88,    97,    107,  118,
    130,  143,   157,   173,   190,   209,   230,   253,   279,   307,   337,   371,   408,   449,  494,
    544,  598,   658,   724,   796,   876,   963,   1060,  1166,  1282,  1411,  1552,  1707,  1878, 2066,
    2272, 2499,  2749,  3024,  3327,  3660,  4026,  4428,  4871,  5358,  5894,  6484,  7132,  7845, 8630,
    9493, 10442, 11487, 12635, 13899, 15289, 16818, 18500, 20350, 22385, 24623, 27086, 29794, 32767};
constexpr std::array<int, 16> kIndexShift = {-1, -1, -1, -1, 2, 4, 6, 8, -1, -1, -1, -1, 2, 4, 6, 8};

// Every (step index, nibble) pair resolved ahead: the signed difference it
// adds and the step index it leads to. The difference is built bit by bit
// from the step, as encoders assume, not as nibble x step / 4.
struct ImaTables {
  std::array<std::int32_t, kStepCount * 16> delta{};
  std::array<std::uint16_t, kStepCount * 16> next{};
};

constexpr ImaTables MakeTables() {
  ImaTables t{};
  for (int index = 0; index < kStepCount; ++index) {
    const int step = kSteps[std::size_t(index)];
    for (int nibble = 0; nibble < 16; ++nibble) {
      int diff = step >> 3;
      if (nibble & 4) diff += step;
      if (nibble & 2) diff += step >> 1;
      if (nibble & 1) diff += step >> 2;
      const std::size_t at = std::size_t(index * 16 + nibble);
      t.delta[at] = (nibble & 8) ? -diff : diff;
      t.next[at] = std::uint16_t(std::clamp(index + kIndexShift[std::size_t(nibble)], 0, kStepCount - 1) * 16);
    }
  }
  return t;
}
constexpr ImaTables kTables = MakeTables();

// The channel state: the last sample and the table row of the current step.
struct ImaChannel {
  int sample;
  unsigned row;
  int Next(unsigned nibble) {
    sample = std::clamp(sample + kTables.delta[row + nibble], -32768, 32767);
    row = kTables.next[row + nibble];
    return sample;
  }
};

class ImaAdpcmDecoder final : public BlockDecoder {
 public:
  ImaAdpcmDecoder(std::uint32_t channels, std::uint32_t blockAlign)
      : channels_(channels),
        blockAlign_(blockAlign),
        words_((blockAlign - kHeaderBytesPerChannel * channels) / (kWordBytes * channels)),
        samplesPerBlock_(1 + words_ * kSamplesPerWord),
        state_(channels) {}

  std::uint32_t BlockBytes() const override { return blockAlign_; }
  std::uint32_t OutputBytesPerBlock() const override { return samplesPerBlock_ * channels_ * 2; }

  void Decode(const std::uint8_t* in, std::size_t blocks, std::uint8_t* out) override {
    for (std::size_t b = 0; b < blocks; ++b) {
      if (channels_ == 1)
        DecodeMono(in, out);
      else
        DecodeInterleaved(in, out);
      in += blockAlign_;
      out += OutputBytesPerBlock();
    }
  }

 private:
  ImaChannel Header(const std::uint8_t* h) const {
    // Real files leave the byte after the index zero; an index past the
    // table is clamped rather than refused, so damaged blocks still play.
    const int first = std::int16_t(std::uint16_t(h[0] | h[1] << 8));
    return {first, std::min<unsigned>(h[2], kStepCount - 1) * 16u};
  }

  void DecodeMono(const std::uint8_t* in, std::uint8_t* out) const {
    ImaChannel ch = Header(in);
    PutSample16(out, ch.sample);
    out += 2;
    const std::uint8_t* p = in + kHeaderBytesPerChannel;
    const std::size_t bytes = std::size_t(words_) * kWordBytes;
    for (std::size_t i = 0; i < bytes; ++i) {
      PutSample16(out, ch.Next(p[i] & 0x0F));
      PutSample16(out + 2, ch.Next(p[i] >> 4));
      out += 4;
    }
  }

  void DecodeInterleaved(const std::uint8_t* in, std::uint8_t* out) {
    const std::size_t stride = std::size_t(channels_) * 2;
    for (std::uint32_t c = 0; c < channels_; ++c) {
      state_[c] = Header(in + c * kHeaderBytesPerChannel);
      PutSample16(out + c * 2, state_[c].sample);
    }
    const std::uint8_t* p = in + kHeaderBytesPerChannel * channels_;
    for (std::uint32_t w = 0; w < words_; ++w) {
      std::uint8_t* frame = out + (1 + std::size_t(w) * kSamplesPerWord) * stride;
      for (std::uint32_t c = 0; c < channels_; ++c) {
        ImaChannel ch = state_[c];
        std::uint8_t* o = frame + c * 2;
        for (std::uint32_t i = 0; i < kWordBytes; ++i, ++p) {
          PutSample16(o, ch.Next(*p & 0x0F));
          PutSample16(o + stride, ch.Next(*p >> 4));
          o += 2 * stride;
        }
        state_[c] = ch;
      }
    }
  }

  std::uint32_t channels_;
  std::uint32_t blockAlign_;
  std::uint32_t words_;
  std::uint32_t samplesPerBlock_;
  std::vector<ImaChannel> state_;
};
}  // namespace

std::unique_ptr<BlockDecoder> MakeImaAdpcmDecoder(const WFX& source, const WFX& target) {
  const std::uint32_t channels = source.Channels();
  if (source.FormatTag() != kWaveFormatImaAdpcm || source.BitsPerSample() != 4 || channels == 0) return nullptr;
  if (target.FormatTag() != kWaveFormatPcm || target.BitsPerSample() != 16 || target.Channels() != channels ||
      target.SamplesPerSec() != source.SamplesPerSec())
    return nullptr;
  // A block must hold the headers and at least one word per channel.
  if (source.BlockAlign() < (kHeaderBytesPerChannel + kWordBytes) * channels) return nullptr;
  return std::make_unique<ImaAdpcmDecoder>(channels, source.BlockAlign());
}
