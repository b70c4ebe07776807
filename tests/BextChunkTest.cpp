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
    std::u16string tags;
  };
  const std::vector<Case> cases = {
      {"one byte short of the fixed part", Bytes(601, 0), false, u""},
      {"nothing", {}, false, u""},
      {"all fields empty", Bytes(602, 0), true, u"TimeReference=0"},
      {"every field",
       Payload(602, {{Bext::kDescriptionOffset, "A take"},
                     {Bext::kOriginatorOffset, "Studio"},
                     {Bext::kOriginatorReferenceOffset, "REF-1"},
                     {Bext::kOriginationDateOffset, "2024-01-02"},
                     {Bext::kOriginationTimeOffset, "12:34:56"},
                     {Bext::kTimeReferenceLowOffset, std::string_view("\x01\x00\x00\x00\x02\x00\x00\x00", 8)},
                     {Bext::kVersionOffset, "\x02"}}),
       true,
       u"Description=A take; Originator=Studio; OrigReference=REF-1; OrigDate=2024-01-02; OrigTime=12:34:56; "
       u"TimeReference=8589934593"},
      {"full description without terminator",
       Payload(602, {{Bext::kDescriptionOffset, description}, {Bext::kOriginatorOffset, "next"}}), true,
       u"Description=" + Widen(description) + u"; Originator=next; TimeReference=0"},
      {"trailing blanks are not part of a value",
       Payload(602, {{Bext::kOriginatorOffset, "Studio   "}, {Bext::kOriginationDateOffset, "          "}}), true,
       u"Originator=Studio; TimeReference=0"},
      {"largest time reference", Payload(602, {{Bext::kTimeReferenceLowOffset, "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"}}),
       true, u"TimeReference=18446744073709551615"},
      {"coding history", Payload(608, {{Bext::kCodingHistoryOffset, "A=PCM"}}), true,
       u"TimeReference=0; CodingHistory=A=PCM"},
      {"coding history without terminator", Payload(605, {{Bext::kCodingHistoryOffset, "abc"}}), true,
       u"TimeReference=0; CodingHistory=abc"},
      {"coding history of blanks", Payload(608, {{Bext::kCodingHistoryOffset, "  "}}), true, u"TimeReference=0"},
      {"ANSI text", Payload(602, {{Bext::kDescriptionOffset, "Caf\xE9 \x80"}}), true,
       u"Description=Caf\u00E9 \u20AC; TimeReference=0"},
      {"UTF-8 text, field by field",
       Payload(612, {{Bext::kDescriptionOffset,
                      "Gr\xC3\xBC\xC3\x9F"
                      "e"},
                     {Bext::kOriginatorOffset, "Caf\xE9"},
                     {Bext::kCodingHistoryOffset, "T=K\xC3\xB6ln"}}),
       true, u"Description=Gr\u00FC\u00DFe; Originator=Caf\u00E9; TimeReference=0; CodingHistory=T=K\u00F6ln"},
      {"a full field of UTF-8", Payload(602, {{Bext::kOriginationTimeOffset, "\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9"}}),
       true, u"OrigTime=\u00E9\u00E9\u00E9\u00E9; TimeReference=0"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    TraceCapture cap;
    TagList dest;
    dest.AddTag(u"Earlier", u"kept");
    Bext chunk;
    EXPECT_EQ(chunk.InitFrom(c.payload, dest, cap.context()), c.result);
    EXPECT_EQ(Texts(dest), u"Earlier=kept" + (c.tags.empty() ? u"" : u"; " + c.tags));
    EXPECT_EQ(Texts(chunk.Tags()), c.tags);
    const std::u16string decoding = c.result ? u"  Decoding BEXT chunk\r\n" : u"";
    EXPECT_EQ(cap.Trace(),
              u"->->  [clRIFFBEXTChunk::InitFrom]\r\n" + decoding + u"<-<-  [clRIFFBEXTChunk::InitFrom]\r\n");
  }
}

