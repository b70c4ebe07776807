// Kaiser-windowed sinc low-pass filters: the closed-form design that reaches a
// given stopband attenuation over a given transition band.
#pragma once

#include <vector>

namespace dsp {

// Modified Bessel function of the first kind, order zero.
double BesselI0(double x);
// The Kaiser window's shape parameter for a stopband attenuation in dB.
double KaiserBeta(double attenuationDb);
// Half-length, in samples, of a Kaiser-windowed sinc whose transition band is
// `transition` wide (cycles per sample) at `attenuationDb`.
int KaiserHalfLength(double attenuationDb, double transition);

// The continuous windowed sinc h(t) = 2 fc sinc(2 fc t) w(t / half), zero
// outside (-half, half); fc in cycles per sample.
class KaiserSinc {
 public:
  KaiserSinc(double cutoff, double half, double attenuationDb);
  double operator()(double t) const;

 private:
  double cutoff_;
  double half_;
  double beta_;
  double norm_;
};

// Odd-length linear-phase low-pass, 2 x half + 1 taps centred on tap `half`,
// with a DC gain of `gain`.
std::vector<double> LowPass(double cutoff, int half, double attenuationDb, double gain);

}  // namespace dsp
