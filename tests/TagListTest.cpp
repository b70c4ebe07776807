#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "io/Text.h"
#include "tags/TagList.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

struct Expected {
  std::u16string name;
  std::u16string value;
  Bytes data;
};

void ExpectEntries(const TagList& list, const std::vector<Expected>& expected, const std::string& label) {
  ASSERT_EQ(list.size(), expected.size()) << label;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(list[i].name, expected[i].name) << label << " entry " << i;
    EXPECT_EQ(list[i].value, expected[i].value) << label << " entry " << i;
    EXPECT_EQ(list[i].data, expected[i].data) << label << " entry " << i;
  }
}

Bytes Concat(std::initializer_list<Bytes> parts) {
  Bytes out;
  // Element by element: GCC 12 sees false overflows in a range insert into a small vector.
  for (const Bytes& p : parts) std::copy(p.begin(), p.end(), std::back_inserter(out));
  return out;
}

// Record "A" = "B" with no data: 8 + 2 + 2 = 12 bytes.
const Bytes kRecordAB = {12, 0, 0, 0, 'A', 0, 0, 0, 'B', 0, 0, 0};

}  // namespace

TEST(TagListBlock, ReadingKeepsWhatFitsAndStopsAtTheFirstBadRecord) {
  struct Case {
    const char* label;
    Bytes block;
    std::vector<Expected> entries;
  };
  const std::vector<Case> cases = {
      {"empty buffer", {}, {}},
      {"count only", {1, 0, 0, 0}, {}},
      {"count zero", Concat({{0, 0, 0, 0}, kRecordAB}), {}},
      {"count negative", Concat({{0xFF, 0xFF, 0xFF, 0xFF}, kRecordAB}), {}},
      {"one record", Concat({{1, 0, 0, 0}, kRecordAB}), {{u"A", u"B", {}}}},
      {"second record longer than what is left",
       Concat({{2, 0, 0, 0}, kRecordAB, {40, 0, 0, 0, 'C', 0, 0, 0}}),
       {{u"A", u"B", {}}}},
      {"count larger than the records present",
       Concat({{9, 0, 0, 0}, kRecordAB, kRecordAB}),
       {{u"A", u"B", {}}, {u"A", u"B", {}}}},
      {"count smaller than the records present", Concat({{1, 0, 0, 0}, kRecordAB, kRecordAB}), {{u"A", u"B", {}}}},
      {"negative record length", Concat({{1, 0, 0, 0}, {0xF0, 0xFF, 0xFF, 0xFF}, kRecordAB}), {}},
      // A length that does not even cover itself would read the same bytes forever.
      {"record length zero", Concat({{0x7F, 0xFF, 0xFF, 0x7F}, {0, 0, 0, 0}, kRecordAB}), {}},
      {"record length field cut short", {1, 0, 0, 0, 12, 0}, {}},
      {"empty name and value", {1, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0}, {{u"", u"", {}}}},
      {"data after the value", {1, 0, 0, 0, 11, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3}, {{u"", u"", {1, 2, 3}}}},
      {"name without terminator becomes data",
       {1, 0, 0, 0, 8, 0, 0, 0, 'x', 0, 'y', 0},
       {{u"", u"", {'x', 0, 'y', 0}}}},
      {"value without terminator becomes data", {1, 0, 0, 0, 9, 0, 0, 0, 'N', 0, 0, 0, 'v'}, {{u"N", u"", {'v'}}}},
      {"non-ASCII units", {1, 0, 0, 0, 12, 0, 0, 0, 0xE9, 0, 0, 0, 0x2D, 0x4E, 0, 0}, {{u"\u00E9", u"\u4E2D", {}}}},
  };
  for (const Case& c : cases) {
    TagList list;
    list.AddTag(u"stale", u"entry");
    list.FromBlock(c.block);
    ExpectEntries(list, c.entries, c.label);
    EXPECT_EQ(list.current(), nullptr) << c.label;
  }
}

