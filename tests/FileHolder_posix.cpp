#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <system_error>

#include "FileHolder.h"

extern char** environ;

bool FileHolder::Start(const std::filesystem::path& file, int holdMs) {
  std::error_code ec;
  const auto self = std::filesystem::read_symlink("/proc/self/exe", ec);
  if (ec) return false;
  const std::string exe = (self.parent_path() / "file_holder").string();
  std::string fileArg = file.string();
  std::string msArg = std::to_string(holdMs);
  std::string exeArg = exe;
  char* argv[] = {exeArg.data(), fileArg.data(), msArg.data(), nullptr};
  pid_t pid = 0;
  if (posix_spawn(&pid, exe.c_str(), nullptr, nullptr, argv, environ) != 0) return false;
  process_ = pid;
  return true;
}

int FileHolder::Wait() {
  if (process_ < 0) return -1;
  int status = 0;
  const pid_t pid = pid_t(process_);
  process_ = -1;
  if (waitpid(pid, &status, 0) != pid) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
