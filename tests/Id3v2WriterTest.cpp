#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "TagPairs.h"
#include "io/Text.h"
#include "tags/Id3Errors.h"
#include "tags/Id3Frame.h"
#include "tags/Id3Header.h"
#include "tags/TagID3v2.h"
#include "tags/TagID3v2Writer.h"

using namespace std::string_literals;

namespace {

using Bytes = std::vector<std::uint8_t>;

struct Version {
  const char* label;
  const char16_t* option;  // empty for the default, 2.3
  int major;
};

const Version kVersions[] = {
    {"v22", u"ID3v2WriteV22", 2}, {"v221", u"ID3v2WriteV221", 2}, {"v23", u"", 3}, {"v24", u"ID3v2WriteV24", 4}};

struct Encoding {
  const char* label;
  const char16_t* option;
};

const Encoding kEncodings[] = {{"ansi", u""}, {"uni", u"ID3v2EncodeUni"}, {"utf8", u"ID3v2EncodeUTF8"}};

ID3v2WriteOptions Options(std::initializer_list<const char16_t*> words) {
  ID3v2WriteOptions options;
  for (const char16_t* word : words) {
    if (*word) options.emplace_back(word);
  }
  return options;
}

Bytes Png(std::size_t size) {
  Bytes b = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  while (b.size() < size) b.push_back(std::uint8_t(b.size()));
  return b;
}

Bytes Jpeg(std::size_t size) {
  Bytes b(size, 0x5A);
  const std::uint8_t head[] = {0xFF, 0xD8, 0xFF, 0xE0};
  for (std::size_t i = 0; i < sizeof head && i < size; ++i) b[i] = head[i];
  return b;
}

const Bytes kCdToc = {0x00, 0x12, 0x01, 0x01, 0x00, 0x14, 0x01, 0x00, 0x00, 0x00,
                      0x00, 0x00, 0x00, 0x14, 0xAA, 0x00, 0x00, 0x00, 0x2A, 0x10};

// The tag a user would typically write: text, several values, pictures and binary entries.
TagList SampleTags() {
  // Nothing ISO-8859-1 can hold in the title.
  TagList tags = TagsFrom(
      u"title=\u03A9mega \u6771\u4EAC; artist=Artist A\rArtist B; album=Caf\u00E9 Album; album artist=AC/DC; "
      u"composer=Comp X\rComp Y; year=2004; genre=Rock; track=3/12; disc=1/2; comment=A comment; "
      u"lyrics=Line one\rLine two; replaygain_track_gain=-6.50 dB; rating=196");
  tags.AddTag(u"_albumart_1_Front Album Cover<subdesc>Sleeve", u"", Png(120));
  tags.AddTag(u"_albumart_2_Undefined", u"", Jpeg(90));
  tags.AddTag(u"_cdtoc", u"", kCdToc);
  return tags;
}

TagList Read(const Bytes& tag, const ID3v2ReadOptions& options = {}) {
  TagList out;
  EXPECT_EQ(ReadID3v2(tag, out, options), std::int64_t(tag.size()));
  return out;
}

std::u16string Value(const TagList& tags, std::u16string_view name) {
  const TagEntry* e = tags.FindTag(name);
  return e ? e->value : u"<missing>";
}

// Each frame as "identifier=body" (2.2 identifiers in their 2.3 forms); the body without its first byte, the
// encoding of a text frame, when `skip` is set.
std::vector<std::string> Frames(const Bytes& tag, std::size_t skip = 1) {
  const id3parser::TagHeader header = id3parser::ReadTagHeader(tag);
  const id3parser::HeldBytes area = id3parser::FrameArea(tag, header);
  std::vector<std::string> out;
  for (const id3parser::Frame& f : id3parser::ReadFrames(area.bytes(), header))
    out.push_back(f.id + "=" + std::string(f.body().begin() + std::ptrdiff_t(skip), f.body().end()));
  return out;
}

std::vector<std::string> Ids(const Bytes& tag) {
  std::vector<std::string> ids = Frames(tag, 0);
  for (std::string& id : ids) id.resize(4);
  return ids;
}

std::string Utf8(std::u16string_view text) { return WideToUtf8(text); }

bool Has(const std::vector<std::string>& frames, const std::string& frame) {
  return std::find(frames.begin(), frames.end(), frame) != frames.end();
}

}  // namespace

