#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "TraceCapture.h"
#include "codec/Trace.h"

#ifndef _WIN32
#include <fcntl.h>
#include <unistd.h>
#endif

namespace {
}  // namespace

#ifndef _WIN32

// A handle that takes nothing (a full disk) costs the traced operation nothing: no retry for ever.
TEST(Trace, HandleThatRefusesEveryWriteIsLeftAtOnce) {
  const int full = open("/dev/full", O_WRONLY);
  ASSERT_GE(full, 0);
  const TraceContext ctx{std::uint64_t(full), std::uint64_t(full), std::uint64_t(full)};
  TraceError(u"lost", ctx, "A::B");
  Trace(u"lost", ctx, nullptr, true);
  close(full);
}
#endif
