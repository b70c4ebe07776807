#include <windows.h>

#include <vector>

#include "wave/XDLL.h"

namespace {
const wchar_t* Wide(const std::u16string& text) { return reinterpret_cast<const wchar_t*>(text.c_str()); }
}  // namespace

bool XDLL::LoadFrom(const std::u16string& path) {
  Unload();
  module_ = LoadLibraryW(Wide(path));
  return module_ != nullptr;
}

void* XDLL::Symbol(const char* name) const {
  if (!module_) return nullptr;
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module_), name));
}

void XDLL::Unload() {
  if (module_) FreeLibrary(static_cast<HMODULE>(module_));
  module_ = nullptr;
}

std::u16string OwnModulePath() {
  // The module that holds this function is the plug-in, not the host's executable.
  HMODULE self = nullptr;
  if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                          reinterpret_cast<LPCWSTR>(&OwnModulePath), &self))
    return {};
  // Long paths may exceed MAX_PATH: grow until the name fits.
  std::vector<wchar_t> buffer(MAX_PATH);
  for (;;) {
    const DWORD n = GetModuleFileNameW(self, buffer.data(), DWORD(buffer.size()));
    if (n == 0) return {};
    if (n < buffer.size()) return std::u16string(reinterpret_cast<const char16_t*>(buffer.data()), n);
    if (buffer.size() >= 32768) return {};
    buffer.resize(buffer.size() * 2);
  }
}

std::u16string_view Mp3SiblingName() { return u"mp3.dll"; }