TEST(Id3v2WriterBytes, SmallTagMatchesTheDocumentedLayout) {
  TagList tags;
  tags.AddTag(u"Title", std::u16string(200, u'A'));
  // Version 2.3.0, no flags, synchsafe size 211 (one frame of 10 + 201 bytes, no padding); the frame's size a plain
  // 32 bits in 2.3, no frame flags, ISO-8859-1.
  const std::string expected = "ID3\3\0\0\0\0\1\x53TIT2\0\0\0\xC9\0\0\0"s + std::string(200, 'A');
  EXPECT_EQ(RenderID3v2(tags, ID3v2WriteSettings{}), Bytes(expected.begin(), expected.end()));
}

TEST(Id3v2WriterBytes, NothingToWriteRendersNoTag) {
  TagList skipped;
  skipped.AddTag(u"TagVersion", u"ID3v2.3");
  skipped.AddTag(u"_riff_cue ", u"", Bytes{'c', 'u', 'e', ' ', 1, 2});
  skipped.AddTag(u"_crc", u"1234");
  skipped.AddTag(u"title", u"");
  skipped.AddTag(u"artist", u"\r");
  skipped.AddTag(u"_albumart_1_Front Album Cover", u"");
  for (const Version& v : kVersions) {
    SCOPED_TRACE(v.label);
    EXPECT_LE(RenderID3v2(TagList{}, Options({v.option})).size(), id3parser::kTagHeaderSize);
    EXPECT_LE(RenderID3v2(skipped, Options({v.option})).size(), id3parser::kTagHeaderSize);
  }
}

// Whatever the version and the encoding chosen, what is written reads back as it was given.
TEST(Id3v2WriterRoundTrip, GeneratedTagsReadBack) {
  // Names whose values travel unchanged, in frames of several kinds.
  const std::u16string_view names[] = {
      u"Title",      u"Album",      u"Comment",     u"Lyrics",
      u"Title Sort", u"BPM",        u"CUESHEET",    u"Official artist/performer webpage",
      u"Copyright",  u"Encoded by", u"My Own Name", u"Original release year"};
  const std::u16string_view pieces[] = {u"a",      u"Z",      u"7",      u" ",      u"-",
                                        u"\u00e9", u"\u00ff", u"\u03a9", u"\u6771", u"\U0001F3B5"};
  const std::u16string_view types[] = {u"Front Album Cover", u"Back Album Cover", u"Media", u"Artist Logo",
                                       u"Undefined"};
  std::mt19937 rng(20261125);
  auto pick = [&](const auto& range) { return range[rng() % std::size(range)]; };
  auto text = [&] {
    std::u16string t(u"x");
    for (std::size_t n = rng() % 12; n > 0; --n) t += pick(pieces);
    return t + u"x";
  };
  for (int round = 0; round < 150; ++round) {
    const Version& v = pick(kVersions);
    const Encoding& e = pick(kEncodings);
    TagList tags;
    for (const std::u16string_view name : names) {
      if (rng() % 2) tags.AddTag(name, text());
    }
    for (std::size_t n = rng() % 3, i = 1; i <= n; ++i) {
      const std::u16string description = rng() % 2 ? text() : u"";
      tags.AddTag(u"_albumart_" + ToText(std::int64_t(i)) + u"_" + std::u16string(pick(types)) +
                      (description.empty() ? u"" : u"<subdesc>" + description),
                  u"", rng() % 2 ? Png(9 + rng() % 100) : Jpeg(5 + rng() % 100));
    }
    SCOPED_TRACE(testing::Message() << "round " << round << ", " << v.label << ", " << e.label);
    const TagList back = Read(RenderID3v2(tags, Options({v.option, e.option})));
    ASSERT_EQ(back.size(), tags.size());
    for (std::size_t i = 0; i < tags.size(); ++i) {
      const TagEntry* found = back.FindTag(tags[i].name);
      ASSERT_NE(found, nullptr) << Utf8(tags[i].name);
      EXPECT_EQ(found->value, tags[i].value);
      EXPECT_EQ(found->data, tags[i].data);
    }
  }
}

