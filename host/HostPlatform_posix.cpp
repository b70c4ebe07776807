#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

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

namespace {
std::string Directory(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? std::string(".") : slash == 0 ? std::string("/") : path.substr(0, slash);
}
}  // namespace

std::FILE* CreateFileBeside(const std::string& target, std::string& path, std::string& error) {
  std::string name = target + ".XXXXXX.part";
  const int fd = mkstemps(name.data(), 5);
  if (fd < 0) {
    error = std::strerror(errno);
    return nullptr;
  }
  // mkstemps makes the file private; the finished file gets what a new file would.
  const mode_t mask = umask(0);
  umask(mask);
  fchmod(fd, 0666 & ~mask);
  std::FILE* file = fdopen(fd, "wb");
  if (!file) {
    error = std::strerror(errno);
    close(fd);
    unlink(name.c_str());
    return nullptr;
  }
  path = name;
  return file;
}

bool CommitFile(const std::string& from, const std::string& to, std::string& error) {
  const int fd = open(from.c_str(), O_RDONLY | O_CLOEXEC);
  const bool synced = fd >= 0 && fsync(fd) == 0;
  if (fd >= 0) close(fd);
  if (!synced || rename(from.c_str(), to.c_str()) != 0) {
    error = std::strerror(errno);
    return false;
  }
  // The new name lasts only once the directory that holds it is on disk.
  const int dir = open(Directory(to).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir >= 0) {
    fsync(dir);
    close(dir);
  }
  return true;
}

void RemoveFile(const std::string& path) { unlink(path.c_str()); }
