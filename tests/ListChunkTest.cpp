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

using namespace std::string_literals;

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes B(std::string_view text) { return Bytes(text.begin(), text.end()); }

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

TagList Decode(const Bytes& payload, bool expected, TraceCapture& cap) {
  TagList dest;
  clRIFFLISTChunk chunk;
  EXPECT_EQ(chunk.InitFrom(payload, dest, cap.context(), 0), expected);
  return dest;
}

const std::u16string kCorrupted = u"*** Information: Error LIST sub chunk is corrupted  [clRIFFLISTChunk::InitFrom]";

}  // namespace

TEST(ListChunkRead, DecodesInfoSubChunks) {
  // A failed operation elsewhere leaves the process-wide indentation deeper.
  trace_testing::ResetIndentation();
  struct Case {
    Bytes payload;
    bool result;
    std::u16string tags;
    bool corrupted = false;
    int albumOption = 0;
  };
  const std::vector<Case> cases = {
      {List({Sub("labl", "abcd")}, "adtl"), false, u""},
      {B("INF"), false, u""},
      {{}, false, u""},
      {List({}), true, u""},
      {List({Sub("INAM", "a")}, "info"), true, u"Title=a"},
      {List({Sub("INAM", "a")}, "InFo"), true, u"Title=a"},
      // Odd text without a terminator; its pad byte is skipped.
      {List({Sub("INAM", "Hello"), Sub("IART", "Bob\0"s)}), true, u"Title=Hello; Artist=Bob"},
      {List({Sub("ICMT", "ab\0cd"s)}), true, u"Comment=ab"},
      {List({Sub("INAM", "Hello", std::nullopt, false)}), true, u"Title=Hello"},  // no pad at the very end
      {List({Sub("INAM", "abc"), Sub("IART", "xy", 40)}), false, u"Title=abc", true},
      // A header that ends the payload, or is followed by one byte, whose size runs past it.
      {List({Sub("INAM", "abc"), B("IART\x09\0\0\0"s)}), true, u"Title=abc", true},
      {List({Sub("INAM", "abc"), B("IART\x09\0\0\0x"s)}), true, u"Title=abc", true},
      {List({Sub("INAM", "a"), Sub("IART", ""), Sub("ICMT", "never read")}), true, u"Title=a"},  // size zero ends
      {List({Sub("INAM", "ab"), B("\0"s)}), true, u"Title=ab"},
      {List({Sub("INAM", "ab"), Bytes(7, 0)}), false, u"Title=ab"},
      {List({Sub("IXYZ", "abc")}), true, u"WAVELIST-IXYZ=abc"},
      // An unknown identifier with empty text is dropped, a known one kept.
      {List({Sub("IXYZ", "\0\0"s)}), true, u""},
      {List({Sub("ICMT", "\0\0"s)}), true, u"Comment="},
      {List({Sub("inam", "x")}), true, u"WAVELIST-inam=x"},
      {List({Sub("IART", "a"), Sub("IART", "b")}), true, u"Artist=a; Artist=b"},
      {List({Sub("IPRD", "p"), Sub("ISRC", "s")}), true, u"Album=p; ISRC=s"},
      {List({Sub("IPRD", "p"), Sub("ISRC", "s")}), true, u"Product=p; Album=s", false, 1},
      {List({Sub("ITRK", "1"), Sub("TRCK", "2"), Sub("itrk", "3")}), true, u"Track=1; Track=2; Track=3"},
      {List({Sub("IART", "Caf\xE9 \x80")}), true, u"Artist=Caf\u00E9 \u20AC"},
  };
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const Case& c = cases[i];
    SCOPED_TRACE(testing::Message() << "case " << i);
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
  trace_testing::ResetIndentation();
  TraceCapture cap;
  TagList dest;
  clRIFFLISTChunk chunk;
  EXPECT_TRUE(chunk.InitFrom(List({Sub("INAM", "a"), B("IART\x63\0\0\0"s)}), dest, cap.context(), 0));
  EXPECT_EQ(cap.Trace(), u"->->  [clRIFFLISTChunk::InitFrom]\r\n  Found Correct INFO ID, decoding LIST chunk:\r\n" +
                             kCorrupted + u"\r\n<-<-  [clRIFFLISTChunk::InitFrom]\r\n");
  EXPECT_EQ(cap.Information(), u"Error LIST sub chunk is corrupted  [clRIFFLISTChunk::InitFrom]\r\n");

  // A second decode starts its own list afresh.
  EXPECT_TRUE(chunk.InitFrom(List({Sub("ICMT", "c")}), dest, cap.context(), 0));
  EXPECT_EQ(Texts(chunk.Tags()), u"Comment=c");
  EXPECT_EQ(dest.size(), 2u);
}

