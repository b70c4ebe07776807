#include <windows.h>

#include <string>

#include "host/HostPlatform.h"
#include "io/Text.h"

namespace {
std::wstring WidePath(const std::string& utf8) {
  const std::u16string w = Utf8ToWide(utf8);
  return std::wstring(w.begin(), w.end());
}
}  // namespace

void* LoadPluginLibrary(const std::string& path, std::string& error) {
  HMODULE lib = LoadLibraryW(WidePath(path).c_str());
  if (!lib) error = "LoadLibraryW failed (Win:" + std::to_string(GetLastError()) + ")";
  return reinterpret_cast<void*>(lib);
}

void* PluginSymbol(void* library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

void FreePluginLibrary(void* library) { FreeLibrary(static_cast<HMODULE>(library)); }
const char* PluginFileName() { return "Wave.dll"; }

std::string ExecutableDirectory() {
  wchar_t buf[32768];
  const DWORD n = GetModuleFileNameW(nullptr, buf, 32768);
  std::u16string path(reinterpret_cast<const char16_t*>(buf), n);
  const auto cut = path.find_last_of(u"\\/");
  return WideToUtf8(path.substr(0, cut == std::u16string::npos ? 0 : cut + 1));
}
