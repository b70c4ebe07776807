#include "ToneFit.h"

#include <cmath>
#include <numbers>

std::vector<double> ToneAmplitudes(const std::vector<double>& y, std::size_t from, std::size_t to, int rate,
                                   const std::vector<double>& hz) {
  // The normal equations, augmented by their right-hand side in the last column.
  const std::size_t m = 2 * hz.size(), w = m + 1;
  std::vector<double> a(m * w, 0.0), row(w);
  for (std::size_t i = from; i < to; ++i) {
    for (std::size_t k = 0; k < hz.size(); ++k) {
      const double phase = 2 * std::numbers::pi * hz[k] * double(i) / rate;
      row[2 * k] = std::cos(phase);
      row[2 * k + 1] = std::sin(phase);
    }
    row[m] = y[i];
    for (std::size_t r = 0; r < m; ++r)
      for (std::size_t c = 0; c < w; ++c) a[r * w + c] += row[r] * row[c];
  }
  // Gauss-Jordan elimination; the system is small and well conditioned.
  for (std::size_t p = 0; p < m; ++p)
    for (std::size_t r = 0; r < m; ++r)
      if (r != p) {
        const double f = a[r * w + p] / a[p * w + p];
        for (std::size_t c = p; c < w; ++c) a[r * w + c] -= f * a[p * w + c];
      }
  std::vector<double> amp(hz.size());
  for (std::size_t k = 0; k < hz.size(); ++k) {
    const std::size_t c = 2 * k, s = 2 * k + 1;
    amp[k] = std::hypot(a[c * w + m] / a[c * w + c], a[s * w + m] / a[s * w + s]);
  }
  return amp;
}
