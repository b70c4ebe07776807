#include "host/SamplePositions.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "io/ByteReader.h"
#include "io/ByteWriter.h"

namespace {
using Bytes = std::vector<std::uint8_t>;

Bytes FromWords(std::initializer_list<std::uint32_t> words, std::size_t extra = 0) {
  Bytes out;
  ByteWriter w(out);
  for (std::uint32_t v : words) w.U32(v);
  w.Zeros(extra);
  return out;
}
}  // namespace

TEST(SamplePositions, RescalesAsTheResamplerCountsAndSaturates) {
  const struct {
    std::uint64_t position;
    int in, out;
    std::uint64_t limit, expected;
  } cases[] = {
      {0, 48000, 44100, UINT64_MAX, 0},
      {1, 44100, 88200, UINT64_MAX, 2},
      {30011, 48000, 44100, UINT64_MAX, 27573},                   // 27572.6
      {160, 48000, 44100, UINT64_MAX, 147},                       // exactly 147
      {1, 3, 2, UINT64_MAX, 1},                                   // 0.67
      {1, 2000, 1000, UINT64_MAX, 1},                             // a half rounds up
      {UINT64_MAX, 1000, 768000, UINT64_MAX, UINT64_MAX},         // beyond 64 bits
      {UINT64_MAX, 768000, 1000, UINT64_MAX, 24019198012642645},  // exact where p x out would overflow
      {0xFFFFFFFFu, 44100, 48000, UINT32_MAX, UINT32_MAX},
  };
  for (const auto& c : cases)
    EXPECT_EQ(RescalePosition(c.position, c.in, c.out, c.limit), c.expected) << c.position << " " << c.in;
}

// Every chunk from 48000 to 44100 Hz.
TEST(SamplePositions, ChunksRescaleOnlyWhatTheyHold) {
  const auto region = [](std::uint32_t length) {  // a label, a region, a region cut short by the end of the list
    return FromWords({MakeFourCC("adtl"), MakeFourCC("labl"), 8, 1, MakeFourCC("abc "), MakeFourCC("ltxt"), 20, 1,
                      length, MakeFourCC("rgn "), 0, 0, MakeFourCC("ltxt"), 20, 2, 48000});
  };
  Bytes notAdtl = region(48000);
  notAdtl[0] = 'I';
  const struct {
    const char* label;
    void (*rescale)(std::span<std::uint8_t>, int, int);
    Bytes data, expected;
  } cases[] = {
      {"cue: position and sample offset, not chunk and block starts", RescaleCueChunk,
       FromWords({1, 9, 48000, 0x61746164, 100, 200, 48000}), FromWords({1, 9, 44100, 0x61746164, 100, 200, 44100})},
      {"cue: a count beyond the data stops at the last whole point", RescaleCueChunk,
       FromWords({5, 1, 480, 0, 0, 0, 480}, 20), FromWords({5, 1, 441, 0, 0, 0, 441}, 20)},
      {"cue: shorter than its count field", RescaleCueChunk, Bytes{7, 0}, Bytes{7, 0}},
      {"smpl: period and loops; the end sample's boundary moves", RescaleSamplerChunk,
       FromWords({0, 0, 20833, 60, 0, 0, 0, 1, 0, 1, 0, 4800, 43199, 0, 0}),
       FromWords({0, 0, 22675, 60, 0, 0, 0, 1, 0, 1, 0, 4410, 39689, 0, 0})},
      {"smpl: a one-sample loop stays at least one sample", RescaleSamplerChunk,
       FromWords({0, 0, 0, 0, 0, 0, 0, 1, 0, 1, 0, 10, 10, 0, 0}),
       FromWords({0, 0, 0, 0, 0, 0, 0, 1, 0, 1, 0, 9, 9, 0, 0})},
      {"smpl: a loop count beyond the data", RescaleSamplerChunk, FromWords({0, 0, 20833, 0, 0, 0, 0, 3, 0}, 10),
       FromWords({0, 0, 22675, 0, 0, 0, 0, 3, 0}, 10)},
      {"smpl: shorter than its head", RescaleSamplerChunk, FromWords({0, 0, 20833}), FromWords({0, 0, 20833})},
      {"adtl: region lengths only", RescaleLabelList, region(48000), region(44100)},
      {"not adtl", RescaleLabelList, notAdtl, notAdtl},
  };
  for (const auto& c : cases) {
    Bytes data = c.data;
    c.rescale(data, 48000, 44100);
    EXPECT_EQ(data, c.expected) << c.label;
  }
}

TEST(SamplePositions, TimeReferenceTextThatIsNoCountStays) {
  EXPECT_EQ(RescaleTimeReference(u"1728000012345", 48000, 44100), u"1587600011342");
  EXPECT_EQ(RescaleTimeReference(u"18446744073709551615", 768000, 1000), u"24019198012642645");
  for (const char16_t* text : {u"", u"12a", u"-5", u"18446744073709551616", u" 12"})
    EXPECT_EQ(RescaleTimeReference(text, 48000, 44100), text);
}
