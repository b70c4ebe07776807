// Another process that holds a file with no sharing, for the retry tests.
#pragma once

#include <cstdint>
#include <filesystem>

class FileHolder {
 public:
  FileHolder() = default;
  ~FileHolder() { Wait(); }
  FileHolder(const FileHolder&) = delete;
  FileHolder& operator=(const FileHolder&) = delete;

  // Starts file_holder from beside this executable; it creates `file`.held once it holds `file`.
  bool Start(const std::filesystem::path& file, int holdMs);
  // Waits for the process to end and returns its exit code (-1 when none was started).
  int Wait();

 private:
  std::intptr_t process_ = -1;
};
