#include <locale>

#include "io/Text.h"
#include "wave/AudioProperties.h"

// The user's locale gives the separator; numbers are grouped by thousands
// even where the locale itself does not group (the C locale).
std::u16string ThousandsSeparator() {
  char separator = ',';
  try {
    const std::locale user("");  // the facet lives only as long as its locale
    const auto& punct = std::use_facet<std::numpunct<char>>(user);
    if (!punct.grouping().empty() && punct.thousands_sep() != '\0') separator = punct.thousands_sep();
  } catch (const std::runtime_error&) {
    // An unknown LANG leaves the default.
  }
  return AnsiToWide(std::string(1, separator));
}
