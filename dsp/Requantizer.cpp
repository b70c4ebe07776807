#include "dsp/Requantizer.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "dsp/NoiseShaping.h"

namespace dsp {

namespace {

std::uint64_t SplitMix(std::uint64_t& x) {
  std::uint64_t z = (x += 0x9e3779b97f4a7c15ULL);
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
  return z ^ (z >> 31);
}

template <typename T>
void AppendBytes(T value, std::vector<std::uint8_t>& out) {
  std::uint8_t bytes[sizeof(T)];
  std::memcpy(bytes, &value, sizeof(T));
  out.insert(out.end(), bytes, bytes + sizeof(T));
}

}  // namespace

std::optional<Dither> ParseDither(std::string_view name) {
  if (name == "none") return Dither::None;
  if (name == "tpdf") return Dither::Tpdf;
  if (name == "shaped") return Dither::Shaped;
  return std::nullopt;
}

int BitsOf(SampleFormat f) {
  static const int bits[] = {8, 16, 24, 32, 32, 64};
  return bits[int(f)];
}

bool IsFloat(SampleFormat f) { return f == SampleFormat::Float32 || f == SampleFormat::Float64; }

void ToDoubles(SampleFormat f, const std::uint8_t* p, std::size_t samples, std::vector<double>& out) {
  const std::size_t at = out.size();
  out.resize(at + samples);
  double* o = out.data() + at;
  // One loop per format: a test per sample would cost as much as the conversion.
  switch (f) {
    case SampleFormat::Float32:
      for (std::size_t i = 0; i < samples; ++i) {
        float v;
        std::memcpy(&v, p + 4 * i, 4);
        o[i] = v;
      }
      break;
    case SampleFormat::Float64:
      std::memcpy(o, p, samples * 8);
      break;
    case SampleFormat::Int8:
      for (std::size_t i = 0; i < samples; ++i) o[i] = (int(p[i]) - 128) / 128.0;
      break;
    case SampleFormat::Int16:
      for (std::size_t i = 0; i < samples; ++i) o[i] = std::int16_t(p[2 * i] | p[2 * i + 1] << 8) / 32768.0;
      break;
    case SampleFormat::Int24:
      for (std::size_t i = 0; i < samples; ++i) {
        // Left-justified in 32 bits, so that the sign lands in bit 31.
        const std::uint32_t u =
            std::uint32_t(p[3 * i]) << 8 | std::uint32_t(p[3 * i + 1]) << 16 | std::uint32_t(p[3 * i + 2]) << 24;
        o[i] = double(std::int32_t(u)) / 2147483648.0;
      }
      break;
    case SampleFormat::Int32:
      for (std::size_t i = 0; i < samples; ++i) {
        std::int32_t v;
        std::memcpy(&v, p + 4 * i, 4);
        o[i] = v / 2147483648.0;
      }
      break;
  }
}

Requantizer::Requantizer(SampleFormat format, int channels, int rate, Dither dither, std::uint64_t seed)
    : format_(format), channels_(channels), dither_(IsFloat(format) ? Dither::None : dither), state_(seed) {
  if (dither_ == Dither::Shaped) {
    shaping_ = NoiseShapingFilter(rate);
    if (shaping_.empty()) {
      dither_ = Dither::Tpdf;
      fellBack_ = true;
    }
    history_.assign(std::size_t(channels) * shaping_.size(), 0.0);
  }
}

double Requantizer::Triangular() {
  // Two uniform values in [0, 1) from one draw: their difference is triangular over (-1, 1) LSB.
  const std::uint64_t x = SplitMix(state_);
  constexpr double kUnit = 1.0 / 4294967296.0;
  return double(x >> 32) * kUnit - double(x & 0xffffffffU) * kUnit;
}

void Requantizer::Convert(const double* in, std::size_t frames, std::vector<std::uint8_t>& out) {
  const std::size_t samples = frames * std::size_t(channels_);
  if (format_ == SampleFormat::Float32) {
    for (std::size_t i = 0; i < samples; ++i) AppendBytes(float(in[i]), out);
    return;
  }
  if (format_ == SampleFormat::Float64) {
    for (std::size_t i = 0; i < samples; ++i) AppendBytes(in[i], out);
    return;
  }
  const int bits = BitsOf(format_);
  const double scale = std::ldexp(1.0, bits - 1);
  const double high = scale - 1, low = -scale;
  const std::size_t order = shaping_.size();
  out.reserve(out.size() + samples * std::size_t(bits / 8));
  for (std::size_t i = 0; i < samples; ++i) {
    double wanted = in[i] * scale;
    double* errors = order ? &history_[(i % std::size_t(channels_)) * order] : nullptr;
    for (std::size_t k = 0; k < order; ++k) wanted += shaping_[k] * errors[k];
    double q = std::nearbyint(dither_ == Dither::None ? wanted : wanted + Triangular());
    if (order) {
      // The error before clipping: fed back after a clip it would swing the filter out of control.
      std::copy_backward(errors, errors + order - 1, errors + order);
      errors[0] = q - wanted;
    }
    if (q > high || q < low) {
      ++clipped_;
      q = std::clamp(q, low, high);
    }
    std::int64_t s = std::int64_t(q);
    if (format_ == SampleFormat::Int8) s += 128;
    for (int b = 0; b < bits / 8; ++b) out.push_back(std::uint8_t(std::uint64_t(s) >> (8 * b)));
  }
}

}  // namespace dsp
