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

// A tag of one frame.
Bytes One(int major, std::string_view id, const Bytes& body, std::uint16_t flags = 0) {
  return Tag(major, Frame(major, id, body, flags));
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

}  // namespace

// One frame, one tag, one text to compare: what each frame gives, whatever its version, encoding or flags.
TEST(Id3v2Reader, FramesGiveTheirEntries) {
  const std::u16string text = u"Caf\u00e9 \u266b \U0001F3B5";
  const char* utf8 = "Caf\xc3\xa9 \xe2\x99\xab \xf0\x9f\x8e\xb5";
  // 0xFF then a byte that looks like a sync, and a 0xFF at the end.
  const Bytes sync = Text("\xff\xe0-\xff");
  const std::u16string synced = u"Title=\u00ff\u00e0-\u00ff";
  // A frame size of 255 is unsynchronised in the frame header too.
  const std::string longTitle = "x" + std::string(253, 'y');
  const Bytes title = Frame(3, "TIT2", Text("Song")), title4 = Frame(4, "TIT2", Text("Song"));
  const Bytes album = Frame(3, "TALB", Text("Album"));
  const struct {
    Bytes tag;
    std::u16string texts;
    ID3v2ReadOptions options = {};
  } cases[] = {
      {One(3, "TIT1", Text("3/12")), u"Content Group=3/12"},
      {One(3, "TSOC", Text("3/12")), u"ComposerSort=3/12"},
      {One(3, "TYER", Text("3/12")), u"Year=3/12"},
      {One(3, "TORY", Text("3/12")), u"Original release year=3/12"},
      {One(4, "TDRC", Text("3/12")), u"Year=3/12"},
      {One(4, "TDOR", Text("3/12")), u"Original release year=3/12"},
      {One(3, "TRCK", Text("3/12")), u"Track=3/12"},
      {One(3, "TPOS", Text("3/12")), u"Disc=3/12"},
      {One(3, "GRP1", Text("3/12")), u"iTunes Grouping=3/12"},
      {One(3, "TCMP", Text("3/12")), u"Compilation=3/12"},
      {One(2, "TAL", Text("3/12")), u"Album=3/12"},
      {One(2, "TYE", Text("3/12")), u"Year=3/12"},
      {One(2, "TRK", Text("3/12")), u"Track=3/12"},
      {One(2, "TCP", Text("3/12")), u"Compilation=3/12"},
      {One(2, "TPA", Text("3/12")), u"Disc=3/12"},
      {One(3, "WCOP", B("http://x.example/")), u"Copyright/Legal infromation=http://x.example/"},
      {One(3, "WOAR", B("http://x.example/")), u"Official artist/performer webpage=http://x.example/"},
      {One(2, "WAF", B("http://x.example/")), u"Official audio file webpage=http://x.example/"},
      {One(3, "TDAT", Text("0102")), u""},  // no tag name of its own
      // Text encodings.
      {One(4, "TIT2", Text("Caf\xe9", 0)), u"Title=Caf\u00e9"},
      {One(4, "TIT2", Cat({{1, 0xFF, 0xFE}, Utf16(text, false)})), u"Title=" + text},
      {One(4, "TIT2", Cat({{1, 0xFE, 0xFF}, Utf16(text, true)})), u"Title=" + text},
      {One(4, "TIT2", Cat({{1}, Utf16(text, false)})), u"Title=" + text},  // no BOM
      {One(4, "TIT2", Cat({{2}, Utf16(text, true), {0, 0}})), u"Title=" + text},
      {One(4, "TIT2", Text(utf8, 3)), u"Title=" + text},
      {One(4, "TIT2", Cat({{1, 0xFF, 0xFE}, Utf16(u"ab", false), {'c'}})), u"Title=ab"},  // odd UTF-16 byte
      {One(4, "TIT2", Text("Song", 4)), u""},                                             // unknown encoding
      {One(4, "TIT2", {}), u""},                                                          // no encoding byte
      // Several values of a 2.4 frame are joined with carriage returns.
      {One(4, "TPE1", Text("One\0Two\0"s)), u"Artist=One\rTwo"},
      {One(4, "TPE1", Cat({{1}, Utf16(u"\uFEFFOne", false), {0, 0}, Utf16(u"\uFEFFTwo", false)})), u"Artist=One\rTwo"},
      {One(3, "TIT2", Text("One\0Two"s)), u"Title=One"},
      {One(4, "TXXX", Text("MOOD\0calm\0dark"s)), u"MOOD=calm\rdark"},
      {Tag(4, Cat({Frame(4, "TCOM", Text("A")), Frame(4, "TCOM", Text("B"))})), u"Composer=A\rB"},
      {One(4, "TIPL", Text("producer\0Ann\0mix\0Bob"s)), u"Involved People=producer: Ann\rmix: Bob"},
      {One(4, "TMCL", Text("piano\0Cy\0drums"s)), u"Musician Credits=piano: Cy\rdrums"},
      // Artists split at a slash unless the name has one.
      {One(3, "TPE1", Text("AC/DC")), u"Artist=AC/DC"},
      {One(3, "TPE1", Text("Whitford / St. Holmes")), u"Artist=Whitford / St. Holmes"},
      {One(3, "TPE1", Text("Ann/Bob")), u"Artist=Ann\rBob"},
      {One(3, "TPE1", Text("//LYSE//")), u"Artist=//LYSE//"},
      {One(3, "TPE1", Text("Yamantaka // Sonic Titan")), u"Artist=Yamantaka // Sonic Titan"},
      {One(3, "TSO2", Text("Ann/Bob")), u"Album Artist Sort=Ann\rBob"},
      {One(3, "TIT2", Text("Ann/Bob")), u"Title=Ann/Bob"},
      {One(3, "TPE2", Text("Ann/Bob")), u"Orchestra=Ann/Bob", {.tpe2Orchestra = true}},
      // Genres by number and reference.
      {One(3, "TCON", Text("(RX)")), u"Genre=Remix"},
      {One(3, "TCON", Text("(CR)")), u"Genre=Cover"},
      {One(3, "TCON", Text("(17)")), u"Genre=Rock"},
      {One(3, "TCON", Text("17")), u"Genre=Rock"},
      {One(3, "TCON", Text("(67)")), u"Genre=Psychadelic"},
      {One(3, "TCON", Text("(125)")), u"Genre=Dance Hall"},
      {One(3, "TCON", Text("(0)")), u"Genre=Blues"},
      {One(3, "TCON", Text("(4)Eurodisco")), u"Genre=Eurodisco"},
      {One(3, "TCON", Text("(17)(9)")), u"Genre=Rock\rMetal"},
      {One(3, "TCON", Text("((Ha)")), u"Genre=(Ha)"},
      {One(3, "TCON", Text("(126)")), u"Genre=(126)"},
      {One(3, "TCON", Text("Rock")), u"Genre=Rock"},
      {One(3, "TCON", Text("(17")), u"Genre=(17"},
      {One(4, "TCON", Text("17\0RX\0Indie"s)), u"Genre=Rock\rRemix\rIndie"},
      // User text, comments, lyrics, URL and rating.
      {Tag(3, Cat({
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
              })),
       u"Comment=Nice\rOld\rGut; Lyrics=La la\r\nla; Rating=196; User defined URL link=http://s.example/; "
       u"iTunNORM= 0000044E; replaygain_track_gain=-6.50 dB"},
      // Unsynchronisation is undone.
      {Tag(2, Unsync(Frame(2, "TT2", sync)), 0x80), synced},
      {Tag(3, Unsync(Frame(3, "TIT2", sync)), 0x80), synced},
      {Tag(3, Unsync(Frame(3, "TIT2", Text(longTitle))), 0x80), u"Title=" + Widen(longTitle)},
      {One(4, "TIT2", Unsync(sync), 0x0002), synced},
      {Tag(4, Frame(4, "TIT2", Unsync(sync)), 0x80), synced},
      {One(4, "TIT2", Cat({{0, 0, 0, 5}, Unsync(sync)}), 0x0003), synced},  // with a data length
      {One(3, "TIT2", sync), synced},                                       // not flagged
      // Extended headers and frame flags; compressed and encrypted frames are skipped.
      {Tag(3, Cat({{0, 0, 0, 6, 0, 0, 0, 0, 0, 0}, title}), 0x40), u"Title=Song"},
      {Tag(3, Cat({{0, 0, 0, 10, 0x80, 0, 0, 0, 0, 0, 1, 2, 3, 4}, title}), 0x40), u"Title=Song"},
      {Tag(4, Cat({{0, 0, 0, 6, 1, 0}, title4}), 0x40), u"Title=Song"},
      {Tag(4, Cat({{0, 0, 0, 12, 1, 0x20, 5, 1, 2, 3, 4, 5}, title4}), 0x40), u"Title=Song"},
      {One(3, "TIT2", Cat({{7}, Text("Song")}), 0x0020), u"Title=Song"},  // grouped
      {Tag(3, Cat({Frame(3, "TIT2", Cat({{0, 0, 0, 5}, Text("zzzz")}), 0x0080), title})), u"Title=Song"},
      {Tag(3, Cat({Frame(3, "TIT2", Cat({{1}, Text("zzzz")}), 0x0040), title})), u"Title=Song"},
      {One(4, "TIT2", Cat({{7}, {0, 0, 0, 5}, Text("Song")}), 0x0041), u"Title=Song"},  // grouped, data length
      {Tag(4, Cat({Frame(4, "TIT2", Cat({{0, 0, 0, 5}, Text("zzzz")}), 0x0009), title4})), u"Title=Song"},
      {Tag(4, Cat({Frame(4, "TIT2", Cat({{1}, Text("zzzz")}), 0x0004), title4})), u"Title=Song"},
      {Tag(2, Frame(2, "TT2", Text("Song")), 0x40), u""},  // a compressed 2.2 tag
      // Frames end at padding, garbage or an oversized frame; an empty frame is skipped.
      {Tag(3, Cat({title, Bytes(10, 0), album})), u"Title=Song"},
      {Tag(3, Cat({title, Frame(3, "tit3", Text("x")), album})), u"Title=Song"},
      {Tag(3, Cat({title, B("TALB\0\0\1\0\0\0\0x"s)})), u"Title=Song"},
      {Tag(3, Cat({Frame(3, "TIT3", {}), title})), u"Title=Song"},
      {Tag(3, {}, 0, 64), u""},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE(testing::Message() << "case " << i << ": " << WideToUtf8(cases[i].texts));
    const Result r = Read(cases[i].tag, cases[i].options);
    ASSERT_FALSE(r.failed);
    EXPECT_EQ(Texts(r.list), cases[i].texts);
  }
  // An extended header larger than the tag leaves nothing to trust.
  EXPECT_TRUE(Read(Tag(3, Cat({{0, 0, 1, 0}, title}), 0x40)).failed);
  EXPECT_TRUE(Read(Tag(4, Cat({{0, 0, 0, 2, 1, 0}, title4}), 0x40)).failed);
}

