#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "TagPairs.h"
#include "io/ByteWriter.h"
#include "io/Text.h"
#include "tags/Id3Errors.h"
#include "tags/TagID3v2.h"

using namespace std::string_literals;

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes B(std::string_view text) { return Bytes(text.begin(), text.end()); }

Bytes Cat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& part : parts) out.insert(out.end(), part.begin(), part.end());
  return out;
}

std::uint32_t Synchsafe(std::uint32_t v) {
  return (v & 0x7F) | (v << 1 & 0x7F00) | (v << 2 & 0x7F0000) | (v << 3 & 0x7F000000);
}

Bytes Utf16(std::u16string_view text, bool bigEndian) {
  Bytes out;
  ByteWriter w(out);
  for (const char16_t c : text) bigEndian ? w.U16BE(c) : w.U16(c);
  return out;
}

// One frame of the given version; 2.4 sizes are synchsafe unless told otherwise.
Bytes Frame(int major, std::string_view id, const Bytes& body, std::uint16_t flags = 0, bool plainSize = false) {
  Bytes out;
  ByteWriter w(out);
  w.Text(id);
  const auto size = std::uint32_t(body.size());
  if (major == 2) {
    w.U24BE(size);
  } else {
    w.U32BE(major == 4 && !plainSize ? Synchsafe(size) : size);
    w.U16BE(flags);
  }
  w.Bytes(body);
  return out;
}

// Header and body; the declared size covers the body and the padding.
Bytes Tag(int major, const Bytes& body, std::uint8_t flags = 0, std::size_t padding = 0) {
  Bytes out;
  ByteWriter w(out);
  w.Text("ID3");
  w.U8(std::uint8_t(major));
  w.U8(0);
  w.U8(flags);
  w.U32BE(Synchsafe(std::uint32_t(body.size() + padding)));
  w.Bytes(body);
  w.Zeros(padding);
  return out;
}

// Unsynchronisation as a cautious writer applies it: a zero after every 0xFF.
Bytes Unsync(const Bytes& bytes) {
  Bytes out;
  for (const std::uint8_t b : bytes) {
    out.push_back(b);
    if (b == 0xFF) out.push_back(0);
  }
  return out;
}

// A text frame body: encoding byte then the text as given.
Bytes Text(std::string_view text, std::uint8_t encoding = 0) { return Cat({{encoding}, B(text)}); }

struct Result {
  TagList list;
  std::int64_t size = -1;
  bool failed = false;
  bool storageTaken = false;  // by a picture, when read from storage given up
};

std::string Dump(const TagList& list) {
  std::string out;
  for (std::size_t i = 0; i < list.size(); ++i)
    out += WideToUtf8(list[i].name) + "=" + WideToUtf8(list[i].value) + "[" +
           std::string(list[i].data.begin(), list[i].data.end()) + "]\n";
  return out;
}

template <typename Tag>
Result ReadOnce(Tag&& tag, const ID3v2ReadOptions& options) {
  Result r;
  try {
    r.size = ReadID3v2(std::forward<Tag>(tag), r.list, options);
  } catch (const id3parser::parseError&) {
    r.failed = true;
  }
  return r;
}

// Reads the tag both from a view and from storage given up, which must come out the same.
Result Read(const Bytes& tag, const ID3v2ReadOptions& options = {}) {
  Result r = ReadOnce(std::span<const std::uint8_t>(tag), options);
  Bytes storage = tag;
  const Result fromStorage = ReadOnce(std::move(storage), options);
  EXPECT_EQ(Dump(fromStorage.list), Dump(r.list));
  EXPECT_EQ(fromStorage.size, r.size);
  EXPECT_EQ(fromStorage.failed, r.failed);
  r.storageTaken = storage.empty();
  return r;
}

// The value of the entry with exactly that name as UTF-8, or "<none>".
std::string Get(const TagList& list, std::u16string_view name) {
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (list[i].name == name) return WideToUtf8(list[i].value);
  }
  return "<none>";
}

