#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>

#include "TagPairs.h"
#include "io/Text.h"

namespace {
using Bytes = std::vector<std::uint8_t>;

// Name, value and data of every entry, one line.
std::string Entries(const TagList& list) {
  std::string out;
  for (std::size_t i = 0; i < list.size(); ++i) {
    out += WideToUtf8(list[i].name + u"=" + list[i].value) + "[";
    for (const std::uint8_t b : list[i].data) out += std::to_string(b) + " ";
    out += "];";
  }
  return out;
}

// Element by element: GCC 12 sees false overflows in a range insert into a small vector.
Bytes Concat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& p : parts) std::copy(p.begin(), p.end(), std::back_inserter(out));
  return out;
}

}  // namespace

TEST(TagListBlock, ReadingKeepsWhatFitsAndStopsAtTheFirstBadRecord) {
  const Bytes ab = {12, 0, 0, 0, 'A', 0, 0, 0, 'B', 0, 0, 0};  // "A" = "B": 8 + 2 + 2 bytes
  const std::pair<Bytes, std::string> cases[] = {
      {{}, ""},
      {{1, 0, 0, 0}, ""},
      {Concat({{0, 0, 0, 0}, ab}), ""},
      {Concat({{0xFF, 0xFF, 0xFF, 0xFF}, ab}), ""},
      {Concat({{1, 0, 0, 0}, ab}), "A=B[];"},
      {Concat({{2, 0, 0, 0}, ab, {40, 0, 0, 0, 'C', 0, 0, 0}}), "A=B[];"},  // longer than what is left
      {Concat({{9, 0, 0, 0}, ab, ab}), "A=B[];A=B[];"},
      {Concat({{1, 0, 0, 0}, ab, ab}), "A=B[];"},
      {Concat({{1, 0, 0, 0, 0xF0, 0xFF, 0xFF, 0xFF}, ab}), ""},
      // A length that does not even cover itself would read the same bytes forever.
      {Concat({{0x7F, 0xFF, 0xFF, 0x7F, 0, 0, 0, 0}, ab}), ""},
      {{1, 0, 0, 0, 12, 0}, ""},
      {{1, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0}, "=[];"},
      {{1, 0, 0, 0, 11, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3}, "=[1 2 3 ];"},
      {{1, 0, 0, 0, 8, 0, 0, 0, 'x', 0, 'y', 0}, "=[120 0 121 0 ];"},  // a name without its zero is data
      {{1, 0, 0, 0, 9, 0, 0, 0, 'N', 0, 0, 0, 'v'}, "N=[118 ];"},
      {{1, 0, 0, 0, 12, 0, 0, 0, 0xE9, 0, 0, 0, 0x2D, 0x4E, 0, 0}, "\u00e9=\u4e2d[];"},
  };
  for (const auto& [block, entries] : cases) {
    TagList list;
    list.AddTag(u"stale", u"entry");
    list.FromBlock(block);
    EXPECT_EQ(Entries(list), entries) << block.size();
    EXPECT_EQ(list.current(), nullptr);
  }
}

TEST(TagListPictures, TypeNamesAndNumbers) {
  const std::pair<int, std::u16string> names[] = {{0, u""},
                                                  {21, u""},
                                                  {-1, u""},
                                                  {1, u"_32x32 Icon"},
                                                  {3, u"_Front Album Cover"},
                                                  {17, u"_A Bright Coloured Fish"},
                                                  {20, u"_Publisher Logo"}};
  for (const auto& [type, name] : names) EXPECT_EQ(PictureTypeName(type), name) << type;
  const std::pair<std::u16string, int> types[] = {
      {u"", 0},           {u"undefined", 0},       {u"UNDEFINED", 0}, {u"Sleeve", 3}, {u"Front Album Cover", 3},
      {u"32X32 ICON", 1}, {u"publisher logo", 20}, {u"_Media", 3},    {u"Media", 6},  {u"During Recording", 14},
  };
  for (const auto& [name, type] : types) EXPECT_EQ(PictureTypeFromName(name), type) << WideToUtf8(name);
  for (int type = 1; type <= 20; ++type) EXPECT_EQ(PictureTypeFromName(PictureTypeName(type).substr(1)), type);
}
