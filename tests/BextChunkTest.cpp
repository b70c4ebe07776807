#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "TagPairs.h"
#include "TraceCapture.h"
#include "codec/Trace.h"
#include "io/ByteReader.h"
#include "io/Text.h"
#include "riff/clRIFFBEXTChunk.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using Bext = clRIFFBEXTChunk;

void ToDepthZero() { trace_testing::ResetIndentation(); }

// A payload of `size` zero bytes with texts placed at field offsets.
Bytes Payload(std::size_t size, std::initializer_list<std::pair<std::size_t, std::string_view>> fields) {
  Bytes out(size, 0);
  for (const auto& [offset, text] : fields) std::copy(text.begin(), text.end(), out.begin() + std::ptrdiff_t(offset));
  return out;
}

}  // namespace

TEST(BextChunkRead, DecodesTheFixedPartAndCodingHistory) {
  ToDepthZero();
  const std::string description(256, 'd');
  struct Case {
    const char* label;
    Bytes payload;
    bool result;
    Pairs tags;
  };
  const std::vector<Case> cases = {
      {"one byte short of the fixed part", Bytes(601, 0), false, {}},
      {"nothing", {}, false, {}},
      {"all fields empty", Bytes(602, 0), true, {{u"TimeReference", u"0"}}},
      {"every field",
       Payload(602, {{Bext::kDescriptionOffset, "A take"},
                     {Bext::kOriginatorOffset, "Studio"},
                     {Bext::kOriginatorReferenceOffset, "REF-1"},
                     {Bext::kOriginationDateOffset, "2024-01-02"},
                     {Bext::kOriginationTimeOffset, "12:34:56"},
                     {Bext::kTimeReferenceLowOffset, std::string_view("\x01\x00\x00\x00\x02\x00\x00\x00", 8)},
                     {Bext::kVersionOffset, "\x02"}}),
       true,
       {{u"Description", u"A take"},
        {u"Originator", u"Studio"},
        {u"OrigReference", u"REF-1"},
        {u"OrigDate", u"2024-01-02"},
        {u"OrigTime", u"12:34:56"},
        {u"TimeReference", u"8589934593"}}},
      {"full description without terminator",
       Payload(602, {{Bext::kDescriptionOffset, description}, {Bext::kOriginatorOffset, "next"}}),
       true,
       {{u"Description", Widen(description)}, {u"Originator", u"next"}, {u"TimeReference", u"0"}}},
      {"trailing blanks are not part of a value",
       Payload(602, {{Bext::kOriginatorOffset, "Studio   "}, {Bext::kOriginationDateOffset, "          "}}),
       true,
       {{u"Originator", u"Studio"}, {u"TimeReference", u"0"}}},
      {"largest time reference",
       Payload(602, {{Bext::kTimeReferenceLowOffset, "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"}}),
       true,
       {{u"TimeReference", u"18446744073709551615"}}},
      {"coding history",
       Payload(608, {{Bext::kCodingHistoryOffset, "A=PCM"}}),
       true,
       {{u"TimeReference", u"0"}, {u"CodingHistory", u"A=PCM"}}},
      {"coding history without terminator",
       Payload(605, {{Bext::kCodingHistoryOffset, "abc"}}),
       true,
       {{u"TimeReference", u"0"}, {u"CodingHistory", u"abc"}}},
      {"coding history of blanks",
       Payload(608, {{Bext::kCodingHistoryOffset, "  "}}),
       true,
       {{u"TimeReference", u"0"}}},
      {"ANSI text",
       Payload(602, {{Bext::kDescriptionOffset, "Caf\xE9 \x80"}}),
       true,
       {{u"Description", u"Caf\u00E9 \u20AC"}, {u"TimeReference", u"0"}}},
  };
  for (const Case& c : cases) {
    TraceCapture cap;
    TagList dest;
    dest.AddTag(u"Earlier", u"kept");
    Bext chunk;
    EXPECT_EQ(chunk.InitFrom(c.payload, dest, cap.context()), c.result) << c.label;
    Pairs expected = {{u"Earlier", u"kept"}};
    expected.insert(expected.end(), c.tags.begin(), c.tags.end());
    EXPECT_EQ(TextsOf(dest), expected) << c.label << ": " << Show(TextsOf(dest));
    EXPECT_EQ(TextsOf(chunk.Tags()), c.tags) << c.label;
    const std::u16string decoding = c.result ? u"  Decoding BEXT chunk\r\n" : u"";
    EXPECT_EQ(cap.Trace(),
              u"->->  [clRIFFBEXTChunk::InitFrom]\r\n" + decoding + u"<-<-  [clRIFFBEXTChunk::InitFrom]\r\n")
        << c.label;
  }
}

TEST(BextChunkRead, VersionForTheSummary) {
  EXPECT_EQ(Bext::Version(Payload(602, {{Bext::kVersionOffset, "\x02\x01"}})), 0x0102);
  EXPECT_EQ(Bext::Version(Bytes(602, 0)), 0);
  EXPECT_EQ(Bext::Version(Bytes(601, 0xFF)), std::nullopt);
}

