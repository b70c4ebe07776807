#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "TagPairs.h"
#include "TraceCapture.h"
#include "codec/Trace.h"
#include "io/Text.h"
#include "riff/clRIFFBEXTChunk.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using Bext = clRIFFBEXTChunk;

// A payload of `size` zero bytes with texts placed at field offsets.
Bytes Payload(std::size_t size, std::initializer_list<std::pair<std::size_t, std::string_view>> fields) {
  Bytes out(size, 0);
  for (const auto& [offset, text] : fields) std::copy(text.begin(), text.end(), out.begin() + std::ptrdiff_t(offset));
  return out;
}

}  // namespace

TEST(BextChunk, TagsAndPayloadsBothWays) {
  trace_testing::ResetIndentation();
  enum Way { kRead = 1, kWrite = 2, kBoth = 3 };
  const std::string description(256, 'd');
  const std::string_view timeReference("\x01\x00\x00\x00\x02\x00\x00\x00", 8);
  struct Row {
    Way way;
    std::u16string tags;
    Bytes payload;
  };
  const std::vector<Row> rows = {
      {kRead, u"TimeReference=0", Bytes(602, 0)},
      {kWrite, u"", Bytes(602, 0)},
      {kWrite, u"Title=t; Description =d", Bytes(602, 0)},
      {kBoth,
       u"Description=A take; Originator=Studio; OrigReference=REF-1; OrigDate=2024-01-02; OrigTime=12:34:56; "
       u"TimeReference=8589934593",
       Payload(602, {{Bext::kDescriptionOffset, "A take"},
                     {Bext::kOriginatorOffset, "Studio"},
                     {Bext::kOriginatorReferenceOffset, "REF-1"},
                     {Bext::kOriginationDateOffset, "2024-01-02"},
                     {Bext::kOriginationTimeOffset, "12:34:56"},
                     {Bext::kTimeReferenceLowOffset, timeReference}})},
      // The version is no tag.
      {kRead, u"Originator=o; TimeReference=0",
       Payload(602, {{Bext::kOriginatorOffset, "o"}, {Bext::kVersionOffset, "\x02"}})},
      // A full field has no terminator.
      {kBoth, u"Description=" + Widen(description) + u"; Originator=next; TimeReference=0",
       Payload(602, {{Bext::kDescriptionOffset, description}, {Bext::kOriginatorOffset, "next"}})},
      {kWrite, u"description=" + std::u16string(300, u'x'), Payload(602, {{0, std::string(256, 'x')}})},
      {kRead, u"Originator=Studio; TimeReference=0",
       Payload(602, {{Bext::kOriginatorOffset, "Studio   "}, {Bext::kOriginationDateOffset, "          "}})},
      // The date is cut to its ten bytes; the time fills its field.
      {kWrite, u"OrigDate=2024-01-02T10:11; OrigTime=12:34:56; TimeReference=8589934593",
       Payload(602,
               {{Bext::kOriginationDateOffset, "2024-01-0212:34:56"}, {Bext::kTimeReferenceLowOffset, timeReference}})},
      {kWrite, u"ORIGINATOR=o; origreference=r; ORIGTIME=t",
       Payload(602, {{Bext::kOriginatorOffset, "o"},
                     {Bext::kOriginatorReferenceOffset, "r"},
                     {Bext::kOriginationTimeOffset, "t"}})},
      {kWrite, u"Originator=first and longer; Originator=second; TimeReference=5; TimeReference=7",
       Payload(602, {{Bext::kOriginatorOffset, "second"}, {Bext::kTimeReferenceLowOffset, "\x07"}})},
      {kWrite, std::u16string(u"Originator=ab\0cd", 16), Payload(602, {{Bext::kOriginatorOffset, "ab"}})},
      {kWrite, u"Originator=\u00E9\u4E2D", Payload(602, {{Bext::kOriginatorOffset, "\xE9?"}})},
      {kBoth, u"Description=Caf\u00E9 \u20AC; TimeReference=0",
       Payload(602, {{Bext::kDescriptionOffset, "Caf\xE9 \x80"}})},
      {kBoth, u"TimeReference=18446744073709551615",
       Payload(602, {{Bext::kTimeReferenceLowOffset, "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"}})},
      {kWrite, u"TimeReference=soon", Bytes(602, 0)},
      // The coding history is terminated and padded to an even size.
      {kBoth, u"TimeReference=0; CodingHistory=A=PCM", Payload(608, {{Bext::kCodingHistoryOffset, "A=PCM"}})},
      {kWrite, u"CodingHistory=A", Payload(604, {{Bext::kCodingHistoryOffset, "A"}})},
      {kWrite, u"CodingHistory=AB", Payload(608, {{Bext::kCodingHistoryOffset, "AB"}})},
      {kWrite, u"CodingHistory=", Bytes(604, 0)},
      {kRead, u"TimeReference=0; CodingHistory=abc", Payload(605, {{Bext::kCodingHistoryOffset, "abc"}})},
      {kRead, u"TimeReference=0", Payload(608, {{Bext::kCodingHistoryOffset, "  "}})},
      // UTF-8 is told field by field.
      {kRead, u"Description=Gr\u00FC\u00DFe; Originator=Caf\u00E9; TimeReference=0; CodingHistory=T=K\u00F6ln",
       Payload(612, {{Bext::kDescriptionOffset,
                      "Gr\xC3\xBC\xC3\x9F"
                      "e"},
                     {Bext::kOriginatorOffset, "Caf\xE9"},
                     {Bext::kCodingHistoryOffset, "T=K\xC3\xB6ln"}})},
      {kRead, u"OrigTime=\u00E9\u00E9\u00E9\u00E9; TimeReference=0",
       Payload(602, {{Bext::kOriginationTimeOffset, "\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9"}})},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(WideToUtf8(row.tags));
    if (row.way & kRead) {
      TraceCapture cap;
      TagList dest;
      dest.AddTag(u"Earlier", u"kept");
      Bext chunk;
      EXPECT_TRUE(chunk.InitFrom(row.payload, dest, cap.context()));
      EXPECT_EQ(Texts(dest), u"Earlier=kept; " + row.tags);
      EXPECT_EQ(Texts(chunk.Tags()), row.tags);
      EXPECT_EQ(cap.Trace(),
                u"->->  [clRIFFBEXTChunk::InitFrom]\r\n  Decoding BEXT chunk\r\n<-<-  [clRIFFBEXTChunk::InitFrom]\r\n");
    }
    if (row.way & kWrite) {
      TraceCapture cap;
      Bytes out(3, 0xEE);
      EXPECT_TRUE(Bext::TagsToBEXT(out, TagsFrom(row.tags), cap.context()));
      EXPECT_EQ(out, row.payload);
      EXPECT_EQ(
          cap.Trace(),
          u"->->  [clRIFFBEXTChunk::TagsToBEXT]\r\n  Encoding BEXT chunk\r\n<-<-  [clRIFFBEXTChunk::TagsToBEXT]\r\n");
    }
  }
  // Shorter than the fixed part: nothing is taken.
  for (const Bytes& payload : {Bytes(601, 0), Bytes{}}) {
    TraceCapture cap;
    TagList dest;
    dest.AddTag(u"Earlier", u"kept");
    Bext chunk;
    EXPECT_FALSE(chunk.InitFrom(payload, dest, cap.context()));
    EXPECT_EQ(Texts(dest), u"Earlier=kept");
    EXPECT_TRUE(chunk.Tags().empty());
    EXPECT_EQ(cap.Trace(), u"->->  [clRIFFBEXTChunk::InitFrom]\r\n<-<-  [clRIFFBEXTChunk::InitFrom]\r\n");
  }
  EXPECT_EQ(Bext::Version(Payload(602, {{Bext::kVersionOffset, "\x02\x01"}})), 0x0102);
  EXPECT_EQ(Bext::Version(Bytes(602, 0)), 0);
  EXPECT_EQ(Bext::Version(Bytes(601, 0xFF)), std::nullopt);
}

TEST(BextChunk, RemoveTakesOnlyTheSevenBextNames) {
  trace_testing::ResetIndentation();
  TagList tags = TagsFrom(
      u"description=v; Title=v; ORIGINATOR=v; OrigReference=v; origdate=v; OrigTime=v; Artist=v; timereference=v; "
      u"CodingHistory=v; Description=v; Coding History=v");
  TraceCapture cap;
  EXPECT_TRUE(Bext::RemoveTagsFromList(tags, cap.context()));
  EXPECT_EQ(Texts(tags), u"Title=v; Artist=v; Coding History=v");
  EXPECT_EQ(cap.Trace(),
            u"->->  [clRIFFBEXTChunk::RemoveTagsFromList]\r\n<-<-  [clRIFFBEXTChunk::RemoveTagsFromList]\r\n");
  TagList empty;
  EXPECT_TRUE(Bext::RemoveTagsFromList(empty, cap.context()));
  EXPECT_TRUE(empty.empty());
}
