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
