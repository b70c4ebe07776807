#include "dsp/Polyphase.h"

#include <algorithm>
#include <cmath>

#include "dsp/FilterDesign.h"

namespace dsp {

namespace {

constexpr std::int64_t kMaxExactPhases = 4096;
constexpr int kTablePhases = 2048;

}  // namespace

Polyphase::Polyphase(int channels, std::int64_t up, std::int64_t down, double band, double attenuationDb)
    : channels_(channels),
      up_(up),
      down_(down),
      // Pass up to `band`, stop from 2 - band (the first image) times Nyquist: 1 - band cycles per sample.
      half_(std::max(2, KaiserHalfLength(attenuationDb, 1 - band))),
      interpolated_(up > kMaxExactPhases),
      rows_(interpolated_ ? kTablePhases + 3 : int(up)),
      history_(std::size_t(channels)),
      base_(-(half_ - 1)) {
  const int taps = 2 * half_;
  const KaiserSinc h(0.5, half_, attenuationDb);
  table_.resize(std::size_t(rows_) * std::size_t(taps));
  for (int r = 0; r < rows_; ++r) {
    // Row r is the filter at fractional offset phase; interpolated tables start one row early.
    const double phase = interpolated_ ? double(r - 1) / kTablePhases : double(r) / double(up);
    double* row = &table_[std::size_t(r) * std::size_t(taps)];
    double sum = 0;
    for (int k = 0; k < taps; ++k) sum += row[k] = h(phase - double(k - half_ + 1));
    // Each phase passes DC exactly: otherwise the phases' small gain differences would modulate a constant.
    for (int k = 0; k < taps; ++k) row[k] /= sum;
  }
  scratch_.resize(std::size_t(taps));
  for (auto& x : history_) x.assign(std::size_t(half_ - 1), 0.0);
}

const double* Polyphase::Coefficients(std::int64_t phase) {
  const std::size_t taps = std::size_t(2 * half_);
  if (!interpolated_) return &table_[std::size_t(phase) * taps];
  const double pos = double(phase) / double(up_) * kTablePhases;
  const int r = std::min(int(pos), kTablePhases - 1);
  const double f = pos - r;
  // Cubic Lagrange weights over rows r-1 .. r+2 (table rows r .. r+3).
  const double w0 = -f * (f - 1) * (f - 2) / 6;
  const double w1 = (f + 1) * (f - 1) * (f - 2) / 2;
  const double w2 = -(f + 1) * f * (f - 2) / 2;
  const double w3 = (f + 1) * f * (f - 1) / 6;
  const double* a = &table_[std::size_t(r) * taps];
  const double* b = a + taps;
  const double* c = b + taps;
  const double* d = c + taps;
  for (std::size_t k = 0; k < taps; ++k) scratch_[k] = w0 * a[k] + w1 * b[k] + w2 * c[k] + w3 * d[k];
  return scratch_.data();
}

void Polyphase::Process(const Channels& in, Channels& out) {
  for (int c = 0; c < channels_; ++c) history_[c].insert(history_[c].end(), in[c].begin(), in[c].end());
  consumed_ += std::int64_t(in[0].size());
  Run(out);
}

void Polyphase::Finish(Channels& out) {
  // Every output frame whose instant lies before the end of the input.
  limit_ = (consumed_ * up_ + down_ - 1) / down_;
  for (auto& x : history_) x.resize(x.size() + std::size_t(half_), 0.0);
  Run(out);
}

void Polyphase::Run(Channels& out) {
  const std::size_t taps = std::size_t(2 * half_);
  const std::int64_t available = base_ + std::int64_t(history_[0].size());
  std::int64_t index = next_ * down_ / up_;
  std::int64_t phase = next_ * down_ % up_;
  const std::int64_t step = down_ / up_, rest = down_ % up_;
  while (next_ < limit_ && index + half_ < available) {
    const double* h = Coefficients(phase);
    const std::size_t start = std::size_t(index - half_ + 1 - base_);
    int c = 0;
    // Two channels per pass share the coefficients' loads; two partial sums
    // each keep the additions independent.
    for (; c + 1 < channels_; c += 2) {
      const double* x = history_[c].data() + start;
      const double* y = history_[c + 1].data() + start;
      double x0 = 0, x1 = 0, y0 = 0, y1 = 0;
      for (std::size_t k = 0; k < taps; k += 2) {
        x0 += h[k] * x[k];
        x1 += h[k + 1] * x[k + 1];
        y0 += h[k] * y[k];
        y1 += h[k + 1] * y[k + 1];
      }
      out[c].push_back(x0 + x1);
      out[c + 1].push_back(y0 + y1);
    }
    if (c < channels_) {
      const double* x = history_[c].data() + start;
      double x0 = 0, x1 = 0;
      for (std::size_t k = 0; k < taps; k += 2) {
        x0 += h[k] * x[k];
        x1 += h[k + 1] * x[k + 1];
      }
      out[c].push_back(x0 + x1);
    }
    ++next_;
    index += step;
    phase += rest;
    if (phase >= up_) {
      phase -= up_;
      ++index;
    }
  }
  // Keep only what later outputs still reach.
  const std::int64_t keep = index - half_ + 1;
  if (keep > base_) {
    const auto drop = std::ptrdiff_t(std::min<std::int64_t>(keep - base_, std::int64_t(history_[0].size())));
    for (auto& x : history_) x.erase(x.begin(), x.begin() + drop);
    base_ += drop;
  }
}
}  // namespace dsp
