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

std::string Utf8(std::u16string_view text) { return WideToUtf8(text); }

}  // namespace

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

