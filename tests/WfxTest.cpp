#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "WfxHeads.h"

namespace {
using Vec = std::vector<std::uint8_t>;

WFX FromChunk(Vec chunk) {
  WFX wfx;
  wfx.SetFromChunk(chunk);
  return wfx;
}

}  // namespace

TEST(WfxSetFromChunk, ShortChunksFillTheHeadAsFarAsTheyGo) {
  // MS ADPCM so that the sizes are kept as read.
  const Vec full = Plain({kWaveFormatAdpcm, 2, 22050, 22311, 4, 4}, 32);
  const Vec noChannels = Plain({kWaveFormatAdpcm, 0, 8000, 4000, 4, 4}, 0);
  const struct {
    const Vec* source;
    std::size_t length;
    Head head;
  } rows[] = {
      {&full, 14, {2, 2, 22050, 22311, 4, 16}},      // bits from block alignment and channels
      {&noChannels, 14, {2, 0, 8000, 4000, 4, 16}},  // no channels: 16
      {&full, 15, {2, 2, 22050, 22311, 4, 0}},       // odd lengths leave the bits 0
      {&full, 16, {2, 2, 22050, 22311, 4, 4}},       // the stored bits
      {&full, 17, {2, 2, 22050, 22311, 4, 0}},
      {&full, 13, {0, 0, 0, 1, 1, 0}},  // too short: zeros, rate and alignment made 1
      {&full, 0, {0, 0, 0, 1, 1, 0}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.length);
    const WFX wfx = FromChunk(Vec(row.source->begin(), row.source->begin() + std::ptrdiff_t(row.length)));
    EXPECT_TRUE(std::ranges::equal(wfx.bytes(), Plain(row.head, 0)));
  }
}
