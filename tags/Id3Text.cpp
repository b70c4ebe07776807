#include "tags/Id3Text.h"

#include "io/Text.h"

namespace id3parser {
namespace {

constexpr std::uint16_t kByteOrderMark = 0xFEFF;
constexpr std::uint16_t kSwappedByteOrderMark = 0xFFFE;
constexpr std::string_view kUtf8ByteOrderMark = "\xEF\xBB\xBF";

}  // namespace

bool ReadEncoding(ByteReader& reader, TextEncoding& encoding) {
  const std::uint8_t value = reader.U8();
  if (!reader.ok() || value > std::uint8_t(TextEncoding::Utf8)) return false;
  encoding = TextEncoding(value);
  return true;
}

std::string TextReader::Next() {
  if (encoding_ == TextEncoding::Utf16 || encoding_ == TextEncoding::Utf16BE) return NextUtf16();
  std::string bytes;
  while (reader_.remaining() > 0) {
    const std::uint8_t c = reader_.U8();
    if (c == 0) break;
    bytes.push_back(char(c));
  }
  if (encoding_ == TextEncoding::Latin1) return WideToUtf8(Latin1ToWide(bytes));
  if (bytes.starts_with(kUtf8ByteOrderMark)) bytes.erase(0, kUtf8ByteOrderMark.size());
  return bytes;
}

std::string TextReader::NextUtf16() {
  constexpr std::size_t kUnit = 2;
  if (encoding_ == TextEncoding::Utf16BE) littleEndian_ = false;
  std::u16string text;
  bool first = true;
  bool terminated = false;
  while (reader_.remaining() >= kUnit) {
    const std::uint16_t unit = littleEndian_ ? reader_.U16() : reader_.U16BE();
    if (unit == 0) {
      terminated = true;
      break;
    }
    if (first && unit == kByteOrderMark) {
      first = false;
      continue;
    }
    if (first && unit == kSwappedByteOrderMark && encoding_ == TextEncoding::Utf16) {
      littleEndian_ = !littleEndian_;
      first = false;
      continue;
    }
    first = false;
    text.push_back(char16_t(unit));
  }
  // A lone byte at the end cannot be a character.
  if (!terminated) reader_.Skip(reader_.remaining());
  return WideToUtf8(text);
}

std::vector<std::string> TextReader::All() {
  std::vector<std::string> strings;
  while (reader_.remaining() > 0) strings.push_back(Next());
  return strings;
}

}  // namespace id3parser
