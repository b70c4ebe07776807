// Rational resampling by L/M with a short filter, one dot product per output
// frame. Exact coefficients for each of the L phases when L is modest;
// otherwise phases interpolated (cubic) from a fine table, which keeps memory
// bounded for ratios such as 47999/44100.
#pragma once

#include <cstdint>
#include <vector>

#include "dsp/Stage.h"

namespace dsp {

class Polyphase : public Stage {
 public:
  // The input must hold nothing above `band` x its Nyquist frequency (0 < band < 1).
  Polyphase(int channels, std::int64_t up, std::int64_t down, double band, double attenuationDb);
  void Process(const Channels& in, Channels& out) override;
  void Finish(Channels& out) override;

 private:
  const double* Coefficients(std::int64_t phase);
  void Run(Channels& out);

  int channels_;
  std::int64_t up_, down_;
  int half_;
  bool interpolated_;
  int rows_;
  std::vector<double> table_;  // rows of 2 x half_ taps
  std::vector<double> scratch_;
  Channels history_;  // input from index base_ on
  std::int64_t base_;
  std::int64_t consumed_ = 0;
  std::int64_t next_ = 0;  // index of the next output frame
  std::int64_t limit_ = INT64_MAX;
};

}  // namespace dsp
