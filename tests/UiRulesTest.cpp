// What the tag editor's checked fields accept, the contrast of both themes, and what a picture's first
// bytes say about it.
#include <gtest/gtest.h>

#include <vector>

#include "io/Text.h"
#include "ui/FieldRules.h"
#include "ui/ImageInfo.h"
#include "ui/Palette.h"

TEST(UiFieldRules, AcceptedAndRefusedValues) {
  struct Case {
    FieldKind kind;
    const char* text;
    bool valid;
  };
  const Case cases[] = {
      {FieldKind::Number, "3", true},
      {FieldKind::Number, "3/12", true},
      {FieldKind::Number, "12/12", true},
      {FieldKind::Number, "", true},
      {FieldKind::Number, "0", false},
      {FieldKind::Number, "3/", false},
      {FieldKind::Number, "/12", false},
      {FieldKind::Number, "13/12", false},
      {FieldKind::Number, "3/0", false},
      {FieldKind::Number, "3/12/1", false},
      {FieldKind::Number, "three", false},
      {FieldKind::Number, "12345", false},
      {FieldKind::Date, "2004", true},
      {FieldKind::Date, "2004-05", true},
      {FieldKind::Date, "2004-05-28", true},
      {FieldKind::Date, "2004-02-29", true},
      {FieldKind::Date, "2000-02-29", true},
      {FieldKind::Date, "1900-02-29", false},
      {FieldKind::Date, "2003-02-29", false},
      {FieldKind::Date, "2004-04-31", false},
      {FieldKind::Date, "2004-13", false},
      {FieldKind::Date, "2004-00", false},
      {FieldKind::Date, "2004-5", false},
      {FieldKind::Date, "2004-05-", false},
      {FieldKind::Date, "04", false},
      {FieldKind::Date, "2004/05/28", false},
      {FieldKind::Date, "0000", false},
      {FieldKind::Date, "2004-05-28T10", false},
      {FieldKind::Text, "anything / at all", true},
  };
  for (const Case& c : cases) {
    const std::u16string why = FieldProblem(c.kind, Utf8ToWide(c.text));
    EXPECT_EQ(why.empty(), c.valid) << c.text << ": " << WideToUtf8(why);
  }
  EXPECT_EQ(WideToUtf8(FieldProblem(FieldKind::Date, u"2004-13")), "The month is 01 to 12.");
  EXPECT_EQ(WideToUtf8(FieldProblem(FieldKind::Number, u"13/12")), "The number cannot be above the count after \"/\".");
}

TEST(UiFieldRules, DatesKeepTheirFormAndGainADayFromThePicker) {
  const CalendarDate yearOnly = ParseDate(u"2004");
  EXPECT_EQ(yearOnly.year, 2004);
  EXPECT_EQ(yearOnly.month, 0);
  const CalendarDate full = ParseDate(u"2004-05-28");
  EXPECT_EQ(WideToUtf8(FormatDate(full)), "2004-05-28");
  EXPECT_EQ(WideToUtf8(FormatDate({987, 1, 2})), "0987-01-02");
  EXPECT_EQ(ParseDate(u"2004-13").year, 0);
}

TEST(UiPalette, TextKeepsSevenToOneInBothThemes) {
  EXPECT_NEAR(ContrastRatio(0x000000, 0xFFFFFF), 21.0, 1e-9);
  EXPECT_NEAR(ContrastRatio(0x777777, 0x777777), 1.0, 1e-9);
  for (const Palette* p : {&LightPalette(), &DarkPalette()}) {
    EXPECT_GE(ContrastRatio(p->text, p->window), 7.0);
    EXPECT_GE(ContrastRatio(p->text, p->field), 7.0);
    EXPECT_GE(ContrastRatio(p->text, p->button), 7.0);
    EXPECT_GE(ContrastRatio(p->text, p->buttonHot), 7.0);
    EXPECT_GE(ContrastRatio(p->selectionText, p->selection), 7.0);
    EXPECT_GE(ContrastRatio(p->problem, p->window), 7.0);
  }
  EXPECT_LT(Luminance(DarkPalette().window), 0.05);
  EXPECT_GT(Luminance(LightPalette().window), 0.8);
}

TEST(UiImageInfo, KindAndSizeFromTheHeader) {
  const std::vector<std::uint8_t> png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13,
                                         'I',  'H', 'D', 'R', 0,    0,    2,    0x58, 0, 0, 1, 0x90};
  const std::vector<std::uint8_t> jpeg = {0xFF, 0xD8, 0xFF, 0xE0, 0, 4,    0,    0,  // APP0, 2 bytes of data
                                          0xFF, 0xC0, 0,    11,   8, 0x01, 0x2C, 0x00,
                                          0xC8, 3};  // SOF0 300 high, 200 wide
  const std::vector<std::uint8_t> bmp = {
      'B', 'M', 0, 0, 0, 0,  0, 0, 0, 0,    54,   0,    0,
      0,   40,  0, 0, 0, 16, 0, 0, 0, 0xF8, 0xFF, 0xFF, 0xFF};  // 16 wide, 8 high top-down
  struct Case {
    std::vector<std::uint8_t> bytes;
    const char* kind;
    int width, height;
  };
  const Case cases[] = {
      {png, "PNG", 600, 400},
      {jpeg, "JPEG", 200, 300},
      {bmp, "BMP", 16, 8},
      {{'G', 'I', 'F', '8', '9', 'a', 32, 0, 16, 0}, "GIF", 32, 16},
      {std::vector<std::uint8_t>(png.begin(), png.begin() + 20), "PNG", 0, 0},
      {std::vector<std::uint8_t>(jpeg.begin(), jpeg.begin() + 14), "JPEG", 0, 0},
      {{0xFF, 0xD8, 0xFF, 0xE0, 0, 1}, "JPEG", 0, 0},
      {{1, 2, 3}, "", 0, 0},
  };
  for (const Case& c : cases) {
    const ImageInfo info = ImageInfoOf(ByteSpan(c.bytes.data(), c.bytes.size()));
    EXPECT_EQ(WideToUtf8(info.kind), c.kind);
    EXPECT_EQ(info.width, c.width) << c.kind;
    EXPECT_EQ(info.height, c.height) << c.kind;
  }
  EXPECT_EQ(WideToUtf8(DescribeImage(ByteSpan(png.data(), png.size()))), "PNG, 600 \u00D7 400, 24 bytes");
}
