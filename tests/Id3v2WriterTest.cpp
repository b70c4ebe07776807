#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "io/Text.h"
#include "tags/Id3Errors.h"
#include "tags/Id3Frame.h"
#include "tags/Id3Header.h"
#include "tags/TagID3v2.h"
#include "tags/TagID3v2Writer.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

struct Version {
  const char* label;
  const char16_t* option;  // empty for the default, 2.3
  int major;
};

const Version kVersions[] = {
    {"v22", u"ID3v2WriteV22", 2},
    {"v221", u"ID3v2WriteV221", 2},
    {"v23", u"", 3},
    {"v24", u"ID3v2WriteV24", 4},
};

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
  TagList tags;
  tags.AddTag(u"title", u"\u03A9mega \u6771\u4EAC");  // nothing ISO-8859-1 can hold
  tags.AddTag(u"artist", u"Artist A\rArtist B");
  tags.AddTag(u"album", u"Caf\u00E9 Album");
  tags.AddTag(u"album artist", u"AC/DC");
  tags.AddTag(u"composer", u"Comp X\rComp Y");
  tags.AddTag(u"year", u"2004");
  tags.AddTag(u"genre", u"Rock");
  tags.AddTag(u"track", u"3/12");
  tags.AddTag(u"disc", u"1/2");
  tags.AddTag(u"comment", u"A comment");
  tags.AddTag(u"lyrics", u"Line one\rLine two");
  tags.AddTag(u"replaygain_track_gain", u"-6.50 dB");
  tags.AddTag(u"rating", u"196");
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

const TagEntry* Find(const TagList& tags, std::u16string_view name) { return tags.FindTag(name); }

// Frames that own their bodies, so that a tag made for one check may go before them.
std::vector<id3parser::Frame> Frames(const Bytes& tag) {
  const id3parser::TagHeader header = id3parser::ReadTagHeader(tag);
  const id3parser::HeldBytes area = id3parser::FrameArea(tag, header);
  std::vector<id3parser::Frame> frames = id3parser::ReadFrames(area.bytes(), header);
  for (id3parser::Frame& f : frames) f.held = id3parser::HeldBytes(Bytes(f.body().begin(), f.body().end()));
  return frames;
}

// The first frame with this identifier (2.2 identifiers in their 2.3 forms).
const id3parser::Frame* FindFrame(const std::vector<id3parser::Frame>& frames, std::string_view id) {
  for (const id3parser::Frame& f : frames) {
    if (f.id == id) return &f;
  }
  return nullptr;
}

std::string Utf8(std::u16string_view text) { return WideToUtf8(text); }

TEST(Id3v2WriterBytes, SmallTagMatchesTheDocumentedLayout) {
  TagList tags;
  tags.AddTag(u"Title", std::u16string(200, u'A'));
  Bytes expected = {
      'I',  'D',  '3',         // identifier
      0x03, 0x00,              // version 2.3.0
      0x00,                    // no flags
      0x00, 0x00, 0x01, 0x53,  // synchsafe size 211: one frame of 10 + 201 bytes, no padding
      'T',  'I',  'T',  '2',   // frame identifier
      0x00, 0x00, 0x00, 0xC9,  // frame size 201, plain 32 bits in 2.3
      0x00, 0x00,              // no frame flags
      0x00,                    // ISO-8859-1
  };
  for (int i = 0; i < 200; ++i) expected.push_back('A');
  EXPECT_EQ(RenderID3v2(tags, ID3v2WriteSettings{}), expected);
}