TEST(TagList, NamesCompareWithAsciiFoldingOnly) {
  TagList list;
  list.AddTag(u"album", u"1");
  list.AddTag(u"\u00C9tat", u"2");
  list.AddTag(u"ALBUM", u"3");
  struct Case {
    std::u16string sought;
    const char16_t* value;  // null: not found
  } cases[] = {
      {u"Album", u"1"},        {u"ALBUM", u"1"},   {u"\u00C9TAT", u"2"},
      {u"\u00E9tat", nullptr}, {u"albu", nullptr}, {u"album ", nullptr},
  };
  for (const Case& c : cases) {
    TagEntry* found = list.FindTag(c.sought);
    if (!c.value) {
      EXPECT_EQ(found, nullptr) << WideToUtf8(c.sought);
      continue;
    }
    ASSERT_NE(found, nullptr) << WideToUtf8(c.sought);
    EXPECT_EQ(found->value, c.value);
    EXPECT_EQ(list.current(), found);
  }

  list.SetTagValue(u"ALBUM", u"new");
  EXPECT_EQ(list[0].value, u"new");
  EXPECT_EQ(list[2].value, u"3");
}

TEST(TagList, PictureNamesMatchWhenStrippingOnly) {
  struct Case {
    std::u16string entry;
    std::u16string sought;
    bool strip;
    bool match;
  } cases[] = {
      {u"_ALBUMART_2_Media<subdesc>x", u"_albumart_2_media", true, true},
      {u"_ALBUMART_2_Media<subdesc>x", u"_albumart_2_media", false, false},
      {u"_albumart_1_Front Album Cover<subdesc>Sleeve", u"_albumart_1_Front Album Cover", true, true},
      {u"_albumart_1_Front Album Cover", u"_albumart_1_Front Album Cover<subdesc>Other", true, true},
      {u"_albumart_1_Front Album Cover<subdesc>A", u"_albumart_1_Front Album Cover<subdesc>B", false, false},
      {u"_albumart_1_Media", u"_albumart_2_Media", true, false},
      // Only picture names lose their description.
      {u"Comment<subdesc>x", u"Comment", true, false},
  };
  for (const Case& c : cases) {
    TagList list;
    list.AddTag(u"Title", u"t");
    list.AddTag(c.entry, u"", Bytes{1, 2, 3});
    TagEntry* found = list.FindTag(c.sought, c.strip);
    EXPECT_EQ(found != nullptr, c.match) << WideToUtf8(c.entry) << " / " << WideToUtf8(c.sought) << " strip "
                                         << c.strip;
  }
}

TEST(TagList, RemoveCopyAndMerge) {
  TagList list;
  list.AddTag(u"A", u"1");
  list.AddTag(u"B", u"2");
  list.AddTag(u"C", u"3");
  ASSERT_NE(list.FindTag(u"b"), nullptr);
  list.RemoveTagAt(1);
  EXPECT_EQ(list.current(), nullptr);
  list.RemoveTagAt(2);
  list.RemoveTagAt(99);
  ExpectEntries(list, {{u"A", u"1", {}}, {u"C", u"3", {}}}, "after removal");

  // Copies are deep: changing one list leaves the other alone.
  TagList copy(list);
  copy[0].value = u"changed";
  EXPECT_EQ(list[0].value, u"1");

  TagList other;
  other.AddTag(u"a", u"ignored");
  other.AddTag(u"D", u"4", Bytes{9});
  other.AddTag(u"d", u"second of a name already merged");
  other.AddTag(u"_albumart_1_Media<subdesc>x", u"");
  list.AddTag(u"_albumart_1_Media", u"");
  TagList plain(list);
  list.MergeTags(other, true);
  ExpectEntries(list, {{u"A", u"1", {}}, {u"C", u"3", {}}, {u"_albumart_1_Media", u"", {}}, {u"D", u"4", {9}}},
                "merge with stripping");
  plain.MergeTags(other);
  EXPECT_EQ(plain.size(), 5u);
  EXPECT_EQ(plain[4].name, u"_albumart_1_Media<subdesc>x");
}

