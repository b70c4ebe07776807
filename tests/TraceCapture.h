// Captures what the code writes to the three trace handles, so tests can
// assert exact lines. Each handle is a temporary file opened by the platform.
#pragma once

#include <string>

#include "WavePlugin.h"

class TraceCapture {
 public:
  TraceCapture();
  ~TraceCapture();
  TraceCapture(const TraceCapture&) = delete;
  TraceCapture& operator=(const TraceCapture&) = delete;

  const TraceContext& context() const { return context_; }
  // Everything written so far to each handle, as UTF-16.
  std::u16string Errors() const { return Read(0); }
  std::u16string Information() const { return Read(1); }
  std::u16string Trace() const { return Read(2); }
  // The trace as UTF-8, for failure messages.
  std::string TraceUtf8() const;
  // True when the trace holds the line (CR LF not included in `line`).
  bool HasLine(std::u16string_view line) const;
  // True when the trace holds no "*** Error: " line.
  bool NoErrors() const;
  // Forgets what was written so far.
  void Reset();

 private:
  std::u16string Read(int which) const;
  TraceContext context_{};
  std::string paths_[3];
};
