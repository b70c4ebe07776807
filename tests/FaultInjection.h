// Fault injection for the file layer of the test build: armed with k, the
// k-th read, write, seek, flush or rename from then on fails, and so does
// every later one, as if the device had gone there; armed once, the k-th
// alone fails, as a full disk or a dropped share does. Arm(0) only counts.
#pragma once

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
}  // namespace xfile_fault
