// Fault injection for the file layer of the test build: armed with k, the
// k-th read, write, seek, flush or rename from then on fails, and so does
// every later one, as if the device had gone there; armed once, the k-th
// alone fails, as a full disk or a dropped share does. Arm(0) only counts.
#pragma once

#include <functional>
#include <initializer_list>

#include "io/FileFaults.h"

namespace xfile_fault {
// Arms for every kind of operation, or only for those named.
void Arm(int k);
void Arm(int k, std::initializer_list<FileOp> kinds);
// Arms for every kind of operation; only the k-th fails.
void ArmOnce(int k);
void Disarm();
// Operations of the armed kinds since the last Arm.
int Count();

// Runs `run` with the k-th operation failing (alone when `once`); true when it got that far.
template <class F>
bool Reaches(int k, bool once, F&& run) {
  once ? ArmOnce(k) : Arm(k);
  run();
  const bool reached = Count() >= k;
  Disarm();
  return reached;
}

// Calls attempt(k, once) for k = 1, 2, ... as a device that goes (every operation from the k-th on fails) and then as
// a full disk (the k-th alone fails), each until an attempt finishes before its k-th operation; an attempt returns
// whether it got that far. False when `limit` came first.
inline bool Sweep(int limit, const std::function<bool(int k, bool once)>& attempt) {
  for (const bool once : {false, true}) {
    int k = 1;
    while (k < limit && attempt(k, once)) ++k;
    if (k == limit) return false;
  }
  return true;
}
}  // namespace xfile_fault
