#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>
#include <vector>

#include "dsp/Fft.h"
#include "dsp/Requantizer.h"

namespace {

using dsp::Dither;
using dsp::Requantizer;
using dsp::SampleFormat;
using Bytes = std::vector<std::uint8_t>;

struct Quantised {
  Bytes bytes;
  std::uint64_t clipped;
  bool fellBack;
  std::vector<double> error;  // in LSB of 16 bits, for Int16
};

Quantised Quantise(SampleFormat f, int channels, int rate, Dither d, const std::vector<double>& x,
                   std::uint64_t seed = 1) {
  Requantizer q(f, channels, rate, d, seed);
  Quantised r;
  q.Convert(x.data(), x.size() / std::size_t(channels), r.bytes);
  r.clipped = q.Clipped(), r.fellBack = q.ShapingFellBack();
  if (f == SampleFormat::Int16)
    for (std::size_t i = 0; i < x.size(); ++i)
      r.error.push_back(std::int16_t(r.bytes[2 * i] | r.bytes[2 * i + 1] << 8) - x[i] * 32768);
  return r;
}

std::vector<double> Tone(double hz, int rate, std::size_t n, double db) {
  std::vector<double> x(n);
  for (std::size_t i = 0; i < n; ++i)
    x[i] = std::pow(10.0, db / 20) * std::sin(2 * std::numbers::pi * hz * double(i) / rate);
  return x;
}

}  // namespace

// Whatever a file holds comes back unchanged through doubles at its own depth.
TEST(Requantizer, SamplesRoundTripThroughDoubles) {
  std::mt19937 rng(11);
  for (SampleFormat f : {SampleFormat::Int8, SampleFormat::Int16, SampleFormat::Int24, SampleFormat::Int32,
                         SampleFormat::Float32, SampleFormat::Float64}) {
    const std::size_t width = std::size_t(dsp::BitsOf(f) / 8);
    Bytes bytes(240 * width);
    for (std::size_t i = 0; i < bytes.size(); ++i)  // finite floats only
      bytes[i] = std::uint8_t(rng() & (dsp::IsFloat(f) && i % width == width - 1 ? 0x3f : 0xff));
    std::vector<double> x;
    dsp::ToDoubles(f, bytes.data(), 240, x);
    EXPECT_EQ(Quantise(f, 2, 44100, Dither::None, x).bytes, bytes) << dsp::BitsOf(f);
  }
}

// The error's power between 1 and 5 kHz, shaped against flat.
TEST(Requantizer, ShapedNoiseLeavesOneToFiveKilohertz) {
  for (int rate : {44100, 48000}) {
    const auto x = Tone(997, rate, std::size_t(rate), -20);
    const auto band = [&](Dither d) {
      const Quantised q = Quantise(SampleFormat::Int16, 1, rate, d, x);
      EXPECT_FALSE(q.fellBack);
      const std::size_t n = 32768;
      const dsp::Fft fft(n);
      std::vector<double> re(q.error.begin(), q.error.begin() + n), im(n);
      fft.Forward(re.data(), im.data());
      double sum = 0;
      for (std::size_t k = 1000 * n / std::size_t(rate); k <= 5000 * n / std::size_t(rate); ++k)
        sum += re[k] * re[k] + im[k] * im[k];
      return 10 * std::log10(sum);
    };
    EXPECT_LE(band(Dither::Shaped), band(Dither::Tpdf) - 15) << rate;
  }
  // Elsewhere shaping falls back to plain TPDF, and says so.
  const auto x = Tone(997, 96000, 4000, -20);
  const Quantised shaped = Quantise(SampleFormat::Int16, 1, 96000, Dither::Shaped, x, 5);
  EXPECT_EQ(shaped.bytes, Quantise(SampleFormat::Int16, 1, 96000, Dither::Tpdf, x, 5).bytes);
  EXPECT_TRUE(shaped.fellBack);
}
