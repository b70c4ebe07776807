#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "WfxHeads.h"
#include "io/ByteWriter.h"
#include "wave/WFX.h"

namespace {
WFX FromChunk(std::vector<std::uint8_t> chunk) {
  WFX wfx;
  wfx.SetFromChunk(chunk);
  return wfx;
}

constexpr Head kCdPcm{kWaveFormatPcm, 2, 44100, 176400, 4, 16};
constexpr Head kFloatStereo{kWaveFormatIeeeFloat, 2, 48000, 384000, 8, 32};
}  // namespace

TEST(WfxSetFromChunk, ShortChunksFillTheHeadAsFarAsTheyGo) {
  // MS ADPCM so that the sizes are kept as read.
  const std::vector<std::uint8_t> full = Plain({kWaveFormatAdpcm, 2, 22050, 22311, 4, 4}, 32);
  const std::vector<std::uint8_t> noChannels = Plain({kWaveFormatAdpcm, 0, 8000, 4000, 4, 4}, 0);
  struct Row {
    const std::vector<std::uint8_t>* source;
    std::size_t length;
    std::uint16_t tag, channels;
    std::uint32_t rate, bytesPerSec;
    std::uint16_t blockAlign, bits;
  };
  const Row rows[] = {
      {&full, 14, 2, 2, 22050, 22311, 4, 16},      // bits from block alignment and channels
      {&noChannels, 14, 2, 0, 8000, 4000, 4, 16},  // no channels: 16
      {&full, 15, 2, 2, 22050, 22311, 4, 0},       // odd lengths leave the bits 0
      {&full, 16, 2, 2, 22050, 22311, 4, 4},       // the stored bits
      {&full, 17, 2, 2, 22050, 22311, 4, 0},
      {&full, 13, 0, 0, 0, 1, 1, 0},  // too short: zeros, rate and alignment made 1
      {&full, 0, 0, 0, 0, 1, 1, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.length);
    std::vector<std::uint8_t> chunk(row.source->begin(), row.source->begin() + std::ptrdiff_t(row.length));
    WFX wfx;
    wfx.SetFromChunk(chunk);
    EXPECT_EQ(wfx.FormatTag(), row.tag);
    EXPECT_EQ(wfx.Channels(), row.channels);
    EXPECT_EQ(wfx.SamplesPerSec(), row.rate);
    EXPECT_EQ(wfx.AvgBytesPerSec(), row.bytesPerSec);
    EXPECT_EQ(wfx.BlockAlign(), row.blockAlign);
    EXPECT_EQ(wfx.BitsPerSample(), row.bits);
    EXPECT_EQ(wfx.CbSize(), 0);
    EXPECT_EQ(wfx.size(), kWfxHeadSize);
  }
}

TEST(WfxSetFromChunk, OverlongCbSizeIsClampedInTheChunkItself) {
  struct Row {
    std::size_t extraPresent;
    std::uint16_t claimed;
    std::uint16_t expected;
  };
  const Row rows[] = {
      {0, 0, 0}, {0, 5, 0}, {2, 2, 2}, {2, 10, 2}, {32, 32, 32}, {32, 0xFFFF, 32}, {40, 32, 32},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << row.extraPresent << " bytes present, " << row.claimed << " claimed");
    std::vector<std::uint8_t> extra(row.extraPresent);
    for (std::size_t i = 0; i < extra.size(); ++i) extra[i] = std::uint8_t(0x40 + i);
    std::vector<std::uint8_t> chunk = Plain({kWaveFormatAdpcm, 1, 8000, 4096, 256, 4}, row.claimed, extra);
    WFX wfx;
    wfx.SetFromChunk(chunk);
    EXPECT_EQ(wfx.CbSize(), row.expected);
    EXPECT_EQ(wfx.size(), kWfxHeadSize + row.expected);
    EXPECT_TRUE(std::equal(wfx.data(), wfx.data() + wfx.size(), chunk.begin()));
    // The chunk buffer now says what the header says.
    EXPECT_EQ(chunk[kWfxCbSizeOffset] | chunk[kWfxCbSizeOffset + 1] << 8,
              row.claimed > row.extraPresent ? row.expected : row.claimed);
  }
}

