// The trace log: nested UTF-16LE lines written to the host's three handles.
// Entry markers indent, exit markers outdent; errors and information reports
// also go, without prefix or indentation, to their own handles.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "WavePlugin.h"

inline constexpr std::u16string_view kEnterMarker = u"->->";
inline constexpr std::u16string_view kExitMarker = u"<-<-";
inline constexpr std::u16string_view kErrorPrefix = u"*** Error: ";
inline constexpr std::u16string_view kInformationPrefix = u"*** Information: ";

// One piece: prefix + text, and with endLine "  [function]" (when given) and CR LF.
std::u16string FormatTraceLine(std::u16string_view prefix, std::u16string_view text, const char* functionName,
                               bool endLine);
// Writes UTF-16 text to a host handle unless it is 0 or all-ones.
void WriteTraceText(std::uint64_t handle, std::u16string_view text);
// Writes one piece to the trace handle under the process-wide lock; a null
// prefix means the current indentation at the start of a line.
void Trace(std::u16string_view text, const TraceContext& context, const char* functionName, bool endLine,
           const char16_t* prefix = nullptr);
// Error report: "*** Error: " line in the trace, the bare line on the error handle.
void TraceError(std::u16string_view text, const TraceContext& context, const char* functionName);
// Information report: "*** Information: " line in the trace, the bare line on the information handle.
void TraceInformation(std::u16string_view text, const TraceContext& context, const char* functionName);
// Whether plain trace lines go anywhere: the trace handle is neither 0 nor all-ones.
inline bool HasTraceHandle(const TraceContext& context) {
  return context.Trace != 0 && context.Trace != ~std::uint64_t{0};
}

// One traced operation: the entry marker now, the exit marker at scope end
// only if the operation called Ok(). A failure leaves the indentation deeper,
// which is how the log shows where things went wrong.
class TraceScope {
 public:
  TraceScope(const TraceContext& context, const char* function);
  ~TraceScope();
  TraceScope(const TraceScope&) = delete;
  TraceScope& operator=(const TraceScope&) = delete;

  // Marks success; returns true so that `return scope.Ok();` reads naturally.
  bool Ok() {
    ok_ = true;
    return true;
  }
  // Logs an error under this operation's name; returns false.
  bool Error(std::u16string_view text) const;
  // Logs an information report under this operation's name.
  void Info(std::u16string_view text) const;
  // Logs a plain line (no function name).
  void Line(std::u16string_view text) const;

  const TraceContext& context() const { return context_; }
  const char* function() const { return function_; }

 private:
  const TraceContext& context_;
  const char* function_;
  bool ok_ = false;
};

#ifdef WAVE_TEST_SEAMS
// Test builds only: brings the process-wide indentation back to the margin.
namespace trace_testing {
void ResetIndentation();
}
#endif

// Platform seam: the process-wide lock and the raw write to a handle.
namespace trace_platform {
void Lock();
void Unlock();
void Write(std::uint64_t handle, const char16_t* units, std::size_t count);
}  // namespace trace_platform
