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
