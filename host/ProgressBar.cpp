#include "host/ProgressBar.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include "host/HostPlatform.h"

namespace {
// A console redrawn more often only costs time: a decode from the page cache delivers thousands of blocks a second.
constexpr auto kRedrawInterval = std::chrono::milliseconds(100);
constexpr int kBarWidth = 40;
constexpr double kMiB = 1048576.0;
}  // namespace

ProgressBar::ProgressBar(bool enabled, bool stream, std::optional<std::int64_t> total)
    : enabled_(enabled), stream_(stream), total_(total) {}

ProgressBar::~ProgressBar() {
  if (!shown_) return;
  Draw();
  WriteToConsole("\n");
}

void ProgressBar::Update(std::int64_t done) {
  done_ = done;
  if (!enabled_) return;
  const Clock::time_point now = Clock::now();
  if (shown_ && now - drawn_ < kRedrawInterval) return;
  drawn_ = now;
  shown_ = true;
  Draw();
}

void ProgressBar::Draw() {
  std::string line = "\r";
  if (total_) {
    const int percent = *total_ > 0 ? int(std::clamp<std::int64_t>(done_ * 100 / *total_, 0, 100)) : 100;
    const int filled = percent * kBarWidth / 100;
    line += "[" + std::string(std::size_t(filled), '#') + std::string(std::size_t(kBarWidth - filled), ' ') + "] ";
    char digits[8];
    std::snprintf(digits, sizeof digits, "%3d%%", percent);
    line += digits;
  }
  if (stream_) {
    const double seconds = std::chrono::duration<double>(Clock::now() - start_).count();
    char text[96];
    std::snprintf(text, sizeof text, "%s%.1f MiB received, %.1f MiB/s   ", total_ ? "  " : "", double(done_) / kMiB,
                  seconds > 0 ? double(done_) / kMiB / seconds : 0.0);
    line += text;
  }
  WriteToConsole(line);
}
