#include <unistd.h>

#include <cerrno>
#include <mutex>

#include "codec/Trace.h"

namespace {
std::mutex g_lock;
}

namespace trace_platform {
void Lock() { g_lock.lock(); }
void Unlock() { g_lock.unlock(); }

// The handles are file descriptors; the bytes are UTF-16 in memory order (little-endian hosts).
void Write(std::uint64_t handle, const char16_t* units, std::size_t count) {
  const auto* p = reinterpret_cast<const char*>(units);
  std::size_t left = count * sizeof(char16_t);
  while (left) {
    const ssize_t n = ::write(int(handle), p, left);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;  // tracing never fails the traced operation
    p += n, left -= std::size_t(n);
  }
}
}  // namespace trace_platform
