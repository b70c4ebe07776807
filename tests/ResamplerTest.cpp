#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "ToneFit.h"
#include "dsp/Resampler.h"

namespace {

using dsp::Quality;
using dsp::Resampler;

std::vector<double> Convert(int in, int out, int channels, Quality q, const std::vector<double>& x,
                            const std::vector<std::size_t>& blocks = {}) {
  Resampler r(in, out, channels, q);
  std::vector<double> y;
  const std::size_t frames = x.size() / std::size_t(channels);
  std::size_t done = 0;
  for (std::size_t i = 0; done < frames; ++i) {
    const std::size_t n = blocks.empty() ? frames : std::min(blocks[i % blocks.size()], frames - done);
    r.Process(x.data() + done * std::size_t(channels), n, y);
    done += n;
  }
  r.Finish(y);
  return y;
}

std::vector<double> Tone(double hz, int rate, std::size_t frames, double amplitude = 1) {
  std::vector<double> x(frames);
  for (std::size_t i = 0; i < frames; ++i) x[i] = amplitude * std::sin(2 * std::numbers::pi * hz * double(i) / rate);
  return x;
}

double Db(double x) { return 20 * std::log10(x); }

struct Pair {
  int in, out;
};

}  // namespace

TEST(Resampler, OutputLengthIsTheRoundedRatioWhateverTheBlocks) {
  const Pair pairs[] = {{96000, 44100}, {44100, 48000}, {48000, 44100},  {44100, 47999}, {1000, 768000},
                        {768000, 1000}, {8000, 11025},  {192000, 44100}, {22050, 44100}, {48000, 24000}};
  for (const Pair p : pairs)
    for (std::size_t n : {0u, 1u, 2u, 101u, 1001u}) {
      if (n > 101 && p.out > 100 * p.in) continue;  // 101 frames already make 77,568 at 768 times
      const std::vector<double> x(n, 0.25);
      for (const auto& blocks : {std::vector<std::size_t>{}, std::vector<std::size_t>{1, 7, 100}}) {
        const auto y = Convert(p.in, p.out, 1, Quality::Quick, x, blocks);
        EXPECT_EQ(std::int64_t(y.size()), Resampler::OutputFrames(std::int64_t(n), p.in, p.out))
            << p.in << " -> " << p.out << ", " << n << " frames";
      }
    }
  EXPECT_EQ(Resampler::OutputFrames(3, 96000, 44100), 1);      // 1.378
  EXPECT_EQ(Resampler::OutputFrames(441, 48000, 44100), 405);  // 405.16
}

// A click at input frame k is centred, in the output, on k x out / in: the
// filter's delay is compensated and its response symmetric. The centre is the
// output energy's centroid, exact for a symmetric response.
TEST(Resampler, ClickLandsAtItsScaledInstant) {
  const Pair pairs[] = {{96000, 44100}, {44100, 48000}, {48000, 44100}, {44100, 47999},
                        {8000, 96000},  {192000, 8000}, {44100, 44101}};
  for (const Pair p : pairs) {
    const std::size_t k = 3000;
    std::vector<double> x(6000, 0.0);
    x[k] = 1;
    const auto y = Convert(p.in, p.out, 1, Quality::High, x);
    double energy = 0, moment = 0;
    for (std::size_t j = 0; j < y.size(); ++j) {
      energy += y[j] * y[j];
      moment += double(j) * y[j] * y[j];
    }
    EXPECT_NEAR(moment / energy, double(k) * p.out / p.in, 1e-3) << p.in << " -> " << p.out;
    const auto peak = std::max_element(y.begin(), y.end()) - y.begin();
    EXPECT_LE(std::abs(double(peak) - double(k) * p.out / p.in), 0.5) << p.in << " -> " << p.out;
  }
}

TEST(Resampler, ConstantPassesAtUnityGain) {
  const Pair pairs[] = {{96000, 44100}, {44100, 48000}, {44100, 47999}, {8000, 96000}, {192000, 8000}};
  for (const Pair p : pairs) {
    const std::size_t n = std::size_t(std::max(6000, 6000 * p.in / p.out));
    const auto y = Convert(p.in, p.out, 2, Quality::VeryHigh, std::vector<double>(2 * n, -0.5));
    const std::size_t frames = y.size() / 2;
    for (std::size_t j = frames / 3; j < 2 * frames / 3; ++j) ASSERT_NEAR(y[j], -0.5, 1e-9) << p.in << " -> " << p.out;
  }
}

