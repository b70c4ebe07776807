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
  passes_ = bits;
  // Each twiddle straight from cos/sin of its own angle: a recurrence would
  // accumulate error that shows at the -300 dB the convolution relies on.
  for (std::size_t half = 1; half < size; half *= 2)
    for (std::size_t j = 0; j < half; ++j) {
      const double angle = std::numbers::pi * double(j) / double(half);
      cos_[half + j] = std::cos(angle);
      sin_[half + j] = std::sin(angle);
    }
}

// One radix-2 pass of decimation in frequency over blocks of 2 x half.
void Fft::ForwardPass(double* __restrict re, double* __restrict im, std::size_t half) const {
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

// Two radix-2 passes (half = 2q, then q) in one sweep over blocks of 4q:
// memory is read and written once for both. The second pair of the first
// pass has the twiddle W^(j+q) = W^j (-i) of a block of 4q.
void Fft::ForwardPassPair(double* __restrict re, double* __restrict im, std::size_t q) const {
  const double* __restrict c4 = &cos_[2 * q];
  const double* __restrict s4 = &sin_[2 * q];
  const double* __restrict c2 = &cos_[q];
  const double* __restrict s2 = &sin_[q];
  for (std::size_t base = 0; base < size_; base += 4 * q) {
    double* __restrict ar = re + base;
    double* __restrict ai = im + base;
    double* __restrict br = ar + q;
    double* __restrict bi = ai + q;
    double* __restrict cr = ar + 2 * q;
    double* __restrict ci = ai + 2 * q;
    double* __restrict dr = ar + 3 * q;
    double* __restrict di = ai + 3 * q;
    for (std::size_t j = 0; j < q; ++j) {
      const double pr = ar[j] + cr[j], pi = ai[j] + ci[j];
      const double qr = br[j] + dr[j], qi = bi[j] + di[j];
      const double mr = ar[j] - cr[j], mi = ai[j] - ci[j];
      // (b - d)(-i)
      const double nr = bi[j] - di[j], ni = dr[j] - br[j];
      // times W^j of 4q: (x + i y)(cos - i sin)
      const double ur = mr * c4[j] + mi * s4[j], ui = mi * c4[j] - mr * s4[j];
      const double vr = nr * c4[j] + ni * s4[j], vi = ni * c4[j] - nr * s4[j];
      ar[j] = pr + qr;
      ai[j] = pi + qi;
      const double xr = pr - qr, xi = pi - qi;
      br[j] = xr * c2[j] + xi * s2[j];
      bi[j] = xi * c2[j] - xr * s2[j];
      cr[j] = ur + vr;
      ci[j] = ui + vi;
      const double yr = ur - vr, yi = ui - vi;
      dr[j] = yr * c2[j] + yi * s2[j];
      di[j] = yi * c2[j] - yr * s2[j];
    }
  }
}

// One radix-2 pass of decimation in time over blocks of 2 x half.
void Fft::InversePass(double* __restrict re, double* __restrict im, std::size_t half) const {
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

// The inverse's passes half = q, then 2q, in one sweep: the mirror of ForwardPassPair.
void Fft::InversePassPair(double* __restrict re, double* __restrict im, std::size_t q) const {
  const double* __restrict c4 = &cos_[2 * q];
  const double* __restrict s4 = &sin_[2 * q];
  const double* __restrict c2 = &cos_[q];
  const double* __restrict s2 = &sin_[q];
  for (std::size_t base = 0; base < size_; base += 4 * q) {
    double* __restrict ar = re + base;
    double* __restrict ai = im + base;
    double* __restrict br = ar + q;
    double* __restrict bi = ai + q;
    double* __restrict cr = ar + 2 * q;
    double* __restrict ci = ai + 2 * q;
    double* __restrict dr = ar + 3 * q;
    double* __restrict di = ai + 3 * q;
    for (std::size_t j = 0; j < q; ++j) {
      // First pass: (a, b) and (c, d) with W^-j of 2q.
      const double tbr = br[j] * c2[j] - bi[j] * s2[j], tbi = bi[j] * c2[j] + br[j] * s2[j];
      const double tdr = dr[j] * c2[j] - di[j] * s2[j], tdi = di[j] * c2[j] + dr[j] * s2[j];
      const double a1r = ar[j] + tbr, a1i = ai[j] + tbi, b1r = ar[j] - tbr, b1i = ai[j] - tbi;
      const double c1r = cr[j] + tdr, c1i = ci[j] + tdi, d1r = cr[j] - tdr, d1i = ci[j] - tdi;
      // Second pass: (a, c) with W^-j of 4q, (b, d) with W^-(j+q) = W^-j (+i).
      const double ucr = c1r * c4[j] - c1i * s4[j], uci = c1i * c4[j] + c1r * s4[j];
      const double wr = d1r * c4[j] - d1i * s4[j], wi = d1i * c4[j] + d1r * s4[j];
      const double udr = -wi, udi = wr;
      ar[j] = a1r + ucr;
      ai[j] = a1i + uci;
      cr[j] = a1r - ucr;
      ci[j] = a1i - uci;
      br[j] = b1r + udr;
      bi[j] = b1i + udi;
      dr[j] = b1r - udr;
      di[j] = b1i - udi;
    }
  }
}

// Decimation in frequency: natural order in, bit-reversed out. The last two
// passes, whose twiddles are 1 and -i, run fused without multiplications:
// as loops of one or two butterflies they would cost more than all the others.
void Fft::ForwardScrambled(double* __restrict re, double* __restrict im) const {
  std::size_t half = size_ / 2;
  // With an odd number of general passes, one plain pass first; the rest two at a time.
  if (half >= 4 && (passes_ - 2) % 2 == 1) {
    ForwardPass(re, im, half);
    half /= 2;
  }
  for (; half >= 8; half /= 4) ForwardPassPair(re, im, half / 2);
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
  std::size_t half = 4;
  for (; 4 * half <= size_; half *= 4) InversePassPair(re, im, half);
  if (half < size_) InversePass(re, im, half);
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
