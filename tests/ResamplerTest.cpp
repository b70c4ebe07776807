#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "dsp/Resampler.h"

namespace {

using dsp::Quality;
using dsp::Resampler;

std::vector<double> Convert(int in, int out, int channels, Quality q, const std::vector<double>& x,
                            const std::vector<std::size_t>& blocks = {}) {
  Resampler r(in, out, channels, q);
  std::vector<double> y;
  const std::size_t frames = x.size() / std::size_t(channels);
  for (std::size_t i = 0, done = 0, n; done < frames; ++i, done += n) {
    n = blocks.empty() ? frames : std::min(blocks[i % blocks.size()], frames - done);
    r.Process(x.data() + done * std::size_t(channels), n, y);
  }
  r.Finish(y);
  return y;
}

}  // namespace

// One sweep over the paths of the chain (halvings, the sharp filter up, down
// or by one, polyphase or not, equal rates), presets and channel counts. The
// input holds a click in channel 0, a constant in channel 1 and noise in the
// rest; the output counts round(n x out / in) frames, the same bit for bit
// whatever the blocks fed; the click is centred on k x out / in (the delay is
// compensated, the response symmetric: the energy's centroid is exact); the
// constant passes at unity gain; and each channel converts as it would alone,
// up to rounding, though channels share transforms in pairs.
TEST(Resampler, SweepKeepsLengthTimingGainAndChannels) {
  const struct {
    int in, out;
    Quality q;
    int channels;
  } rows[] = {
      {96000, 44100, Quality::VeryHigh, 3}, {44100, 48000, Quality::High, dsp::kMaxChannels},
      {48000, 44100, Quality::Quick, 2},    {44100, 47999, Quality::VeryHigh, 3},
      {8000, 96000, Quality::Medium, 2},    {192000, 8000, Quality::VeryHigh, 3},
      {44100, 44101, Quality::High, 2},     {8000, 11025, Quality::Low, 2},
      {192000, 44100, Quality::High, 5},    {22050, 44100, Quality::Quick, 2},
      {48000, 24000, Quality::Medium, 3},   {1000, 768000, Quality::High, 2},
      {768000, 1000, Quality::Quick, 2},    {48000, 48000, Quality::VeryHigh, 4},
  };
  std::mt19937 rng(5);
  std::uniform_real_distribution<double> u(-1, 1);
  for (const auto& r : rows) {
    SCOPED_TRACE(testing::Message() << r.in << " -> " << r.out << " quality " << int(r.q) << ", " << r.channels);
    // The rounding at the very ends, down to no input at all; only that at 768 times, the rest would take seconds.
    for (std::size_t few : {0, 1, 2, 101})
      EXPECT_EQ(std::int64_t(Convert(r.in, r.out, 1, r.q, std::vector<double>(few, 0.25), {1, 7}).size()),
                Resampler::OutputFrames(std::int64_t(few), r.in, r.out))
          << few;
    if (std::max(r.in, r.out) > 100 * std::min(r.in, r.out)) continue;
    const std::size_t ch = std::size_t(r.channels), n = std::size_t(std::max(3000.0, 3000.0 * r.in / r.out)), k = n / 2;
    std::vector<double> x(n * ch);
    for (std::size_t i = 0; i < x.size(); ++i) x[i] = i % ch == 0 ? (i / ch == k) : i % ch == 1 ? -0.5 : u(rng);
    const auto y = Convert(r.in, r.out, r.channels, r.q, x);
    const std::size_t m = y.size() / ch;
    ASSERT_EQ(std::int64_t(m), Resampler::OutputFrames(std::int64_t(n), r.in, r.out));
    for (const auto& blocks : {std::vector<std::size_t>{1, 2, 3, 5000}, std::vector<std::size_t>{4095, 1, 17}})
      EXPECT_EQ(Convert(r.in, r.out, r.channels, r.q, x, blocks), y);
    if (r.in == r.out) {
      EXPECT_EQ(y, x);
    }
    double energy = 0, moment = 0;
    std::size_t peak = 0;
    for (std::size_t j = 0; j < m; ++j) {
      const double e = y[j * ch] * y[j * ch];
      energy += e, moment += double(j) * e;
      if (y[j * ch] > y[peak * ch]) peak = j;
    }
    const double at = double(k) * r.out / r.in;
    EXPECT_NEAR(moment / energy, at, 1e-3);
    EXPECT_LE(std::abs(double(peak) - at), 0.5);
    // Within what the stopband lets through, and closer still at the top preset.
    const double gainError = r.q == Quality::VeryHigh ? 1e-9 : std::pow(10, -dsp::FiguresOf(r.q).stopbandDb / 20);
    for (std::size_t j = m / 3; j < 2 * m / 3; ++j) ASSERT_NEAR(y[j * ch + 1], -0.5, gainError) << j;
    for (std::size_t c : {std::size_t(0), ch - 1}) {
      std::vector<double> one(n);
      for (std::size_t i = 0; i < n; ++i) one[i] = x[i * ch + c];
      const auto alone = Convert(r.in, r.out, 1, r.q, one);
      for (std::size_t j = 0; j < m; ++j) ASSERT_NEAR(y[j * ch + c], alone[j], 1e-14) << c << " at " << j;
    }
  }
  EXPECT_EQ(Resampler::OutputFrames(3, 96000, 44100), 1);      // 1.378
  EXPECT_EQ(Resampler::OutputFrames(441, 48000, 44100), 405);  // 405.16
}
