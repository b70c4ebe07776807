// wavehost: drives the wave plug-in from a terminal exactly as the real host
// does, through its nine exports and nothing else.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "host/HostPlatform.h"
#include "host/Plugin.h"
#include "io/Text.h"

namespace {
const char kUsage[] =
    "usage: wavehost [--plugin PATH] COMMAND ...\n"
    "  open FILE [--trace]   open FILE as the host does and print the result;\n"
    "                        --trace prints the plug-in's trace log\n";

// Trace text arrives as UTF-16 with CR LF; the terminal wants UTF-8 lines.
std::string ForTerminal(const std::u16string& text) {
  std::string out = WideToUtf8(text);
  std::string clean;
  clean.reserve(out.size());
  for (char c : out)
    if (c != '\r') clean.push_back(c);
  return clean;
}

struct Session {
  Plugin plugin;
  TraceSink trace;
  TraceSink errors;
  TraceContext context{};
  void* decoder = nullptr;

  ~Session() {
    if (decoder) plugin.Destroy(decoder);
  }
  bool Start(const std::string& pluginPath) {
    std::string error;
    if (!plugin.Load(pluginPath, error)) {
      std::fprintf(stderr, "wavehost: %s\n", error.c_str());
      return false;
    }
    context = {errors.handle(), 0, trace.handle()};
    decoder = plugin.Create(&context);
    return decoder != nullptr;
  }
  void PrintTrace() { std::fputs(ForTerminal(trace.TakeNew()).c_str(), stdout); }
  void PrintErrors() {
    const std::string text = ForTerminal(errors.TakeNew());
    if (!text.empty()) std::fprintf(stderr, "wavehost: %s", text.c_str());
  }
};

int CommandOpen(Session& s, const std::vector<std::string>& args) {
  std::string file;
  bool trace = false;
  for (const auto& a : args) {
    if (a == "--trace")
      trace = true;
    else if (file.empty())
      file = a;
  }
  if (file.empty()) return std::fputs(kUsage, stderr), 2;
  const std::u16string name = Utf8ToWide(file);
  OpenRecord record{};
  record.FileName = reinterpret_cast<const WaveChar*>(name.c_str());
  const int ok = s.plugin.Open(s.decoder, &record);
  s.plugin.Close(s.decoder, 0);
  if (trace) s.PrintTrace();
  std::printf("Open: %d\n", ok);
  if (!ok) s.PrintErrors();
  return ok ? 0 : 1;
}
}  // namespace

int HostMain(const std::vector<std::string>& argv) {
  std::vector<std::string> args = argv;
  std::string pluginPath = ExecutableDirectory() + PluginFileName();
  if (args.size() >= 2 && args[0] == "--plugin") {
    pluginPath = args[1];
    args.erase(args.begin(), args.begin() + 2);
  }
  if (args.empty() || args[0] == "--help" || args[0] == "-h") {
    std::fputs(kUsage, args.empty() ? stderr : stdout);
    return args.empty() ? 2 : 0;
  }
  const std::string command = args[0];
  args.erase(args.begin());
  Session session;
  if (!session.Start(pluginPath)) return 1;
  if (command == "open") return CommandOpen(session, args);
  std::fprintf(stderr, "wavehost: unknown command '%s'\n%s", command.c_str(), kUsage);
  return 2;
}
