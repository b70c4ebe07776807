#include <windows.h>

#include <string>

#include "riff/TagSettings.h"

namespace {
constexpr wchar_t kKey[] = L"Software\\Brindlecot\\Quaverlane\\Tagging";

std::wstring Name(std::u16string_view name) { return std::wstring(name.begin(), name.end()); }

// Opened with create rights: reading a setting creates the key when it is missing.
HKEY OpenKey(REGSAM access) {
  HKEY key = nullptr;
  if (RegCreateKeyExW(HKEY_CURRENT_USER, kKey, 0, nullptr, 0, access, nullptr, &key, nullptr) != ERROR_SUCCESS)
    return nullptr;
  return key;
}
}  // namespace

std::optional<std::uint32_t> ReadTagSettingIfSet(std::u16string_view name) {
  HKEY key = OpenKey(KEY_READ | KEY_WRITE);
  if (!key) key = OpenKey(KEY_READ);
  if (!key) return std::nullopt;
  DWORD type = 0, value = 0, size = sizeof value;
  const LONG rc = RegQueryValueExW(key, Name(name).c_str(), nullptr, &type, reinterpret_cast<BYTE*>(&value), &size);
  RegCloseKey(key);
  if (rc != ERROR_SUCCESS || type != REG_DWORD || size != sizeof value) return std::nullopt;
  return value;
}

bool WriteTagSetting(std::u16string_view name, std::uint32_t value) {
  HKEY key = OpenKey(KEY_WRITE);
  if (!key) return false;
  const DWORD v = value;
  const LONG rc = RegSetValueExW(key, Name(name).c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&v), sizeof v);
  RegCloseKey(key);
  return rc == ERROR_SUCCESS;
}

bool DeleteTagSetting(std::u16string_view name) {
  HKEY key = OpenKey(KEY_WRITE);
  if (!key) return false;
  const LONG rc = RegDeleteValueW(key, Name(name).c_str());
  RegCloseKey(key);
  return rc == ERROR_SUCCESS || rc == ERROR_FILE_NOT_FOUND;
}

std::u16string TagSettingsLocation() { return u"HKEY_CURRENT_USER\\Software\\Brindlecot\\Quaverlane\\Tagging"; }
