// From the resampler's doubles to the samples of the output file: rounding,
// TPDF or noise-shaped dither, clipping that counts what it clips.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace dsp {

enum class SampleFormat { Int8, Int16, Int24, Int32, Float32, Float64 };
enum class Dither { None, Tpdf, Shaped };

std::optional<Dither> ParseDither(std::string_view name);
int BitsOf(SampleFormat f);
bool IsFloat(SampleFormat f);

// Interleaved little-endian samples as a wave file stores them (8-bit unsigned) to doubles at full scale +-1.0.
void ToDoubles(SampleFormat f, const std::uint8_t* bytes, std::size_t samples, std::vector<double>& out);

class Requantizer {
 public:
  // Shaped dither has weighting filters for some rates only; elsewhere it falls back to TPDF (ShapingFellBack).
  Requantizer(SampleFormat format, int channels, int rate, Dither dither, std::uint64_t seed);
  bool ShapingFellBack() const { return fellBack_; }
  // Appends `frames` interleaved frames as little-endian bytes of the format.
  void Convert(const double* in, std::size_t frames, std::vector<std::uint8_t>& out);
  // Samples beyond full scale so far, clipped to it.
  std::uint64_t Clipped() const { return clipped_; }

 private:
  SampleFormat format_;
  int channels_;
  Dither dither_;
  double Triangular();

  bool fellBack_ = false;
  std::uint64_t clipped_ = 0;
  std::uint64_t state_;
  std::vector<double> history_;  // error feedback, per channel
  std::vector<double> shaping_;  // noise transfer function's coefficients after the leading 1
};

}  // namespace dsp
