#include <langinfo.h>
#include <locale.h>

#include <cstdlib>
#include <string>
#include <string_view>

#include "io/Text.h"
#include "wave/AudioProperties.h"

namespace {
// The locale name that decides the numeric category, in the order of precedence the C library uses.
std::string_view NumericLocaleName() {
  for (const char* variable : {"LC_ALL", "LC_NUMERIC", "LANG"})
    if (const char* value = std::getenv(variable); value && *value) return value;
  return "C";
}

// The C locale and its UTF-8 twin have no separator: loading them would only tell us so.
bool IsCLocale(std::string_view name) { return name == "C" || name == "POSIX" || name.starts_with("C."); }
}  // namespace

// The user's locale gives the separator; numbers are grouped by thousands
// even where the locale itself does not group (the C locale). Only the
// numeric category is loaded: the others cost far more than the answer.
std::u16string ThousandsSeparator() {
  std::string separator = ",";
  if (IsCLocale(NumericLocaleName())) return Utf8ToWide(separator);
  if (const locale_t numeric = newlocale(LC_NUMERIC_MASK, "", locale_t(0))) {
    const char* sep = nl_langinfo_l(THOUSEP, numeric);
    if (sep && *sep) separator = sep;
    freelocale(numeric);
  }
  return Utf8ToWide(separator);
}
