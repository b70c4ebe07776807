// Fault injection for the file layer of the test build: armed with k, the
// k-th write, seek, flush or rename fails, and so does every later one, as if
// the device had gone there; or the k-th alone fails, as a full disk or a
// dropped share does.
#pragma once

#include <functional>

#include "io/FileFaults.h"

namespace xfile_fault {
// Runs `run` with the k-th operation failing (alone when `once`); true when it got that far.
bool Reaches(int k, bool once, const std::function<void()>& run);

// Calls attempt(k, once) for k = 1, 2, ... as a device that goes and then as a full disk, each until an attempt
// finishes before its k-th operation; an attempt returns whether it got that far. False when `limit` came first.
bool Sweep(int limit, const std::function<bool(int k, bool once)>& attempt);
}  // namespace xfile_fault