// UTF-8 is taken only when every byte fits it and one sequence is longer than a byte.
TEST(ListChunkRead, WellFormedUtf8IsReadAsUtf8) {
  trace_testing::ResetIndentation();
  const struct {
    std::string text;
    std::u16string value;
  } cases[] = {
      {"Gr\xC3\xBC\xC3\x9F"
       "e aus K\xC3\xB6ln",
       u"Gr\u00FC\u00DFe aus K\u00F6ln"},  // as ffmpeg writes it
      {"\xE6\x9D\xB1\xE4\xBA\xAC \xF0\x9F\x8E\xB5", u"\u6771\u4EAC \U0001F3B5"},
      {"\xF4\x8F\xBF\xBF", u"\U0010FFFF"},
      {"plain", u"plain"},
      {"Caf\xE9", u"Caf\u00E9"},
      {"\xC3 la carte", u"\u00C3 la carte"},              // Windows-1252 that looks like a lead byte
      {"K\xC3\xB6ln \x80", u"K\u00C3\u00B6ln \u20AC"},    // UTF-8 and a stray Windows-1252 byte
      {"\xC0\xAF", u"\u00C0\u00AF"},                      // overlong
      {"\xE0\x80\xAF", u"\u00E0\u20AC\u00AF"},            // overlong
      {"\xF0\x80\x80\xAF", u"\u00F0\u20AC\u20AC\u00AF"},  // overlong
      {"\xED\xA0\x80", u"\u00ED\u00A0\u20AC"},            // surrogate
      {"\xF4\x90\x80\x80", u"\u00F4\u0090\u20AC\u20AC"},  // above U+10FFFF
      {"\xF5\x80\x80\x80", u"\u00F5\u20AC\u20AC\u20AC"},  // lead byte F5
      {"ab\xE2\x82", u"ab\u00E2\u201A"},                  // cut at the end
      {"a\xA9", u"a\u00A9"},                              // continuation byte alone
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    TraceCapture cap;
    EXPECT_EQ(Texts(Decode(List({Sub("INAM", c.text), Sub("IXYZ", c.text)}), true, cap)),
              u"Title=" + c.value + u"; WAVELIST-IXYZ=" + c.value);
  }
  // The way back joins a surrogate pair by its own two units, whatever follows them.
  EXPECT_EQ(WideToUtf8(u"\U0001F3B5\uFF21"), "\xF0\x9F\x8E\xB5\xEF\xBC\xA1");
}

TEST(ListChunkWrite, SubChunksHaveEvenSizesAndMappedIdentifiers) {
  trace_testing::ResetIndentation();
  struct Case {
    std::u16string tags;
    Bytes payload;
    int trackOption = 0;
    int albumOption = 0;
  };
  const std::vector<Case> cases = {
      // Odd text gets one zero, even text two.
      {u"Title=abc", B("INFOINAM\x04\0\0\0abc\0"s)},
      {u"Title=ab", B("INFOINAM\x04\0\0\0ab\0\0"s)},
      {u"ARTIST=x; Encoded By=y", List({Written("IART", "x"), Written("ISFT", "y")})},
      {u"Track=7", List({Written("ITRK", "7")})},
      {u"track=7", List({Written("TRCK", "7")}), 1},
      {u"track=7", List({Written("itrk", "7")}), 2},
      {u"track=7", List({Written("itrk", "7")}), 5},
      {u"Album=A; ISRC=I", List({Written("IPRD", "A"), Written("ISRC", "I")})},
      {u"Album=A; ISRC=I", List({Written("ISRC", "A"), Written("ISRC", "I")}), 0, 1},
      {u"wavelist-IXYZ=abc", List({Written("IXYZ", "abc")})},
      {u"WAVELIST-IXYZW=abc", {}},
      {u"WAVELIST-IXY=abc", {}},
      {u"Comment=", {}},
      {u"Product=p; Composer=c; Year =y", {}},  // names outside the table
      {u"Title=a\u4E2D", List({Written("INAM", "a?")})},
      {u"Title=\u00E9\u20AC", List({Written("INAM", "\xE9\x80")})},
      {u"year=1999; Copyright=c; DPI=72", List({Written("ICRD", "1999"), Written("ICOP", "c"), Written("IDPI", "72")})},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(WideToUtf8(c.tags) + " " + std::to_string(c.trackOption) + std::to_string(c.albumOption));
    TraceCapture cap;
    Bytes out = {0xEE};
    EXPECT_TRUE(clRIFFLISTChunk::TagsToLIST(out, TagsFrom(c.tags), cap.context(), c.trackOption, c.albumOption));
    EXPECT_EQ(out, c.payload);
    EXPECT_EQ(cap.Trace(), u"->->  [clRIFFLISTChunk::TagsToLIST]\r\n<-<-  [clRIFFLISTChunk::TagsToLIST]\r\n");
  }
}

