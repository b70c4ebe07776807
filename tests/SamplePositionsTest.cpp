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
      {"cue: no points, whatever follows", RescaleCueChunk, FromWords({0, 1, 480, 0, 0, 0, 480}),
       FromWords({0, 1, 480, 0, 0, 0, 480})},
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
