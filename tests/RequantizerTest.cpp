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

Bytes Quantise(SampleFormat f, int channels, int rate, Dither d, const std::vector<double>& x, std::uint64_t seed = 1,
               std::uint64_t* clipped = nullptr, bool* fellBack = nullptr) {
  Requantizer q(f, channels, rate, d, seed);
  Bytes out;
  q.Convert(x.data(), x.size() / std::size_t(channels), out);
  if (clipped) *clipped = q.Clipped();
  if (fellBack) *fellBack = q.ShapingFellBack();
  return out;
}

// 16-bit samples back as integers.
std::vector<double> Samples16(const Bytes& b) {
  std::vector<double> s(b.size() / 2);
  for (std::size_t i = 0; i < s.size(); ++i) s[i] = std::int16_t(b[2 * i] | b[2 * i + 1] << 8);
  return s;
}

std::vector<double> Tone(double hz, int rate, std::size_t n, double db) {
  std::vector<double> x(n);
  for (std::size_t i = 0; i < n; ++i)
    x[i] = std::pow(10.0, db / 20) * std::sin(2 * std::numbers::pi * hz * double(i) / rate);
  return x;
}

// The requantisation error in LSB of 16 bits.
std::vector<double> Error16(const std::vector<double>& x, const Bytes& b) {
  std::vector<double> e = Samples16(b);
  for (std::size_t i = 0; i < e.size(); ++i) e[i] -= x[i] * 32768;
  return e;
}

// Mean power per bin between lo and hi Hz, Hann-windowed segments of 1024 averaged, in dB.
double BandPowerDb(const std::vector<double>& e, int rate, double lo, double hi) {
  const std::size_t n = 1024;
  const dsp::Fft fft(n);
  std::vector<double> re(n), im(n), power(n / 2 + 1, 0.0);
  for (std::size_t at = 0; at + n <= e.size(); at += n) {
    for (std::size_t i = 0; i < n; ++i) {
      re[i] = e[at + i] * (0.5 - 0.5 * std::cos(2 * std::numbers::pi * double(i) / n));
      im[i] = 0;
    }
    fft.Forward(re.data(), im.data());
    for (std::size_t k = 0; k <= n / 2; ++k) power[k] += re[k] * re[k] + im[k] * im[k];
  }
  double sum = 0;
  int bins = 0;
  for (std::size_t k = 0; k <= n / 2; ++k) {
    const double hz = double(k) * rate / double(n);
    if (hz >= lo && hz <= hi) sum += power[k], ++bins;
  }
  return 10 * std::log10(sum / bins);
}

}  // namespace