TEST(Id3v2WriterFrames, NamesChooseTheirFramesPerVersion) {
  TagList tags;
  tags.AddTag(u"title sort", u"Sorted");
  tags.AddTag(u"tempo", u"120");
  tags.AddTag(u"original release year", u"1999");
  tags.AddTag(u"lyrics", u"La la");
  tags.AddTag(u"rating", u"255");
  tags.AddTag(u"CUESHEET", u"FILE x");
  tags.AddTag(u"Official artist/performer webpage", u"http://example.org/");
  const struct {
    const char16_t* version;
    std::vector<std::string> ids;
  } cases[] = {
      {u"", {"TSOT", "TBPM", "TORY", "USLT", "POPM", "TXXX", "WOAR"}},
      {u"ID3v2WriteV24", {"TSOT", "TBPM", "TDOR", "USLT", "POPM", "TXXX", "WOAR"}},
      // 2.2 readers know no sort, original year, lyrics or rating frames: those go to TXX.
      {u"ID3v2WriteV22", {"TXXX", "TBPM", "TXXX", "TXXX", "TXXX", "TXXX", "WOAR"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(Utf8(c.version));
    const Bytes tag = RenderID3v2(tags, Options({c.version}));
    EXPECT_EQ(Ids(tag), c.ids);
    EXPECT_EQ(Value(Read(tag), u"BPM"), u"120");
  }
}

TEST(Id3v2WriterFrames, RatingsAndTablesOfContentsInTheirForms) {
  const struct {
    const char16_t* name;
    const char16_t* value;
    Bytes data;
    const char16_t* readName;
    std::u16string readValue;  // "<missing>" when nothing is written
    Bytes readData;
  } cases[] = {
      {u"Rating", u"0", {}, u"Rating", u"0", {}},
      {u"Rating", u"255", {}, u"Rating", u"255", {}},
      {u"Rating", u"300", {}, u"Rating", u"255", {}},  // the byte cannot hold more
      {u"Rating", u"five stars", {}, u"Rating", u"<missing>", {}},
      {u"_cdtoc", u"", kCdToc, u"_cdtoc", u"", kCdToc},
      // The hex text of an INFO list is turned back into the record.
      {u"_CDTOC", u"00 12 01 01 00 14 01 00 00 00 00 00 00 14 AA 00 00 00 2A 10", {}, u"_cdtoc", u"", kCdToc},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(Utf8(c.name) + " " + Utf8(c.value));
    TagList tags;
    tags.AddTag(c.name, c.value, c.data);
    const TagList back = Read(RenderID3v2(tags, ID3v2WriteSettings{}));
    EXPECT_EQ(Value(back, c.readName), c.readValue);
    if (const TagEntry* e = back.FindTag(c.readName)) {
      EXPECT_EQ(e->data, c.readData);
    }
  }
}

TEST(Id3v2WriterFrames, PicturesKeepTheirFormat) {
  TagList tags;
  tags.AddTag(u"_albumart_1_Back Album Cover", u"", Jpeg(64));
  tags.AddTag(u"_albumart_2_Media", u"", Png(64));
  tags.AddTag(u"_albumart_3_Something Else", u"", Png(64));  // an unknown type is a front cover
  for (const Version& v : kVersions) {
    SCOPED_TRACE(v.label);
    const Bytes tag = RenderID3v2(tags, Options({v.option}));
    EXPECT_NE(Read(tag).FindTag(u"_albumart_3_Front Album Cover"), nullptr);
    const std::vector<std::string> frames = Frames(tag);
    ASSERT_EQ(frames.size(), 3u);
    EXPECT_TRUE(frames[1].starts_with(v.major == 2 ? "APIC=PNG" : "APIC=image/png")) << frames[1];
  }
}

TEST(Id3v2WriterFrames, SeveralValuesPerVersion) {
  const TagList tags =
      TagsFrom(u"artist=Love\rHate; genre=Rock\rPop; label=One\rTwo; replaygain_album_gain=-1 dB\r-2 dB");
  // The artist list rejoins "Love/Hate" whichever way it was stored.
  const struct {
    const char16_t* version;
    std::u16string back;
  } cases[] = {
      {u"", u"Artist=Love/Hate; Genre=Rock\rPop; Label=One/Two; replaygain_album_gain=-1 dB/-2 dB"},
      {u"ID3v2WriteV22", u"Artist=Love/Hate; Genre=Rock\rPop; Label=One/Two; replaygain_album_gain=-1 dB/-2 dB"},
      {u"ID3v2WriteV221", u"Artist=Love/Hate; Genre=Rock\rPop; Label=One\rTwo; replaygain_album_gain=-1 dB\r-2 dB"},
      {u"ID3v2WriteV24", u"Artist=Love/Hate; Genre=Rock\rPop; Label=One\rTwo; replaygain_album_gain=-1 dB\r-2 dB"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(Texts(Read(RenderID3v2(tags, Options({c.version})))), c.back) << Utf8(c.version);
  EXPECT_EQ(Texts(Read(RenderID3v2(TagsFrom(u"genre=Foo\rBar"), ID3v2WriteSettings{}))), u"Genre=Foo/Bar");
}

TEST(Id3v2WriterDates, YearFramesFollowTheDateOptions) {
  const struct {
    const char16_t* version;
    const char16_t* option;
    const char16_t* year;
    std::vector<std::string> frames;  // identifier=text, in order
  } cases[] = {
      {u"", u"", u"2004", {"TYER=2004"}},
      {u"", u"", u"2004-05-06T07:08", {"TYER=2004", "TDAT=0605", "TIME=0708"}},
      // Dates TDAT and TIME cannot carry exactly stay whole, so that they read back as written.
      {u"", u"", u"2004 05 06", {"TYER=2004 05 06"}},
      {u"", u"", u"2004-05", {"TYER=2004-05"}},
      {u"", u"", u"2004-05-06T07", {"TYER=2004-05-06T07"}},
      {u"", u"", u"2004-05-06T07:08:09", {"TYER=2004-05-06T07:08:09"}},
      {u"", u"", u"circa 1970", {"TYER=circa 1970"}},
      {u"", u"WriteStrictYearDate", u"circa 1970", {}},
      {u"", u"WriteFullDateInYearTag", u"2004-05-06", {"TYER=2004-05-06"}},
      {u"ID3v2WriteV22", u"", u"2004-05-06", {"TYER=2004", "TDAT=0605"}},
      {u"ID3v2WriteV24", u"", u"2004-05-06T07:08:09", {"TDRC=2004-05-06T07:08:09"}},
      {u"ID3v2WriteV24", u"", u"circa 1970", {"TDRC=circa 1970"}},
      {u"ID3v2WriteV24", u"WriteStrictYearDate", u"2004 05 06", {"TDRC=2004-05-06"}},
      {u"ID3v2WriteV24", u"WriteStrictYearDate", u"circa 1970", {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(Utf8(c.version) + " " + Utf8(c.option) + " " + Utf8(c.year));
    TagList tags;
    tags.AddTag(u"Year", c.year);
    const Bytes tag = RenderID3v2(tags, Options({c.version, c.option}));
    EXPECT_EQ(Frames(tag), c.frames);
    // What is written reads back in the form it was given, unless strict dates were asked for.
    if (std::u16string_view(c.option) != u"WriteStrictYearDate") {
      EXPECT_EQ(Value(Read(tag), u"Year"), c.year);
    }
  }
}

TEST(Id3v2WriterOverrides, OrchestraAndStyleTakeTheirFrames) {
  const TagList tags = TagsFrom(u"Orchestra=Berlin Phil; Album Artist=Various; Style=Baroque; Content Group=Group");
  for (const Version& v : kVersions) {
    SCOPED_TRACE(v.label);
    const Bytes with = RenderID3v2(tags, Options({v.option, u"TPE2Orchestra", u"TIT1Style"}));
    EXPECT_EQ(Texts(Read(with, {.tpe2Orchestra = true, .tit1Style = true})),
              u"Album Artist=Various; Content Group=Group; Orchestra=Berlin Phil; Style=Baroque");
    // The frames themselves carry the overriding names' values.
    EXPECT_TRUE(Has(Frames(with), "TPE2=Berlin Phil"));
    EXPECT_TRUE(Has(Frames(with), "TIT1=Baroque"));
    EXPECT_EQ(Texts(Read(RenderID3v2(tags, Options({v.option})))),
              u"Album Artist=Various; Content Group=Group; Orchestra=Berlin Phil; Style=Baroque");
  }
}

TEST(Id3v2WriterLimits, FrameTooLargeForItsVersionThrows) {
  TagList tags;
  tags.AddTag(u"_albumart_1_Front Album Cover", u"", Jpeg(0x1000000));  // one byte over 24 bits with its head
  EXPECT_THROW(RenderID3v2(tags, Options({u"ID3v2WriteV22"})), id3parser::writeError);
  EXPECT_GT(RenderID3v2(tags, ID3v2WriteSettings{}).size(), 0x1000000u);
}

// With WAVE_ID3_DUMP_DIR set, writes the sample tag in every version and
// encoding for an independent reader (tests/integration/id3_writer_vs_mutagen.py).
TEST(Id3v2WriterDump, SampleTagsForAnIndependentReader) {
  const char* dir = std::getenv("WAVE_ID3_DUMP_DIR");
  if (!dir) GTEST_SKIP() << "WAVE_ID3_DUMP_DIR not set";
  auto dump = [&](const std::string& name, const Bytes& tag) {
    std::ofstream out(std::string(dir) + "/" + name, std::ios::binary);
    out.write(reinterpret_cast<const char*>(tag.data()), std::streamsize(tag.size()));
    EXPECT_TRUE(out.good()) << name;
  };
  TagList dated;
  dated.AddTag(u"year", u"2004-05-06T07:08");
  for (const Version& v : kVersions) {
    for (const Encoding& e : kEncodings)
      dump(std::string(v.label) + "-" + e.label + ".id3", RenderID3v2(SampleTags(), Options({v.option, e.option})));
    dump(std::string(v.label) + "-date.id3", RenderID3v2(dated, Options({v.option})));
  }
}
