#include "codec/Trace.h"

#include <algorithm>

#include "io/Text.h"

namespace {
// Process-wide, shared by every decoder object, changed only under the lock.
// The indentation is kept as its width: only a line that is written needs its blanks.
std::size_t g_indent = 0;
bool g_lineStart = false;

bool IsInvalid(std::uint64_t handle) { return handle == 0 || handle == ~std::uint64_t{0}; }

struct LockGuard {
  LockGuard() { trace_platform::Lock(); }
  ~LockGuard() { trace_platform::Unlock(); }
};

// Appends one piece (prefix, text, and for a line's end the function name and CR LF) to out.
void AppendPiece(std::u16string& out, std::u16string_view text, const char* functionName, bool endLine) {
  out.append(text);
  if (!endLine) return;
  if (functionName) {
    // The names are this library's own, all ASCII, which the ANSI code page widens unit for unit.
    out.append(u"  [");
    for (const char* c = functionName; *c; ++c) out.push_back(char16_t(std::uint8_t(*c)));
    out.append(u"]");
  }
  out.append(u"\r\n");
}
}  // namespace

std::u16string FormatTraceLine(std::u16string_view prefix, std::u16string_view text, const char* functionName,
                               bool endLine) {
  std::u16string piece(prefix);
  AppendPiece(piece, text, functionName, endLine);
  return piece;
}

void WriteTraceText(std::uint64_t handle, std::u16string_view text) {
  if (IsInvalid(handle) || text.empty()) return;
  trace_platform::Write(handle, text.data(), text.size());
}

void Trace(std::u16string_view text, const TraceContext& context, const char* functionName, bool endLine,
           const char16_t* prefix) {
  // One piece buffer per thread, kept between pieces: writing costs the blanks, not a new string.
  thread_local std::u16string piece;
  LockGuard lock;
  if (text.starts_with(kExitMarker)) g_indent -= std::min<std::size_t>(g_indent, 2);
  if (!IsInvalid(context.Trace)) {
    piece.clear();
    if (prefix)
      piece.append(prefix);
    else if (g_lineStart)
      piece.append(g_indent, u' ');
    AppendPiece(piece, text, functionName, endLine);
    trace_platform::Write(context.Trace, piece.data(), piece.size());
  }
  if (text.starts_with(kEnterMarker)) g_indent += 2;
  g_lineStart = endLine;
}

void TraceError(std::u16string_view text, const TraceContext& context, const char* functionName) {
  Trace(text, context, functionName, true, kErrorPrefix.data());
  if (!IsInvalid(context.Error)) WriteTraceText(context.Error, FormatTraceLine({}, text, functionName, true));
}

void TraceInformation(std::u16string_view text, const TraceContext& context, const char* functionName) {
  Trace(text, context, functionName, true, kInformationPrefix.data());
  if (!IsInvalid(context.Information))
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
  g_indent = 0;
}
#endif
