// Text helpers shared by every part: code-page conversion at the chunk
// boundary, decimal formatting for trace lines, and the ASCII-only case
// folding that tag names and identifiers use.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// The system's ANSI code page to UTF-16 (Windows: CP_ACP; POSIX: Windows-1252).
std::u16string AnsiToWide(std::string_view ansi);
// UTF-16 to the ANSI code page; characters it cannot hold become its replacement character.
std::string WideToAnsi(std::u16string_view wide);
// UTF-8 to UTF-16; malformed sequences become U+FFFD.
std::u16string Utf8ToWide(std::string_view utf8);
// UTF-16 to UTF-8; unpaired surrogates become U+FFFD.
std::string WideToUtf8(std::u16string_view wide);
// True when the bytes are well-formed UTF-8 (no overlong forms, no surrogates,
// nothing above U+10FFFF) and hold at least one multi-byte sequence.
bool IsMultiByteUtf8(std::string_view bytes);
// Text of a RIFF metadata chunk: UTF-8 when IsMultiByteUtf8, else the ANSI code page.
// Many writers put UTF-8 where the ANSI code page belongs; text in a Western code
// page is almost never well-formed UTF-8 by chance, and ASCII reads the same either way.
inline std::u16string ChunkTextToWide(std::string_view bytes) {
  return IsMultiByteUtf8(bytes) ? Utf8ToWide(bytes) : AnsiToWide(bytes);
}
// ISO-8859-1 to UTF-16 (each byte is its code point).
std::u16string Latin1ToWide(std::string_view latin1);
// ASCII text (function names, literals) widened unit by unit.
std::u16string Widen(std::string_view ascii);

// Decimal text of a number.
std::u16string ToText(std::int64_t value);
std::u16string ToTextU(std::uint64_t value);

// Folds only 'A'..'Z' to lower case; every other unit is left alone.
constexpr char16_t FoldAscii(char16_t c) { return c >= u'A' && c <= u'Z' ? char16_t(c + 32) : c; }
// Three-way comparison of two names after ASCII folding.
int CompareFolded(std::u16string_view a, std::u16string_view b);
inline bool EqualsFolded(std::u16string_view a, std::u16string_view b) { return CompareFolded(a, b) == 0; }
// The same against ASCII text (table names), without widening it first.
inline bool EqualsFolded(std::u16string_view a, std::string_view ascii) {
  if (a.size() != ascii.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (FoldAscii(a[i]) != FoldAscii(char16_t(std::uint8_t(ascii[i])))) return false;
  return true;
}
bool StartsWithFolded(std::u16string_view text, std::u16string_view prefix);
// Lower-cases 'A'..'Z' of an 8-bit string.
std::string LowerAscii(std::string_view text);
std::string UpperAscii(std::string_view text);
