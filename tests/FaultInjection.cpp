#include "FaultInjection.h"

#include <atomic>

namespace {
// Atomics: the thread tests run file operations on several threads at once.
std::atomic<bool> gArmed{false};
std::atomic<int> gFailAt{0};
std::atomic<int> gCount{0};
std::atomic<unsigned> gKinds{0};
std::atomic<bool> gOnce{false};

unsigned Bit(FileOp op) { return 1u << unsigned(op); }
}  // namespace

bool FileFaultHits(FileOp op) {
  if (!gArmed.load() || (gKinds.load() & Bit(op)) == 0) return false;
  const int count = ++gCount;
  const int failAt = gFailAt.load();
  return failAt > 0 && (gOnce.load() ? count == failAt : count >= failAt);
}

namespace xfile_fault {
void Arm(int k) { Arm(k, {FileOp::Read, FileOp::Write, FileOp::Seek, FileOp::Flush, FileOp::Rename}); }

void Arm(int k, std::initializer_list<FileOp> kinds) {
  unsigned bits = 0;
  for (FileOp op : kinds) bits |= Bit(op);
  gArmed = false;
  gKinds = bits;
  gFailAt = k;
  gCount = 0;
  gOnce = false;
  gArmed = true;
}

void ArmOnce(int k) {
  Arm(k);
  gOnce = true;
}

void Disarm() { gArmed = false; }
int Count() { return gCount.load(); }
}  // namespace xfile_fault