TEST(BextChunkWrite, FieldsAreCutToTheirWidthAndHistoryPadded) {
  ToDepthZero();
  const std::u16string longDescription(300, u'x');
  struct Case {
    const char* label;
    Pairs tags;
    Bytes payload;
  };
  const std::vector<Case> cases = {
      {"no tags", {}, Bytes(602, 0)},
      {"unrelated tags", {{u"Title", u"t"}, {u"Description ", u"d"}}, Bytes(602, 0)},
      {"date cut to ten bytes, time fills its field",
       {{u"OrigDate", u"2024-01-02T10:11"}, {u"OrigTime", u"12:34:56"}, {u"TimeReference", u"8589934593"}},
       Payload(602, {{Bext::kOriginationDateOffset, "2024-01-0212:34:56"},
                     {Bext::kTimeReferenceLowOffset, std::string_view("\x01\x00\x00\x00\x02\x00\x00\x00", 8)}})},
      {"description cut to its width", {{u"description", longDescription}}, Payload(602, {{0, std::string(256, 'x')}})},
      {"names in any case",
       {{u"ORIGINATOR", u"o"}, {u"origreference", u"r"}, {u"ORIGTIME", u"t"}},
       Payload(602, {{Bext::kOriginatorOffset, "o"},
                     {Bext::kOriginatorReferenceOffset, "r"},
                     {Bext::kOriginationTimeOffset, "t"}})},
      {"a later tag replaces an earlier one",
       {{u"Originator", u"first and longer"},
        {u"Originator", u"second"},
        {u"TimeReference", u"5"},
        {u"TimeReference", u"7"}},
       Payload(602, {{Bext::kOriginatorOffset, "second"}, {Bext::kTimeReferenceLowOffset, "\x07"}})},
      {"text stops at a zero unit",
       {{u"Originator", std::u16string(u"ab\0cd", 5)}},
       Payload(602, {{Bext::kOriginatorOffset, "ab"}})},
      {"code page text and replacement",
       {{u"Originator", u"\u00E9\u4E2D"}},
       Payload(602, {{Bext::kOriginatorOffset, "\xE9?"}})},
      {"time reference beyond 32 bits",
       {{u"TimeReference", u"18446744073709551615"}},
       Payload(602, {{Bext::kTimeReferenceLowOffset, "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"}})},
      {"time reference not a number", {{u"TimeReference", u"soon"}}, Bytes(602, 0)},
      {"coding history of five characters",
       {{u"CodingHistory", u"A=PCM"}},
       Payload(608, {{Bext::kCodingHistoryOffset, "A=PCM"}})},
      {"coding history of one character",
       {{u"CodingHistory", u"A"}},
       Payload(604, {{Bext::kCodingHistoryOffset, "A"}})},
      {"coding history of two characters",
       {{u"CodingHistory", u"AB"}},
       Payload(608, {{Bext::kCodingHistoryOffset, "AB"}})},
      {"empty coding history still has its terminator", {{u"CodingHistory", u""}}, Bytes(604, 0)},
  };
  for (const Case& c : cases) {
    TraceCapture cap;
    TagList tags;
    for (const auto& [name, value] : c.tags) tags.AddTag(name, value);
    Bytes out(3, 0xEE);
    EXPECT_TRUE(Bext::TagsToBEXT(out, tags, cap.context())) << c.label;
    EXPECT_EQ(out, c.payload) << c.label;
    EXPECT_EQ(cap.Trace(),
              u"->->  [clRIFFBEXTChunk::TagsToBEXT]\r\n"
              u"  Encoding BEXT chunk\r\n"
              u"<-<-  [clRIFFBEXTChunk::TagsToBEXT]\r\n")
        << c.label;
  }
}

TEST(BextChunkRemove, OnlyTheSevenBextNamesGo) {
  ToDepthZero();
  TagList tags;
  for (const char16_t* name : {u"description", u"Title", u"ORIGINATOR", u"OrigReference", u"origdate", u"OrigTime",
                               u"Artist", u"timereference", u"CodingHistory", u"Description", u"Coding History"}) {
    tags.AddTag(name, u"v");
  }
  TraceCapture cap;
  EXPECT_TRUE(Bext::RemoveTagsFromList(tags, cap.context()));
  EXPECT_EQ(TextsOf(tags), (Pairs{{u"Title", u"v"}, {u"Artist", u"v"}, {u"Coding History", u"v"}}));
  EXPECT_EQ(cap.Trace(),
            u"->->  [clRIFFBEXTChunk::RemoveTagsFromList]\r\n"
            u"<-<-  [clRIFFBEXTChunk::RemoveTagsFromList]\r\n");

  TagList empty;
  EXPECT_TRUE(Bext::RemoveTagsFromList(empty, cap.context()));
  EXPECT_TRUE(empty.empty());
}
