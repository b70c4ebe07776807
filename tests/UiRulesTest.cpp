// What the tag editor's checked fields accept, and what a picture's first bytes say about it.
#include <gtest/gtest.h>

#include <string_view>
#include <vector>

#include "io/Text.h"
#include "ui/FieldRules.h"
#include "ui/ImageInfo.h"
#include "ui/Palette.h"

using namespace std::string_view_literals;

TEST(UiFieldRules, AcceptedAndRefusedValues) {
  const struct {
    FieldKind kind;
    std::vector<const char*> accepted, refused;
  } rows[] = {
      {FieldKind::Number, {"3", "3/12", "12/12", ""}, {"0", "3/", "/12", "13/12", "3/0", "3/12/1", "three", "12345"}},
      {FieldKind::Date,
       {"2004", "2004-05", "2004-05-28", "2004-02-29", "2000-02-29"},
       {"1900-02-29", "2003-02-29", "2004-04-31", "2004-10-32", "2004-13", "2004-00", "2004-5", "2004-05-", "04",
        "2004/05/28", "0000", "2004-05-28T10"}},
      {FieldKind::Text, {"anything / at all"}, {}},
  };
  for (const auto& row : rows)
    for (bool valid : {true, false})
      for (const char* text : valid ? row.accepted : row.refused) {
        const std::u16string why = FieldProblem(row.kind, Utf8ToWide(text));
        EXPECT_EQ(why.empty(), valid) << text << ": " << WideToUtf8(why);
      }
  EXPECT_EQ(WideToUtf8(FieldProblem(FieldKind::Date, u"2004-13")), "The month is 01 to 12.");
  EXPECT_EQ(WideToUtf8(FieldProblem(FieldKind::Number, u"13/12")), "The number cannot be above the count after \"/\".");
}

TEST(UiFieldRules, DatesKeepTheirFormAndGainADayFromThePicker) {
  const CalendarDate yearOnly = ParseDate(u"2004");
  EXPECT_EQ(yearOnly.year, 2004);
  EXPECT_EQ(yearOnly.month, 0);
  EXPECT_EQ(WideToUtf8(FormatDate(ParseDate(u"2004-05-28"))), "2004-05-28");
  EXPECT_EQ(WideToUtf8(FormatDate({987, 1, 2})), "0987-01-02");
  EXPECT_EQ(ParseDate(u"2004-13").year, 0);
}

TEST(UiImageInfo, KindAndSizeFromTheHeader) {
  const auto bytes = [](std::string_view s) { return std::vector<std::uint8_t>(s.begin(), s.end()); };
  const auto png = bytes("\x89PNG\r\n\x1A\n\0\0\0\x0DIHDR\0\0\x02\x58\0\0\x01\x90"sv);
  // APP0 with 2 bytes of data, then SOF0: 300 high, 200 wide.
  const auto jpeg = bytes("\xFF\xD8\xFF\xE0\0\x04\0\0\xFF\xC0\0\x0B\x08\x01\x2C\0\xC8\x03"sv);
  const struct {
    std::vector<std::uint8_t> bytes;
    const char* kind;
    int width, height;
  } cases[] = {
      {png, "PNG", 600, 400},
      {jpeg, "JPEG", 200, 300},
      {bytes("BM\0\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0\x10\0\0\0\xF8\xFF\xFF\xFF"sv), "BMP", 16, 8},  // top-down
      {bytes("GIF89a\x20\0\x10\0"sv), "GIF", 32, 16},
      {std::vector<std::uint8_t>(png.begin(), png.begin() + 20), "PNG", 0, 0},
      {std::vector<std::uint8_t>(png.begin(), png.begin() + 8), "PNG", 0, 0},  // the signature alone
      {std::vector<std::uint8_t>(jpeg.begin(), jpeg.begin() + 14), "JPEG", 0, 0},
      {bytes("\xFF\xD8\xFF\xE0\0\x01"sv), "JPEG", 0, 0},
      {{1, 2, 3}, "", 0, 0},
  };
  for (const auto& c : cases) {
    const ImageInfo info = ImageInfoOf(ByteSpan(c.bytes.data(), c.bytes.size()));
    EXPECT_EQ(WideToUtf8(info.kind), c.kind);
    EXPECT_EQ(info.width, c.width) << c.kind;
    EXPECT_EQ(info.height, c.height) << c.kind;
  }
  EXPECT_EQ(WideToUtf8(DescribeImage(ByteSpan(png.data(), png.size()))), "PNG, 600 \u00D7 400, 24 bytes");
}
