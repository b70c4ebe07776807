#include <windows.h>

#include <iterator>
#include <string>

#include "FileHolder.h"

bool FileHolder::Start(const std::filesystem::path& file, int holdMs) {
  wchar_t self[MAX_PATH * 4];
  const DWORD n = GetModuleFileNameW(nullptr, self, DWORD(std::size(self)));
  if (n == 0 || n >= std::size(self)) return false;
  const std::wstring exe = (std::filesystem::path(self).parent_path() / L"file_holder.exe").wstring();
  std::wstring commandLine = L"\"" + exe + L"\" \"" + file.wstring() + L"\" " + std::to_wstring(holdMs);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION info{};
  if (!CreateProcessW(exe.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &info))
    return false;
  CloseHandle(info.hThread);
  process_ = reinterpret_cast<std::intptr_t>(info.hProcess);
  return true;
}

int FileHolder::Wait() {
  if (process_ < 0) return -1;
  const HANDLE process = reinterpret_cast<HANDLE>(process_);
  process_ = -1;
  DWORD code = DWORD(-1);
  if (WaitForSingleObject(process, INFINITE) != WAIT_OBJECT_0 || !GetExitCodeProcess(process, &code)) code = DWORD(-1);
  CloseHandle(process);
  return int(code);
}
