#include "tags/Id3WriteText.h"

#include <algorithm>

#include "io/Text.h"

namespace id3parser {
namespace {

constexpr char16_t kLatin1Max = 0xFF;
constexpr std::uint16_t kByteOrderMark = 0xFEFF;

}  // namespace

bool FitsLatin1(std::u16string_view text) {
  return std::all_of(text.begin(), text.end(), [](char16_t c) { return c <= kLatin1Max; });
}

TextEncoding ChooseEncoding(TextChoice choice, int major, std::span<const std::u16string> strings) {
  // Before 2.4 there is no UTF-8; UTF-16 with a byte order mark is the Unicode form every version knows.
  const TextEncoding unicode = major >= 4 && choice != TextChoice::Utf16 ? TextEncoding::Utf8 : TextEncoding::Utf16;
  if (choice != TextChoice::Ansi) return unicode;
  const bool latin1 =
      std::all_of(strings.begin(), strings.end(), [](const std::u16string& s) { return FitsLatin1(s); });
  return latin1 ? TextEncoding::Latin1 : unicode;
}

void AppendText(ByteWriter& w, TextEncoding encoding, std::u16string_view text, bool terminate) {
  switch (encoding) {
    case TextEncoding::Latin1:
      for (const char16_t c : text) w.U8(std::uint8_t(c));
      if (terminate) w.U8(0);
      return;
    case TextEncoding::Utf8:
      w.Text(WideToUtf8(text));
      if (terminate) w.U8(0);
      return;
    case TextEncoding::Utf16:
    case TextEncoding::Utf16BE:
      // Little-endian with a byte order mark per string, as Windows writers do;
      // readers that honour the mark read either order.
      if (encoding == TextEncoding::Utf16) w.U16(kByteOrderMark);
      for (const char16_t c : text) encoding == TextEncoding::Utf16 ? w.U16(c) : w.U16BE(c);
      if (terminate) w.U16(0);
      return;
  }
}

}  // namespace id3parser