TEST(Requantizer, RoundsAndClipsNeverWraps) {
  const double lsb16 = 1.0 / 32768;
  struct Row {
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
  for (const Row& r : rows) {
    std::uint64_t clipped = 0;
    EXPECT_EQ(Quantise(r.format, 1, 44100, Dither::None, {r.in}, 1, &clipped), r.want) << r.in;
    EXPECT_EQ(clipped, r.clipped) << r.in;
  }
}

// Whatever a file holds comes back unchanged through doubles at its own depth.
TEST(Requantizer, SamplesRoundTripThroughDoubles) {
  std::mt19937 rng(11);
  for (SampleFormat f : {SampleFormat::Int8, SampleFormat::Int16, SampleFormat::Int24, SampleFormat::Int32,
                         SampleFormat::Float32, SampleFormat::Float64}) {
    Bytes bytes(240 * std::size_t(dsp::BitsOf(f) / 8));
    for (auto& b : bytes) b = std::uint8_t(rng());
    if (dsp::IsFloat(f))  // finite values only
      for (std::size_t i = dsp::BitsOf(f) / 8 - 1; i < bytes.size(); i += std::size_t(dsp::BitsOf(f) / 8))
        bytes[i] &= 0x3f;
    std::vector<double> x;
    dsp::ToDoubles(f, bytes.data(), 240, x);
    EXPECT_EQ(Quantise(f, 2, 44100, Dither::None, x), bytes) << dsp::BitsOf(f);
  }
}

// TPDF: error of zero mean, independent of the signal, 1/4 LSB^2 in all
// (1/12 rounding + 2/12 dither): -93.3 dB re a full-scale sine at 16 bits.
TEST(Requantizer, TpdfNoiseHasItsTheoreticalLevel) {
  const auto x = Tone(997, 44100, 44100, -20);
  const auto e = Error16(x, Quantise(SampleFormat::Int16, 1, 44100, Dither::Tpdf, x));
  double mean = 0, power = 0, cross = 0, signal = 0, peak = 0;
  for (std::size_t i = 0; i < e.size(); ++i) {
    mean += e[i];
    power += e[i] * e[i];
    cross += e[i] * x[i];
    signal += x[i] * x[i];
    peak = std::max(peak, std::abs(e[i]));
  }
  mean /= double(e.size());
  power /= double(e.size());
  EXPECT_NEAR(mean, 0, 0.01);
  EXPECT_NEAR(10 * std::log10(power / (32768.0 * 32768.0 / 2)), -93.3, 0.2);
  EXPECT_LT(std::abs(cross) / std::sqrt(power * signal * double(e.size())), 0.02);
  EXPECT_LE(peak, 1.5);
}

// Rounding alone turns a tone of about one LSB into a square-ish wave full of
// harmonics; with TPDF a tone below one LSB keeps its level and leaves no harmonic.
TEST(Requantizer, DitherKeepsAQuietToneAndItsPurity) {
  const int rate = 44100;
  const std::vector<double> harmonics = {1000, 2000, 3000, 5000};
  const auto quiet = Tone(1000, rate, rate, -100);
  const auto dithered = ToneAmplitudes(Samples16(Quantise(SampleFormat::Int16, 1, rate, Dither::Tpdf, quiet)), 0,
                                       quiet.size(), rate, harmonics);
  EXPECT_NEAR(20 * std::log10(dithered[0] / 32768), -100, 0.5);
  for (std::size_t k = 1; k < harmonics.size(); ++k) EXPECT_LT(20 * std::log10(dithered[k] / 32768), -125) << k;
  const auto loud = Tone(1000, rate, rate, -90);
  const auto rounded = ToneAmplitudes(Samples16(Quantise(SampleFormat::Int16, 1, rate, Dither::None, loud)), 0,
                                      loud.size(), rate, harmonics);
  EXPECT_GT(20 * std::log10(*std::max_element(rounded.begin() + 1, rounded.end()) / 32768), -110);
}

TEST(Requantizer, ShapedNoiseLeavesOneToFiveKilohertz) {
  for (int rate : {44100, 48000}) {
    const auto x = Tone(997, rate, std::size_t(rate), -20);
    bool fellBack = true;
    const auto shaped = Error16(x, Quantise(SampleFormat::Int16, 1, rate, Dither::Shaped, x, 1, nullptr, &fellBack));
    const auto flat = Error16(x, Quantise(SampleFormat::Int16, 1, rate, Dither::Tpdf, x));
    EXPECT_FALSE(fellBack);
    EXPECT_LE(BandPowerDb(shaped, rate, 1000, 5000), BandPowerDb(flat, rate, 1000, 5000) - 15) << rate;
  }
  // Elsewhere shaping falls back to plain TPDF, and says so.
  const auto x = Tone(997, 96000, 4000, -20);
  bool fellBack = false;
  EXPECT_EQ(Quantise(SampleFormat::Int16, 1, 96000, Dither::Shaped, x, 5, nullptr, &fellBack),
            Quantise(SampleFormat::Int16, 1, 96000, Dither::Tpdf, x, 5));
  EXPECT_TRUE(fellBack);
}

// The same seed gives the same bytes however the frames are split; another seed other bytes.
TEST(Requantizer, DitherIsReproducibleFromItsSeed) {
  const auto x = Tone(440, 48000, 3000, -30);  // 1500 stereo frames
  for (Dither d : {Dither::Tpdf, Dither::Shaped}) {
    const Bytes whole = Quantise(SampleFormat::Int16, 2, 48000, d, x, 42);
    Requantizer q(SampleFormat::Int16, 2, 48000, d, 42);
    Bytes split;
    q.Convert(x.data(), 1, split);
    q.Convert(x.data() + 2, 999, split);
    q.Convert(x.data() + 2000, 500, split);
    EXPECT_EQ(split, whole);
    EXPECT_NE(Quantise(SampleFormat::Int16, 2, 48000, d, x, 43), whole);
  }
}

// Shaped dither stays stable through clipping: once the overload has passed the error is small again.
TEST(Requantizer, ShapedDitherRecoversFromClipping) {
  auto x = Tone(1000, 44100, 8000, 3);  // +3 dBFS: clipped on every peak
  for (std::size_t i = 4000; i < x.size(); ++i) x[i] *= 0.01;
  std::uint64_t clipped = 0;
  const auto e = Error16(x, Quantise(SampleFormat::Int16, 1, 44100, Dither::Shaped, x, 1, &clipped));
  EXPECT_GT(clipped, 1000u);
  double tail = 0;
  for (std::size_t i = 5000; i < e.size(); ++i) tail = std::max(tail, std::abs(e[i]));
  EXPECT_LT(tail, 40);
}
