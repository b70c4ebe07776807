#include "wave/G711Decoder.h"

#include <array>

namespace {
constexpr std::uint8_t kSignBit = 0x80;
constexpr std::uint8_t kQuantMask = 0x0F;
constexpr std::uint8_t kSegMask = 0x70;
constexpr int kSegShift = 4;
constexpr int kMulawBias = 0x84;

constexpr std::int16_t ExpandAlaw(std::uint8_t code) {
  code ^= 0x55;  // even bits are inverted on the line
  int t = (code & kQuantMask) << 4;
  const int seg = (code & kSegMask) >> kSegShift;
  // Each step is reconstructed at its middle, hence the extra half step.
  if (seg == 0) {
    t += 8;
  } else {
    t += 0x108;
    t <<= seg - 1;
  }
  return std::int16_t((code & kSignBit) ? t : -t);
}

constexpr std::int16_t ExpandMulaw(std::uint8_t code) {
  code = std::uint8_t(~code);
  int t = ((code & kQuantMask) << 3) + kMulawBias;
  t <<= (code & kSegMask) >> kSegShift;
  return std::int16_t((code & kSignBit) ? kMulawBias - t : t - kMulawBias);
}

template <std::int16_t (*Expand)(std::uint8_t)>
constexpr std::array<std::int16_t, 256> MakeTable() {
  std::array<std::int16_t, 256> table{};
  for (int i = 0; i < 256; ++i) table[std::size_t(i)] = Expand(std::uint8_t(i));
  return table;
}

constexpr auto kAlaw = MakeTable<ExpandAlaw>();
constexpr auto kMulaw = MakeTable<ExpandMulaw>();

// 8-bit PCM is unsigned: the high byte of the 16-bit value, offset by 128.
std::array<std::uint8_t, 256> NarrowTable(const std::array<std::int16_t, 256>& wide) {
  std::array<std::uint8_t, 256> narrow{};
  for (std::size_t i = 0; i < 256; ++i) narrow[i] = std::uint8_t((wide[i] >> 8) + 128);
  return narrow;
}

class G711Decoder16 final : public BlockDecoder {
 public:
  G711Decoder16(const std::array<std::int16_t, 256>& table, std::uint32_t channels)
      : table_(table), channels_(channels) {}
  std::uint32_t BlockBytes() const override { return channels_; }
  std::uint32_t OutputBytesPerBlock() const override { return 2 * channels_; }
  void Decode(const std::uint8_t* in, std::size_t blocks, std::uint8_t* out) override {
    const std::size_t n = blocks * channels_;
    for (std::size_t i = 0; i < n; ++i) PutSample16(out + 2 * i, table_[in[i]]);
  }

 private:
  const std::array<std::int16_t, 256>& table_;
  std::uint32_t channels_;
};

class G711Decoder8 final : public BlockDecoder {
 public:
  G711Decoder8(const std::array<std::int16_t, 256>& wide, std::uint32_t channels)
      : table_(NarrowTable(wide)), channels_(channels) {}
  std::uint32_t BlockBytes() const override { return channels_; }
  std::uint32_t OutputBytesPerBlock() const override { return channels_; }
  void Decode(const std::uint8_t* in, std::size_t blocks, std::uint8_t* out) override {
    const std::size_t n = blocks * channels_;
    for (std::size_t i = 0; i < n; ++i) out[i] = table_[in[i]];
  }

 private:
  std::array<std::uint8_t, 256> table_;
  std::uint32_t channels_;
};
}  // namespace

std::int16_t AlawToLinear(std::uint8_t code) { return kAlaw[code]; }
std::int16_t MulawToLinear(std::uint8_t code) { return kMulaw[code]; }

std::unique_ptr<BlockDecoder> MakeG711Decoder(const WFX& source, const WFX& target) {
  const std::uint16_t tag = source.FormatTag();
  if ((tag != kWaveFormatAlaw && tag != kWaveFormatMulaw) || source.BitsPerSample() != 8) return nullptr;
  if (source.Channels() == 0 || target.Channels() != source.Channels() ||
      target.SamplesPerSec() != source.SamplesPerSec() || target.FormatTag() != kWaveFormatPcm)
    return nullptr;
  // Files declare one byte per sample frame and channel; anything else is not G.711 as stored in wave files.
  if (source.BlockAlign() != source.Channels()) return nullptr;
  const auto& table = tag == kWaveFormatAlaw ? kAlaw : kMulaw;
  if (target.BitsPerSample() == 16) return std::make_unique<G711Decoder16>(table, source.Channels());
  if (target.BitsPerSample() == 8) return std::make_unique<G711Decoder8>(table, source.Channels());
  return nullptr;
}
