// The settings file: one "Name=decimal" line per value, in
// $XDG_CONFIG_HOME (or ~/.config) /Brindlecot/Quaverlane/Tagging.conf.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "io/Text.h"
#include "riff/TagSettings.h"

namespace {
std::filesystem::path SettingsFile() {
  std::filesystem::path base;
  if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && *xdg)
    base = xdg;
  else if (const char* home = std::getenv("HOME"); home && *home)
    base = std::filesystem::path(home) / ".config";
  else
    base = "/tmp";
  return base / "Brindlecot" / "Quaverlane" / "Tagging.conf";
}

std::map<std::string, std::string> Load() {
  std::map<std::string, std::string> values;
  std::ifstream in(SettingsFile());
  std::string line;
  while (std::getline(in, line)) {
    const auto eq = line.find('=');
    if (eq != std::string::npos) values[line.substr(0, eq)] = line.substr(eq + 1);
  }
  return values;
}

bool Save(const std::map<std::string, std::string>& values) {
  const auto file = SettingsFile();
  std::error_code ec;
  std::filesystem::create_directories(file.parent_path(), ec);
  const auto temp = file.string() + ".tmp";
  {
    std::ofstream out(temp, std::ios::trunc);
    for (const auto& [k, v] : values) out << k << '=' << v << '\n';
    if (!out) return false;
  }
  std::filesystem::rename(temp, file, ec);  // never leaves a half-written file behind
  return !ec;
}
}  // namespace

std::optional<std::uint32_t> ReadTagSettingIfSet(std::u16string_view name) {
  const auto values = Load();
  const auto it = values.find(WideToUtf8(name));
  if (it == values.end() || it->second.empty() || it->second.size() > 10) return std::nullopt;
  std::uint64_t v = 0;
  for (char c : it->second) {
    if (c < '0' || c > '9') return std::nullopt;
    v = v * 10 + std::uint64_t(c - '0');
  }
  if (v > 0xFFFFFFFFu) return std::nullopt;
  return std::uint32_t(v);
}

bool WriteTagSetting(std::u16string_view name, std::uint32_t value) {
  auto values = Load();
  values[WideToUtf8(name)] = std::to_string(value);
  return Save(values);
}

bool DeleteTagSetting(std::u16string_view name) {
  auto values = Load();
  values.erase(WideToUtf8(name));
  return Save(values);
}

std::u16string TagSettingsLocation() { return Utf8ToWide(SettingsFile().string()); }
