// What the host needs from the operating system: loading the plug-in by
// path, a sink for the trace handles, and a little about the terminal.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "WavePlugin.h"

// Loads a library by path; null and a reason on failure.
void* LoadPluginLibrary(const std::string& path, std::string& error);
void* PluginSymbol(void* library, const char* name);
void FreePluginLibrary(void* library);
// Directory of the running executable, with a trailing separator.
std::string ExecutableDirectory();
// File name of the plug-in library on this platform.
const char* PluginFileName();
// True when stderr is an interactive console, not a file, a pipe or a device.
bool StderrIsTerminal();
// Writes text to the console behind stderr in one call (a console redraws per call, not per line).
void WriteToConsole(const std::string& text);
// Before any output: a full buffer for stdout unless it is an interactive console.
void SetUpStdout();

// A temporary file that the plug-in writes trace text into, read back as UTF-16.
class TraceSink {
 public:
  TraceSink();
  ~TraceSink();
  TraceSink(const TraceSink&) = delete;
  TraceSink& operator=(const TraceSink&) = delete;
  std::uint64_t handle() const { return handle_; }
  // What was written since the last call.
  std::u16string TakeNew();

 private:
  std::uint64_t handle_ = 0;
  std::uint64_t readPos_ = 0;
};

// The program's own entry with UTF-8 arguments.
int HostMain(const std::vector<std::string>& args);

// Opens a file for binary writing by UTF-8 path; null on failure.
std::FILE* OpenOutputFile(const std::string& path);
// Creates a new file for binary writing in the directory of `target`, named after it with a suffix that no
// finished file carries; null and the reason on failure.
std::FILE* CreateFileBeside(const std::string& target, std::string& path, std::string& error);
// Makes the finished `from` durable and puts it under the name `to` in one step, replacing what was there.
bool CommitFile(const std::string& from, const std::string& to, std::string& error);
void RemoveFile(const std::string& path);
