#include <windows.h>

#include "wave/AudioProperties.h"

// The user's thousands separator; numbers group by three as in every common locale.
std::u16string ThousandsSeparator() {
  wchar_t separator[8] = L",";
  if (GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_STHOUSAND, separator, 8) <= 0) {
    separator[0] = L',';
    separator[1] = 0;
  }
  return std::u16string(reinterpret_cast<const char16_t*>(separator));
}
