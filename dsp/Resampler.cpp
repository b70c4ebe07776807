#include "dsp/Resampler.h"

#include <algorithm>
#include <numeric>

#include "dsp/FftFilter.h"
#include "dsp/FilterDesign.h"
#include "dsp/Polyphase.h"

namespace dsp {

namespace {

// What each preset is designed for: a little inside what it promises, so that
// the measured figures meet the documented ones.
struct Design {
  QualityFigures figures;
  double pass;         // design passband edge, fraction of the lower Nyquist frequency
  double attenuation;  // design stopband attenuation, dB
};

const Design kDesigns[] = {
    {{"quick", 0.80, 60, 0.85}, 0.81, 65},        {{"low", 0.85, 80, 0.90}, 0.86, 85},
    {{"medium", 0.90, 100, 0.94}, 0.91, 105},     {{"high", 0.91, 125, 0.95}, 0.925, 130},
    {{"very-high", 0.91, 175, 0.95}, 0.925, 182},
};

constexpr std::size_t kChunk = 4096;  // frames per pass through the chain: bounds the buffers

}  // namespace

const QualityFigures& FiguresOf(Quality q) { return kDesigns[int(q)].figures; }

std::optional<Quality> ParseQuality(std::string_view name) {
  for (int q = 0; q < 5; ++q)
    if (name == FiguresOf(Quality(q)).name) return Quality(q);
  return std::nullopt;
}

std::int64_t Resampler::OutputFrames(std::int64_t frames, int inRate, int outRate) {
  return (frames * outRate + inRate / 2) / inRate;
}

struct Resampler::Impl {
  int channels;
  std::vector<std::unique_ptr<Stage>> stages;
  std::int64_t consumed = 0, emitted = 0;
  int inRate, outRate;
  Channels work, next;

  void Plan(Quality quality);
  void Run(Channels& data);
  void Append(const Channels& data, std::size_t frames, std::vector<double>& out);
};

// The chain: halvings while the rate is far above the target (short filters,
// the band they must keep is narrow next to their rate), then the one sharp
// filter, by FFT, at a rate between 1.75 and 3.5 times the output rate (for
// upsampling, twice the input rate), then a polyphase stage for what ratio
// remains. The polyphase stage then has a wide transition band and a short
// filter whatever the ratio.
void Resampler::Impl::Plan(Quality quality) {
  const Design& d = kDesigns[int(quality)];
  const double a = d.attenuation;
  // The short stages cost little per dB: designed deeper, their images and
  // aliases stay well below the sharp filter's stopband, so that the preset's
  // figure is the sharp filter's alone.
  const double deeper = a + 20;
  const double band = std::min(inRate, outRate) / 2.0;  // Hz kept
  // The current rate is num / den Hz.
  std::int64_t num = inRate, den = 1;
  const auto rate = [&] { return double(num) / double(den); };
  if (inRate > outRate)
    while (rate() >= 7.0 * outRate) {
      const double transition = (rate() / 2 - 2 * band) / rate();
      stages.push_back(
          std::make_unique<FftFilter>(channels, 1, 2, LowPass(0.25, KaiserHalfLength(deeper, transition), deeper, 1)));
      den *= 2;
    }
  int up = 1, down = 1;
  if (inRate < outRate || rate() < 1.75 * outRate)
    up = 2;
  else if (rate() >= 3.5 * outRate || rate() == 2.0 * outRate)
    down = 2;
  const double filterRate = rate() * up;
  const double cutoff = (d.pass + 1) / 2 * band / filterRate;
  const double transition = (1 - d.pass) * band / filterRate;
  stages.push_back(
      std::make_unique<FftFilter>(channels, up, down, LowPass(cutoff, KaiserHalfLength(a, transition), a, up)));
  num *= up;
  den *= down;
  // Remaining ratio outRate / (num / den).
  std::int64_t l = std::int64_t(outRate) * den, m = num;
  const std::int64_t g = std::gcd(l, m);
  l /= g;
  m /= g;
  if (l != m) stages.push_back(std::make_unique<Polyphase>(channels, l, m, 2 * band / rate(), deeper));
}

Resampler::Resampler(int inRate, int outRate, int channels, Quality quality) : impl_(new Impl) {
  impl_->channels = channels;
  impl_->inRate = inRate;
  impl_->outRate = outRate;
  impl_->work.resize(std::size_t(channels));
  impl_->next.resize(std::size_t(channels));
  if (inRate != outRate) impl_->Plan(quality);
}

Resampler::~Resampler() = default;

void Resampler::Impl::Run(Channels& data) {
  for (auto& stage : stages) {
    for (auto& c : next) c.clear();
    stage->Process(data, next);
    std::swap(data, next);
  }
}

void Resampler::Impl::Append(const Channels& data, std::size_t frames, std::vector<double>& out) {
  const std::size_t at = out.size();
  out.resize(at + frames * std::size_t(channels));
  for (int c = 0; c < channels; ++c) {
    double* o = out.data() + at + std::size_t(c);
    for (std::size_t i = 0; i < frames; ++i) o[i * std::size_t(channels)] = data[c][i];
  }
  emitted += std::int64_t(frames);
}

void Resampler::Process(const double* in, std::size_t frames, std::vector<double>& out) {
  Impl& m = *impl_;
  const std::size_t ch = std::size_t(m.channels);
  m.consumed += std::int64_t(frames);
  if (m.stages.empty()) {
    out.insert(out.end(), in, in + frames * ch);
    m.emitted += std::int64_t(frames);
    return;
  }
  for (std::size_t done = 0; done < frames;) {
    const std::size_t n = std::min(kChunk, frames - done);
    for (std::size_t c = 0; c < ch; ++c) {
      m.work[c].resize(n);
      for (std::size_t i = 0; i < n; ++i) m.work[c][i] = in[(done + i) * ch + c];
    }
    m.Run(m.work);
    m.Append(m.work, m.work[0].size(), out);
    done += n;
  }
}

void Resampler::Finish(std::vector<double>& out) {
  Impl& m = *impl_;
  if (m.stages.empty()) return;
  // Each stage's tail goes through the stages after it before they, in turn, end.
  Channels carry(std::size_t(m.channels));
  for (auto& stage : m.stages) {
    Channels tail(std::size_t(m.channels));
    stage->Process(carry, tail);
    stage->Finish(tail);
    carry = std::move(tail);
  }
  const std::int64_t wanted = OutputFrames(m.consumed, m.inRate, m.outRate) - m.emitted;
  m.Append(carry, std::size_t(std::clamp<std::int64_t>(wanted, 0, std::int64_t(carry[0].size()))), out);
}

}  // namespace dsp
