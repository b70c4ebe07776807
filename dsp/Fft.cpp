#include "dsp/Fft.h"

#include <cmath>
#include <numbers>
#include <utility>

namespace dsp {

Fft::Fft(std::size_t size) : size_(size), reversed_(size), cos_(size), sin_(size) {
  int bits = 0;
  while ((std::size_t(1) << bits) < size) ++bits;
  for (std::size_t k = 0; k < size; ++k) {
    std::size_t r = 0;
    for (int b = 0; b < bits; ++b) r |= ((k >> b) & 1) << (bits - 1 - b);
    reversed_[k] = r;
  }
  // Each twiddle straight from cos/sin of its own angle: a recurrence would
  // accumulate error that shows at the -300 dB the convolution relies on.
  for (std::size_t half = 1; half < size; half *= 2)
    for (std::size_t j = 0; j < half; ++j) {
      const double angle = std::numbers::pi * double(j) / double(half);
      cos_[half + j] = std::cos(angle);
      sin_[half + j] = std::sin(angle);
    }
}

// Decimation in frequency: natural order in, bit-reversed out.
void Fft::ForwardScrambled(double* __restrict re, double* __restrict im) const {
  for (std::size_t half = size_ / 2; half >= 1; half /= 2) {
    const double* __restrict wc = &cos_[half];
    const double* __restrict ws = &sin_[half];
    for (std::size_t base = 0; base < size_; base += 2 * half) {
      double* __restrict ar = re + base;
      double* __restrict ai = im + base;
      double* __restrict br = re + base + half;
      double* __restrict bi = im + base + half;
      for (std::size_t j = 0; j < half; ++j) {
        const double dr = ar[j] - br[j];
        const double di = ai[j] - bi[j];
        ar[j] += br[j];
        ai[j] += bi[j];
        // (dr + i di)(cos - i sin)
        br[j] = dr * wc[j] + di * ws[j];
        bi[j] = di * wc[j] - dr * ws[j];
      }
    }
  }
}

// Decimation in time: bit-reversed in, natural order out.
void Fft::InverseScrambled(double* __restrict re, double* __restrict im) const {
  for (std::size_t half = 1; half < size_; half *= 2) {
    const double* __restrict wc = &cos_[half];
    const double* __restrict ws = &sin_[half];
    for (std::size_t base = 0; base < size_; base += 2 * half) {
      double* __restrict ar = re + base;
      double* __restrict ai = im + base;
      double* __restrict br = re + base + half;
      double* __restrict bi = im + base + half;
      for (std::size_t j = 0; j < half; ++j) {
        // (br + i bi)(cos + i sin)
        const double tr = br[j] * wc[j] - bi[j] * ws[j];
        const double ti = bi[j] * wc[j] + br[j] * ws[j];
        br[j] = ar[j] - tr;
        bi[j] = ai[j] - ti;
        ar[j] += tr;
        ai[j] += ti;
      }
    }
  }
}

void Fft::Reorder(double* re, double* im) const {
  for (std::size_t k = 0; k < size_; ++k)
    if (k < reversed_[k]) {
      std::swap(re[k], re[reversed_[k]]);
      std::swap(im[k], im[reversed_[k]]);
    }
}

void Fft::Forward(double* re, double* im) const {
  ForwardScrambled(re, im);
  Reorder(re, im);
}

void Fft::Inverse(double* re, double* im) const {
  Reorder(re, im);
  InverseScrambled(re, im);
}

void Fft::SplitRealPair(const double* re, const double* im, std::size_t n, std::vector<double>& aRe,
                        std::vector<double>& aIm, std::vector<double>& bRe, std::vector<double>& bIm) {
  const std::size_t bins = n / 2 + 1;
  aRe.resize(bins);
  aIm.resize(bins);
  bRe.resize(bins);
  bIm.resize(bins);
  for (std::size_t k = 0; k < bins; ++k) {
    const std::size_t m = (n - k) % n;
    // A = (X[k] + conj X[N-k]) / 2, B = (X[k] - conj X[N-k]) / 2i
    aRe[k] = 0.5 * (re[k] + re[m]);
    aIm[k] = 0.5 * (im[k] - im[m]);
    bRe[k] = 0.5 * (im[k] + im[m]);
    bIm[k] = 0.5 * (re[m] - re[k]);
  }
}

}  // namespace dsp
