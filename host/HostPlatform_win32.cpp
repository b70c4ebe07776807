#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdint>
#include <string>

#include "host/HostPlatform.h"
#include "io/Text.h"

void WriteToConsole(const std::string& text) {
  // The C runtime hands an unbuffered stderr to the console a character at a
  // time, and a console under Wine repaints for every one of them.
  DWORD written = 0;
  std::fflush(stderr);
  WriteConsoleA(GetStdHandle(STD_ERROR_HANDLE), text.data(), DWORD(text.size()), &written, nullptr);
}

void SetUpStdout() {
  DWORD mode = 0;
  const HANDLE out = GetStdHandle(STD_OUTPUT_HANDLE);
  if (GetConsoleMode(out, &mode)) return;
  // On a character device that is no console (NUL) the C runtime writes each
  // line of text mode by itself, buffer or not, and under Wine every write is
  // a call to the server: the tags of a large file took seconds to print into
  // nothing. Such a device gets the bytes as they are.
  if (GetFileType(out) == FILE_TYPE_CHAR) _setmode(_fileno(stdout), _O_BINARY);
  std::setvbuf(stdout, nullptr, _IOFBF, 1 << 16);
}

bool StderrIsTerminal() {
  // A character device such as NUL passes _isatty; only a console has a console mode.
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != 0;
}

TraceSink::TraceSink() {
  wchar_t dir[MAX_PATH], name[MAX_PATH];
  GetTempPathW(MAX_PATH, dir);
  GetTempFileNameW(dir, L"wht", 0, name);
  HANDLE h = CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, CREATE_ALWAYS,
                         FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
  handle_ = h == INVALID_HANDLE_VALUE ? 0 : std::uint64_t(reinterpret_cast<std::uintptr_t>(h));
}

TraceSink::~TraceSink() {
  if (handle_) CloseHandle(reinterpret_cast<HANDLE>(std::uintptr_t(handle_)));
}

std::u16string TraceSink::TakeNew() {
  std::u16string out;
  if (!handle_) return out;
  HANDLE h = reinterpret_cast<HANDLE>(std::uintptr_t(handle_));
  LARGE_INTEGER end{}, at{};
  SetFilePointerEx(h, LARGE_INTEGER{}, &end, FILE_CURRENT);
  at.QuadPart = LONGLONG(readPos_);
  SetFilePointerEx(h, at, nullptr, FILE_BEGIN);
  char16_t buf[4096];
  DWORD got = 0;
  while (ReadFile(h, buf, sizeof buf, &got, nullptr) && got > 0) {
    readPos_ += got;
    out.append(buf, got / 2);
  }
  SetFilePointerEx(h, end, nullptr, FILE_BEGIN);  // the plug-in appends where it left off
  return out;
}

int wmain(int argc, wchar_t** argv) {
  std::vector<std::string> args;
  for (int i = 1; i < argc; ++i) args.push_back(WideToUtf8(std::u16string(reinterpret_cast<const char16_t*>(argv[i]))));
  return HostMain(args);
}

std::FILE* OpenOutputFile(const std::string& path) {
  const std::u16string w = Utf8ToWide(path);
  return _wfopen(reinterpret_cast<const wchar_t*>(w.c_str()), L"wb");
}

namespace {
std::wstring Wide(const std::string& utf8) {
  const std::u16string w = Utf8ToWide(utf8);
  return std::wstring(w.begin(), w.end());
}

std::string ErrorText(DWORD code) {
  wchar_t* text = nullptr;
  FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                 code, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  std::string out = text ? WideToUtf8(std::u16string(reinterpret_cast<const char16_t*>(text))) : std::string();
  LocalFree(text);
  while (!out.empty() && (out.back() == '\n' || out.back() == '\r' || out.back() == '.')) out.pop_back();
  return out.empty() ? "error " + std::to_string(code) : out;
}
}  // namespace

std::FILE* CreateFileBeside(const std::string& target, std::string& path, std::string& error) {
  LARGE_INTEGER now{};
  QueryPerformanceCounter(&now);
  const std::uint64_t seed = std::uint64_t(now.QuadPart) ^ (std::uint64_t(GetCurrentProcessId()) << 32);
  for (std::uint64_t attempt = 0; attempt < 100; ++attempt) {
    char suffix[32];
    std::snprintf(suffix, sizeof suffix, ".%06llx.part", (unsigned long long)((seed + attempt * 7919) & 0xFFFFFF));
    const std::string name = target + suffix;
    HANDLE h = CreateFileW(Wide(name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
      if (GetLastError() == ERROR_FILE_EXISTS) continue;
      error = ErrorText(GetLastError());
      return nullptr;
    }
    const int fd = _open_osfhandle(reinterpret_cast<std::intptr_t>(h), _O_BINARY | _O_WRONLY);
    std::FILE* file = fd >= 0 ? _fdopen(fd, "wb") : nullptr;
    if (!file) {
      if (fd >= 0)
        _close(fd);
      else
        CloseHandle(h);
      DeleteFileW(Wide(name).c_str());
      error = "cannot open the temporary file";
      return nullptr;
    }
    path = name;
    return file;
  }
  error = "no free temporary name";
  return nullptr;
}

bool CommitFile(const std::string& from, const std::string& to, std::string& error) {
  HANDLE h = CreateFileW(Wide(from).c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  const bool flushed = h != INVALID_HANDLE_VALUE && FlushFileBuffers(h);
  const DWORD flushError = GetLastError();
  if (h != INVALID_HANDLE_VALUE) CloseHandle(h);
  if (!flushed) {
    error = ErrorText(flushError);
    return false;
  }
  if (!MoveFileExW(Wide(from).c_str(), Wide(to).c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    error = ErrorText(GetLastError());
    return false;
  }
  return true;
}

void RemoveFile(const std::string& path) { DeleteFileW(Wide(path).c_str()); }
