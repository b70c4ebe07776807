// Sample-rate conversion at a fixed ratio, streamed: linear phase, its delay
// compensated, output length round(n x out / in), the same output whatever
// the sizes of the blocks it is fed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace dsp {

enum class Quality { Quick, Low, Medium, High, VeryHigh };

// What a preset promises, measured: the passband edge (flat within 0.01 dB)
// as a fraction of the lower of the two Nyquist frequencies, the stopband
// attenuation from that Nyquist frequency on, and the lowest -3 dB point.
struct QualityFigures {
  const char* name;
  double passband;
  double stopbandDb;
  double halfPower;
};
const QualityFigures& FiguresOf(Quality q);
std::optional<Quality> ParseQuality(std::string_view name);

constexpr int kMinRate = 1000;
constexpr int kMaxRate = 768000;
constexpr int kMaxChannels = 32;

class Resampler {
 public:
  // Rates within [kMinRate, kMaxRate], 1 to kMaxChannels channels.
  Resampler(int inRate, int outRate, int channels, Quality quality);
  ~Resampler();
  Resampler(const Resampler&) = delete;
  Resampler& operator=(const Resampler&) = delete;

  // Feeds `frames` interleaved frames (full scale +-1.0) and appends the frames now ready to `out`.
  void Process(const double* in, std::size_t frames, std::vector<double>& out);
  // Ends the input and appends the rest, so that the output counts round(n x out / in) frames in all.
  void Finish(std::vector<double>& out);
  // round(frames x out / in).
  static std::int64_t OutputFrames(std::int64_t frames, int inRate, int outRate);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace dsp
