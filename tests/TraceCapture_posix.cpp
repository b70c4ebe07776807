#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "TraceCapture.h"

// Each file is unlinked at once and read through its descriptor: a test killed on a time-out, as a mutant that
// traces without end is, leaves nothing behind to fill the disk.
TraceCapture::TraceCapture() {
  std::uint64_t* words[3] = {&context_.Error, &context_.Information, &context_.Trace};
  for (int i = 0; i < 3; ++i) {
    std::string name = "/tmp/wavetrace-XXXXXX";
    const int fd = mkstemp(name.data());
    ::unlink(name.c_str());
    paths_[i] = "/proc/self/fd/" + std::to_string(fd);
    *words[i] = std::uint64_t(fd);
  }
}

TraceCapture::~TraceCapture() {
  for (const std::uint64_t fd : {context_.Error, context_.Information, context_.Trace}) ::close(int(fd));
}

void TraceCapture::Reset() {
  for (const std::uint64_t fd : {context_.Error, context_.Information, context_.Trace}) {
    if (::ftruncate(int(fd), 0) != 0) std::abort();
    ::lseek(int(fd), 0, SEEK_SET);
  }
}
