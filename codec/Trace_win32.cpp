#include <windows.h>

#include "codec/Trace.h"

namespace {
// Created, not owned, when the library is loaded; lives as long as the process.
const HANDLE g_lock = CreateMutexW(nullptr, FALSE, nullptr);
}  // namespace

namespace trace_platform {
void Lock() {
  if (g_lock) WaitForSingleObject(g_lock, INFINITE);
}

void Unlock() {
  if (g_lock) ReleaseMutex(g_lock);
}

void Write(std::uint64_t handle, const char16_t* units, std::size_t count) {
  DWORD written = 0;
  WriteFile(reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(handle)), units, DWORD(count * sizeof(char16_t)),
            &written, nullptr);
}
}  // namespace trace_platform
