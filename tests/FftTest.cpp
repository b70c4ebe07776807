#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <random>
#include <vector>

#include "dsp/Fft.h"

namespace {

using Cx = std::complex<long double>;

// Bin k of the DFT in long double, angles reduced exactly (k n mod N).
Cx DirectBin(const std::vector<double>& re, const std::vector<double>& im, std::size_t k) {
  const std::size_t n = re.size();
  static std::vector<Cx> roots;
  if (roots.size() != n) {
    roots.resize(n);
    for (std::size_t m = 0; m < n; ++m) {
      const long double angle = -2 * std::numbers::pi_v<long double> * m / n;
      roots[m] = Cx(std::cos(angle), std::sin(angle));
    }
  }
  Cx sum = 0;
  for (std::size_t i = 0; i < n; ++i) sum += Cx(re[i], im[i]) * roots[(k * i) % n];
  return sum;
}

struct Signal {
  std::vector<double> re, im;
};

Signal Random(std::size_t n, unsigned seed) {
  std::mt19937_64 rng(seed);
  std::uniform_real_distribution<double> u(-1, 1);
  Signal s{std::vector<double>(n), std::vector<double>(n)};
  for (std::size_t i = 0; i < n; ++i) s.re[i] = u(rng), s.im[i] = u(rng);
  return s;
}

// Rounding error of an FFT grows as log N times the signal's RMS per bin (sqrt N).
double Tolerance(std::size_t n) { return 1e-16 * 4 * std::log2(double(n)) * std::sqrt(double(n)); }

}  // namespace

// Every bin against the direct DFT up to 256 points; beyond, a sample of bins
// (the direct sum costs N per bin) and the round trip.
TEST(Fft, MatchesTheDirectDftAtEveryPowerOfTwo) {
  for (std::size_t n = 2; n <= (std::size_t(1) << 15); n *= 2) {
    Signal s = Random(n, unsigned(n));
    const Signal x = s;
    const dsp::Fft fft(n);
    fft.Forward(s.re.data(), s.im.data());
    const std::size_t stride = n <= 256 ? 1 : n / 16 + 1;
    for (std::size_t k = 0; k < n; k += stride) {
      const Cx want = DirectBin(x.re, x.im, k);
      ASSERT_NEAR(s.re[k], double(want.real()), Tolerance(n)) << n << " bin " << k;
      ASSERT_NEAR(s.im[k], double(want.imag()), Tolerance(n)) << n << " bin " << k;
    }
    fft.Inverse(s.re.data(), s.im.data());
    for (std::size_t i = 0; i < n; ++i) {
      ASSERT_NEAR(s.re[i] / double(n), x.re[i], 1e-15 * std::log2(double(n)) * 4) << n;
      ASSERT_NEAR(s.im[i] / double(n), x.im[i], 1e-15 * std::log2(double(n)) * 4) << n;
    }
  }
}

// Two real channels in one transform: each channel's spectrum comes back out.
TEST(Fft, SplitsTwoRealSignalsApart) {
  for (std::size_t n : {2u, 8u, 512u, 4096u}) {
    Signal s = Random(n, 7);
    const Signal x = s;
    dsp::Fft(n).Forward(s.re.data(), s.im.data());
    std::vector<double> aRe, aIm, bRe, bIm;
    dsp::Fft::SplitRealPair(s.re.data(), s.im.data(), n, aRe, aIm, bRe, bIm);
    const std::vector<double> zero(n, 0.0);
    for (std::size_t k = 0; k <= n / 2; k += n / 8 + 1) {
      const Cx a = DirectBin(x.re, zero, k), b = DirectBin(x.im, zero, k);
      EXPECT_NEAR(aRe[k], double(a.real()), Tolerance(n));
      EXPECT_NEAR(aIm[k], double(a.imag()), Tolerance(n));
      EXPECT_NEAR(bRe[k], double(b.real()), Tolerance(n));
      EXPECT_NEAR(bIm[k], double(b.imag()), Tolerance(n));
    }
  }
}

// The convolution path skips the reordering: the scrambled spectrum is the same bins, permuted.
TEST(Fft, ScrambledOrderIsTheBitReversalOfNatural) {
  const std::size_t n = 256;
  Signal natural = Random(n, 3), scrambled = natural;
  const dsp::Fft fft(n);
  fft.Forward(natural.re.data(), natural.im.data());
  fft.ForwardScrambled(scrambled.re.data(), scrambled.im.data());
  for (std::size_t k = 0; k < n; ++k) {
    EXPECT_EQ(scrambled.re[fft.Scrambled(k)], natural.re[k]);
    EXPECT_EQ(scrambled.im[fft.Scrambled(k)], natural.im[k]);
  }
}
