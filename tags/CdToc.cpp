#include "tags/CdToc.h"

#include <algorithm>
#include <optional>

#include "io/ByteReader.h"

namespace {

// A header whose first track lies beyond its last still gets one entry.
constexpr std::size_t kInvertedRecordSize = kCdTocHeaderSize + kCdTocEntrySize;
constexpr std::uint8_t kTrackRangeFields = 2;
// The largest record a header can describe: tracks 0..255 and the lead-out.
constexpr std::size_t kMaxRecordSize = kCdTocHeaderSize + kCdTocEntrySize * 257;

std::optional<std::uint8_t> HexDigit(char16_t c) {
  if (c >= u'0' && c <= u'9') return std::uint8_t(c - u'0');
  if (c >= u'A' && c <= u'F') return std::uint8_t(c - u'A' + 10);
  if (c >= u'a' && c <= u'f') return std::uint8_t(c - u'a' + 10);
  return std::nullopt;
}

}  // namespace

std::size_t CdTocRecordSize(std::uint8_t firstTrack, std::uint8_t lastTrack) {
  if (firstTrack > lastTrack) return kInvertedRecordSize;
  return kCdTocHeaderSize + kCdTocEntrySize * (std::size_t(lastTrack - firstTrack) + kTrackRangeFields);
}

std::u16string CdTocToText(std::span<const std::uint8_t> record) {
  static constexpr char16_t kDigits[] = u"0123456789ABCDEF";
  const std::span<const std::uint8_t> written = record.first(std::min(record.size(), kCdTocMaxTextBytes));
  std::u16string text;
  text.reserve(written.size() * 3);
  for (const std::uint8_t byte : written) {
    if (!text.empty()) text.push_back(u' ');
    text.push_back(kDigits[byte >> 4]);
    text.push_back(kDigits[byte & 0x0F]);
  }
  return text;
}

std::vector<std::uint8_t> CdTocFromText(std::u16string_view text) {
  // Anything between the digit pairs is a separator; a lone last digit is dropped.
  std::vector<std::uint8_t> bytes;
  std::optional<std::uint8_t> high;
  for (std::size_t i = 0; i < text.size() && bytes.size() < kMaxRecordSize; ++i) {
    const std::optional<std::uint8_t> digit = HexDigit(text[i]);
    if (!digit) continue;
    if (!high) {
      high = digit;
      continue;
    }
    bytes.push_back(std::uint8_t(*high << 4 | *digit));
    high.reset();
  }
  if (bytes.empty()) return bytes;

  if (bytes.size() < kCdTocHeaderSize) bytes.resize(kCdTocHeaderSize, 0);
  ByteReader in(bytes);
  in.Skip(2);  // the data length is implied by the track numbers and never trusted
  const std::uint8_t first = in.U8();
  const std::uint8_t last = in.U8();
  bytes.resize(CdTocRecordSize(first, last), 0);
  return bytes;
}
