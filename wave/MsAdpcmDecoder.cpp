#include "wave/MsAdpcmDecoder.h"

#include <algorithm>
#include <array>
#include <climits>
#include <vector>

#include "io/ByteReader.h"
#include "io/Limits.h"

namespace {
constexpr std::uint32_t kHeaderBytesPerChannel = 7;
// The extra bytes of the format header: samples per block, coefficient count, then the pairs.
constexpr std::size_t kCoefficientCountOffset = kWfxHeadSize + 2;

struct Coefficients {
  int first, second;
};
// The seven predictors every encoder writes; used when the header brings none.
constexpr std::array<Coefficients, 7> kStandardCoefficients = {
    {{256, 0}, {512, -256}, {0, 0}, {192, 64}, {240, 0}, {460, -208}, {392, -232}}};
constexpr std::array<int, 16> kAdaptation = {230, 230, 230, 230, 307, 409, 512, 614,
                                             768, 614, 512, 409, 307, 230, 230, 230};
constexpr std::array<int, 16> kSignedNibble = {0, 1, 2, 3, 4, 5, 6, 7, -8, -7, -6, -5, -4, -3, -2, -1};
// Keeps nibble x delta and the adaptation product inside int.
constexpr int kMaxDelta = INT_MAX / 768;

struct MsChannel {
  int first, second;  // the coefficients chosen for this block
  int delta;
  int sample1, sample2;  // the last and the one before
  int Next(unsigned nibble) {
    // Division, not a shift: the prediction rounds toward zero, as the
    // reference decoders do.
    const std::int64_t predicted = (std::int64_t(sample1) * first + std::int64_t(sample2) * second) / 256;
    const int sample = int(std::clamp<std::int64_t>(predicted + kSignedNibble[nibble] * delta, -32768, 32767));
    sample2 = sample1;
    sample1 = sample;
    delta = std::clamp((kAdaptation[nibble] * delta) >> 8, 16, kMaxDelta);
    return sample;
  }
};

std::int16_t S16(const std::uint8_t* p) { return std::int16_t(std::uint16_t(p[0] | p[1] << 8)); }

class MsAdpcmDecoder final : public BlockDecoder {
 public:
  MsAdpcmDecoder(std::uint32_t channels, std::uint32_t blockAlign, std::vector<Coefficients> coefficients)
      : channels_(channels),
        blockAlign_(blockAlign),
        samplesPerBlock_((blockAlign - kHeaderBytesPerChannel * channels) * 2 / channels + 2),
        coefficients_(std::move(coefficients)),
        state_(channels) {}

  std::uint32_t BlockBytes() const override { return blockAlign_; }
  std::uint32_t OutputBytesPerBlock() const override { return samplesPerBlock_ * channels_ * 2; }

  void Decode(const std::uint8_t* in, std::size_t blocks, std::uint8_t* out) override {
    for (std::size_t b = 0; b < blocks; ++b) {
      DecodeBlock(in, out);
      in += blockAlign_;
      out += OutputBytesPerBlock();
    }
  }

 private:
  void ReadHeader(const std::uint8_t* in) {
    const std::uint32_t n = channels_;
    for (std::uint32_t c = 0; c < n; ++c) {
      // A predictor number past the table is taken as the last one, so a damaged block still plays.
      const std::size_t predictor = std::min<std::size_t>(in[c], coefficients_.size() - 1);
      MsChannel& ch = state_[c];
      ch.first = coefficients_[predictor].first;
      ch.second = coefficients_[predictor].second;
      ch.delta = S16(in + n + 2 * c);
      ch.sample1 = S16(in + 3 * n + 2 * c);
      ch.sample2 = S16(in + 5 * n + 2 * c);
    }
  }

  void DecodeBlock(const std::uint8_t* in, std::uint8_t* out) {
    ReadHeader(in);
    const std::uint32_t n = channels_;
    // The two header samples come out oldest first.
    for (std::uint32_t c = 0; c < n; ++c) {
      PutSample16(out + 2 * c, state_[c].sample2);
      PutSample16(out + 2 * (n + c), state_[c].sample1);
    }
    out += 4 * n;
    const std::uint8_t* p = in + kHeaderBytesPerChannel * n;
    const std::size_t bytes = std::size_t(samplesPerBlock_ - 2) * n / 2;
    if (n == 1) {
      MsChannel ch = state_[0];
      for (std::size_t i = 0; i < bytes; ++i, out += 4) {
        PutSample16(out, ch.Next(p[i] >> 4));
        PutSample16(out + 2, ch.Next(p[i] & 0x0F));
      }
    } else if (n == 2) {
      MsChannel left = state_[0], right = state_[1];
      for (std::size_t i = 0; i < bytes; ++i, out += 4) {
        PutSample16(out, left.Next(p[i] >> 4));
        PutSample16(out + 2, right.Next(p[i] & 0x0F));
      }
    } else {
      std::uint32_t c = 0;
      for (std::size_t i = 0; i < bytes; ++i, out += 4) {
        PutSample16(out, state_[c].Next(p[i] >> 4));
        c = c + 1 == n ? 0 : c + 1;
        PutSample16(out + 2, state_[c].Next(p[i] & 0x0F));
        c = c + 1 == n ? 0 : c + 1;
      }
    }
  }

  std::uint32_t channels_;
  std::uint32_t blockAlign_;
  std::uint32_t samplesPerBlock_;
  std::vector<Coefficients> coefficients_;
  std::vector<MsChannel> state_;
};

std::vector<Coefficients> CoefficientsOf(const WFX& source) {
  ByteReader in(source.bytes());
  in.Seek(kCoefficientCountOffset);
  const std::uint16_t count = in.U16();
  std::vector<Coefficients> table;
  if (in.ok() && count > 0 && count <= kMaxAdpcmCoefficients) {
    for (std::uint16_t i = 0; i < count; ++i) {
      const int first = std::int16_t(in.U16());
      const int second = std::int16_t(in.U16());
      table.push_back({first, second});
    }
    if (in.ok()) return table;
  }
  return {kStandardCoefficients.begin(), kStandardCoefficients.end()};
}
}  // namespace

std::unique_ptr<BlockDecoder> MakeMsAdpcmDecoder(const WFX& source, const WFX& target) {
  const std::uint32_t channels = source.Channels();
  if (source.FormatTag() != kWaveFormatAdpcm || source.BitsPerSample() != 4 || channels == 0) return nullptr;
  if (target.FormatTag() != kWaveFormatPcm || target.BitsPerSample() != 16 || target.Channels() != channels ||
      target.SamplesPerSec() != source.SamplesPerSec())
    return nullptr;
  if (source.BlockAlign() < kHeaderBytesPerChannel * channels) return nullptr;
  // The nibbles of a block must come out as whole sample frames.
  if ((source.BlockAlign() - kHeaderBytesPerChannel * channels) * 2 % channels != 0) return nullptr;
  return std::make_unique<MsAdpcmDecoder>(channels, source.BlockAlign(), CoefficientsOf(source));
}
