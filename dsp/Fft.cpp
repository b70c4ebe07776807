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

// Decimation in frequency: natural order in, bit-reversed out. The last two
// passes, whose twiddles are 1 and -i, run fused without multiplications:
// as loops of one or two butterflies they would cost more than all the others.
void Fft::ForwardScrambled(double* __restrict re, double* __restrict im) const {
  for (std::size_t half = size_ / 2; half >= 4; half /= 2) {
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
  if (size_ == 2) {
    const double r = re[0] - re[1], i = im[0] - im[1];
    re[0] += re[1], im[0] += im[1], re[1] = r, im[1] = i;
    return;
  }
  for (std::size_t b = 0; b < size_; b += 4) {
    double* r = re + b;
    double* i = im + b;
    const double a0r = r[0] + r[2], a0i = i[0] + i[2], a1r = r[1] + r[3], a1i = i[1] + i[3];
    // (x1 - x3)(-i)
    const double b0r = r[0] - r[2], b0i = i[0] - i[2], b1r = i[1] - i[3], b1i = r[3] - r[1];
    r[0] = a0r + a1r, i[0] = a0i + a1i, r[1] = a0r - a1r, i[1] = a0i - a1i;
    r[2] = b0r + b1r, i[2] = b0i + b1i, r[3] = b0r - b1r, i[3] = b0i - b1i;
  }
}

// Decimation in time: bit-reversed in, natural order out; the first two passes fused likewise.
void Fft::InverseScrambled(double* __restrict re, double* __restrict im) const {
  if (size_ == 2) {
    const double r = re[0] - re[1], i = im[0] - im[1];
    re[0] += re[1], im[0] += im[1], re[1] = r, im[1] = i;
    return;
  }
  for (std::size_t b = 0; b < size_; b += 4) {
    double* r = re + b;
    double* i = im + b;
    const double y0r = r[0] + r[1], y0i = i[0] + i[1], y1r = r[0] - r[1], y1i = i[0] - i[1];
    const double y2r = r[2] + r[3], y2i = i[2] + i[3];
    // (x2 - x3)(+i)
    const double t3r = i[3] - i[2], t3i = r[2] - r[3];
    r[0] = y0r + y2r, i[0] = y0i + y2i, r[2] = y0r - y2r, i[2] = y0i - y2i;
    r[1] = y1r + t3r, i[1] = y1i + t3i, r[3] = y1r - t3r, i[3] = y1i - t3i;
  }
  for (std::size_t half = 4; half < size_; half *= 2) {
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

}  // namespace dsp
