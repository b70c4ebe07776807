#include <windows.h>

#include "wave/AudioProperties.h"

// The user's thousands separator, grouping by three as every common locale does.
std::u16string GroupDigits(std::uint64_t value) {
  wchar_t separator[8] = L",";
  if (GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_STHOUSAND, separator, 8) <= 0) {
    separator[0] = L',';
    separator[1] = 0;
  }
  return GroupThousands(value, std::u16string(reinterpret_cast<const char16_t*>(separator)));
}
