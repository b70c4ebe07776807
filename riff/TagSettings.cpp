#include "riff/TagSettings.h"

#include <string>

std::uint32_t ReadTagSetting(std::u16string_view name) { return ReadTagSettingIfSet(name).value_or(0); }

std::uint32_t PaddingSizeFromSetting(std::uint32_t choice) {
  // The choices are listed 2, 1, 4, 8, 16 KB; the stored number follows that order.
  switch (choice) {
    case 1:
      return 1024;
    case 2:
      return 4096;
    case 3:
      return 8192;
    case 4:
      return 16384;
    default:
      return 2048;
  }
}