TEST(WfxAssign, MakesPcmSizesConsistentAndNoRateOrAlignmentZero) {
  struct Row {
    const char* what;
    std::vector<std::uint8_t> header;
    std::uint32_t bytesPerSec;
    std::uint16_t blockAlign;
  };
  const Row rows[] = {
      {"pcm with wrong sizes", Plain({kWaveFormatPcm, 2, 44100, 1, 3, 16}, 0), 176400, 4},
      {"float with wrong sizes", Plain({kWaveFormatIeeeFloat, 1, 48000, 0, 0, 32}, 0), 192000, 4},
      {"extensible pcm", Extensible({0, 2, 96000, 5, 5, 24}, 24, 3, kWaveFormatPcm), 576000, 6},
      {"pcm without channels", Plain({kWaveFormatPcm, 0, 44100, 176400, 4, 16}, 0), 1, 1},
      {"12-bit pcm rounds down", Plain({kWaveFormatPcm, 1, 8000, 0, 0, 12}, 0), 8000, 1},
      {"adpcm keeps its sizes", Plain({kWaveFormatAdpcm, 2, 22050, 22311, 1024, 4}, 0), 22311, 1024},
      {"adpcm without byte rate", Plain({kWaveFormatAdpcm, 2, 22050, 0, 1024, 4}, 0), 1, 1024},
      {"mp3 without alignment", Plain({kWaveFormatMpegLayer3, 2, 44100, 16000, 0, 0}, 0), 16000, 1},
      {"unknown extensible keeps its sizes", Extensible({0, 2, 44100, 999, 7, 16}, 16, 3, 0x55), 999, 7},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    WFX wfx;
    ASSERT_TRUE(wfx.Assign(ByteSpan(row.header)));
    EXPECT_EQ(wfx.AvgBytesPerSec(), row.bytesPerSec);
    EXPECT_EQ(wfx.BlockAlign(), row.blockAlign);
    WFX copy;
    copy.Assign(wfx);
    EXPECT_TRUE(std::ranges::equal(copy.bytes(), wfx.bytes()));
  }
}

TEST(WfxAssign, RefusesBytesShorterThanTheirCbSize) {
  WFX wfx = FromChunk(Plain(kCdPcm, 0));
  const std::vector<std::uint8_t> tooShortForHead(17, 0);
  std::vector<std::uint8_t> cbTooLong = Plain({kWaveFormatAdpcm, 1, 8000, 4096, 256, 4}, 4, {1, 2});
  EXPECT_FALSE(wfx.Assign(ByteSpan(tooShortForHead)));
  EXPECT_FALSE(wfx.Assign(ByteSpan(cbTooLong)));
  EXPECT_TRUE(std::ranges::equal(wfx.bytes(), Plain(kCdPcm, 0)));
}