TEST(Id3v2WriterBytes, NothingToWriteRendersNoTag) {
  TagList nothing;
  TagList skipped;
  skipped.AddTag(u"TagVersion", u"ID3v2.3");
  skipped.AddTag(u"_riff_cue ", u"", Bytes{'c', 'u', 'e', ' ', 1, 2});
  skipped.AddTag(u"_crc", u"1234");
  skipped.AddTag(u"title", u"");
  skipped.AddTag(u"artist", u"\r");
  skipped.AddTag(u"_albumart_1_Front Album Cover", u"");
  for (const Version& v : kVersions) {
    SCOPED_TRACE(v.label);
    EXPECT_LE(RenderID3v2(nothing, Options({v.option})).size(), id3parser::kTagHeaderSize);
    EXPECT_LE(RenderID3v2(skipped, Options({v.option})).size(), id3parser::kTagHeaderSize);
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
  struct Case {
    const char16_t* version;
    std::vector<std::string> ids;
  };
  const Case cases[] = {
      {u"", {"TSOT", "TBPM", "TORY", "USLT", "POPM", "TXXX", "WOAR"}},
      {u"ID3v2WriteV24", {"TSOT", "TBPM", "TDOR", "USLT", "POPM", "TXXX", "WOAR"}},
      // 2.2 readers know no sort, original year, lyrics or rating frames: those go to TXX.
      {u"ID3v2WriteV22", {"TXXX", "TBPM", "TXXX", "TXXX", "TXXX", "TXXX", "WOAR"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(Utf8(c.version));
    const Bytes tag = RenderID3v2(tags, Options({c.version}));
    std::vector<std::string> ids;
    for (const id3parser::Frame& f : Frames(tag)) ids.push_back(f.id);
    EXPECT_EQ(ids, c.ids);
    const TagList back = Read(tag);
    EXPECT_EQ(Value(back, u"Title Sort"), u"Sorted");
    EXPECT_EQ(Value(back, u"BPM"), u"120");
    EXPECT_EQ(Value(back, u"Original release year"), u"1999");
    EXPECT_EQ(Value(back, u"Lyrics"), u"La la");
    EXPECT_EQ(Value(back, u"Rating"), u"255");
    EXPECT_EQ(Value(back, u"CUESHEET"), u"FILE x");
    EXPECT_EQ(Value(back, u"Official artist/performer webpage"), u"http://example.org/");
  }
}

TEST(Id3v2WriterFrames, RatingsAndTablesOfContentsInTheirForms) {
  struct Case {
    const char16_t* name;
    const char16_t* value;
    Bytes data;
    const char16_t* readName;
    std::u16string readValue;  // "<missing>" when nothing is written
    Bytes readData;
  };
  const Case cases[] = {
      {u"Rating", u"0", {}, u"Rating", u"0", {}},
      {u"Rating", u"300", {}, u"Rating", u"255", {}},  // the byte cannot hold more
      {u"Rating", u"five stars", {}, u"Rating", u"<missing>", {}},
      {u"_cdtoc", u"", kCdToc, u"_cdtoc", u"", kCdToc},
      // The hex text of an INFO list is turned back into the record.
      {u"_CDTOC", u"00 12 01 01 00 14 01 00 00 00 00 00 00 14 AA 00 00 00 2A 10", {}, u"_cdtoc", u"", kCdToc},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(Utf8(c.name) + " " + Utf8(c.value));
    TagList tags;
    tags.AddTag(c.name, c.value, c.data);
    const TagList back = Read(RenderID3v2(tags, ID3v2WriteSettings{}));
    EXPECT_EQ(Value(back, c.readName), c.readValue);
    if (const TagEntry* e = Find(back, c.readName)) {
      EXPECT_EQ(e->data, c.readData);
    }
  }
}

TEST(Id3v2WriterFrames, PicturesKeepTypeDescriptionAndFormat) {
  TagList tags;
  tags.AddTag(u"_albumart_1_Back Album Cover<subdesc>R\u00FCckseite \u2192", u"", Jpeg(64));
  tags.AddTag(u"_albumart_2_Media", u"", Png(64));
  tags.AddTag(u"_albumart_3_Something Else", u"", Png(64));  // an unknown type is a front cover
  for (const Version& v : kVersions) {
    SCOPED_TRACE(v.label);
    const Bytes tag = RenderID3v2(tags, Options({v.option}));
    const TagList back = Read(tag);
    EXPECT_NE(Find(back, u"_albumart_1_Back Album Cover<subdesc>R\u00FCckseite \u2192"), nullptr);
    EXPECT_NE(Find(back, u"_albumart_2_Media"), nullptr);
    EXPECT_NE(Find(back, u"_albumart_3_Front Album Cover"), nullptr);
    const std::vector<id3parser::Frame> frames = Frames(tag);
    ASSERT_EQ(frames.size(), 3u);
    const std::string format(frames[1].body().begin() + 1, frames[1].body().begin() + (v.major == 2 ? 4 : 10));
    EXPECT_EQ(format, v.major == 2 ? "PNG" : "image/png");
  }
}

TEST(Id3v2WriterFrames, SeveralValuesPerVersion) {
  TagList tags;
  tags.AddTag(u"artist", u"Love\rHate");
  tags.AddTag(u"genre", u"Rock\rPop");
  tags.AddTag(u"label", u"One\rTwo");
  tags.AddTag(u"replaygain_album_gain", u"-1 dB\r-2 dB");
  struct Case {
    const char16_t* version;
    const char16_t* genre;
    const char16_t* label;
    const char16_t* gain;
  };
  const Case cases[] = {
      // The artist list rejoins "Love/Hate" whichever way it was stored.
      {u"", u"Rock\rPop", u"One/Two", u"-1 dB/-2 dB"},
      {u"ID3v2WriteV22", u"Rock\rPop", u"One/Two", u"-1 dB/-2 dB"},
      {u"ID3v2WriteV221", u"Rock\rPop", u"One\rTwo", u"-1 dB\r-2 dB"},
      {u"ID3v2WriteV24", u"Rock\rPop", u"One\rTwo", u"-1 dB\r-2 dB"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(Utf8(c.version));
    const TagList back = Read(RenderID3v2(tags, Options({c.version})));
    EXPECT_EQ(Value(back, u"Artist"), u"Love/Hate");
    EXPECT_EQ(Value(back, u"Genre"), c.genre);
    EXPECT_EQ(Value(back, u"Label"), c.label);
    EXPECT_EQ(Value(back, u"replaygain_album_gain"), c.gain);
  }
  TagList unnumbered;
  unnumbered.AddTag(u"genre", u"Foo\rBar");
  EXPECT_EQ(Value(Read(RenderID3v2(unnumbered, ID3v2WriteSettings{})), u"Genre"), u"Foo/Bar");
}

TEST(Id3v2WriterDates, YearFramesFollowTheDateOptions) {
  struct Case {
    const char16_t* version;
    const char16_t* option;
    const char16_t* year;
    std::vector<std::string> frames;  // identifier=text, in order
  };
  const Case cases[] = {
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
  for (const Case& c : cases) {
    SCOPED_TRACE(Utf8(c.version) + " " + Utf8(c.option) + " " + Utf8(c.year));
    TagList tags;
    tags.AddTag(u"Year", c.year);
    const Bytes tag = RenderID3v2(tags, Options({c.version, c.option}));
    std::vector<std::string> frames;
    for (const id3parser::Frame& f : Frames(tag))
      frames.push_back(f.id + "=" + std::string(f.body().begin() + 1, f.body().end()));
    EXPECT_EQ(frames, c.frames);
    // What is written reads back in the form it was given, unless strict dates were asked for.
    if (std::u16string_view(c.option) != u"WriteStrictYearDate") {
      EXPECT_EQ(Value(Read(tag), u"Year"), c.year);
    }
  }
}

TEST(Id3v2WriterOverrides, OrchestraAndStyleTakeTheirFrames) {
  TagList tags;
  tags.AddTag(u"Orchestra", u"Berlin Phil");
  tags.AddTag(u"Album Artist", u"Various");
  tags.AddTag(u"Style", u"Baroque");
  tags.AddTag(u"Content Group", u"Group");
  for (const Version& v : kVersions) {
    SCOPED_TRACE(v.label);
    const Bytes with = RenderID3v2(tags, Options({v.option, u"TPE2Orchestra", u"TIT1Style"}));
    const TagList back = Read(with, {.tpe2Orchestra = true, .tit1Style = true});
    EXPECT_EQ(Value(back, u"Orchestra"), u"Berlin Phil");
    EXPECT_EQ(Value(back, u"Album Artist"), u"Various");
    EXPECT_EQ(Value(back, u"Style"), u"Baroque");
    EXPECT_EQ(Value(back, u"Content Group"), u"Group");
    // The frames themselves carry the overriding names' values.
    const std::vector<id3parser::Frame> frames = Frames(with);
    const id3parser::Frame* tpe2 = FindFrame(frames, "TPE2");
    const id3parser::Frame* tit1 = FindFrame(frames, "TIT1");
    ASSERT_TRUE(tpe2 && tit1);
    EXPECT_EQ(std::string(tpe2->body().begin() + 1, tpe2->body().end()), "Berlin Phil");
    EXPECT_EQ(std::string(tit1->body().begin() + 1, tit1->body().end()), "Baroque");

    const TagList without = Read(RenderID3v2(tags, Options({v.option})));
    EXPECT_EQ(Value(without, u"Album Artist"), u"Various");
    EXPECT_EQ(Value(without, u"Orchestra"), u"Berlin Phil");
  }
}

TEST(Id3v2WriterLimits, FrameTooLargeForItsVersionThrows) {
  TagList tags;
  tags.AddTag(u"_albumart_1_Front Album Cover", u"", Jpeg(0x1000000));  // one byte over 24 bits with its head
  EXPECT_THROW(RenderID3v2(tags, Options({u"ID3v2WriteV22"})), id3parser::writeError);
  EXPECT_GT(RenderID3v2(tags, ID3v2WriteSettings{}).size(), 0x1000000u);
}

void Dump(const std::string& path, const Bytes& tag) {
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(tag.data()), std::streamsize(tag.size()));
  EXPECT_TRUE(out.good()) << path;
}

// With WAVE_ID3_DUMP_DIR set, writes the sample tag in every version and
// encoding for an independent reader (tests/integration/id3_writer_vs_mutagen.py).
TEST(Id3v2WriterDump, SampleTagsForAnIndependentReader) {
  const char* dir = std::getenv("WAVE_ID3_DUMP_DIR");
  if (!dir) GTEST_SKIP() << "WAVE_ID3_DUMP_DIR not set";
  for (const Version& v : kVersions) {
    for (const Encoding& e : kEncodings) {
      Dump(std::string(dir) + "/" + v.label + "-" + e.label + ".id3",
           RenderID3v2(SampleTags(), Options({v.option, e.option})));
    }
  }
  TagList dated;
  dated.AddTag(u"year", u"2004-05-06T07:08");
  for (const Version& v : kVersions) {
    Dump(std::string(dir) + "/" + v.label + "-date.id3", RenderID3v2(dated, Options({v.option})));
  }
}

}  // namespace
