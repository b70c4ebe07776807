#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "TraceCapture.h"

TraceCapture::TraceCapture() {
  std::uint64_t* words[3] = {&context_.Error, &context_.Information, &context_.Trace};
  for (int i = 0; i < 3; ++i) {
    std::string tmpl = "/tmp/wavetrace-XXXXXX";
    const int fd = mkstemp(tmpl.data());
    paths_[i] = tmpl;
    *words[i] = std::uint64_t(fd);
  }
}

TraceCapture::~TraceCapture() {
  for (const std::uint64_t fd : {context_.Error, context_.Information, context_.Trace}) ::close(int(fd));
  for (const auto& p : paths_) ::unlink(p.c_str());
}

void TraceCapture::Reset() {
  for (const std::uint64_t fd : {context_.Error, context_.Information, context_.Trace}) {
    if (::ftruncate(int(fd), 0) != 0) std::abort();
    ::lseek(int(fd), 0, SEEK_SET);
  }
}
