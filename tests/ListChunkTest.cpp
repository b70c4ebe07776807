#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TagPairs.h"
#include "TraceCapture.h"
#include "codec/Trace.h"
#include "io/ByteWriter.h"
#include "io/Text.h"
#include "riff/clRIFFLISTChunk.h"
#include "tags/CdToc.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// A failed operation elsewhere leaves the process-wide indentation deeper.
void ToDepthZero() { trace_testing::ResetIndentation(); }

// One sub-chunk: identifier, size (the content's unless given), content, pad byte after odd content.
Bytes Sub(std::string_view id, std::string_view content, std::optional<std::uint32_t> size = std::nullopt,
          bool pad = true) {
  Bytes out;
  ByteWriter w(out);
  w.Text(id);
  w.U32(size.value_or(std::uint32_t(content.size())));
  w.Text(content);
  if (pad && content.size() % 2 == 1) w.U8(0);
  return out;
}

// Appending element by element: GCC 12 sees false overflows in a range insert into a small vector.
Bytes List(std::initializer_list<Bytes> subs, std::string_view type = "INFO") {
  Bytes out(type.begin(), type.end());
  for (const Bytes& s : subs) std::copy(s.begin(), s.end(), std::back_inserter(out));
  return out;
}

// A sub-chunk as the writer makes it: the text, its terminator, a second zero to an even size.
Bytes Written(std::string_view id, std::string text) {
  text.push_back('\0');
  if (text.size() % 2) text.push_back('\0');
  return Sub(id, text);
}

Bytes Concat(Bytes a, const Bytes& b) {
  std::copy(b.begin(), b.end(), std::back_inserter(a));
  return a;
}

const std::u16string kCorrupted = u"*** Information: Error LIST sub chunk is corrupted  [clRIFFLISTChunk::InitFrom]";

}  // namespace

