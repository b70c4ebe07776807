#include <windows.h>

#include "codec/Trace.h"

namespace {
// Created, not owned, when the library is loaded; lives as long as the process.
struct TraceLock {
  HANDLE mutex = CreateMutexW(nullptr, FALSE, nullptr);
  bool held = false;
};
TraceLock g_lock;
}  // namespace

namespace trace_platform {
void Lock() {
  if (!g_lock.mutex) return;
  WaitForSingleObject(g_lock.mutex, INFINITE);
  g_lock.held = true;
}

void Unlock() {
  if (!g_lock.mutex) return;
  g_lock.held = false;
  ReleaseMutex(g_lock.mutex);
}

void Write(std::uint64_t handle, const char16_t* units, std::size_t count) {
  DWORD written = 0;
  WriteFile(reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(handle)), units, DWORD(count * sizeof(char16_t)),
            &written, nullptr);
}
}  // namespace trace_platform
