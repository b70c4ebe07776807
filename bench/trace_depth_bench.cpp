// What a long-running host pays after many failed operations: each leaves the
// process-wide trace indentation two blanks deeper, as it must. A good open
// and decode of a small file, timed in a fresh process and again after
// 100,000 failed opens, all with the three trace handles 0.
// usage: trace_depth_bench PLUGIN FILE [FAILURES]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "host/Plugin.h"
#include "io/Text.h"

namespace {
using Clock = std::chrono::steady_clock;

int OpenOnce(Plugin& p, void* d, const std::u16string& name, std::uint32_t flags) {
  OpenRecord record{};
  record.FileName = reinterpret_cast<const WaveChar*>(name.c_str());
  record.Flags = flags;
  int ok = p.Open(d, &record);
  for (AudioBlock block{}; ok && (flags & kOpenPrepareDecode); block = {}) {
    ok = p.DecodeBlock(d, &block);
    if (block.LastBlock) break;
  }
  p.Close(d, 0);
  return ok;
}

// Median microseconds of a good open and decode.
double GoodOpen(Plugin& p, void* d, const std::u16string& name) {
  std::vector<double> us;
  for (int i = 0; i < 301; ++i) {
    const auto start = Clock::now();
    if (!OpenOnce(p, d, name, kOpenPrepareDecode | kOpenReadTags | kOpenProperties)) std::exit(1);
    us.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
  }
  std::nth_element(us.begin(), us.begin() + us.size() / 2, us.end());
  return us[us.size() / 2];
}
}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: trace_depth_bench PLUGIN FILE [FAILURES]\n");
    return 2;
  }
  Plugin p;
  std::string error;
  if (!p.Load(argv[1], error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  const int failures = argc > 3 ? std::atoi(argv[3]) : 100000;
  const TraceContext nowhere{};
  void* d = p.Create(&nowhere);
  const std::u16string good = Utf8ToWide(argv[2]);
  const std::u16string missing = good + u".missing";
  const double fresh = GoodOpen(p, d, good);
  const auto start = Clock::now();
  for (int i = 0; i < failures; ++i) OpenOnce(p, d, missing, kOpenAudioInfo);
  const double failedEach = std::chrono::duration<double, std::micro>(Clock::now() - start).count() / failures;
  const double after = GoodOpen(p, d, good);
  p.Destroy(d);
  std::printf("good open+decode, fresh process: %.1f us\n", fresh);
  std::printf("%d failed opens: %.1f us each\n", failures, failedEach);
  std::printf("good open+decode after them: %.1f us (%.2f x fresh)\n", after, after / fresh);
  return 0;
}
