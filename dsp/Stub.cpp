// Placeholder so that the host can be built against the interface while the
// real resampler and dither are written; replaced wholesale.
#include <cmath>
#include <cstring>

#include "dsp/Requantizer.h"
#include "dsp/Resampler.h"

namespace dsp {

const QualityFigures& FiguresOf(Quality q) {
  static const QualityFigures figures[] = {
      {"quick", 0.8, 60}, {"low", 0.85, 80}, {"medium", 0.9, 100}, {"high", 0.91, 125}, {"very-high", 0.95, 175}};
  return figures[int(q)];
}

std::optional<Quality> ParseQuality(std::string_view name) {
  for (int q = 0; q < 5; ++q)
    if (name == FiguresOf(Quality(q)).name) return Quality(q);
  return std::nullopt;
}

struct Resampler::Impl {
  int in, out, channels;
  std::int64_t consumed = 0, produced = 0;
  std::vector<double> last;
  std::vector<double> pending;
};

Resampler::Resampler(int inRate, int outRate, int channels, Quality)
    : impl_(new Impl{inRate, outRate, channels, 0, 0, {}, {}}) {}
Resampler::~Resampler() = default;

std::int64_t Resampler::OutputFrames(std::int64_t frames, int inRate, int outRate) {
  return (frames * outRate + inRate / 2) / inRate;
}

void Resampler::Process(const double* in, std::size_t frames, std::vector<double>& out) {
  Impl& m = *impl_;
  m.pending.insert(m.pending.end(), in, in + frames * m.channels);
  m.consumed += std::int64_t(frames);
  (void)out;
}

void Resampler::Finish(std::vector<double>& out) {
  Impl& m = *impl_;
  const std::int64_t n = OutputFrames(m.consumed, m.in, m.out);
  for (std::int64_t k = 0; k < n; ++k) {
    const double pos = double(k) * m.in / m.out;
    const std::int64_t i = std::int64_t(pos);
    const double f = pos - double(i);
    for (int c = 0; c < m.channels; ++c) {
      const double a = m.pending[std::min(i, m.consumed - 1) * m.channels + c];
      const double b = m.pending[std::min(i + 1, m.consumed - 1) * m.channels + c];
      out.push_back(a + (b - a) * f);
    }
  }
}

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
      std::uint32_t u = 0;
      for (int b = 0; b < bytes; ++b) u |= std::uint32_t(p[b]) << (8 * b + 32 - 8 * bytes);
      out.push_back(double(std::int32_t(u)) / 2147483648.0);
    }
  }
}

Requantizer::Requantizer(SampleFormat format, int channels, int, Dither dither, std::uint64_t seed)
    : format_(format), channels_(channels), dither_(dither), state_(seed) {}

void Requantizer::Convert(const double* in, std::size_t frames, std::vector<std::uint8_t>& out) {
  const int bytes = BitsOf(format_) / 8;
  for (std::size_t i = 0; i < frames * std::size_t(channels_); ++i) {
    if (format_ == SampleFormat::Float32) {
      const float v = float(in[i]);
      const auto* b = reinterpret_cast<const std::uint8_t*>(&v);
      out.insert(out.end(), b, b + 4);
      continue;
    }
    if (format_ == SampleFormat::Float64) {
      const auto* b = reinterpret_cast<const std::uint8_t*>(&in[i]);
      out.insert(out.end(), b, b + 8);
      continue;
    }
    const double scale = std::ldexp(1.0, BitsOf(format_) - 1);
    double v = std::nearbyint(in[i] * scale);
    if (v > scale - 1 || v < -scale) {
      ++clipped_;
      v = v > 0 ? scale - 1 : -scale;
    }
    std::int64_t s = std::int64_t(v);
    if (format_ == SampleFormat::Int8) s += 128;
    for (int b = 0; b < bytes; ++b) out.push_back(std::uint8_t(s >> (8 * b)));
  }
}

}  // namespace dsp
