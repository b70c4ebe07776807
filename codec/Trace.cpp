#include "codec/Trace.h"

#include <algorithm>

#include "io/Text.h"

namespace {
// Process-wide, shared by every decoder object, changed only under the lock.
std::size_t g_depth = 0;
bool g_lineStart = false;

// A failed operation never closes its level, so a long session keeps going
// deeper. Past this depth lines stop moving right: neither memory nor the
// cost of a line grows with the number of failures before it.
constexpr std::size_t kMaxIndentDepth = 64;
const std::u16string kIndent(2 * kMaxIndentDepth, u' ');

bool IsInvalid(std::uint64_t handle) { return handle == 0 || handle == ~std::uint64_t{0}; }

struct LockGuard {
  LockGuard() { trace_platform::Lock(); }
  ~LockGuard() { trace_platform::Unlock(); }
};
}  // namespace

std::u16string FormatTraceLine(std::u16string_view prefix, std::u16string_view text, const char* functionName,
                               bool endLine) {
  std::u16string piece;
  piece.reserve(prefix.size() + text.size() + 64);
  piece.append(prefix).append(text);
  if (!endLine) return piece;
  if (functionName) piece.append(u"  [").append(AnsiToWide(functionName)).append(u"]");
  piece.append(u"\r\n");
  return piece;
}

void WriteTraceText(std::uint64_t handle, std::u16string_view text) {
  if (IsInvalid(handle) || text.empty()) return;
  trace_platform::Write(handle, text.data(), text.size());
}

void Trace(std::u16string_view text, const TraceContext& context, const char* functionName, bool endLine,
           const char16_t* prefix) {
  LockGuard lock;
  if (text.starts_with(kExitMarker) && g_depth > 0) --g_depth;
  const std::u16string_view indent = std::u16string_view(kIndent).substr(0, 2 * std::min(g_depth, kMaxIndentDepth));
  std::u16string_view chosen = prefix ? std::u16string_view(prefix) : g_lineStart ? indent : std::u16string_view();
  WriteTraceText(context.Trace, FormatTraceLine(chosen, text, functionName, endLine));
  if (text.starts_with(kEnterMarker)) ++g_depth;
  g_lineStart = endLine;
}

void TraceError(std::u16string_view text, const TraceContext& context, const char* functionName) {
  const std::u16string prefix(kErrorPrefix);
  Trace(text, context, functionName, true, prefix.c_str());
  WriteTraceText(context.Error, FormatTraceLine({}, text, functionName, true));
}

void TraceInformation(std::u16string_view text, const TraceContext& context, const char* functionName) {
  const std::u16string prefix(kInformationPrefix);
  Trace(text, context, functionName, true, prefix.c_str());
  WriteTraceText(context.Information, FormatTraceLine({}, text, functionName, true));
}

TraceScope::TraceScope(const TraceContext& context, const char* function) : context_(context), function_(function) {
  Trace(kEnterMarker, context_, function_, true);
}

TraceScope::~TraceScope() {
  if (ok_) Trace(kExitMarker, context_, function_, true);
}

bool TraceScope::Error(std::u16string_view text) const {
  TraceError(text, context_, function_);
  return false;
}

void TraceScope::Info(std::u16string_view text) const { TraceInformation(text, context_, function_); }

void TraceScope::Line(std::u16string_view text) const { Trace(text, context_, nullptr, true); }

#ifdef WAVE_TEST_SEAMS
void trace_testing::ResetIndentation() {
  LockGuard lock;
  g_depth = 0;
}
#endif
