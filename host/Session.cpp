#include "host/Session.h"

#include <algorithm>

#include "io/Text.h"

namespace {
// Trace text arrives as UTF-16 with CR LF; the terminal wants UTF-8 lines.
std::string ForTerminal(const std::u16string& text) {
  std::string out = WideToUtf8(text);
  std::string clean;
  clean.reserve(out.size());
  for (char c : out)
    if (c != '\r') clean.push_back(c);
  return clean;
}
}  // namespace

Session::~Session() {
  if (decoder) plugin.Destroy(decoder);
}

bool Session::Start(const std::string& pluginPath, bool withTrace) {
  std::string error;
  if (!plugin.Load(pluginPath, error)) {
    std::fprintf(stderr, "wavehost: %s\n", error.c_str());
    return false;
  }
  if (withTrace) trace.emplace();
  context = {reports.handle(), reports.handle(), trace ? trace->handle() : 0};
  decoder = plugin.Create(&context);
  return decoder != nullptr;
}

void Session::PrintTrace() {
  if (trace) std::fputs(ForTerminal(trace->TakeNew()).c_str(), stdout);
}

void Session::PrintReports() {
  const std::string text = ForTerminal(reports.TakeNew());
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    std::fprintf(stderr, "wavehost: %.*s\n", int(end - start), text.c_str() + start);
    start = end + 1;
  }
}

void Session::ReportResult(const char* what, int ok, bool withTrace) {
  if (withTrace) PrintTrace();
  std::printf("%s: %d\n", what, ok);
  if (!ok) PrintReports();
}

std::u16string Session::GetText(std::u16string_view key, int index, int subIndex, int slot, bool& ok) {
  GetRecord record{};
  record.Index = index;
  record.SubIndex = subIndex;
  const std::u16string k(key);
  ok = plugin.Get(decoder, reinterpret_cast<const WaveChar*>(k.c_str()), &record) != 0;
  const WaveChar* texts[3] = {record.Text1, record.Text2, record.Text3};
  return ok && texts[slot] ? std::u16string(reinterpret_cast<const char16_t*>(texts[slot])) : std::u16string();
}

int UsageError() {
  std::fputs(kUsage, stderr);
  return 2;
}