TEST(WfxFormatType, PlainTagOrTheSubFormatOfTheExtensibleForm) {
  std::vector<std::uint8_t> foreignGuid = Extensible(kCdPcm, 16, 3, kWaveFormatPcm);
  foreignGuid[kWfxSubFormatOffset + 15] ^= 0xFF;
  std::vector<std::uint8_t> shortExtensible =
      Plain({kWaveFormatExtensible, 2, 44100, 176400, 4, 16}, 21, std::vector<std::uint8_t>(21, 0));
  struct Row {
    const char* what;
    std::vector<std::uint8_t> header;
    std::uint16_t type;
    bool extensible;
  };
  const Row rows[] = {
      {"pcm", Plain(kCdPcm, 0), 1, false},
      {"ima adpcm", Plain({kWaveFormatImaAdpcm, 1, 8000, 4055, 256, 4}, 2, {0xF9, 0x01}), 17, false},
      {"0xFFFE without extra bytes", Plain({kWaveFormatExtensible, 2, 44100, 176400, 4, 16}, 0), 0xFFFE, false},
      {"0xFFFE with 21 extra bytes", shortExtensible, 0xFFFE, false},
      {"extensible pcm", Extensible(kCdPcm, 16, 3, kWaveFormatPcm), 1, true},
      {"extensible float", Extensible(kFloatStereo, 32, 3, kWaveFormatIeeeFloat), 3, true},
      {"extensible a-law", Extensible({0, 1, 8000, 8000, 1, 8}, 8, 4, kWaveFormatAlaw), 6, true},
      {"extensible mu-law", Extensible({0, 1, 8000, 8000, 1, 8}, 8, 4, kWaveFormatMulaw), 7, true},
      {"extensible adpcm", Extensible({0, 1, 8000, 4096, 256, 4}, 4, 4, kWaveFormatAdpcm), 2, true},
      {"extensible mpeg", Extensible({0, 2, 44100, 24000, 1, 0}, 0, 3, kWaveFormatMpeg), 80, true},
      {"extensible mp3 is not known", Extensible({0, 2, 44100, 16000, 1, 0}, 0, 3, 0x55), 0xFFFE, true},
      {"non-standard guid", foreignGuid, 0xFFFE, true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    WFX wfx;
    ASSERT_TRUE(wfx.Assign(ByteSpan(row.header)));
    EXPECT_EQ(wfx.GetFormatType(), row.type);
    EXPECT_EQ(wfx.IsExtensible(), row.extensible);
  }
}

TEST(WfxBitDepth, OnlyDeliverableDepthsForPcmAndFloat) {
  struct Row {
    std::uint16_t tag;
    std::uint16_t bits;
    bool valid;
  };
  const Row rows[] = {
      {kWaveFormatPcm, 8, true},        {kWaveFormatPcm, 16, true},        {kWaveFormatPcm, 24, true},
      {kWaveFormatPcm, 32, true},       {kWaveFormatPcm, 12, false},       {kWaveFormatPcm, 20, false},
      {kWaveFormatPcm, 64, false},      {kWaveFormatPcm, 0, false},        {kWaveFormatIeeeFloat, 32, true},
      {kWaveFormatIeeeFloat, 64, true}, {kWaveFormatIeeeFloat, 16, false}, {kWaveFormatIeeeFloat, 24, false},
      {kWaveFormatImaAdpcm, 4, true},   {kWaveFormatMpegLayer3, 0, true},  {kWaveFormatAlaw, 3, true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "tag " << row.tag << ", " << row.bits << " bits");
    EXPECT_EQ(FromChunk(Plain({row.tag, 2, 44100, 1, 1, row.bits}, 0)).IsValidBitDepth(), row.valid);
  }
  EXPECT_FALSE(FromChunk(Extensible({0, 2, 44100, 1, 1, 20}, 20, 3, kWaveFormatPcm)).IsValidBitDepth());
  EXPECT_TRUE(FromChunk(Extensible({0, 2, 44100, 1, 1, 64}, 64, 3, kWaveFormatIeeeFloat)).IsValidBitDepth());
}

TEST(WfxSetBitsPerSample, RecomputesSizesAndValidBitsOfExtensiblePcm) {
  struct Row {
    const char* what;
    std::vector<std::uint8_t> header;
    std::uint16_t bits;
    std::uint16_t blockAlign;
    std::uint32_t bytesPerSec;
    std::uint16_t validBits;
  };
  const Row rows[] = {
      {"plain pcm", Plain(kCdPcm, 0), 24, 6, 264600, 0},
      {"extensible pcm", Extensible({0, 2, 48000, 0, 0, 16}, 16, 3, kWaveFormatPcm), 24, 6, 288000, 24},
      {"extensible float", Extensible({0, 1, 48000, 0, 0, 32}, 32, 4, kWaveFormatIeeeFloat), 64, 8, 384000, 64},
      {"same bits keep valid bits", Extensible({0, 2, 48000, 0, 0, 24}, 20, 3, kWaveFormatPcm), 24, 6, 288000, 20},
      {"extensible a-law", Extensible({0, 1, 8000, 8000, 1, 8}, 8, 4, kWaveFormatAlaw), 16, 2, 16000, 8},
      {"ima adpcm", Plain({kWaveFormatImaAdpcm, 2, 22050, 22311, 1024, 4}, 0), 16, 4, 88200, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    WFX wfx = FromChunk(row.header);
    wfx.SetBitsPerSample(row.bits);
    EXPECT_EQ(wfx.BitsPerSample(), row.bits);
    EXPECT_EQ(wfx.BlockAlign(), row.blockAlign);
    EXPECT_EQ(wfx.AvgBytesPerSec(), row.bytesPerSec);
    EXPECT_EQ(wfx.ValidBitsPerSample(), row.validBits);
  }
}

TEST(WfxExtensibleToPlain, KnownSubFormatsBecomePlainKeepingTrailingBytes) {
  WFX pcm = FromChunk(Extensible({0, 2, 48000, 0, 0, 24}, 24, 3, kWaveFormatPcm, {0xA1, 0xA2, 0xA3, 0xA4}));
  ASSERT_TRUE(pcm.ExtensibleToPlain());
  EXPECT_TRUE(
      std::ranges::equal(pcm.bytes(), Plain({kWaveFormatPcm, 2, 48000, 288000, 6, 24}, 4, {0xA1, 0xA2, 0xA3, 0xA4})));

  WFX alaw = FromChunk(Extensible({0, 1, 8000, 8000, 1, 8}, 8, 4, kWaveFormatAlaw));
  ASSERT_TRUE(alaw.ExtensibleToPlain());
  EXPECT_TRUE(std::ranges::equal(alaw.bytes(), Plain({kWaveFormatAlaw, 1, 8000, 8000, 1, 8}, 0)));

  const std::vector<std::uint8_t> unknown = Extensible({0, 2, 44100, 16000, 1, 0}, 0, 3, 0x55);
  const std::vector<std::uint8_t> plain = Plain(kCdPcm, 0);
  for (const auto* bytes : {&unknown, &plain}) {
    WFX wfx = FromChunk(*bytes);
    EXPECT_FALSE(wfx.ExtensibleToPlain());
    EXPECT_TRUE(std::ranges::equal(wfx.bytes(), *bytes));
  }
}

TEST(WfxCopyTo, FortyBytesWhenExtensibleElseTheHeadOnly) {
  const std::vector<std::uint8_t> extensible = Extensible(kFloatStereo, 32, 3, kWaveFormatIeeeFloat, {9, 9});
  const std::vector<std::uint8_t> adpcm = Plain({kWaveFormatAdpcm, 2, 22050, 22311, 1024, 4}, 4, {5, 6, 7, 8});
  struct Row {
    const char* what;
    const std::vector<std::uint8_t>* header;
    std::size_t copied;
  };
  const Row rows[] = {{"extensible", &extensible, 40}, {"adpcm", &adpcm, 18}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    std::uint8_t format[kWfxExtensibleSize];
    std::fill(std::begin(format), std::end(format), 0xCC);
    FromChunk(*row.header).CopyTo(format);
    EXPECT_TRUE(std::equal(format, format + row.copied, row.header->begin()));
    EXPECT_TRUE(std::all_of(format + row.copied, std::end(format), [](std::uint8_t b) { return b == 0xCC; }));
  }
}

TEST(WfxUncompressedFrom, DecodedFormatIsPcmOrFloatWithoutCodecExtras) {
  struct Row {
    const char* what;
    std::vector<std::uint8_t> onFile;
    std::vector<std::uint8_t> expected;
  };
  const Row rows[] = {
      {"ima adpcm 4-bit", Plain({kWaveFormatImaAdpcm, 2, 22050, 22311, 1024, 4}, 2, {0xF9, 0x03}),
       Plain({kWaveFormatPcm, 2, 22050, 88200, 4, 16}, 0)},
      {"a-law 8-bit", Plain({kWaveFormatAlaw, 1, 8000, 8000, 1, 8}, 0),
       Plain({kWaveFormatPcm, 1, 8000, 8000, 1, 8}, 0)},
      {"ms adpcm", Plain({kWaveFormatAdpcm, 1, 44100, 22201, 512, 4}, 32, std::vector<std::uint8_t>(32, 1)),
       Plain({kWaveFormatPcm, 1, 44100, 88200, 2, 16}, 0)},
      {"mp3 without bits", Plain({kWaveFormatMpegLayer3, 2, 44100, 16000, 1, 0}, 12, std::vector<std::uint8_t>(12, 2)),
       Plain({kWaveFormatPcm, 2, 44100, 176400, 4, 16}, 0)},
      {"pcm loses stray extra bytes", Plain(kCdPcm, 2, {0, 0}), Plain(kCdPcm, 0)},
      {"0xFFFE too short for the extensible block", Plain({kWaveFormatExtensible, 1, 8000, 8000, 1, 8}, 0),
       Plain({kWaveFormatPcm, 1, 8000, 8000, 1, 8}, 0)},
      {"extensible float", Extensible(kFloatStereo, 32, 3, kWaveFormatIeeeFloat, {1, 2, 3, 4, 5, 6, 7, 8}),
       Extensible(kFloatStereo, 32, 3, kWaveFormatIeeeFloat)},
      {"extensible a-law", Extensible({0, 1, 8000, 8000, 1, 8}, 8, 4, kWaveFormatAlaw),
       Extensible({0, 1, 8000, 8000, 1, 8}, 8, 4, kWaveFormatPcm)},
      {"extensible adpcm", Extensible({0, 2, 22050, 22311, 1024, 4}, 4, 3, kWaveFormatAdpcm),
       Extensible({0, 2, 22050, 88200, 4, 16}, 16, 3, kWaveFormatPcm)},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    const WFX pcm = UncompressedFrom(FromChunk(row.onFile));
    EXPECT_TRUE(std::ranges::equal(pcm.bytes(), row.expected));
    EXPECT_EQ(pcm.size(), row.expected.size());
  }
}
