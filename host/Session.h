// One run of wavehost against the plug-in: the loaded library, one decoder
// object, and the trace and error handles it was created with.
#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "host/HostPlatform.h"
#include "host/Plugin.h"

struct Session {
  Plugin plugin;
  // Only when the trace is asked for: a plug-in given no trace handle builds no trace text.
  std::optional<TraceSink> trace;
  // The error and the information copies share one sink, so that a reason stays in front of the failure it explains.
  TraceSink reports;
  TraceContext context{};
  void* decoder = nullptr;

  Session() = default;
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();
  // Loads the plug-in and creates a decoder; says why on stderr when it cannot.
  bool Start(const std::string& pluginPath, bool withTrace);
  // The trace written since the last call, on stdout.
  void PrintTrace();
  // The error and information lines written since the last call, on stderr, each after "wavehost: ".
  void PrintReports();
  // "what: ok" on stdout, the trace first when asked, the error and information lines after a failure.
  void ReportResult(const char* what, int ok, bool withTrace);
  // One text of a Get answer (slot 0 to 2); ok tells whether Get answered.
  std::u16string GetText(std::u16string_view key, int index, int subIndex, int slot, bool& ok);
};

// The usage text on stderr; returns the exit code of a usage error.
int UsageError();
extern const char kUsage[];
