#include "codec/Trace.h"

#include "io/Text.h"

namespace {
// Process-wide, shared by every decoder object, changed only under the lock.
std::u16string g_indent;
bool g_lineStart = false;

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
  if (text.starts_with(kExitMarker)) {
    for (int i = 0; i < 2 && !g_indent.empty(); ++i) g_indent.pop_back();
  }
  std::u16string_view chosen = prefix ? std::u16string_view(prefix) : g_lineStart ? g_indent : std::u16string_view();
  WriteTraceText(context.Trace, FormatTraceLine(chosen, text, functionName, endLine));
  if (text.starts_with(kEnterMarker)) {
    if (g_indent.capacity() < g_indent.size() + 2) g_indent.reserve(g_indent.size() + 25);
    g_indent.append(u"  ");
  }
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
  g_indent.clear();
}
#endif
