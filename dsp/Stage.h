// One step of a conversion chain: a filter that takes planar channels at one
// rate and gives them at another.
#pragma once

#include <cstdint>
#include <vector>

namespace dsp {

using Channels = std::vector<std::vector<double>>;

class Stage {
 public:
  virtual ~Stage() = default;
  // Takes every sample of `in` (all channels equally long) and appends to `out` what is now ready.
  virtual void Process(const Channels& in, Channels& out) = 0;
  // Ends the input, as if zeros followed for ever, and appends the output up to the end of the filter's tail.
  virtual void Finish(Channels& out) = 0;
};

}  // namespace dsp
