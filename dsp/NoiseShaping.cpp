#include "dsp/NoiseShaping.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace dsp {

namespace {

constexpr int kOrder = 12;
// How far above its lowest point the noise may rise: beyond about 40 dB the
// total noise power grows faster than the sensitive band gains.
constexpr double kRangeDb = 40;
// Below 500 Hz the threshold keeps rising, but noise moved there is heard through speakers' and rooms' hum and rumble.
constexpr double kLowestHz = 500;

// Solves the normal equations of linear prediction (Levinson-Durbin): the
// monic minimum-phase polynomial whose inverse power spectrum matches `r`.
std::vector<double> Levinson(const std::vector<double>& r, int order) {
  std::vector<double> a(std::size_t(order) + 1, 0.0), previous;
  a[0] = 1;
  double error = r[0];
  for (int i = 1; i <= order; ++i) {
    double acc = r[std::size_t(i)];
    for (int j = 1; j < i; ++j) acc += a[std::size_t(j)] * r[std::size_t(i - j)];
    const double k = -acc / error;
    previous = a;
    for (int j = 1; j < i; ++j) a[std::size_t(j)] += k * previous[std::size_t(i - j)];
    a[std::size_t(i)] = k;
    error *= 1 - k * k;
  }
  return {a.begin() + 1, a.end()};
}

}  // namespace

double HearingThresholdDb(double hz) {
  const double k = hz / 1000;
  return 3.64 * std::pow(k, -0.8) - 6.5 * std::exp(-0.6 * (k - 3.3) * (k - 3.3)) + 1e-3 * k * k * k * k;
}

std::vector<double> NoiseShapingFilter(int rate) {
  if (rate != 44100 && rate != 48000) return {};
  // Wanted noise spectrum N(f) (dB) = the threshold, clamped. Linear
  // prediction on the spectrum 1/N gives A(z) with |A|^2 proportional to N.
  constexpr int kPoints = 4096;
  std::vector<double> threshold(kPoints);
  for (int i = 0; i < kPoints; ++i)
    threshold[std::size_t(i)] = HearingThresholdDb(std::max(kLowestHz, (i + 0.5) / kPoints * rate / 2));
  const double floor = *std::min_element(threshold.begin(), threshold.end());
  std::vector<double> r(kOrder + 1, 0.0);
  for (int i = 0; i < kPoints; ++i) {
    const double power = std::pow(10.0, -std::min(threshold[std::size_t(i)], floor + kRangeDb) / 10);
    const double omega = std::numbers::pi * (i + 0.5) / kPoints;
    for (int k = 0; k <= kOrder; ++k) r[std::size_t(k)] += power * std::cos(omega * k);
  }
  return Levinson(r, kOrder);
}

}  // namespace dsp
