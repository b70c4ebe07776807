#include <windows.h>

#include <string>

#include "TraceCapture.h"
#include "io/Text.h"

TraceCapture::TraceCapture() {
  wchar_t dir[MAX_PATH];
  GetTempPathW(MAX_PATH, dir);
  std::uint64_t* words[3] = {&context_.Error, &context_.Information, &context_.Trace};
  for (int i = 0; i < 3; ++i) {
    wchar_t name[MAX_PATH];
    GetTempFileNameW(dir, L"wtr", 0, name);
    // Shared for reading so that the test can read back while the handle is open.
    HANDLE h = CreateFileW(name, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                           CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY, nullptr);
    *words[i] = std::uint64_t(reinterpret_cast<std::uintptr_t>(h));
    paths_[i] = WideToUtf8(std::u16string(reinterpret_cast<const char16_t*>(name)));
  }
}

TraceCapture::~TraceCapture() {
  for (const std::uint64_t h : {context_.Error, context_.Information, context_.Trace})
    CloseHandle(reinterpret_cast<HANDLE>(std::uintptr_t(h)));
  for (const auto& p : paths_) {
    const std::u16string w = Utf8ToWide(p);
    DeleteFileW(reinterpret_cast<const wchar_t*>(w.c_str()));
  }
}

void TraceCapture::Reset() {
  for (const std::uint64_t h : {context_.Error, context_.Information, context_.Trace}) {
    HANDLE handle = reinterpret_cast<HANDLE>(std::uintptr_t(h));
    SetFilePointer(handle, 0, nullptr, FILE_BEGIN);
    SetEndOfFile(handle);
  }
}
