#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>

#include "host/HostPlatform.h"

bool StderrIsTerminal() { return isatty(2) == 1; }

// The C library buffers stdout fully whenever it is not a terminal.
void SetUpStdout() {}

void WriteToConsole(const std::string& text) {
  std::fputs(text.c_str(), stderr);
  std::fflush(stderr);
}

TraceSink::TraceSink() {
  char name[] = "/tmp/wavehost-trace-XXXXXX";
  const int fd = mkstemp(name);
  if (fd >= 0) unlink(name);
  handle_ = fd >= 0 ? std::uint64_t(fd) : 0;
}

TraceSink::~TraceSink() {
  if (handle_) close(int(handle_));
}

std::u16string TraceSink::TakeNew() {
  std::u16string out;
  if (!handle_) return out;
  char16_t buf[4096];
  for (;;) {
    const ssize_t n = pread(int(handle_), buf, sizeof buf, off_t(readPos_));
    if (n <= 0) break;
    readPos_ += std::uint64_t(n);
    out.append(buf, std::size_t(n) / 2);
  }
  return out;
}

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  return HostMain(args);
}

std::FILE* OpenOutputFile(const std::string& path) { return std::fopen(path.c_str(), "wb"); }
