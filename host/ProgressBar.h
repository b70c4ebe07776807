// The decode's progress on stderr: redrawn at most ten times a second, and
// only when stderr is an interactive console.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

class ProgressBar {
 public:
  // total: what the decode will deliver, when known; a stream also shows the bytes received and the rate.
  ProgressBar(bool enabled, bool stream, std::optional<std::int64_t> total);
  // Shows the final state and ends the line, when anything was shown.
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  // done: the bytes received so far.
  void Update(std::int64_t done);

 private:
  void Draw();

  using Clock = std::chrono::steady_clock;
  bool enabled_;
  bool stream_;
  std::optional<std::int64_t> total_;
  std::int64_t done_ = 0;
  bool shown_ = false;
  Clock::time_point start_ = Clock::now();
  Clock::time_point drawn_{};
};
