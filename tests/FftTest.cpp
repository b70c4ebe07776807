#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <random>
#include <vector>

#include "dsp/Fft.h"

// Every bin against the direct DFT in long double (angles reduced exactly,
// k n mod N) up to 256 points; beyond, a sample of bins (the direct sum costs
// N per bin) and the round trip. Rounding grows as log N times the signal's
// RMS per bin (sqrt N).
TEST(Fft, MatchesTheDirectDftAtEveryPowerOfTwo) {
  using Cx = std::complex<long double>;
  std::mt19937_64 rng(2);
  std::uniform_real_distribution<double> u(-1, 1);
  for (std::size_t n = 2; n <= (std::size_t(1) << 15); n *= 2) {
    std::vector<double> re(n), im(n);
    std::vector<Cx> x(n), roots(n);
    for (std::size_t i = 0; i < n; ++i) {
      re[i] = u(rng), im[i] = u(rng), x[i] = Cx(re[i], im[i]);
      roots[i] = std::polar(1.0L, -2 * std::numbers::pi_v<long double> * i / n);
    }
    const dsp::Fft fft(n);
    fft.Forward(re.data(), im.data());
    const double tolerance = 4e-16 * std::log2(double(n)) * std::sqrt(double(n));
    for (std::size_t k = 0; k < n; k += n <= 256 ? 1 : n / 16 + 1) {
      Cx want = 0;
      for (std::size_t i = 0; i < n; ++i) want += x[i] * roots[k * i % n];
      ASSERT_NEAR(re[k], double(want.real()), tolerance) << n << " bin " << k;
      ASSERT_NEAR(im[k], double(want.imag()), tolerance) << n << " bin " << k;
    }
    fft.Inverse(re.data(), im.data());
    for (std::size_t i = 0; i < n; ++i) {
      ASSERT_NEAR(re[i] / double(n), double(x[i].real()), 4e-15 * std::log2(double(n))) << n;
      ASSERT_NEAR(im[i] / double(n), double(x[i].imag()), 4e-15 * std::log2(double(n))) << n;
    }
  }
}
