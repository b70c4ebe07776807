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
  const int bytes = BitsOf(f) / 8;
  out.reserve(out.size() + samples);
  for (std::size_t i = 0; i < samples; ++i, p += bytes) {
    if (f == SampleFormat::Float32) {
      float v;
      std::memcpy(&v, p, 4);
      out.push_back(v);
    } else if (f == SampleFormat::Float64) {
      double v;
      std::memcpy(&v, p, 8);
      out.push_back(v);
    } else if (f == SampleFormat::Int8) {
      out.push_back((int(p[0]) - 128) / 128.0);
    } else {
      // Left-justified in 32 bits, so that the sign lands in bit 31 whatever the width.
      std::uint32_t u = 0;
      for (int b = 0; b < bytes; ++b) u |= std::uint32_t(p[b]) << (8 * b + 32 - 8 * bytes);
      out.push_back(double(std::int32_t(u)) / 2147483648.0);
    }
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