TEST(ListChunkRead, DecodesInfoSubChunks) {
  ToDepthZero();
  struct Case {
    const char* label;
    Bytes payload;
    bool result;
    std::u16string tags;
    bool corrupted = false;
    int albumOption = 0;
  };
  const std::vector<Case> cases = {
      {"adtl list", List({Sub("labl", "abcd")}, "adtl"), false, u""},
      {"shorter than a list type", {'I', 'N', 'F'}, false, u""},
      {"nothing", {}, false, u""},
      {"INFO and nothing else", List({}), true, u""},
      {"list type in lower case", List({Sub("INAM", "a")}, "info"), true, u"Title=a"},
      {"list type in mixed case", List({Sub("INAM", "a")}, "InFo"), true, u"Title=a"},
      {"odd text without terminator, pad skipped", List({Sub("INAM", "Hello"), Sub("IART", std::string("Bob\0", 4))}),
       true, u"Title=Hello; Artist=Bob"},
      {"text ends at its first zero", List({Sub("ICMT", std::string("ab\0cd", 5))}), true, u"Comment=ab"},
      {"missing pad byte at the very end", List({Sub("INAM", "Hello", std::nullopt, false)}), true, u"Title=Hello"},
      {"sub-chunk runs past the payload", List({Sub("INAM", "abc"), Sub("IART", "xy", 40)}), false, u"Title=abc", true},
      {"header ends the payload, size runs past it", List({Sub("INAM", "abc"), {'I', 'A', 'R', 'T', 9, 0, 0, 0}}), true,
       u"Title=abc", true},
      {"header and one byte, size runs past it", List({Sub("INAM", "abc"), {'I', 'A', 'R', 'T', 9, 0, 0, 0, 'x'}}),
       true, u"Title=abc", true},
      {"size zero ends decoding", List({Sub("INAM", "a"), Sub("IART", ""), Sub("ICMT", "never read")}), true,
       u"Title=a"},
      {"one stray byte at the end", Concat(List({Sub("INAM", "ab")}), {0}), true, u"Title=ab"},
      {"seven stray bytes at the end", Concat(List({Sub("INAM", "ab")}), Bytes(7, 0)), false, u"Title=ab"},
      {"unknown identifier", List({Sub("IXYZ", "abc")}), true, u"WAVELIST-IXYZ=abc"},
      {"unknown identifier with empty text is dropped", List({Sub("IXYZ", std::string(2, '\0'))}), true, u""},
      {"known identifier with empty text is kept", List({Sub("ICMT", std::string(2, '\0'))}), true, u"Comment="},
      {"reading is case-sensitive", List({Sub("inam", "x")}), true, u"WAVELIST-inam=x"},
      {"duplicates are kept", List({Sub("IART", "a"), Sub("IART", "b")}), true, u"Artist=a; Artist=b"},
      {"album option 0", List({Sub("IPRD", "p"), Sub("ISRC", "s")}), true, u"Album=p; ISRC=s"},
      {"album option 1", List({Sub("IPRD", "p"), Sub("ISRC", "s")}), true, u"Product=p; Album=s", false, 1},
      {"all three track identifiers", List({Sub("ITRK", "1"), Sub("TRCK", "2"), Sub("itrk", "3")}), true,
       u"Track=1; Track=2; Track=3"},
      {"ANSI text", List({Sub("IART", "Caf\xE9 \x80")}), true, u"Artist=Caf\u00E9 \u20AC"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    TraceCapture cap;
    TagList dest;
    dest.AddTag(u"Earlier", u"kept");
    clRIFFLISTChunk chunk;
    EXPECT_EQ(chunk.InitFrom(c.payload, dest, cap.context(), c.albumOption), c.result);
    EXPECT_EQ(Texts(dest), u"Earlier=kept" + (c.tags.empty() ? u"" : u"; " + c.tags));
    EXPECT_EQ(Texts(chunk.Tags()), c.tags);
    EXPECT_EQ(cap.HasLine(kCorrupted), c.corrupted) << cap.TraceUtf8();
    EXPECT_TRUE(cap.NoErrors());
    // Every return, true or false, closes the operation in the trace.
    EXPECT_TRUE(cap.HasLine(u"<-<-  [clRIFFLISTChunk::InitFrom]"));
  }
}

TEST(ListChunkRead, TraceOfADecodedList) {
  ToDepthZero();
  TraceCapture cap;
  TagList dest;
  clRIFFLISTChunk chunk;
  EXPECT_TRUE(chunk.InitFrom(List({Sub("INAM", "a"), {'I', 'A', 'R', 'T', 99, 0, 0, 0}}), dest, cap.context(), 0));
  EXPECT_EQ(cap.Trace(),
            u"->->  [clRIFFLISTChunk::InitFrom]\r\n"
            u"  Found Correct INFO ID, decoding LIST chunk:\r\n" +
                kCorrupted +
                u"\r\n"
                u"<-<-  [clRIFFLISTChunk::InitFrom]\r\n");
  EXPECT_EQ(cap.Information(), u"Error LIST sub chunk is corrupted  [clRIFFLISTChunk::InitFrom]\r\n");

  // A second decode starts its own list afresh.
  EXPECT_TRUE(chunk.InitFrom(List({Sub("ICMT", "c")}), dest, cap.context(), 0));
  EXPECT_EQ(Texts(chunk.Tags()), u"Comment=c");
  EXPECT_EQ(dest.size(), 2u);
}

// UTF-8 is taken only when every byte fits it and one sequence is longer than a byte.
TEST(ListChunkRead, WellFormedUtf8IsReadAsUtf8) {
  ToDepthZero();
  const struct {
    const char* label;
    std::string text;
    std::u16string value;
  } cases[] = {
      {"ffmpeg's UTF-8",
       "Gr\xC3\xBC\xC3\x9F"
       "e aus K\xC3\xB6ln",
       u"Gr\u00FC\u00DFe aus K\u00F6ln"},
      {"three and four bytes", "\xE6\x9D\xB1\xE4\xBA\xAC \xF0\x9F\x8E\xB5", u"\u6771\u4EAC \U0001F3B5"},
      {"largest code point", "\xF4\x8F\xBF\xBF", u"\U0010FFFF"},
      {"ASCII only", "plain", u"plain"},
      {"a Windows-1252 letter", "Caf\xE9", u"Caf\u00E9"},
      {"Windows-1252 that looks like a lead byte", "\xC3 la carte", u"\u00C3 la carte"},
      {"UTF-8 and a stray Windows-1252 byte", "K\xC3\xB6ln \x80", u"K\u00C3\u00B6ln \u20AC"},
      {"overlong two bytes", "\xC0\xAF", u"\u00C0\u00AF"},
      {"overlong three bytes", "\xE0\x80\xAF", u"\u00E0\u20AC\u00AF"},
      {"overlong four bytes", "\xF0\x80\x80\xAF", u"\u00F0\u20AC\u20AC\u00AF"},
      {"surrogate", "\xED\xA0\x80", u"\u00ED\u00A0\u20AC"},
      {"above U+10FFFF", "\xF4\x90\x80\x80", u"\u00F4\u0090\u20AC\u20AC"},
      {"lead byte F5", "\xF5\x80\x80\x80", u"\u00F5\u20AC\u20AC\u20AC"},
      {"sequence cut at the end", "ab\xE2\x82", u"ab\u00E2\u201A"},
      {"continuation byte alone", "a\xA9", u"a\u00A9"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    TraceCapture cap;
    TagList dest;
    clRIFFLISTChunk chunk;
    EXPECT_TRUE(chunk.InitFrom(List({Sub("INAM", c.text), Sub("IXYZ", c.text)}), dest, cap.context(), 0));
    EXPECT_EQ(Texts(dest), u"Title=" + c.value + u"; WAVELIST-IXYZ=" + c.value);
  }
}

TEST(ListChunkWrite, SubChunksHaveEvenSizesAndMappedIdentifiers) {
  ToDepthZero();
  struct Case {
    const char* label;
    std::u16string tags;
    Bytes payload;
    int trackOption = 0;
    int albumOption = 0;
  };
  const std::vector<Case> cases = {
      {"odd text gets one zero",
       u"Title=abc",
       {'I', 'N', 'F', 'O',  // list type
        'I', 'N', 'A', 'M',  // identifier
        4, 0, 0, 0,          // size
        'a', 'b', 'c', 0}},
      {"even text gets two zeros",
       u"Title=ab",
       {'I', 'N', 'F', 'O',  // list type
        'I', 'N', 'A', 'M',  // identifier
        4, 0, 0, 0,          // size
        'a', 'b', 0, 0}},
      {"names compare in any case", u"ARTIST=x; Encoded By=y", List({Written("IART", "x"), Written("ISFT", "y")})},
      {"track option 0", u"Track=7", List({Written("ITRK", "7")})},
      {"track option 1", u"track=7", List({Written("TRCK", "7")}), 1},
      {"track option 2", u"track=7", List({Written("itrk", "7")}), 2},
      {"track option 5", u"track=7", List({Written("itrk", "7")}), 5},
      {"album option 0", u"Album=A; ISRC=I", List({Written("IPRD", "A"), Written("ISRC", "I")})},
      {"album option 1", u"Album=A; ISRC=I", List({Written("ISRC", "A"), Written("ISRC", "I")}), 0, 1},
      {"unknown identifier kept by name", u"wavelist-IXYZ=abc", List({Written("IXYZ", "abc")})},
      {"identifier too long", u"WAVELIST-IXYZW=abc", {}},
      {"identifier too short", u"WAVELIST-IXY=abc", {}},
      {"empty value skipped", u"Comment=", {}},
      {"names outside the table skipped", u"Product=p; Composer=c; Year =y", {}},
      {"text outside the code page", u"Title=a\u4E2D", List({Written("INAM", "a?")})},
      {"code page text", u"Title=\u00E9\u20AC", List({Written("INAM", "\xE9\x80")})},
      {"list order kept", u"year=1999; Copyright=c; DPI=72",
       List({Written("ICRD", "1999"), Written("ICOP", "c"), Written("IDPI", "72")})},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    TraceCapture cap;
    Bytes out = {0xEE};
    EXPECT_TRUE(clRIFFLISTChunk::TagsToLIST(out, TagsFrom(c.tags), cap.context(), c.trackOption, c.albumOption));
    EXPECT_EQ(out, c.payload);
    EXPECT_EQ(cap.Trace(), u"->->  [clRIFFLISTChunk::TagsToLIST]\r\n<-<-  [clRIFFLISTChunk::TagsToLIST]\r\n");
  }
}

TEST(ListChunkCdToc, TableOfContentsTravelsAsHexText) {
  ToDepthZero();
  // Header (data length, first track 1, last track 2) and entries for tracks 1, 2 and the lead-out.
  const Bytes twoTracks = {0x00, 0x1A, 0x01, 0x02,                           // header
                           0x00, 0x14, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00,   // track 1
                           0x00, 0x14, 0x02, 0x00, 0x00, 0x00, 0x4A, 0x3B,   // track 2
                           0x00, 0x14, 0xAA, 0x00, 0x00, 0x01, 0x02, 0x03};  // lead-out
  EXPECT_EQ(CdTocToText(Bytes{0x00, 0x0A, 0x02, 0x01}), u"00 0A 02 01");

  struct Case {
    const char* label;
    std::u16string text;
    Bytes record;
  };
  Bytes inverted = {0x00, 0x0A, 0x05, 0x01, 0xAB};
  inverted.resize(12, 0);
  Bytes missing = {0x00, 0x1A, 0x01, 0x02, 0x00, 0x14};
  missing.resize(twoTracks.size(), 0);
  const std::vector<Case> cases = {
      {"printed record", CdTocToText(twoTracks), twoTracks},
      {"lower-case digits, other separators",
       u"00-1a-01-02 00 14 01 00 00 00 00 00\t00 14 02 00 00 00 4a 3b 00 14 aa 00 00 01 02 03", twoTracks},
      {"extra bytes dropped", CdTocToText(twoTracks) + u" FF FF", twoTracks},
      {"missing bytes zero", u"00 1A 01 02 00 14", missing},
      {"first track after last", u"00 0A 05 01 AB 00 00 00 00 00 00 00 FF FF", inverted},
      {"a lone last digit is dropped", u"00 0A 05 01 AB C", inverted},
      {"no hex at all", u"-- ?? --", {}},
  };
  for (const Case& c : cases) EXPECT_EQ(CdTocFromText(c.text), c.record) << c.label;

  struct ListCase {
    const char* label;
    Bytes data;
    bool written;
    Bytes readBack;
  };
  Bytes big = {0x00, 0x00, 0x01, 0x78};  // tracks 1..120: more than 99 tracks and the lead-out
  big.resize(CdTocRecordSize(1, 120), 0x11);
  Bytes bigBack(big.begin(), big.begin() + 804);
  bigBack.resize(big.size(), 0);
  const std::vector<ListCase> listCases = {
      {"whole record", twoTracks, true, twoTracks},
      {"header alone is enough to write",
       {0x00, 0x0A, 0x02, 0x01},
       true,
       {0x00, 0x0A, 0x02, 0x01, 0, 0, 0, 0, 0, 0, 0, 0}},
      {"fewer than four bytes", {0x00, 0x0A, 0x02}, false, {}},
      {"at most 804 bytes are written", big, true, bigBack},
  };
  for (const ListCase& c : listCases) {
    TraceCapture cap;
    TagList tags;
    tags.AddTag(u"_CDTOC", u"", c.data);
    Bytes payload;
    ASSERT_TRUE(clRIFFLISTChunk::TagsToLIST(payload, tags, cap.context(), 0, 0)) << c.label;
    EXPECT_EQ(!payload.empty(), c.written) << c.label;
    if (!c.written) continue;
    TagList back;
    clRIFFLISTChunk chunk;
    EXPECT_TRUE(chunk.InitFrom(payload, back, cap.context(), 0)) << c.label;
    ASSERT_EQ(back.size(), 1u) << c.label;
    EXPECT_EQ(back[0].name, u"_cdtoc");
    EXPECT_EQ(back[0].value, u"");
    EXPECT_EQ(back[0].data, c.readBack) << c.label;
  }
}