TEST(BextChunkRead, VersionForTheSummary) {
  EXPECT_EQ(Bext::Version(Payload(602, {{Bext::kVersionOffset, "\x02\x01"}})), 0x0102);
  EXPECT_EQ(Bext::Version(Bytes(602, 0)), 0);
  EXPECT_EQ(Bext::Version(Bytes(601, 0xFF)), std::nullopt);
}

TEST(BextChunkWrite, FieldsAreCutToTheirWidthAndHistoryPadded) {
  ToDepthZero();
  struct Case {
    const char* label;
    std::u16string tags;
    Bytes payload;
  };
  const std::vector<Case> cases = {
      {"no tags", u"", Bytes(602, 0)},
      {"unrelated tags", u"Title=t; Description =d", Bytes(602, 0)},
      {"date cut to ten bytes, time fills its field",
       u"OrigDate=2024-01-02T10:11; OrigTime=12:34:56; TimeReference=8589934593",
       Payload(602, {{Bext::kOriginationDateOffset, "2024-01-0212:34:56"},
                     {Bext::kTimeReferenceLowOffset, std::string_view("\x01\x00\x00\x00\x02\x00\x00\x00", 8)}})},
      {"description cut to its width", u"description=" + std::u16string(300, u'x'),
       Payload(602, {{0, std::string(256, 'x')}})},
      {"names in any case", u"ORIGINATOR=o; origreference=r; ORIGTIME=t",
       Payload(602, {{Bext::kOriginatorOffset, "o"},
                     {Bext::kOriginatorReferenceOffset, "r"},
                     {Bext::kOriginationTimeOffset, "t"}})},
      {"a later tag replaces an earlier one",
       u"Originator=first and longer; Originator=second; TimeReference=5; TimeReference=7",
       Payload(602, {{Bext::kOriginatorOffset, "second"}, {Bext::kTimeReferenceLowOffset, "\x07"}})},
      {"text stops at a zero unit", std::u16string(u"Originator=ab\0cd", 16),
       Payload(602, {{Bext::kOriginatorOffset, "ab"}})},
      {"code page text and replacement", u"Originator=\u00E9\u4E2D",
       Payload(602, {{Bext::kOriginatorOffset, "\xE9?"}})},
      {"time reference beyond 32 bits", u"TimeReference=18446744073709551615",
       Payload(602, {{Bext::kTimeReferenceLowOffset, "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"}})},
      {"time reference not a number", u"TimeReference=soon", Bytes(602, 0)},
      {"coding history of five characters", u"CodingHistory=A=PCM",
       Payload(608, {{Bext::kCodingHistoryOffset, "A=PCM"}})},
      {"coding history of one character", u"CodingHistory=A", Payload(604, {{Bext::kCodingHistoryOffset, "A"}})},
      {"coding history of two characters", u"CodingHistory=AB", Payload(608, {{Bext::kCodingHistoryOffset, "AB"}})},
      {"empty coding history still has its terminator", u"CodingHistory=", Bytes(604, 0)},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    TraceCapture cap;
    Bytes out(3, 0xEE);
    EXPECT_TRUE(Bext::TagsToBEXT(out, TagsFrom(c.tags), cap.context()));
    EXPECT_EQ(out, c.payload);
    EXPECT_EQ(cap.Trace(),
              u"->->  [clRIFFBEXTChunk::TagsToBEXT]\r\n"
              u"  Encoding BEXT chunk\r\n"
              u"<-<-  [clRIFFBEXTChunk::TagsToBEXT]\r\n");
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
  EXPECT_EQ(Texts(tags), u"Title=v; Artist=v; Coding History=v");
  EXPECT_EQ(cap.Trace(),
            u"->->  [clRIFFBEXTChunk::RemoveTagsFromList]\r\n"
            u"<-<-  [clRIFFBEXTChunk::RemoveTagsFromList]\r\n");

  TagList empty;
  EXPECT_TRUE(Bext::RemoveTagsFromList(empty, cap.context()));
  EXPECT_TRUE(empty.empty());
}
