#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>
#include <vector>

#include "ToneFit.h"
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

double Db16(double amplitude) { return 20 * std::log10(amplitude / 32768); }

}  // namespace

TEST(Requantizer, RoundsAndClipsNeverWraps) {
  const double lsb16 = 1.0 / 32768;
  const struct {
    SampleFormat format;
    double in;
    Bytes want;
    std::uint64_t clipped;
  } rows[] = {
      {SampleFormat::Int16, 0.4 * lsb16, {0x00, 0x00}, 0},
      {SampleFormat::Int16, 0.6 * lsb16, {0x01, 0x00}, 0},
      {SampleFormat::Int16, -0.6 * lsb16, {0xff, 0xff}, 0},
      {SampleFormat::Int16, -1.0, {0x00, 0x80}, 0},
      {SampleFormat::Int16, 32767 * lsb16, {0xff, 0x7f}, 0},
      {SampleFormat::Int16, 1.0, {0xff, 0x7f}, 1},
      {SampleFormat::Int16, 1e6, {0xff, 0x7f}, 1},
      {SampleFormat::Int16, -1.5, {0x00, 0x80}, 1},
      {SampleFormat::Int8, 0.0, {0x80}, 0},
      {SampleFormat::Int8, -1.0, {0x00}, 0},
      {SampleFormat::Int8, 2.0, {0xff}, 1},
      {SampleFormat::Int24, -1.0 / 8388608, {0xff, 0xff, 0xff}, 0},
      {SampleFormat::Int24, 1.0, {0xff, 0xff, 0x7f}, 1},
      {SampleFormat::Int32, 0.5, {0x00, 0x00, 0x00, 0x40}, 0},
      {SampleFormat::Int32, -3.0, {0x00, 0x00, 0x00, 0x80}, 1},
      {SampleFormat::Float32, 1.5, {0x00, 0x00, 0xc0, 0x3f}, 0},
  };
  for (const auto& r : rows) {
    const Quantised q = Quantise(r.format, 1, 44100, Dither::None, {r.in});
    EXPECT_EQ(q.bytes, r.want) << r.in;
    EXPECT_EQ(q.clipped, r.clipped) << r.in;
  }
}

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

// TPDF: error of zero mean, independent of the signal, 1/4 LSB^2 in all
// (1/12 rounding + 2/12 dither): -93.3 dB re a full-scale sine at 16 bits.
// Rounding alone turns a tone of about one LSB into a square-ish wave full of
// harmonics; with TPDF a tone below one LSB keeps its level and leaves no harmonic.
TEST(Requantizer, TpdfNoiseHasItsLevelAndKeepsAQuietTonePure) {
  const auto x = Tone(997, 44100, 44100, -20);
  const auto e = Quantise(SampleFormat::Int16, 1, 44100, Dither::Tpdf, x).error;
  double mean = 0, power = 0, cross = 0, signal = 0, peak = 0;
  for (std::size_t i = 0; i < e.size(); ++i) {
    mean += e[i], power += e[i] * e[i], cross += e[i] * x[i], signal += x[i] * x[i];
    peak = std::max(peak, std::abs(e[i]));
  }
  EXPECT_NEAR(mean / double(e.size()), 0, 0.01);
  EXPECT_NEAR(10 * std::log10(power / double(e.size()) / (32768.0 * 32768.0 / 2)), -93.3, 0.2);
  EXPECT_LT(std::abs(cross) / std::sqrt(power * signal), 0.02);
  EXPECT_LE(peak, 1.5);

  const std::vector<double> harmonics = {1000, 2000, 3000, 5000};
  const auto levels = [&](Dither d, double db) {
    const auto tone = Tone(1000, 44100, 44100, db);
    auto s = Quantise(SampleFormat::Int16, 1, 44100, d, tone).error;
    for (std::size_t i = 0; i < s.size(); ++i) s[i] += tone[i] * 32768;
    return ToneAmplitudes(s, 0, s.size(), 44100, harmonics);
  };
  const auto dithered = levels(Dither::Tpdf, -100);
  EXPECT_NEAR(Db16(dithered[0]), -100, 0.5);
  for (std::size_t k = 1; k < harmonics.size(); ++k) EXPECT_LT(Db16(dithered[k]), -125) << k;
  const auto rounded = levels(Dither::None, -90);
  EXPECT_GT(Db16(*std::max_element(rounded.begin() + 1, rounded.end())), -110);
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

// The same seed gives the same bytes however the frames are split; another seed other bytes.
TEST(Requantizer, DitherIsReproducibleFromItsSeed) {
  const auto x = Tone(440, 48000, 3000, -30);  // 1500 stereo frames
  for (Dither d : {Dither::Tpdf, Dither::Shaped}) {
    const Bytes whole = Quantise(SampleFormat::Int16, 2, 48000, d, x, 42).bytes;
    Requantizer q(SampleFormat::Int16, 2, 48000, d, 42);
    Bytes split;
    for (std::size_t at = 0; std::size_t n : {1, 999, 500}) q.Convert(x.data() + 2 * at, n, split), at += n;
    EXPECT_EQ(split, whole);
    EXPECT_NE(Quantise(SampleFormat::Int16, 2, 48000, d, x, 43).bytes, whole);
  }
}

// Shaped dither stays stable through clipping: once the overload has passed the error is small again.
TEST(Requantizer, ShapedDitherRecoversFromClipping) {
  auto x = Tone(1000, 44100, 8000, 3);  // +3 dBFS: clipped on every peak
  for (std::size_t i = 4000; i < x.size(); ++i) x[i] *= 0.01;
  const Quantised q = Quantise(SampleFormat::Int16, 1, 44100, Dither::Shaped, x);
  EXPECT_GT(q.clipped, 1000u);
  EXPECT_LT(std::abs(*std::max_element(q.error.begin() + 5000, q.error.end(),
                                       [](double a, double b) { return std::abs(a) < std::abs(b); })),
            40);
}
