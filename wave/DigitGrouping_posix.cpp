#include <langinfo.h>
#include <locale.h>

#include <string>

#include "io/Text.h"
#include "wave/AudioProperties.h"

// The user's locale gives the separator; numbers are grouped by thousands
// even where the locale itself does not group (the C locale). Only the
// numeric category is loaded: the others cost far more than the answer.
std::u16string ThousandsSeparator() {
  std::string separator = ",";
  if (const locale_t numeric = newlocale(LC_NUMERIC_MASK, "", locale_t(0))) {
    const char* sep = nl_langinfo_l(THOUSEP, numeric);
    if (sep && *sep) separator = sep;
    freelocale(numeric);
  }
  return Utf8ToWide(separator);
}
