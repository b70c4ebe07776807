// wavehost formats, options and settings: what the plug-in says it offers,
// and the user's tagging settings, which the host reads and changes itself.
#include <algorithm>
#include <cstdio>
#include <string>

#include "host/Commands.h"
#include "io/Text.h"
#include "riff/TagSettings.h"

int CommandFormats(Session& s) {
  bool ok = false;
  std::printf("%s\n", WideToUtf8(s.GetText(u"Decoder Description", 0, 0, 0, ok)).c_str());
  std::printf("Files:\n");
  for (int i = 0;; ++i) {
    const std::u16string ext = s.GetText(u"Decodes", i, 0, 0, ok);
    if (!ok) break;
    std::printf("  %s  %s\n", WideToUtf8(ext).c_str(), WideToUtf8(s.GetText(u"Decodes", i, 0, 1, ok)).c_str());
  }
  std::printf("Streams:\n");
  for (int i = 0;; ++i) {
    const std::u16string mime = s.GetText(u"StreamingDecodes", i, 0, 0, ok);
    if (!ok) break;
    std::printf("  %s\n", WideToUtf8(mime).c_str());
  }
  return 0;
}

int CommandOptions(Session& s) {
  bool ok = false;
  std::printf("Settings: %s\n", WideToUtf8(TagSettingsLocation()).c_str());
  for (int i = 0;; ++i) {
    const std::u16string option = s.GetText(u"ID Tag Options", i, 0, 0, ok);
    if (!ok) break;
    const std::u16string path = s.GetText(u"ID Tag Options", i, 0, 1, ok);
    const std::u16string value = path.substr(path.find(u'\\') + 1);
    const std::uint32_t current = ReadTagSetting(value);
    std::printf("%s (%s)\n", WideToUtf8(option).c_str(), WideToUtf8(path).c_str());
    for (int k = 0;; ++k) {
      const std::u16string choice = s.GetText(u"ID Tag Options", i, k, 2, ok);
      if (!ok) break;
      std::printf("  %c %d  %s\n", std::uint32_t(k) == current ? '*' : ' ', k, WideToUtf8(choice).c_str());
    }
  }
  return 0;
}
int CommandSettings(const Words& args) {
  if (args.size() == 2) {
    const std::u16string name = Utf8ToWide(args[0]);
    const bool known = std::find(kTagSettingNames.begin(), kTagSettingNames.end(), name) != kTagSettingNames.end();
    const std::string& v = args[1];
    const bool number = !v.empty() && v.size() <= 10 && v.find_first_not_of("0123456789") == std::string::npos &&
                        std::stoull(v) <= 0xFFFFFFFFull;
    if (!known || !number) {
      std::fprintf(stderr, "wavehost: %s\n", !known ? "unknown setting" : "the value must be a number from 0");
      return 2;
    }
    if (!WriteTagSetting(name, std::uint32_t(std::stoull(v)))) {
      std::fprintf(stderr, "wavehost: cannot write %s\n", WideToUtf8(TagSettingsLocation()).c_str());
      return 1;
    }
  } else if (!args.empty()) {
    return UsageError();
  }
  std::printf("Settings: %s\n", WideToUtf8(TagSettingsLocation()).c_str());
  for (const auto name : kTagSettingNames) {
    const auto value = ReadTagSettingIfSet(name);
    std::printf("  %-24s %u%s\n", WideToUtf8(name).c_str(), value.value_or(0), value ? "" : "  (not set)");
  }
  return 0;
}
