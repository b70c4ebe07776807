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
    int albumOption;
    bool result;
    Pairs tags;
    bool corrupted;
  };
  const std::vector<Case> cases = {
      {"adtl list", List({Sub("labl", "abcd")}, "adtl"), 0, false, {}, false},
      {"shorter than a list type", {'I', 'N', 'F'}, 0, false, {}, false},
      {"nothing", {}, 0, false, {}, false},
      {"INFO and nothing else", List({}), 0, true, {}, false},
      {"list type in lower case", List({Sub("INAM", "a")}, "info"), 0, true, {{u"Title", u"a"}}, false},
      {"list type in mixed case", List({Sub("INAM", "a")}, "InFo"), 0, true, {{u"Title", u"a"}}, false},
      {"odd text without terminator, pad skipped",
       List({Sub("INAM", "Hello"), Sub("IART", std::string("Bob\0", 4))}),
       0,
       true,
       {{u"Title", u"Hello"}, {u"Artist", u"Bob"}},
       false},
      {"text ends at its first zero",
       List({Sub("ICMT", std::string("ab\0cd", 5))}),
       0,
       true,
       {{u"Comment", u"ab"}},
       false},
      {"missing pad byte at the very end",
       List({Sub("INAM", "Hello", std::nullopt, false)}),
       0,
       true,
       {{u"Title", u"Hello"}},
       false},
      {"sub-chunk runs past the payload",
       List({Sub("INAM", "abc"), Sub("IART", "xy", 40)}),
       0,
       false,
       {{u"Title", u"abc"}},
       true},
      {"header ends the payload, size runs past it",
       List({Sub("INAM", "abc"), {'I', 'A', 'R', 'T', 9, 0, 0, 0}}),
       0,
       true,
       {{u"Title", u"abc"}},
       true},
      {"header and one byte, size runs past it",
       List({Sub("INAM", "abc"), {'I', 'A', 'R', 'T', 9, 0, 0, 0, 'x'}}),
       0,
       true,
       {{u"Title", u"abc"}},
       true},
      {"size zero ends decoding",
       List({Sub("INAM", "a"), Sub("IART", ""), Sub("ICMT", "never read")}),
       0,
       true,
       {{u"Title", u"a"}},
       false},
      {"one stray byte at the end", Concat(List({Sub("INAM", "ab")}), {0}), 0, true, {{u"Title", u"ab"}}, false},
      {"seven stray bytes at the end",
       Concat(List({Sub("INAM", "ab")}), Bytes(7, 0)),
       0,
       false,
       {{u"Title", u"ab"}},
       false},
      {"unknown identifier", List({Sub("IXYZ", "abc")}), 0, true, {{u"WAVELIST-IXYZ", u"abc"}}, false},
      {"unknown identifier with empty text is dropped", List({Sub("IXYZ", std::string(2, '\0'))}), 0, true, {}, false},
      {"known identifier with empty text is kept",
       List({Sub("ICMT", std::string(2, '\0'))}),
       0,
       true,
       {{u"Comment", u""}},
       false},
      {"reading is case-sensitive", List({Sub("inam", "x")}), 0, true, {{u"WAVELIST-inam", u"x"}}, false},
      {"duplicates are kept",
       List({Sub("IART", "a"), Sub("IART", "b")}),
       0,
       true,
       {{u"Artist", u"a"}, {u"Artist", u"b"}},
       false},
      {"album option 0",
       List({Sub("IPRD", "p"), Sub("ISRC", "s")}),
       0,
       true,
       {{u"Album", u"p"}, {u"ISRC", u"s"}},
       false},
      {"album option 1",
       List({Sub("IPRD", "p"), Sub("ISRC", "s")}),
       1,
       true,
       {{u"Product", u"p"}, {u"Album", u"s"}},
       false},
      {"all three track identifiers",
       List({Sub("ITRK", "1"), Sub("TRCK", "2"), Sub("itrk", "3")}),
       0,
       true,
       {{u"Track", u"1"}, {u"Track", u"2"}, {u"Track", u"3"}},
       false},
      {"the rest of the table",
       List({Sub("DISP", "a"), Sub("IARL", "b"), Sub("ICMS", "c"), Sub("ICOP", "d"), Sub("ICRD", "e"),
             Sub("ICRP", "f"), Sub("IDIM", "g"), Sub("IDPI", "h"), Sub("IENG", "i"), Sub("IGNR", "j"),
             Sub("IKEY", "k"), Sub("ILGT", "l"), Sub("IMED", "m"), Sub("IPLT", "n"), Sub("ISBJ", "o"),
             Sub("ISFT", "p"), Sub("ISHP", "q"), Sub("ISRF", "r"), Sub("ITCH", "s"), Sub("LOCA", "t"),
             Sub("TLEN", "u"), Sub("TORG", "v"), Sub("TURL", "w"), Sub("TVER", "x")}),
       0,
       true,
       {{u"Sound Scheme Title", u"a"},
        {u"Archival Location", u"b"},
        {u"Commissioned", u"c"},
        {u"Copyright", u"d"},
        {u"Year", u"e"},
        {u"Cropped", u"f"},
        {u"Dimensions", u"g"},
        {u"DPI", u"h"},
        {u"Engineer", u"i"},
        {u"Genre", u"j"},
        {u"Keywords", u"k"},
        {u"Lightness", u"l"},
        {u"Medium", u"m"},
        {u"Palette Setting", u"n"},
        {u"Subject", u"o"},
        {u"Encoded By", u"p"},
        {u"Sharpness", u"q"},
        {u"Source", u"r"},
        {u"Technician", u"s"},
        {u"Location", u"t"},
        {u"Length", u"u"},
        {u"Label", u"v"},
        {u"URL", u"w"},
        {u"Version", u"x"}},
       false},
      {"ANSI text", List({Sub("IART", "Caf\xE9 \x80")}), 0, true, {{u"Artist", u"Caf\u00E9 \u20AC"}}, false},
  };
  for (const Case& c : cases) {
    TraceCapture cap;
    TagList dest;
    dest.AddTag(u"Earlier", u"kept");
    clRIFFLISTChunk chunk;
    EXPECT_EQ(chunk.InitFrom(c.payload, dest, cap.context(), c.albumOption), c.result) << c.label;
    Pairs expected = {{u"Earlier", u"kept"}};
    expected.insert(expected.end(), c.tags.begin(), c.tags.end());
    EXPECT_EQ(TextsOf(dest), expected) << c.label << ": " << Show(TextsOf(dest));
    EXPECT_EQ(TextsOf(chunk.Tags()), c.tags) << c.label;
    EXPECT_EQ(cap.HasLine(kCorrupted), c.corrupted) << c.label << "\n" << cap.TraceUtf8();
    EXPECT_TRUE(cap.NoErrors()) << c.label;
    // Every return, true or false, closes the operation in the trace.
    EXPECT_TRUE(cap.HasLine(u"<-<-  [clRIFFLISTChunk::InitFrom]")) << c.label;
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
  EXPECT_EQ(TextsOf(chunk.Tags()), (Pairs{{u"Comment", u"c"}}));
  EXPECT_EQ(dest.size(), 2u);
}

