#include "io/Text.h"

std::u16string Utf8ToWide(std::string_view s) {
  std::u16string out;
  out.reserve(s.size());
  std::size_t i = 0;
  while (i < s.size()) {
    const auto b0 = std::uint8_t(s[i]);
    std::uint32_t cp = 0xFFFD;
    std::size_t need = 0;
    std::uint32_t min = 0;
    if (b0 < 0x80) {
      cp = b0;
    } else if ((b0 & 0xE0) == 0xC0) {
      cp = b0 & 0x1F, need = 1, min = 0x80;
    } else if ((b0 & 0xF0) == 0xE0) {
      cp = b0 & 0x0F, need = 2, min = 0x800;
    } else if ((b0 & 0xF8) == 0xF0) {
      cp = b0 & 0x07, need = 3, min = 0x10000;
    } else {
      cp = 0xFFFD;
    }
    ++i;
    std::size_t got = 0;
    while (got < need && i < s.size() && (std::uint8_t(s[i]) & 0xC0) == 0x80) {
      cp = cp << 6 | (std::uint8_t(s[i]) & 0x3F);
      ++i, ++got;
    }
    if (got < need || (need && (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)))) cp = 0xFFFD;
    if (cp >= 0x10000) {
      cp -= 0x10000;
      out.push_back(char16_t(0xD800 + (cp >> 10)));
      out.push_back(char16_t(0xDC00 + (cp & 0x3FF)));
    } else {
      out.push_back(char16_t(cp));
    }
  }
  return out;
}

std::string WideToUtf8(std::u16string_view w) {
  std::string out;
  out.reserve(w.size());
  for (std::size_t i = 0; i < w.size(); ++i) {
    std::uint32_t cp = w[i];
    if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < w.size() && w[i + 1] >= 0xDC00 && w[i + 1] <= 0xDFFF) {
      cp = 0x10000 + ((cp - 0xD800) << 10) + (w[i + 1] - 0xDC00);
      ++i;
    } else if (cp >= 0xD800 && cp <= 0xDFFF) {
      cp = 0xFFFD;
    }
    if (cp < 0x80) {
      out.push_back(char(cp));
    } else if (cp < 0x800) {
      out.push_back(char(0xC0 | cp >> 6));
      out.push_back(char(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
      out.push_back(char(0xE0 | cp >> 12));
      out.push_back(char(0x80 | (cp >> 6 & 0x3F)));
      out.push_back(char(0x80 | (cp & 0x3F)));
    } else {
      out.push_back(char(0xF0 | cp >> 18));
      out.push_back(char(0x80 | (cp >> 12 & 0x3F)));
      out.push_back(char(0x80 | (cp >> 6 & 0x3F)));
      out.push_back(char(0x80 | (cp & 0x3F)));
    }
  }
  return out;
}

bool IsMultiByteUtf8(std::string_view bytes) {
  bool multiByte = false;
  std::size_t i = 0;
  while (i < bytes.size()) {
    const auto lead = std::uint8_t(bytes[i]);
    if (lead < 0x80) {
      ++i;
      continue;
    }
    // The second byte's range rules out overlong forms (E0, F0), surrogates (ED) and code points above U+10FFFF (F4).
    std::size_t trail = 0;
    std::uint8_t low = 0x80, high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
      trail = 1;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      trail = 2;
      if (lead == 0xE0) low = 0xA0;
      if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      trail = 3;
      if (lead == 0xF0) low = 0x90;
      if (lead == 0xF4) high = 0x8F;
    } else {
      return false;
    }
    if (trail > bytes.size() - i - 1) return false;
    for (std::size_t k = 1; k <= trail; ++k) {
      const auto b = std::uint8_t(bytes[i + k]);
      if (b < (k == 1 ? low : 0x80) || b > (k == 1 ? high : 0xBF)) return false;
    }
    i += trail + 1;
    multiByte = true;
  }
  return multiByte;
}

std::u16string Latin1ToWide(std::string_view s) {
  std::u16string out(s.size(), u'\0');
  for (std::size_t i = 0; i < s.size(); ++i) out[i] = char16_t(std::uint8_t(s[i]));
  return out;
}

std::u16string Widen(std::string_view ascii) { return Latin1ToWide(ascii); }

std::u16string ToTextU(std::uint64_t value) {
  char16_t buf[24];
  std::size_t n = 0;
  do {
    buf[n++] = char16_t(u'0' + value % 10);
    value /= 10;
  } while (value != 0);
  std::u16string out;
  while (n) out.push_back(buf[--n]);
  return out;
}

std::u16string ToText(std::int64_t value) {
  if (value >= 0) return ToTextU(std::uint64_t(value));
  return u"-" + ToTextU(0 - std::uint64_t(value));
}

int CompareFolded(std::u16string_view a, std::u16string_view b) {
  const std::size_t n = a.size() < b.size() ? a.size() : b.size();
  for (std::size_t i = 0; i < n; ++i) {
    const char16_t x = FoldAscii(a[i]), y = FoldAscii(b[i]);
    if (x != y) return x < y ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

bool StartsWithFolded(std::u16string_view text, std::u16string_view prefix) {
  return text.size() >= prefix.size() && EqualsFolded(text.substr(0, prefix.size()), prefix);
}

std::string LowerAscii(std::string_view text) {
  std::string out(text);
  for (char& c : out)
    if (c >= 'A' && c <= 'Z') c = char(c + 32);
  return out;
}

std::string UpperAscii(std::string_view text) {
  std::string out(text);
  for (char& c : out)
    if (c >= 'a' && c <= 'z') c = char(c - 32);
  return out;
}
