// Decode throughput of the plug-in through its exports, next to libsndfile's
// raw read of the same file in 64 KiB blocks. Best of N runs, page cache warm.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/Plugin.h"
#include "io/Text.h"

#ifdef WAVE_BENCH_SNDFILE
#include <sndfile.h>
#endif

namespace {
using Clock = std::chrono::steady_clock;

double Seconds(Clock::time_point since) { return std::chrono::duration<double>(Clock::now() - since).count(); }

// Bytes delivered, or -1.
long long DecodeWithPlugin(Plugin& p, const std::u16string& name) {
  TraceContext context{};
  void* d = p.Create(&context);
  OpenRecord record{};
  record.FileName = reinterpret_cast<const WaveChar*>(name.c_str());
  record.Flags = kOpenPrepareDecode;
  long long total = -1;
  if (p.Open(d, &record)) {
    total = 0;
    for (;;) {
      AudioBlock block{};
      if (!p.DecodeBlock(d, &block)) {
        total = -1;
        break;
      }
      total += block.DataBytes;
      if (block.LastBlock) break;
    }
  }
  p.Close(d, 0);
  p.Destroy(d);
  return total;
}

#ifdef WAVE_BENCH_SNDFILE
long long ReadWithSndfile(const char* path) {
  SF_INFO info{};
  SNDFILE* f = sf_open(path, SFM_READ, &info);
  if (!f) return -1;
  static char buffer[65536];
  long long total = 0;
  for (;;) {
    const sf_count_t n = sf_read_raw(f, buffer, sizeof buffer);
    if (n <= 0) break;
    total += n;
  }
  sf_close(f);
  return total;
}
#endif
}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: decode_bench PLUGIN FILE [RUNS]\n");
    return 2;
  }
  const int runs = argc > 3 ? std::atoi(argv[3]) : 5;
  Plugin plugin;
  std::string error;
  if (!plugin.Load(argv[1], error)) {
    std::fprintf(stderr, "decode_bench: %s\n", error.c_str());
    return 1;
  }
  const std::u16string name = Utf8ToWide(argv[2]);
  double best = 1e30;
  long long bytes = 0;
  for (int i = 0; i < runs; ++i) {
    const auto start = Clock::now();
    bytes = DecodeWithPlugin(plugin, name);
    best = std::min(best, Seconds(start));
  }
  if (bytes < 0) return std::fprintf(stderr, "decode_bench: decoding failed\n"), 1;
  std::printf("plugin %lld %.6f\n", bytes, best);
#ifdef WAVE_BENCH_SNDFILE
  best = 1e30;
  for (int i = 0; i < runs; ++i) {
    const auto start = Clock::now();
    bytes = ReadWithSndfile(argv[2]);
    best = std::min(best, Seconds(start));
  }
  std::printf("libsndfile %lld %.6f\n", bytes, best);
#endif
  return 0;
}