// Tags written by an independent implementation (see data/make_id3_samples.py).
TEST(Id3v2ReaderSamples, TagsWrittenByAnotherToolReadBack) {
  for (const char* file : {"data/id3v23_utf16.id3", "data/id3v24_latin1.id3"}) {
    SCOPED_TRACE(file);
    std::ifstream in(file, std::ios::binary);
    ASSERT_TRUE(in.good());
    const Bytes tag{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    Result r = Read(tag, {.reportVersion = true});
    ASSERT_FALSE(r.failed);
    EXPECT_EQ(r.size, std::int64_t(tag.size()));
    EXPECT_EQ(Dump(r.list), std::string("TagVersion=ID3v2.") + file[10] +
                                "[]\nAlbum=Live[]\nArtist=AC/DC[]\nComment=Nice one[]\nGenre=Rock[]\n"
                                "Lyrics=La la la[]\nTitle=Gr\xC3\xBC\xC3\x9F"
                                "e[]\nTrack=3/12[]\nYear=1979[]\n"
                                "replaygain_album_peak=0.988[]\nreplaygain_track_gain=-6.50 dB[]\n"
                                "_albumart_1_Front Album Cover<subdesc>Cover=[\x89PNG\r\n\x1A\n\0\1\2\3]\n"s);
  }
}
