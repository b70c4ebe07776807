// Tagging settings of a test's own: on POSIX the settings file moves to a
// temporary folder for the test's life; on Windows the values the test
// changes are put back (or deleted) afterwards. Every value starts at its default.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "WavBuilder.h"
#include "riff/TagSettings.h"

class TagSettingsSandbox {
 public:
  TagSettingsSandbox() {
#ifdef _WIN32
    for (const auto name : kTagSettingNames) saved_.push_back(ReadTagSettingIfSet(name));
#else
    if (const char* old = std::getenv("XDG_CONFIG_HOME")) oldHome_ = old;
    setenv("XDG_CONFIG_HOME", dir_.path().string().c_str(), 1);
#endif
    for (const auto name : kTagSettingNames) DeleteTagSetting(name);
  }
  ~TagSettingsSandbox() {
#ifdef _WIN32
    for (std::size_t i = 0; i < kTagSettingNames.size(); ++i) {
      if (saved_[i])
        WriteTagSetting(kTagSettingNames[i], *saved_[i]);
      else
        DeleteTagSetting(kTagSettingNames[i]);
    }
#else
    if (oldHome_)
      setenv("XDG_CONFIG_HOME", oldHome_->c_str(), 1);
    else
      unsetenv("XDG_CONFIG_HOME");
#endif
  }
  TagSettingsSandbox(const TagSettingsSandbox&) = delete;
  TagSettingsSandbox& operator=(const TagSettingsSandbox&) = delete;

  void Set(std::u16string_view name, std::uint32_t value) { WriteTagSetting(name, value); }
  const TempDir& dir() const { return dir_; }

 private:
  TempDir dir_;
#ifdef _WIN32
  std::vector<std::optional<std::uint32_t>> saved_;
#else
  std::optional<std::string> oldHome_;
#endif
};