// Merging and removing by sorted names keep exactly what one FindTag per name
// keeps, over generated names that differ in ASCII case, in non-ASCII
// capitals (which do not fold) and in picture descriptions.
TEST(TagList, MergesKeepWhatALookupPerNameKeeps) {
  const std::u16string parts[] = {u"_albumart_1_x", u"a",          u"A",          u"\u00e9",
                                  u"\u00c9",        u"<subdesc>d", u"<subdesc>D", u""};
  std::mt19937 random(7);
  const auto makeList = [&](std::size_t size) {
    TagList list;
    for (std::size_t i = 0; i < size; ++i) {
      std::u16string name;
      for (int k = 0; k < 3; ++k) name += parts[random() % std::size(parts)];
      list.AddTag(name, ToText(std::int64_t(i)));
    }
    return list;
  };
  const auto text = [](const TagList& list) {
    std::u16string out;
    for (std::size_t i = 0; i < list.size(); ++i) out += list[i].name + u"=" + list[i].value + u";";
    return WideToUtf8(out);
  };
  for (int round = 0; round < 300; ++round) {
    const bool strip = round % 2 == 1;
    const TagList base = makeList(random() % 8), other = makeList(random() % 16);
    TagList merged(base), expectedMerge(base), taken(base), moved(other), removed(base), expectedRemoval;
    for (std::size_t i = 0; i < other.size(); ++i)
      if (!expectedMerge.FindTag(other[i].name, strip)) expectedMerge.AddTagCopy(other[i]);
    for (std::size_t i = 0; i < base.size(); ++i)
      if (!other.FindTag(base[i].name, strip)) expectedRemoval.AddTagCopy(base[i]);
    merged.MergeTags(other, strip);
    taken.TakeEntries(std::move(moved), true, strip);
    removed.RemoveTagsNamedIn(other, strip);
    EXPECT_EQ(text(merged), text(expectedMerge)) << "round " << round;
    EXPECT_EQ(text(taken), text(expectedMerge)) << "round " << round;
    EXPECT_EQ(text(removed), text(expectedRemoval)) << "round " << round;
  }
}

TEST(TagListPictures, TypeNamesAndNumbers) {
  EXPECT_EQ(PictureTypeName(0), u"");
  EXPECT_EQ(PictureTypeName(21), u"");
  EXPECT_EQ(PictureTypeName(-1), u"");
  EXPECT_EQ(PictureTypeName(1), u"_32x32 Icon");
  EXPECT_EQ(PictureTypeName(3), u"_Front Album Cover");
  EXPECT_EQ(PictureTypeName(17), u"_A Bright Coloured Fish");
  EXPECT_EQ(PictureTypeName(20), u"_Publisher Logo");

  struct Case {
    std::u16string name;
    int type;
  } cases[] = {
      {u"", 0},           {u"undefined", 0},       {u"UNDEFINED", 0}, {u"Sleeve", 3}, {u"Front Album Cover", 3},
      {u"32X32 ICON", 1}, {u"publisher logo", 20}, {u"_Media", 3},    {u"Media", 6},  {u"During Recording", 14},
  };
  for (const Case& c : cases) EXPECT_EQ(PictureTypeFromName(c.name), c.type) << WideToUtf8(c.name);
  for (int type = 1; type <= 20; ++type) EXPECT_EQ(PictureTypeFromName(PictureTypeName(type).substr(1)), type);
}

