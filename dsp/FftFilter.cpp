#include "dsp/FftFilter.h"

#include <algorithm>

namespace dsp {

namespace {

std::size_t TransformSize(std::size_t taps) {
  // About eight times the filter: larger costs more per block than it saves in blocks.
  std::size_t n = 64;
  while (n < 8 * taps) n *= 2;
  return n;
}

std::size_t RoundUpEven(std::size_t n) { return (n + 1) / 2 * 2; }

}  // namespace

FftFilter::FftFilter(int channels, int up, int down, const std::vector<double>& taps)
    : channels_(channels),
      up_(up),
      down_(down),
      half_(taps.size() / 2),
      size_(TransformSize(taps.size())),
      lead_(RoundUpEven(half_)),
      step_((size_ - half_ - lead_) / 2 * 2),
      fftIn_(size_ / std::size_t(up)),
      fftOut_(size_ / std::size_t(down)),
      response_(size_),
      history_(std::size_t(channels)),
      re_(size_),
      im_(size_) {
  // The filter centred on sample 0, wrapped around: its spectrum is then real.
  std::vector<double> re(size_, 0.0), im(size_, 0.0);
  for (std::size_t i = 0; i < taps.size(); ++i) re[(i + size_ - half_) % size_] = taps[i];
  Fft(size_).ForwardScrambled(re.data(), im.data());
  for (std::size_t k = 0; k < size_; ++k) response_[k] = re[k] / double(size_);
  // Zeros before the stream's first sample: the filter is centred, so its delay is compensated.
  for (auto& h : history_) h.assign(lead_ / std::size_t(up), 0.0);
}

void FftFilter::Process(const Channels& in, Channels& out) {
  for (int c = 0; c < channels_; ++c) history_[c].insert(history_[c].end(), in[c].begin(), in[c].end());
  consumed_ += std::int64_t(in[0].size());
  while (history_[0].size() >= Needed()) RunBlocks(out);
}

void FftFilter::Finish(Channels& out) {
  // The last output that the last real input still reaches through the filter.
  limit_ = consumed_ == 0 ? 0 : (std::int64_t(up_) * (consumed_ - 1) + std::int64_t(half_)) / down_ + 1;
  while (emitted_ < limit_) {
    for (auto& h : history_) h.resize(Needed(), 0.0);
    RunBlocks(out);
  }
}

// One block at a time, or two when a channel is left without a partner.
std::size_t FftFilter::Blocks() const { return channels_ % 2 ? 2 : 1; }

std::size_t FftFilter::Needed() const { return (size_ + (Blocks() - 1) * step_) / std::size_t(up_); }

// Filters re and im, two real signals, in place: the filter is real, so they do not mix.
void FftFilter::Filter(double* re, double* im) {
  const std::size_t window = size_ / std::size_t(up_);
  fftIn_.ForwardScrambled(re, im);
  if (up_ == 2) {
    // The spectrum of the zero-stuffed signal is the input's twice over; in
    // bit-reversed order that is each bin repeated.
    for (std::size_t q = window; q-- > 0;) {
      re[2 * q] = re[2 * q + 1] = re[q];
      im[2 * q] = im[2 * q + 1] = im[q];
    }
  }
  const double* h = response_.data();
  for (std::size_t k = 0; k < size_; ++k) {
    re[k] *= h[k];
    im[k] *= h[k];
  }
  if (down_ == 2) {
    // Keeping every other output sample folds the spectrum's halves onto
    // each other: neighbours in bit-reversed order.
    for (std::size_t q = 0; q < size_ / 2; ++q) {
      re[q] = re[2 * q] + re[2 * q + 1];
      im[q] = im[2 * q] + im[2 * q + 1];
    }
  }
  fftOut_.InverseScrambled(re, im);
}

// Channels go through the transform in pairs; a channel left alone pairs two
// consecutive blocks of its own instead, so no transform carries zeros. Pairs
// of blocks start at fixed block numbers, so the output still does not depend
// on how the input arrives.
void FftFilter::RunBlocks(Channels& out) {
  const std::size_t window = size_ / std::size_t(up_);
  const std::size_t advance = step_ / std::size_t(up_);
  const std::size_t first = lead_ / std::size_t(down_);
  const std::int64_t per = std::int64_t(step_ / std::size_t(down_));
  const std::int64_t left = limit_ - emitted_;
  const std::size_t counts[2] = {std::size_t(std::clamp<std::int64_t>(left, 0, per)),
                                 std::size_t(std::clamp<std::int64_t>(left - per, 0, per))};
  double* re = re_.data();
  double* im = im_.data();
  int c = 0;
  for (; c + 1 < channels_; c += 2)
    for (std::size_t b = 0; b < Blocks(); ++b) {
      std::copy_n(history_[c].begin() + std::ptrdiff_t(b * advance), window, re);
      std::copy_n(history_[c + 1].begin() + std::ptrdiff_t(b * advance), window, im);
      Filter(re, im);
      out[c].insert(out[c].end(), re + first, re + first + counts[b]);
      out[c + 1].insert(out[c + 1].end(), im + first, im + first + counts[b]);
    }
  if (c < channels_) {
    std::copy_n(history_[c].begin(), window, re);
    std::copy_n(history_[c].begin() + std::ptrdiff_t(advance), window, im);
    Filter(re, im);
    out[c].insert(out[c].end(), re + first, re + first + counts[0]);
    out[c].insert(out[c].end(), im + first, im + first + counts[1]);
  }
  emitted_ += std::int64_t(counts[0] + (Blocks() == 2 ? counts[1] : 0));
  for (auto& h : history_) h.erase(h.begin(), h.begin() + std::ptrdiff_t(Blocks() * advance));
}

}  // namespace dsp