// The same output, bit for bit, whatever the sizes of the blocks fed; with an
// odd number of channels, so that one channel goes through the transform alone.
TEST(Resampler, BlockSizesDoNotChangeTheOutput) {
  const Pair pairs[] = {{96000, 44100}, {44100, 48000}, {44100, 47999}, {192000, 8000}};
  std::mt19937 rng(5);
  std::uniform_real_distribution<double> u(-1, 1);
  std::vector<double> x(3 * 12000);
  for (double& v : x) v = u(rng);
  for (const Pair p : pairs) {
    const auto whole = Convert(p.in, p.out, 3, Quality::VeryHigh, x);
    for (const auto& blocks : {std::vector<std::size_t>{1, 2, 3, 5000}, std::vector<std::size_t>{4095, 1, 17}})
      EXPECT_EQ(Convert(p.in, p.out, 3, Quality::VeryHigh, x, blocks), whole) << p.in << " -> " << p.out;
  }
}

TEST(Resampler, EqualRatesPassThroughUntouched) {
  std::vector<double> x(4 * 1000);
  std::mt19937 rng(9);
  std::uniform_real_distribution<double> u(-1.5, 1.5);
  for (double& v : x) v = u(rng);
  EXPECT_EQ(Convert(48000, 48000, 4, Quality::VeryHigh, x, {3, 100}), x);
}

// Each channel converts as it would alone, up to rounding: channels share transforms in pairs.
TEST(Resampler, ChannelsStaySeparate) {
  const int channels = dsp::kMaxChannels;
  const std::size_t frames = 3000;
  std::vector<double> x(frames * channels);
  for (int c = 0; c < channels; ++c) {
    const auto tone = Tone(500.0 * (c + 1), 44100, frames, 0.9);
    for (std::size_t i = 0; i < frames; ++i) x[i * channels + std::size_t(c)] = tone[i];
  }
  const auto all = Convert(44100, 48000, channels, Quality::High, x);
  for (int c : {0, 1, 30, 31}) {
    const auto alone = Convert(44100, 48000, 1, Quality::High, Tone(500.0 * (c + 1), 44100, frames, 0.9));
    ASSERT_EQ(all.size(), alone.size() * channels);
    for (std::size_t j = 0; j < alone.size(); ++j) ASSERT_NEAR(all[j * channels + std::size_t(c)], alone[j], 1e-14);
  }
}

// Each preset measured against its documented figures, downward and upward:
// tones up to the passband edge within 0.01 dB, at the -3 dB point no lower,
// and whatever a tone leaves below the lower Nyquist frequency (its alias
// downward, its image upward) at least the stopband attenuation down.
TEST(Resampler, PresetsMeetTheirFigures) {
  const Pair pairs[] = {{96000, 44100}, {44100, 48000}};
  for (int qi = 0; qi < 5; ++qi) {
    const Quality q = Quality(qi);
    const dsp::QualityFigures& f = dsp::FiguresOf(q);
    for (const Pair p : pairs) {
      const double nyquist = std::min(p.in, p.out) / 2.0;
      const std::size_t frames = 12000;
      const auto analyse = [&](double hz, const std::vector<double>& at) {
        const auto y = Convert(p.in, p.out, 1, q, Tone(hz, p.in, frames));
        return ToneAmplitudes(y, y.size() / 4, 3 * y.size() / 4, p.out, at);
      };
      for (double edge : {0.1, 0.5, f.passband}) {
        const double hz = edge * nyquist;
        EXPECT_NEAR(Db(analyse(hz, {hz})[0]), 0, 0.01) << f.name << " " << p.in << " -> " << p.out << " at " << edge;
      }
      EXPECT_GE(Db(analyse(f.halfPower * nyquist, {f.halfPower * nyquist})[0]), -3) << f.name;
      for (double stop : {1.003, 1.02, 1.1, 1.3}) {
        double leaked;
        if (p.in > p.out) {
          // Downward a tone above the output's Nyquist frequency folds back below it.
          const double hz = std::min(stop * nyquist, p.in / 2.0 - 1);
          leaked = analyse(hz, {p.out - hz})[0];
        } else {
          // Upward a tone near the input's Nyquist frequency mirrors above it.
          const double image = stop * nyquist;
          if (image >= p.out / 2.0) continue;
          const double hz = p.in - image;
          leaked = analyse(hz, {hz, image})[1];
        }
        EXPECT_LE(Db(leaked), -f.stopbandDb) << f.name << " " << p.in << " -> " << p.out << " at " << stop;
      }
    }
  }
}
