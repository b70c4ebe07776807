#include "dsp/FilterDesign.h"

#include <cmath>
#include <numbers>

namespace dsp {

double BesselI0(double x) {
  // The power series converges for every x; terms are summed until they no
  // longer change the sum.
  const double q = x * x / 4;
  double term = 1, sum = 1;
  for (int k = 1; k < 500; ++k) {
    term *= q / (double(k) * double(k));
    sum += term;
    if (term < sum * 1e-17) break;
  }
  return sum;
}

double KaiserBeta(double a) {
  if (a > 50) return 0.1102 * (a - 8.7);
  if (a >= 21) return 0.5842 * std::pow(a - 21, 0.4) + 0.07886 * (a - 21);
  return 0;
}

int KaiserHalfLength(double a, double transition) {
  const double taps = (a - 7.95) / (2.285 * 2 * std::numbers::pi * transition);
  return int(std::ceil(taps / 2));
}

KaiserSinc::KaiserSinc(double cutoff, double half, double attenuationDb)
    : cutoff_(cutoff), half_(half), beta_(KaiserBeta(attenuationDb)), norm_(1 / BesselI0(beta_)) {}

double KaiserSinc::operator()(double t) const {
  const double r = t / half_;
  if (r <= -1 || r >= 1) return 0;
  const double w = BesselI0(beta_ * std::sqrt(1 - r * r)) * norm_;
  const double x = 2 * cutoff_ * t;
  const double sinc = x == 0 ? 1 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x);
  return 2 * cutoff_ * sinc * w;
}

std::vector<double> LowPass(double cutoff, int half, double attenuationDb, double gain) {
  // The window reaches zero one sample beyond the outer taps, so that they are not wasted.
  const KaiserSinc h(cutoff, half + 1, attenuationDb);
  std::vector<double> taps(2 * std::size_t(half) + 1);
  double sum = 0;
  for (int i = -half; i <= half; ++i) sum += taps[std::size_t(i + half)] = h(i);
  for (double& t : taps) t *= gain / sum;
  return taps;
}

}  // namespace dsp