TEST(TagListPictures, NamesAreBuiltAndSplit) {
  EXPECT_EQ(AlbumArtName(1, 3, u""), u"_albumart_1_Front Album Cover");
  EXPECT_EQ(AlbumArtName(2, 0, u"x"), u"_albumart_2_Undefined<subdesc>x");
  EXPECT_EQ(AlbumArtName(12, 21, u""), u"_albumart_12_Undefined");

  struct Case {
    std::u16string name;
    std::u16string type;
    std::u16string description;
  } cases[] = {
      {u"_albumart_1_Front Album Cover", u"Front Album Cover", u""},
      {u"_albumart_2_Undefined<subdesc>x", u"Undefined", u"x"},
      {u"_albumart_10_Media<subdesc>a_b<subdesc>c", u"Media", u"a_b<subdesc>c"},
      {u"_albumart_3", u"", u""},
      {u"_albumart_", u"", u""},
      {u"_albumart__<subdesc>", u"", u""},
  };
  for (const Case& c : cases) {
    std::u16string type = u"junk", description = u"junk";
    SplitAlbumArtName(c.name, type, description);
    EXPECT_EQ(type, c.type) << WideToUtf8(c.name);
    EXPECT_EQ(description, c.description) << WideToUtf8(c.name);
  }

  EXPECT_TRUE(IsAlbumArtName(u"_AlbumArt_1_Media"));
  EXPECT_FALSE(IsAlbumArtName(u"_albumart"));
  EXPECT_FALSE(IsAlbumArtName(u"albumart_1_Media"));
}

TEST(TagListPictures, MimeTypeFromTheFirstBytes) {
  struct Case {
    Bytes bytes;
    std::u16string mime;
  } cases[] = {
      {{0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A}, u""},
      {{0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A}, u"image/png"},
      {{0xFF, 0xD8, 0xFF, 0xE0, 0, 0x10, 'J', 'F'}, u"image/jpeg"},
      {{'G', 'I', 'F', '8', '9', 'a', 1, 0}, u"image/jpeg"},
      {{}, u""},
  };
  for (const Case& c : cases) EXPECT_EQ(PictureMimeFromData(c.bytes), c.mime) << c.bytes.size();
}

TEST(TagListArtists, SlashArtistsAreJoinedAgain) {
  struct Case {
    std::u16string value;
    std::u16string expected;
  } cases[] = {
      {u"AC\rDC", u"AC/DC"},
      {u"Love\rHate", u"Love/Hate"},
      {u"Love\rPeace", u"Love\rPeace"},
      {u"Whitford\rSt. Holmes", u"Whitford/St. Holmes"},
      {u"M\rA\rR\rR\rS", u"M/A/R/R/S"},
      {u"Yamantaka\r\rSonic Titan", u"Yamantaka//Sonic Titan"},
      {u"Vio\rMIR\u00E9", u"Vio/MIR\u00E9"},
      {u"Vio\rMir\u00C9", u"Vio\rMir\u00C9"},
      {u"Morelenbaum\u00B2\rSakamoto", u"Morelenbaum\u00B2/Sakamoto"},
      {u"A\rS Dameteater & S\u00F8n", u"A/S Dameteater & S\u00F8n"},
      // The last names of the list are reached too.
      {u"Xero\rG", u"Xero/G"},
      {u"ACDC", u"ACDC"},
      {u"AC\rDC\rLive", u"AC\rDC\rLive"},
      {u"", u""},
  };
  for (const Case& c : cases) EXPECT_EQ(RejoinSlashArtists(c.value), c.expected) << WideToUtf8(c.value);

  TagList list;
  list.AddTag(u"Artist", u"AC\rDC");
  list.AddTag(u"Album Artist", u"Love\rHate");
  list.AddTag(u"ALBUM ARTIST SORT", u"Body\rHead");
  list.AddTag(u"artist sort", u"ac\rdc");
  list.AddTag(u"Title", u"AC\rDC");
  list.AddTag(u"Composer", u"Love\rHate");
  ApplySlashArtistRule(list);
  EXPECT_EQ(list[0].value, u"AC/DC");
  EXPECT_EQ(list[1].value, u"Love/Hate");
  EXPECT_EQ(list[2].value, u"Body/Head");
  EXPECT_EQ(list[3].value, u"ac/dc");
  EXPECT_EQ(list[4].value, u"AC\rDC");
  EXPECT_EQ(list[5].value, u"Love\rHate");
}
