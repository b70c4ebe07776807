// Without Windows the system's ANSI code page is taken to be Windows-1252,
// the code page of the Western locales most wave files were tagged under.
#include <array>

#include "io/Text.h"

namespace {
// Windows-1252 0x80..0x9F; the five undefined positions map to themselves, as Windows does.
constexpr std::array<char16_t, 32> kHigh = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                            0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                            0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                            0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};
}  // namespace

std::u16string AnsiToWide(std::string_view ansi) {
  std::u16string out(ansi.size(), u'\0');
  for (std::size_t i = 0; i < ansi.size(); ++i) {
    const auto b = std::uint8_t(ansi[i]);
    out[i] = b >= 0x80 && b < 0xA0 ? kHigh[b - 0x80] : char16_t(b);
  }
  return out;
}

std::string WideToAnsi(std::u16string_view wide) {
  std::string out;
  out.reserve(wide.size());
  for (std::size_t i = 0; i < wide.size(); ++i) {
    const char16_t c = wide[i];
    char byte = '?';
    if (c < 0x80 || (c >= 0xA0 && c < 0x100)) {
      byte = char(c);
    } else {
      for (std::size_t k = 0; k < kHigh.size(); ++k)
        if (kHigh[k] == c) byte = char(0x80 + k);
    }
    // A surrogate pair is one character and gets one replacement.
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < wide.size() && wide[i + 1] >= 0xDC00 && wide[i + 1] <= 0xDFFF) ++i;
    out.push_back(byte);
  }
  return out;
}