TEST(ListChunkCdToc, TableOfContentsTravelsAsHexText) {
  trace_testing::ResetIndentation();
  // Header (data length, first track 1, last track 2), then tracks 1, 2 and the lead-out.
  const Bytes twoTracks =
      B("\x00\x1A\x01\x02"
        "\x00\x14\x01\x00\x00\x00\x00\x00"
        "\x00\x14\x02\x00\x00\x00\x4A\x3B"
        "\x00\x14\xAA\x00\x00\x01\x02\x03"s);
  EXPECT_EQ(CdTocToText(B("\x00\x0A\x02\x01"s)), u"00 0A 02 01");
  auto zeroTo = [](Bytes b, std::size_t size) {
    b.resize(size, 0);
    return b;
  };
  const Bytes inverted = zeroTo(B("\x00\x0A\x05\x01\xAB"s), 12);
  const struct {
    std::u16string text;
    Bytes record;
  } cases[] = {
      {CdTocToText(twoTracks), twoTracks},
      {u"00-1a-01-02 00 14 01 00 00 00 00 00\t00 14 02 00 00 00 4a 3b 00 14 aa 00 00 01 02 03", twoTracks},
      {CdTocToText(twoTracks) + u" FF FF", twoTracks},  // extra bytes dropped
      {u"00 1A 01 02 00 14", zeroTo(B("\x00\x1A\x01\x02\x00\x14"s), twoTracks.size())},
      {u"00 0A 05 01 AB 00 00 00 00 00 00 00 FF FF", inverted},  // first track after the last
      {u"00 0A 05 01 AB C", inverted},                           // a lone last digit is dropped
      {u"-- ?? --", {}},
  };
  for (const auto& c : cases) EXPECT_EQ(CdTocFromText(c.text), c.record) << WideToUtf8(c.text);

  Bytes big = B("\x00\x00\x01\x78"s);  // tracks 1..120: more than 99 tracks and the lead-out
  big.resize(CdTocRecordSize(1, 120), 0x11);
  const struct {
    Bytes data;
    Bytes readBack;  // empty when nothing is written
  } listCases[] = {
      {twoTracks, twoTracks},
      {B("\x00\x0A\x02\x01"s), zeroTo(B("\x00\x0A\x02\x01"s), 12)},  // the header alone is enough
      {B("\x00\x0A\x02"s), {}},
      {big, zeroTo(Bytes(big.begin(), big.begin() + 804), big.size())},  // at most 804 bytes are written
  };
  for (const auto& c : listCases) {
    SCOPED_TRACE(c.data.size());
    TraceCapture cap;
    TagList tags;
    tags.AddTag(u"_CDTOC", u"", c.data);
    Bytes payload;
    ASSERT_TRUE(clRIFFLISTChunk::TagsToLIST(payload, tags, cap.context(), 0, 0));
    EXPECT_EQ(payload.empty(), c.readBack.empty());
    if (payload.empty()) continue;
    const TagList back = Decode(payload, true, cap);
    ASSERT_EQ(back.size(), 1u);
    EXPECT_EQ(back[0].name, u"_cdtoc");
    EXPECT_EQ(back[0].value, u"");
    EXPECT_EQ(back[0].data, c.readBack);
  }
}