TEST(ListChunkWrite, SubChunksHaveEvenSizesAndMappedIdentifiers) {
  ToDepthZero();
  struct Case {
    const char* label;
    Pairs tags;
    int trackOption;
    int albumOption;
    Bytes payload;
  };
  const std::vector<Case> cases = {
      {"odd text gets one zero",
       {{u"Title", u"abc"}},
       0,
       0,
       {'I', 'N', 'F', 'O',  // list type
        'I', 'N', 'A', 'M',  // identifier
        4, 0, 0, 0,          // size
        'a', 'b', 'c', 0}},
      {"even text gets two zeros",
       {{u"Title", u"ab"}},
       0,
       0,
       {'I', 'N', 'F', 'O',  // list type
        'I', 'N', 'A', 'M',  // identifier
        4, 0, 0, 0,          // size
        'a', 'b', 0, 0}},
      {"names compare in any case",
       {{u"ARTIST", u"x"}, {u"Encoded By", u"y"}},
       0,
       0,
       List({Sub("IART", std::string("x\0", 2)), Sub("ISFT", std::string("y\0", 2))})},
      {"track option 0", {{u"Track", u"7"}}, 0, 0, List({Sub("ITRK", std::string("7\0", 2))})},
      {"track option 1", {{u"track", u"7"}}, 1, 0, List({Sub("TRCK", std::string("7\0", 2))})},
      {"track option 2", {{u"track", u"7"}}, 2, 0, List({Sub("itrk", std::string("7\0", 2))})},
      {"track option 5", {{u"track", u"7"}}, 5, 0, List({Sub("itrk", std::string("7\0", 2))})},
      {"album option 0",
       {{u"Album", u"A"}, {u"ISRC", u"I"}},
       0,
       0,
       List({Sub("IPRD", std::string("A\0", 2)), Sub("ISRC", std::string("I\0", 2))})},
      {"album option 1",
       {{u"Album", u"A"}, {u"ISRC", u"I"}},
       0,
       1,
       List({Sub("ISRC", std::string("A\0", 2)), Sub("ISRC", std::string("I\0", 2))})},
      {"unknown identifier kept by name",
       {{u"wavelist-IXYZ", u"abc"}},
       0,
       0,
       List({Sub("IXYZ", std::string("abc\0", 4))})},
      {"identifier too long", {{u"WAVELIST-IXYZW", u"abc"}}, 0, 0, {}},
      {"identifier too short", {{u"WAVELIST-IXY", u"abc"}}, 0, 0, {}},
      {"empty value skipped", {{u"Comment", u""}}, 0, 0, {}},
      {"names outside the table skipped", {{u"Product", u"p"}, {u"Composer", u"c"}, {u"Year ", u"y"}}, 0, 0, {}},
      {"text outside the code page", {{u"Title", u"a\u4E2D"}}, 0, 0, List({Sub("INAM", std::string("a?\0\0", 4))})},
      {"code page text", {{u"Title", u"\u00E9\u20AC"}}, 0, 0, List({Sub("INAM", std::string("\xE9\x80\0\0", 4))})},
      {"list order kept",
       {{u"year", u"1999"}, {u"Copyright", u"c"}, {u"DPI", u"72"}},
       0,
       0,
       List({Sub("ICRD", std::string("1999\0\0", 6)), Sub("ICOP", std::string("c\0", 2)),
             Sub("IDPI", std::string("72\0\0", 4))})},
  };
  for (const Case& c : cases) {
    TraceCapture cap;
    TagList tags;
    for (const auto& [name, value] : c.tags) tags.AddTag(name, value);
    Bytes out = {0xEE};
    EXPECT_TRUE(clRIFFLISTChunk::TagsToLIST(out, tags, cap.context(), c.trackOption, c.albumOption)) << c.label;
    EXPECT_EQ(out, c.payload) << c.label;
    EXPECT_EQ(cap.Trace(), u"->->  [clRIFFLISTChunk::TagsToLIST]\r\n<-<-  [clRIFFLISTChunk::TagsToLIST]\r\n")
        << c.label;
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
