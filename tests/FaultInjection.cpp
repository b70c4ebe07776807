#include "FaultInjection.h"

#include <atomic>

namespace {
// Atomics: the thread tests run file operations on several threads at once.
std::atomic<bool> gArmed{false}, gOnce{false};
std::atomic<int> gFailAt{0}, gCount{0};
}  // namespace

bool FileFaultHits(FileOp) {
  if (!gArmed.load()) return false;
  const int count = ++gCount, failAt = gFailAt.load();
  return gOnce.load() ? count == failAt : count >= failAt;
}

namespace xfile_fault {
bool Reaches(int k, bool once, const std::function<void()>& run) {
  gFailAt = k, gCount = 0, gOnce = once, gArmed = true;
  run();
  gArmed = false;
  return gCount.load() >= k;
}

bool Sweep(int limit, const std::function<bool(int k, bool once)>& attempt) {
  for (const bool once : {false, true}) {
    int k = 1;
    while (k < limit && attempt(k, once)) ++k;
    if (k == limit) return false;
  }
  return true;
}
}  // namespace xfile_fault
