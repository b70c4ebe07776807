// A long linear-phase FIR applied by FFT convolution (overlap-save), with an
// optional factor of two up (zero stuffing) or down on the way. Blocks are
// cut at fixed input positions, so the output does not depend on how the
// input arrives.
#pragma once

#include <cstddef>
#include <vector>

#include "dsp/Fft.h"
#include "dsp/Stage.h"

namespace dsp {

class FftFilter : public Stage {
 public:
  // `taps`: odd length, symmetric, centred; its DC gain should be `up`. `up` and `down` are 1 or 2.
  FftFilter(int channels, int up, int down, const std::vector<double>& taps);
  void Process(const Channels& in, Channels& out) override;
  void Finish(Channels& out) override;

 private:
  std::size_t Blocks() const;
  std::size_t Needed() const;
  void Filter(double* re, double* im);
  void RunBlocks(Channels& out);

  int channels_;
  int up_, down_;
  std::size_t half_;  // of the filter, in samples at the filtering rate
  std::size_t size_;  // transform size at the filtering rate
  std::size_t lead_;  // samples before the first valid output of a block, at the filtering rate
  std::size_t step_;  // valid outputs per block, at the filtering rate
  Fft fftIn_, fftOut_;
  std::vector<double> response_;  // real (the filter is symmetric), bit-reversed order, 1/N folded in
  Channels history_;              // input from the current block's first sample on
  std::int64_t consumed_ = 0;     // real input samples so far
  std::int64_t emitted_ = 0;
  std::int64_t limit_ = INT64_MAX;
  std::vector<double> re_, im_;
};

}  // namespace dsp
