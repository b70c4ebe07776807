// Complex FFT of a power-of-two size, on separate real and imaginary arrays so
// that every butterfly loop runs over contiguous memory. Two real signals go
// through one transform as its real and imaginary parts: that is how the
// resampler transforms real channels, two at a time.
#pragma once

#include <cstddef>
#include <vector>

namespace dsp {

class Fft {
 public:
  // `size` a power of two, at least 2.
  explicit Fft(std::size_t size);
  std::size_t Size() const { return size_; }

  // In place, unnormalised, natural order in and out: X[k] = sum x[n] e^(-2 pi i k n / N).
  void Forward(double* re, double* im) const;
  // In place, unnormalised: Inverse(Forward(x)) = N x.
  void Inverse(double* re, double* im) const;

  // The same transforms without the reordering, for convolution: ForwardScrambled
  // leaves the spectrum in bit-reversed order, InverseScrambled takes it so.
  void ForwardScrambled(double* re, double* im) const;
  void InverseScrambled(double* re, double* im) const;

 private:
  void Reorder(double* re, double* im) const;

  std::size_t size_;
  std::vector<std::size_t> reversed_;
  // Twiddles of each pass, one after another: pass with half-width h holds h of them.
  std::vector<double> cos_;
  std::vector<double> sin_;
};

}  // namespace dsp
