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

// What FindTag should match: ASCII letters fold and nothing else does, and
// when stripping a picture name ends at its description.
bool SameName(std::u16string a, std::u16string b, bool strip) {
  for (std::u16string* s : {&a, &b}) {
    if (strip && IsAlbumArtName(*s)) s->erase(std::min(s->find(u"<subdesc>", 1), s->size()));
    for (char16_t& c : *s) c += (c >= u'A' && c <= u'Z') ? 32 : 0;
  }
  return a == b;
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

TEST(TagList, RemoveAndCopy) {
  TagList list = TagsFrom(u"A=1; B=2; C=3");
  ASSERT_NE(list.FindTag(u"b"), nullptr);
  list.RemoveTagAt(1);
  EXPECT_EQ(list.current(), nullptr);
  list.RemoveTagAt(2);
  list.RemoveTagAt(99);
  EXPECT_EQ(Texts(list), u"A=1; C=3");
  TagList copy(list);  // deep
  copy[0].value = u"changed";
  EXPECT_EQ(list[0].value, u"1");
  list.SetTagValue(u"a", u"new");
  EXPECT_EQ(Texts(list), u"A=new; C=3");
}

// Over generated names that differ in ASCII case, in non-ASCII capitals
// (which do not fold) and in picture descriptions: a lookup finds the first
// entry of the same name, and merging, taking and removing by sorted names
// keep exactly what one lookup per name keeps.
TEST(TagList, LookupsAndMergesOverGeneratedNames) {
  const std::u16string parts[] = {u"_albumart_1_x", u"_ALBUMART_2_x", u"a",          u"A", u"\u00e9",
                                  u"\u00c9",        u"<subdesc>d",    u"<subdesc>D", u""};
  std::mt19937 random(7);
  const auto name = [&] {
    std::u16string out;
    for (int k = 0; k < 3; ++k) out += parts[random() % std::size(parts)];
    return out;
  };
  const auto makeList = [&](std::size_t size) {
    TagList list;
    for (std::size_t i = 0; i < size; ++i) list.AddTag(name(), ToText(std::int64_t(i)), Bytes(i % 3, 7));
    return list;
  };
  for (int round = 0; round < 300; ++round) {
    const bool strip = round % 2 == 1;
    const TagList base = makeList(random() % 8), other = makeList(random() % 16);
    for (int k = 0; k < 8; ++k) {
      TagList list(base);
      const std::u16string sought = name();
      std::size_t first = 0;
      while (first < base.size() && !SameName(base[first].name, sought, strip)) ++first;
      const TagEntry* found = list.FindTag(sought, strip);
      EXPECT_EQ(found, first < base.size() ? &list[first] : nullptr) << WideToUtf8(sought) << " strip " << strip;
      if (found) {
        EXPECT_EQ(list.current(), found);
      }
    }
    TagList merged(base), expectedMerge(base), taken(base), moved(other), removed(base), expectedRemoval;
    for (std::size_t i = 0; i < other.size(); ++i)
      if (!expectedMerge.FindTag(other[i].name, strip)) expectedMerge.AddTagCopy(other[i]);
    for (std::size_t i = 0; i < base.size(); ++i)
      if (!other.FindTag(base[i].name, strip)) expectedRemoval.AddTagCopy(base[i]);
    merged.MergeTags(other, strip);
    taken.TakeEntries(std::move(moved), true, strip);
    removed.RemoveTagsNamedIn(other, strip);
    EXPECT_EQ(Entries(merged), Entries(expectedMerge)) << "round " << round;
    EXPECT_EQ(Entries(taken), Entries(expectedMerge)) << "round " << round;
    EXPECT_EQ(Entries(removed), Entries(expectedRemoval)) << "round " << round;
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

TEST(TagListPictures, NamesAreBuiltAndSplit) {
  EXPECT_EQ(AlbumArtName(1, 3, u""), u"_albumart_1_Front Album Cover");
  EXPECT_EQ(AlbumArtName(2, 0, u"x"), u"_albumart_2_Undefined<subdesc>x");
  EXPECT_EQ(AlbumArtName(12, 21, u""), u"_albumart_12_Undefined");
  const std::u16string cases[][3] = {
      {u"_albumart_10_Media<subdesc>a_b<subdesc>c", u"Media", u"a_b<subdesc>c"},
      {u"_albumart_3", u"", u""},
      {u"_albumart_", u"", u""},
      {u"_albumart__<subdesc>", u"", u""},
  };
  for (const auto& [name, wantType, wantDescription] : cases) {
    std::u16string type = u"junk", description = u"junk";
    SplitAlbumArtName(name, type, description);
    EXPECT_EQ(type + u"|" + description, wantType + u"|" + wantDescription) << WideToUtf8(name);
  }
  // Every name built splits back into its type and description.
  for (int type = -1; type <= 21; ++type)
    for (const std::u16string wantDescription : {u"", u"x", u"Sleeve \u00e9 a_b"}) {
      const std::u16string name = AlbumArtName(type + 2, type, wantDescription);
      std::u16string split, description;
      SplitAlbumArtName(name, split, description);
      const std::u16string wantType = PictureTypeName(type).empty() ? u"Undefined" : PictureTypeName(type).substr(1);
      EXPECT_EQ(split + u"|" + description, wantType + u"|" + wantDescription) << WideToUtf8(name);
      EXPECT_TRUE(IsAlbumArtName(name));
    }
  EXPECT_TRUE(IsAlbumArtName(u"_AlbumArt_1_Media"));
  EXPECT_FALSE(IsAlbumArtName(u"_albumart"));
  EXPECT_FALSE(IsAlbumArtName(u"albumart_1_Media"));
}

TEST(TagListPictures, MimeTypeFromTheFirstBytes) {
  const std::pair<Bytes, std::u16string> cases[] = {
      {{0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A}, u""},
      {{0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A}, u"image/png"},
      {{0xFF, 0xD8, 0xFF, 0xE0, 0, 0x10, 'J', 'F'}, u"image/jpeg"},
      {{'G', 'I', 'F', '8', '9', 'a', 1, 0}, u"image/jpeg"},
      {{}, u""},
  };
  for (const auto& [bytes, mime] : cases) EXPECT_EQ(PictureMimeFromData(bytes), mime) << bytes.size();
}

TEST(TagListArtists, SlashArtistsAreJoinedAgain) {
  const std::pair<std::u16string, std::u16string> cases[] = {
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
  for (const auto& [value, joined] : cases) EXPECT_EQ(RejoinSlashArtists(value), joined) << WideToUtf8(value);

  TagList list = TagsFrom(
      u"Artist=AC\rDC; Album Artist=Love\rHate; ALBUM ARTIST SORT=Body\rHead; artist sort=ac\rdc; Title=AC\rDC; "
      u"Composer=Love\rHate");
  ApplySlashArtistRule(list);
  EXPECT_EQ(Texts(list),
            u"Artist=AC/DC; Album Artist=Love/Hate; ALBUM ARTIST SORT=Body/Head; artist sort=ac/dc; "
            u"Title=AC\rDC; Composer=Love\rHate");
}
