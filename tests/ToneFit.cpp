#include "ToneFit.h"

#include <cmath>
#include <numbers>

std::vector<double> ToneAmplitudes(const std::vector<double>& y, std::size_t from, std::size_t to, int rate,
                                   const std::vector<double>& hz) {
  const std::size_t m = 2 * hz.size();
  std::vector<double> a(m * m, 0.0), b(m, 0.0), row(m);
  for (std::size_t i = from; i < to; ++i) {
    for (std::size_t k = 0; k < hz.size(); ++k) {
      const double w = 2 * std::numbers::pi * hz[k] * double(i) / rate;
      row[2 * k] = std::cos(w);
      row[2 * k + 1] = std::sin(w);
    }
    for (std::size_t r = 0; r < m; ++r) {
      b[r] += row[r] * y[i];
      for (std::size_t c = 0; c < m; ++c) a[r * m + c] += row[r] * row[c];
    }
  }
  // Gaussian elimination; the system is small and well conditioned.
  for (std::size_t p = 0; p < m; ++p)
    for (std::size_t r = p + 1; r < m; ++r) {
      const double f = a[r * m + p] / a[p * m + p];
      for (std::size_t c = p; c < m; ++c) a[r * m + c] -= f * a[p * m + c];
      b[r] -= f * b[p];
    }
  std::vector<double> coef(m);
  for (std::size_t p = m; p-- > 0;) {
    double s = b[p];
    for (std::size_t c = p + 1; c < m; ++c) s -= a[p * m + c] * coef[c];
    coef[p] = s / a[p * m + p];
  }
  std::vector<double> amp(hz.size());
  for (std::size_t k = 0; k < hz.size(); ++k) amp[k] = std::hypot(coef[2 * k], coef[2 * k + 1]);
  return amp;
}