std::vector<std::string> Names(const TagList& list) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < list.size(); ++i) names.push_back(WideToUtf8(list[i].name));
  return names;
}

}  // namespace

TEST(Id3v2Reader, VersionsGiveTitleArtistTagVersionAndDeclaredSize) {
  const struct {
    int major;
    const char* title;
    const char* artist;
    const char* version;
  } cases[] = {{2, "TT2", "TP1", "ID3v2.2"}, {3, "TIT2", "TPE1", "ID3v2.3"}, {4, "TIT2", "TPE1", "ID3v2.4"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.version);
    const Bytes tag =
        Tag(c.major, Cat({Frame(c.major, c.title, Text("Song")), Frame(c.major, c.artist, Text("Band"))}), 0, 100);
    const Result r = Read(tag, {.reportVersion = true});
    ASSERT_FALSE(r.failed);
    EXPECT_EQ(r.size, std::int64_t(tag.size()));
    EXPECT_EQ(Texts(r.list), u"TagVersion=" + Widen(c.version) + u"; Artist=Band; Title=Song");
    EXPECT_EQ(Names(Read(tag).list), (std::vector<std::string>{"Artist", "Title"}));
  }
}

TEST(Id3v2Reader, FrameIdentifiersGiveTheirTagNames) {
  const struct {
    int major;
    const char* id;
    const char* name;
  } cases[] = {
      {3, "TIT1", "Content Group"},
      {3, "TSOC", "ComposerSort"},
      {3, "TYER", "Year"},
      {3, "TORY", "Original release year"},
      {4, "TDRC", "Year"},
      {4, "TDOR", "Original release year"},
      {3, "TRCK", "Track"},
      {3, "TPOS", "Disc"},
      {3, "GRP1", "iTunes Grouping"},
      {3, "TCMP", "Compilation"},
      {2, "TAL", "Album"},
      {2, "TYE", "Year"},
      {2, "TRK", "Track"},
      {2, "TCP", "Compilation"},
      {2, "TPA", "Disc"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    EXPECT_EQ(Names(Read(Tag(c.major, Frame(c.major, c.id, Text("3/12")))).list), std::vector<std::string>{c.name});
  }
  const struct {
    int major;
    const char* id;
    const char* name;
  } urls[] = {{3, "WCOP", "Copyright/Legal infromation"},
              {3, "WOAR", "Official artist/performer webpage"},
              {2, "WAF", "Official audio file webpage"}};
  for (const auto& c : urls) {
    SCOPED_TRACE(c.id);
    const Result r = Read(Tag(c.major, Frame(c.major, c.id, B("http://x.example/"))));
    EXPECT_EQ(Get(r.list, Widen(c.name)), "http://x.example/");
  }
  // Frames without a tag name of their own are not shown.
  EXPECT_TRUE(Read(Tag(3, Frame(3, "TDAT", Text("0102")))).list.empty());
}

TEST(Id3v2Reader, TextEncodingsAllArriveAsTheSameText) {
  const std::u16string text = u"Caf\u00e9 \u266b \U0001F3B5";
  const struct {
    const char* what;
    Bytes body;
    const char* expected;
  } cases[] = {
      {"Latin-1", Text("Caf\xe9", 0), "Caf\xc3\xa9"},
      {"UTF-16 LE with BOM", Cat({{1, 0xFF, 0xFE}, Utf16(text, false)}), "Caf\xc3\xa9 \xe2\x99\xab \xf0\x9f\x8e\xb5"},
      {"UTF-16 BE with BOM", Cat({{1, 0xFE, 0xFF}, Utf16(text, true)}), "Caf\xc3\xa9 \xe2\x99\xab \xf0\x9f\x8e\xb5"},
      {"UTF-16 without BOM", Cat({{1}, Utf16(text, false)}), "Caf\xc3\xa9 \xe2\x99\xab \xf0\x9f\x8e\xb5"},
      {"UTF-16BE", Cat({{2}, Utf16(text, true), {0, 0}}), "Caf\xc3\xa9 \xe2\x99\xab \xf0\x9f\x8e\xb5"},
      {"UTF-8", Text("Caf\xc3\xa9 \xe2\x99\xab \xf0\x9f\x8e\xb5", 3), "Caf\xc3\xa9 \xe2\x99\xab \xf0\x9f\x8e\xb5"},
      {"odd UTF-16 byte", Cat({{1, 0xFF, 0xFE}, Utf16(u"ab", false), {'c'}}), "ab"},
      {"unknown encoding", Text("Song", 4), "<none>"},
      {"no encoding byte", {}, "<none>"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(Get(Read(Tag(4, Frame(4, "TIT2", c.body))).list, u"Title"), c.expected);
  }
}

TEST(Id3v2Reader, SeveralValuesOfA24FrameAreJoinedWithCarriageReturns) {
  const struct {
    int major;
    Bytes frame;
    std::u16string name;
    const char* expected;
  } cases[] = {
      {4, Frame(4, "TPE1", Text("One\0Two\0"s)), u"Artist", "One\rTwo"},
      {4, Frame(4, "TPE1", Cat({{1}, Utf16(u"\uFEFFOne", false), {0, 0}, Utf16(u"\uFEFFTwo", false)})), u"Artist",
       "One\rTwo"},
      {3, Frame(3, "TIT2", Text("One\0Two"s)), u"Title", "One"},
      {4, Frame(4, "TXXX", Text("MOOD\0calm\0dark"s)), u"MOOD", "calm\rdark"},
      {4, Cat({Frame(4, "TCOM", Text("A")), Frame(4, "TCOM", Text("B"))}), u"Composer", "A\rB"},
      {4, Frame(4, "TIPL", Text("producer\0Ann\0mix\0Bob"s)), u"Involved People", "producer: Ann\rmix: Bob"},
      {4, Frame(4, "TMCL", Text("piano\0Cy\0drums"s)), u"Musician Credits", "piano: Cy\rdrums"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.expected);
    EXPECT_EQ(Get(Read(Tag(c.major, c.frame)).list, c.name), c.expected);
  }
}

TEST(Id3v2Reader, ArtistsSplitAtSlashUnlessTheNameHasOne) {
  const struct {
    const char* id;
    const char* text;
    ID3v2ReadOptions options;
    std::u16string name;
    const char* expected;
  } cases[] = {
      {"TPE1", "AC/DC", {}, u"Artist", "AC/DC"},
      {"TPE1", "Whitford / St. Holmes", {}, u"Artist", "Whitford / St. Holmes"},
      {"TPE1", "Ann/Bob", {}, u"Artist", "Ann\rBob"},
      {"TPE1", "//LYSE//", {}, u"Artist", "//LYSE//"},
      {"TPE1", "Yamantaka // Sonic Titan", {}, u"Artist", "Yamantaka // Sonic Titan"},
      {"TSO2", "Ann/Bob", {}, u"Album Artist Sort", "Ann\rBob"},
      {"TIT2", "Ann/Bob", {}, u"Title", "Ann/Bob"},
      {"TPE2", "Ann/Bob", {.tpe2Orchestra = true}, u"Orchestra", "Ann/Bob"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.expected);
    EXPECT_EQ(Get(Read(Tag(3, Frame(3, c.id, Text(c.text))), c.options).list, c.name), c.expected);
  }
}

TEST(Id3v2Reader, GenresByNumberAndReference) {
  const struct {
    int major;
    std::string text;
    const char* expected;
  } cases[] = {
      {3, "(RX)", "Remix"},
      {3, "(CR)", "Cover"},
      {3, "(17)", "Rock"},
      {3, "17", "Rock"},
      {3, "(67)", "Psychadelic"},
      {3, "(125)", "Dance Hall"},
      {3, "(0)", "Blues"},
      {3, "(4)Eurodisco", "Eurodisco"},
      {3, "(17)(9)", "Rock\rMetal"},
      {3, "((Ha)", "(Ha)"},
      {3, "(126)", "(126)"},
      {3, "Rock", "Rock"},
      {3, "(17", "(17"},
      {4, "17\0RX\0Indie"s, "Rock\rRemix\rIndie"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(Get(Read(Tag(c.major, Frame(c.major, "TCON", Text(c.text)))).list, u"Genre"), c.expected);
  }
}

TEST(Id3v2Reader, UserTextCommentLyricsUrlAndRating) {
  const Bytes tag =
      Tag(3, Cat({
                 Frame(3, "TXXX", Text("replaygain_track_gain\0-6.50 dB"s)),
                 Frame(3, "TXXX", Text("\0orphan"s)),
                 Frame(3, "TXXX", Text("_hidden\0x"s)),
                 Frame(3, "COMM", Text("eng\0Nice"s)),
                 Frame(3, "COMM", Text("engID3v1 Comment\0Old"s)),
                 Frame(3, "COMM", Text("engiTunNORM\0 0000044E"s)),
                 Frame(3, "COMM", Cat({{1}, B("deu"), {0xFF, 0xFE, 0, 0}, {0xFF, 0xFE}, Utf16(u"Gut", false)})),
                 Frame(3, "USLT", Text("engverse\0La la\r\nla"s)),
                 Frame(3, "WXXX", Cat({{1, 0xFF, 0xFE}, Utf16(u"shop", false), {0, 0}, B("http://s.example/")})),
                 Frame(3, "POPM", Cat({B("Windows Media Player 9 Series"), {0, 196, 0, 0, 0, 7}})),
                 Frame(3, "POPM", B("no rating")),
             }));
  const Result r = Read(tag);
  EXPECT_EQ(Texts(r.list),
            u"Comment=Nice\rOld\rGut; Lyrics=La la\r\nla; Rating=196; User defined URL link=http://s.example/; "
            u"iTunNORM= 0000044E; replaygain_track_gain=-6.50 dB");
}

TEST(Id3v2Reader, PicturesAndCdTocFollowTheTextEntries) {
  const Bytes jpeg = {0xFF, 0xD8, 0xFF, 0xE0, 1, 2, 3};
  const Bytes png = {0x89, 'P', 'N', 'G', 0, 0};
  const Bytes tag = Tag(3, Cat({
                               Frame(3, "APIC", Cat({{0}, B("image/jpeg"), {0, 3}, B("Sleeve"), {0}, jpeg})),
                               Frame(3, "TIT2", Text("Song")),
                               Frame(3, "MCDI", {1, 2, 3, 4}),
                               Frame(3, "APIC", Cat({{1}, B("image/png"), {0, 0}, {0xFF, 0xFE, 0, 0}, png})),
                               Frame(3, "MCDI", {9}),
                               Frame(3, "APIC", Cat({{0}, B("image/png"), {0, 3}, B("no image"), {0}})),
                           }));
  const Result r = Read(tag);
  ASSERT_EQ(Names(r.list), (std::vector<std::string>{"Title", "_albumart_1_Front Album Cover<subdesc>Sleeve",
                                                     "_albumart_2_Undefined", "_cdtoc"}));
  EXPECT_EQ(r.list[1].data, jpeg);
  EXPECT_EQ(r.list[2].data, png);
  EXPECT_EQ(r.list[3].data, (Bytes{1, 2, 3, 4}));

  EXPECT_FALSE(r.storageTaken);

  // A picture that fills most of its tag takes the tag's storage over, after the pictures before it were
  // copied out of it; an unsynchronised tag was undone into memory of its own and is copied from there.
  const Bytes cover = Cat({png, Bytes(4000, 0xAB)});
  const Bytes frames =
      Cat({Frame(3, "TIT2", Text("Song")), Frame(3, "APIC", Cat({{0}, B("image/jpeg"), {0, 4, 0}, jpeg})),
           Frame(3, "APIC", Cat({{0}, B("image/png"), {0, 3, 0}, cover}))});
  for (const bool unsynchronised : {false, true}) {
    const Result big = Read(unsynchronised ? Tag(3, Unsync(frames), 0x80) : Tag(3, frames));
    EXPECT_EQ(big.storageTaken, !unsynchronised);
    ASSERT_EQ(big.list.size(), 3u);
    EXPECT_EQ(big.list[1].data, jpeg);
    EXPECT_EQ(big.list[2].data, cover);
  }

  const Bytes v22 = Tag(2, Frame(2, "PIC", Cat({{0}, B("PNG"), {4}, B("back"), {0}, png})));
  const Result r22 = Read(v22);
  ASSERT_EQ(Names(r22.list), std::vector<std::string>{"_albumart_1_Back Album Cover<subdesc>back"});
  EXPECT_EQ(r22.list[0].data, png);
}

TEST(Id3v2Reader, UnsynchronisationIsUndone) {
  // 0xFF then a byte that looks like a sync, and a 0xFF at the end.
  const Bytes plain = Text("\xff\xe0-\xff");
  const std::string expected = "\xc3\xbf\xc3\xa0-\xc3\xbf";
  // A frame size of 255 is unsynchronised in the frame header too.
  const std::string longTitle = "x" + std::string(253, 'y');
  const struct {
    const char* what;
    Bytes tag;
    std::string expected;
  } cases[] = {
      {"2.2 whole tag", Tag(2, Unsync(Frame(2, "TT2", plain)), 0x80), expected},
      {"2.3 whole tag", Tag(3, Unsync(Frame(3, "TIT2", plain)), 0x80), expected},
      {"2.3 frame header", Tag(3, Unsync(Frame(3, "TIT2", Text(longTitle))), 0x80), longTitle},
      {"2.4 frame flag", Tag(4, Frame(4, "TIT2", Unsync(plain), 0x0002)), expected},
      {"2.4 tag flag", Tag(4, Frame(4, "TIT2", Unsync(plain)), 0x80), expected},
      {"2.4 with data length", Tag(4, Frame(4, "TIT2", Cat({{0, 0, 0, 5}, Unsync(plain)}), 0x0003)), expected},
      {"not flagged", Tag(3, Frame(3, "TIT2", plain)), expected},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(Get(Read(c.tag).list, u"Title"), c.expected);
  }
}

TEST(Id3v2Reader, ExtendedHeadersAndFrameFlags) {
  const Bytes title = Frame(3, "TIT2", Text("Song"));
  const Bytes title4 = Frame(4, "TIT2", Text("Song"));
  const struct {
    const char* what;
    Bytes tag;
    const char* expected;
  } cases[] = {
      {"2.3 extended header", Tag(3, Cat({{0, 0, 0, 6, 0, 0, 0, 0, 0, 0}, title}), 0x40), "Song"},
      {"2.3 extended header with CRC", Tag(3, Cat({{0, 0, 0, 10, 0x80, 0, 0, 0, 0, 0, 1, 2, 3, 4}, title}), 0x40),
       "Song"},
      {"2.4 extended header", Tag(4, Cat({{0, 0, 0, 6, 1, 0}, title4}), 0x40), "Song"},
      {"2.4 extended header with CRC", Tag(4, Cat({{0, 0, 0, 12, 1, 0x20, 5, 1, 2, 3, 4, 5}, title4}), 0x40), "Song"},
      {"2.3 grouped", Tag(3, Frame(3, "TIT2", Cat({{7}, Text("Song")}), 0x0020)), "Song"},
      {"2.3 compressed", Tag(3, Cat({Frame(3, "TIT2", Cat({{0, 0, 0, 5}, Text("zzzz")}), 0x0080), title})), "Song"},
      {"2.3 encrypted", Tag(3, Cat({Frame(3, "TIT2", Cat({{1}, Text("zzzz")}), 0x0040), title})), "Song"},
      {"2.4 grouped with data length", Tag(4, Frame(4, "TIT2", Cat({{7}, {0, 0, 0, 5}, Text("Song")}), 0x0041)),
       "Song"},
      {"2.4 compressed", Tag(4, Cat({Frame(4, "TIT2", Cat({{0, 0, 0, 5}, Text("zzzz")}), 0x0009), title4})), "Song"},
      {"2.4 encrypted", Tag(4, Cat({Frame(4, "TIT2", Cat({{1}, Text("zzzz")}), 0x0004), title4})), "Song"},
      {"2.2 compressed tag", Tag(2, Frame(2, "TT2", Text("Song")), 0x40), "<none>"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const Result r = Read(c.tag);
    ASSERT_FALSE(r.failed);
    EXPECT_EQ(Get(r.list, u"Title"), c.expected);
  }
  // An extended header larger than the tag leaves nothing to trust.
  EXPECT_TRUE(Read(Tag(3, Cat({{0, 0, 1, 0}, title}), 0x40)).failed);
  EXPECT_TRUE(Read(Tag(4, Cat({{0, 0, 0, 2, 1, 0}, title4}), 0x40)).failed);
}

TEST(Id3v2Reader, V24FramesWithPlainSizesAreRead) {
  const std::u16string longText(150, u'a');
  const Bytes title = Cat({{1, 0xFF, 0xFE}, Utf16(longText, false)});
  const Bytes album = Text("Album");
  const Bytes picture = Cat({{0}, B("image/png"), {0, 3, 0}, Bytes(300, 0x5A)});
  const struct {
    const char* what;
    Bytes tag;
  } cases[] = {
      {"synchsafe, then a frame",
       Tag(4, Cat({Frame(4, "TIT2", title), Frame(4, "TALB", album), Frame(4, "APIC", picture)}))},
      {"synchsafe, then padding",
       Tag(4, Cat({Frame(4, "TALB", album), Frame(4, "TIT2", title), Frame(4, "APIC", picture)}), 0, 1024)},
      {"plain, then a frame",
       Tag(4, Cat({Frame(4, "TIT2", title, 0, true), Frame(4, "TALB", album), Frame(4, "APIC", picture, 0, true)}))},
      {"plain, then padding",
       Tag(4, Cat({Frame(4, "TALB", album), Frame(4, "TIT2", title, 0, true), Frame(4, "APIC", picture, 0, true)}), 0,
           20)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Result r = Read(c.tag);
    EXPECT_EQ(Get(r.list, u"Title"), std::string(150, 'a'));
    EXPECT_EQ(Get(r.list, u"Album"), "Album");
    const TagEntry* cover = r.list.FindTag(u"_albumart_1_Front Album Cover");
    ASSERT_NE(cover, nullptr);
    EXPECT_EQ(cover->data, Bytes(300, 0x5A));
  }
}

TEST(Id3v2Reader, FramesEndAtPaddingGarbageOrAnOversizedFrame) {
  const Bytes title = Frame(3, "TIT2", Text("Song"));
  const Bytes album = Frame(3, "TALB", Text("Album"));
  const struct {
    const char* what;
    Bytes tag;
    std::vector<std::string> names;
  } cases[] = {
      {"padding", Tag(3, Cat({title, Bytes(10, 0), album})), {"Title"}},
      {"lower-case identifier", Tag(3, Cat({title, Frame(3, "tit3", Text("x")), album})), {"Title"}},
      {"frame larger than the tag", Tag(3, Cat({title, {'T', 'A', 'L', 'B', 0, 0, 1, 0, 0, 0, 0, 'x'}})), {"Title"}},
      {"empty frame is skipped", Tag(3, Cat({Frame(3, "TIT3", {}), title})), {"Title"}},
      {"no frames", Tag(3, {}, 0, 64), {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const Result r = Read(c.tag);
    ASSERT_FALSE(r.failed);
    EXPECT_EQ(Names(r.list), c.names);
  }
}

TEST(Id3v2Reader, MalformedHeadersThrowAndLeaveTheListAlone) {
  const Bytes good = Tag(3, Frame(3, "TIT2", Text("Song")));
  auto with = [&](std::size_t at, std::uint8_t value) {
    Bytes tag = good;
    tag[at] = value;
    return tag;
  };
  const struct {
    const char* what;
    Bytes tag;
  } cases[] = {{"empty", {}},
               {"nine bytes", Bytes(good.begin(), good.begin() + 9)},
               {"wrong magic", with(0, 'X')},
               {"version 1", with(3, 1)},
               {"version 5", with(3, 5)},
               {"revision 255", with(4, 0xFF)},
               {"size not synchsafe", with(9, 0x80)}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    TagList list;
    list.AddTag(u"Existing", u"1");
    EXPECT_THROW(ReadID3v2(c.tag, list, {.reportVersion = true}), id3parser::parseError);
    EXPECT_EQ(Names(list), std::vector<std::string>{"Existing"});
  }
  EXPECT_STREQ(id3parser::parseError().what(), "ID3v2 parse error");
  EXPECT_STREQ(id3parser::notSeekableError().what(), "Not seekable");
}

TEST(Id3v2Reader, TruncatedTagsGiveASubsetAndTheDeclaredSize) {
  const Bytes tag =
      Tag(4,
          Cat({Frame(4, "TIT2", Text("Song")), Frame(4, "TPE1", Text("A\0B"s)),
               Frame(4, "APIC", Cat({{0}, B("image/png"), {0, 3, 0}, Bytes(20, 7)})),
               Frame(4, "TXXX", Cat({{1, 0xFF, 0xFE}, Utf16(u"k", false), {0, 0, 0xFF, 0xFE}, Utf16(u"v", false)}))}),
          0x10);
  Result full = Read(Cat({tag, B("3DI"), Bytes(7, 0)}));
  ASSERT_EQ(full.list.size(), 4u);
  EXPECT_EQ(full.size, std::int64_t(tag.size() + 10));
  for (std::size_t n = 0; n < tag.size(); ++n) {
    SCOPED_TRACE(n);
    const Result r = Read(Bytes(tag.begin(), tag.begin() + std::ptrdiff_t(n)));
    EXPECT_EQ(r.failed, n < 10);
    if (r.failed) continue;
    EXPECT_EQ(r.size, full.size);
    for (std::size_t i = 0; i < r.list.size(); ++i) {
      const TagEntry* whole = full.list.FindTag(r.list[i].name);
      ASSERT_NE(whole, nullptr);
      EXPECT_EQ(whole->value, r.list[i].value);
      EXPECT_EQ(whole->data, r.list[i].data);
    }
  }
}

// Tags written by an independent implementation (see data/make_id3_samples.py).
TEST(Id3v2ReaderSamples, TagsWrittenByAnotherToolReadBack) {
  const struct {
    const char* file;
    const char* version;
  } cases[] = {{"data/id3v23_utf16.id3", "ID3v2.3"}, {"data/id3v24_latin1.id3", "ID3v2.4"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    std::ifstream in(c.file, std::ios::binary);
    ASSERT_TRUE(in.good());
    const Bytes tag{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    Result r = Read(tag, {.reportVersion = true});
    ASSERT_FALSE(r.failed);
    EXPECT_EQ(r.size, std::int64_t(tag.size()));
    EXPECT_EQ(Get(r.list, u"TagVersion"), c.version);
    EXPECT_EQ(Get(r.list, u"Title"),
              "Gr\xc3\xbc\xc3\x9f"
              "e");
    EXPECT_EQ(Get(r.list, u"Artist"), "AC/DC");
    EXPECT_EQ(Get(r.list, u"Album"), "Live");
    EXPECT_EQ(Get(r.list, u"Track"), "3/12");
    EXPECT_EQ(Get(r.list, u"Genre"), "Rock");
    EXPECT_EQ(Get(r.list, u"Year"), "1979");
    EXPECT_EQ(Get(r.list, u"replaygain_track_gain"), "-6.50 dB");
    EXPECT_EQ(Get(r.list, u"replaygain_album_peak"), "0.988");
    EXPECT_EQ(Get(r.list, u"Comment"), "Nice one");
    EXPECT_EQ(Get(r.list, u"Lyrics"), "La la la");
    const TagEntry* cover = r.list.FindTag(u"_albumart_1_Front Album Cover<subdesc>Cover");
    ASSERT_NE(cover, nullptr);
    EXPECT_EQ(cover->data, (Bytes{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 1, 2, 3}));
  }
}
