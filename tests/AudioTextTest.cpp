#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "WfxHeads.h"
#include "io/ByteWriter.h"
#include "wave/AudioText.h"

namespace {
// The header a "fmt " chunk of this head would give; an extensible one when `subTag` is set.
WFX Header(const Head& h, std::uint16_t subTag = 0, std::uint32_t mask = 0, std::uint16_t cbSize = 0) {
  std::vector<std::uint8_t> bytes =
      subTag != 0 ? Extensible(h, h.bits, mask, subTag) : Plain(h, cbSize, std::vector<std::uint8_t>(cbSize, 0));
  WFX wfx;
  wfx.SetFromChunk(bytes);
  return wfx;
}

Head Pcm(std::uint16_t tag, std::uint16_t bits, std::uint32_t rate) { return {tag, 2, rate, 0, 0, bits}; }
Head Lossy(std::uint16_t tag, std::uint16_t channels, std::uint32_t bytesPerSec) {
  return {tag, channels, 44100, bytesPerSec, 1, 0};
}
}  // namespace

TEST(AudioTextQuality, LosslessClassByDepthAndRate) {
  struct Row {
    WFX wfx;
    std::u16string expected;
  };
  const Row rows[] = {
      {Header(Pcm(kWaveFormatPcm, 16, 44100)), u"CD (Lossless)"},
      {Header(Pcm(kWaveFormatPcm, 16, 48000)), u"DAT (Lossless)"},
      {Header(Pcm(kWaveFormatPcm, 16, 96000)), u"Perfect (Lossless)"},
      {Header(Pcm(kWaveFormatPcm, 24, 44100)), u"Perfect (Lossless)"},
      {Header(Pcm(kWaveFormatPcm, 24, 96000)), u"DVD (Lossless)"},
      {Header(Pcm(kWaveFormatPcm, 24, 48000)), u"DVD (Lossless)"},
      {Header(Pcm(kWaveFormatPcm, 8, 96000)), u"Perfect (Lossless)"},
      {Header(Pcm(kWaveFormatIeeeFloat, 32, 48000)), u"DVD (Lossless)"},
      {Header(Pcm(kWaveFormatIeeeFloat, 32, 47999)), u"Perfect (Lossless)"},
      {Header(Pcm(0, 16, 44100), kWaveFormatPcm, 3), u"CD (Lossless)"},
      {Header(Pcm(0, 24, 192000), kWaveFormatIeeeFloat, 3), u"DVD (Lossless)"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "type " << row.wfx.GetFormatType() << ", " << row.wfx.BitsPerSample()
                                    << " bits, " << row.wfx.SamplesPerSec() << " Hz");
    EXPECT_EQ(QualityName(row.wfx), row.expected);
  }
}

TEST(AudioTextQuality, LossyClassByPerChannelBitrate) {
  struct Row {
    const char* what;
    WFX wfx;
    std::u16string expected;
  };
  // Eight channels make the per-channel bitrate equal to the byte rate.
  const Row rows[] = {
      {"mpeg at 127500", Header(Lossy(kWaveFormatMpeg, 8, 127500)), u"High (Lossy)"},
      {"mpeg at 127499", Header(Lossy(kWaveFormatMpeg, 8, 127499)), u"Medium (Lossy)"},
      {"mpeg at 79500", Header(Lossy(kWaveFormatMpeg, 8, 79500)), u"Medium (Lossy)"},
      {"mpeg at 79499", Header(Lossy(kWaveFormatMpeg, 8, 79499)), u"Low (Lossy)"},
      {"mp3 at 95500", Header(Lossy(kWaveFormatMpegLayer3, 8, 95500)), u"High (Lossy)"},
      {"mp3 at 95499", Header(Lossy(kWaveFormatMpegLayer3, 8, 95499)), u"Medium (Lossy)"},
      {"mp3 at 63500", Header(Lossy(kWaveFormatMpegLayer3, 8, 63500)), u"Medium (Lossy)"},
      {"mp3 at 63499", Header(Lossy(kWaveFormatMpegLayer3, 8, 63499)), u"Low (Lossy)"},
      {"mp3 128 kbit/s stereo", Header(Lossy(kWaveFormatMpegLayer3, 2, 16000)), u"Medium (Lossy)"},
      {"mp3 192 kbit/s stereo", Header(Lossy(kWaveFormatMpegLayer3, 2, 24000)), u"High (Lossy)"},
      {"ima adpcm at 127500", Header(Lossy(kWaveFormatImaAdpcm, 8, 127500)), u"Medium (Lossy)"},
      {"ima adpcm at 127499", Header(Lossy(kWaveFormatImaAdpcm, 8, 127499)), u"Low (Lossy)"},
      {"ima adpcm far above", Header(Lossy(kWaveFormatImaAdpcm, 1, 4000000)), u"Medium (Lossy)"},
      {"a-law 64 kbit/s mono", Header(Lossy(kWaveFormatAlaw, 1, 8000)), u"Low (Lossy)"},
      {"no channels counts as one", Header(Lossy(kWaveFormatMpeg, 0, 15938)), u"High (Lossy)"},
      {"extensible mpeg", Header(Lossy(0, 8, 127500), kWaveFormatMpeg, 3), u"High (Lossy)"},
      {"unknown extensible", Header(Lossy(0, 8, 127500), 0x55, 3), u"Medium (Lossy)"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(QualityName(row.wfx), row.expected);
  }
}

TEST(AudioTextChannels, FixedLayoutsByChannelCount) {
  const std::u16string expected[] = {
      u"",
      u"Center",
      u"Left, Right",
      u"Left, Right, Sub-woofer",
      u"Left, Right, Back Left, Back Right",
      u"Left, Right, Center, Back Left, Back Right",
      u"Left, Right, Center, Sub-woofer, Back Left, Back Right",
      u"Left, Right, Center, Sub-woofer, Back Left, Back Right, Back Center",
      u"Left, Right, Center, Sub-woofer, Back Left, Back Right, Side Left, Side Right",
      u"",
  };
  for (std::uint16_t channels = 0; channels <= 9; ++channels) {
    SCOPED_TRACE(channels);
    EXPECT_EQ(ChannelLayoutText(Header({kWaveFormatPcm, channels, 44100, 0, 0, 16})), expected[channels]);
  }
  // Without a mask, or without the extensible form, the count decides.
  EXPECT_EQ(ChannelLayoutText(Header({0, 3, 44100, 0, 0, 16}, kWaveFormatPcm, 0)), u"Left, Right, Sub-woofer");
  EXPECT_EQ(ChannelLayoutText(Header({kWaveFormatPcm, 1, 44100, 0, 0, 16}, 0, 0, 22)), u"Center");
}

TEST(AudioTextChannels, MaskNamesJoinedByCommaAndTwoBlanks) {
  struct Row {
    std::uint32_t mask;
    std::u16string expected;
  };
  const Row rows[] = {
      {0x3, u"Left,  Right"},
      {0x4, u"Center"},
      {0x3F, u"Left,  Right,  Center,  Sub-woofer,  Back Left,  Back Right"},
      {0x600, u"Side Left,  Side Right"},
      {0x3FFC0,
       u"Left of Center,  Right of Center,  Back Center,  Side Left,  Side Right,  Top Center,  "
       u"Top Front Left,  Top Front Center,  Top Front Right,  Top Back Left,  Top Back Center,  "
       u"Top Back Right"},
      {0x40004, u"Center"},
      {0xFFFC0000, u""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << std::hex << row.mask);
    EXPECT_EQ(ChannelLayoutText(Header({0, 2, 44100, 0, 0, 16}, kWaveFormatPcm, row.mask)), row.expected);
  }
}

TEST(AudioTextWfx, OneLineHeaderText) {
  struct Row {
    WFX wfx;
    std::u16string expected;
  };
  const Row rows[] = {
      {Header({kWaveFormatPcm, 2, 44100, 0, 0, 16}),
       u"Format Tag: 1 Channels: 2 Bits per Sample: 16 Samples Per Second: 44100 Bytes Per Second: 176400 "
       u"Block Align: 4 CB Size: 0"},
      {Header({kWaveFormatImaAdpcm, 1, 22050, 11100, 512, 4}, 0, 0, 2),
       u"Format Tag: 17 Channels: 1 Bits per Sample: 4 Samples Per Second: 22050 Bytes Per Second: 11100 "
       u"Block Align: 512 CB Size: 2"},
      {Header({0, 6, 48000, 0, 0, 32}, kWaveFormatIeeeFloat, 0x3F),
       u"Format Tag: 65534 Channels: 6 Bits per Sample: 32 Samples Per Second: 48000 Bytes Per Second: 1152000 "
       u"Block Align: 24 CB Size: 22 Extensible Sub-Format: 3"},
      {Header({0, 2, 44100, 16000, 1, 0}, 0x55, 3),
       u"Format Tag: 65534 Channels: 2 Bits per Sample: 0 Samples Per Second: 44100 Bytes Per Second: 16000 "
       u"Block Align: 1 CB Size: 22 Extensible Sub-Format: 65534"},
      {Header({kWaveFormatExtensible, 2, 44100, 176400, 4, 16}),
       u"Format Tag: 65534 Channels: 2 Bits per Sample: 16 Samples Per Second: 44100 Bytes Per Second: 176400 "
       u"Block Align: 4 CB Size: 0"},
  };
  for (const Row& row : rows) EXPECT_EQ(WfxText(row.wfx), row.expected);
}

TEST(AudioTextFormatTagName, InstalledDecodersElseBuiltInNames) {
  struct Row {
    WFX wfx;
    std::u16string expected;
  };
  // Under Wine the names come from its ACM drivers; the POSIX build answers alike.
  const Row rows[] = {
      {Header({kWaveFormatPcm, 2, 44100, 0, 0, 16}), u"PCM"},
      {Header({0, 2, 44100, 0, 0, 16}, kWaveFormatPcm, 3), u"PCM"},
      {Header({kWaveFormatAdpcm, 2, 22050, 22311, 1024, 4}, 0, 0, 32), u"Microsoft ADPCM"},
      {Header({kWaveFormatAlaw, 1, 8000, 8000, 1, 8}), u"A-Law"},
      {Header({kWaveFormatMulaw, 1, 8000, 8000, 1, 8}), u"U-Law"},
      {Header({kWaveFormatImaAdpcm, 1, 22050, 11100, 512, 4}, 0, 0, 2), u"IMA ADPCM"},
      {Header({kWaveFormatGsm610, 1, 8000, 1625, 65, 0}, 0, 0, 2), u"GSM 6.10"},
      {Header({kWaveFormatMpegLayer3, 2, 44100, 16000, 1, 0}, 0, 0, 12), u"MPeg3"},
      {Header({kWaveFormatIeeeFloat, 2, 48000, 0, 0, 32}), u"IEEE Float (ACM decoder not installed)"},
      {Header({0, 2, 48000, 0, 0, 32}, kWaveFormatIeeeFloat, 3), u"IEEE Float (ACM decoder not installed)"},
      {Header({0x0160, 2, 44100, 16000, 1, 0}), u"Microsoft Audio1 (ACM decoder not installed)"},
      {Header({0x1400, 1, 8000, 1000, 1, 0}), u"Norris Communications (ACM decoder not installed)"},
      {Header({0x0272, 2, 44100, 16000, 1, 0}), u"Sony ATRAC3 (ACM decoder not installed)"},
      {Header({1234, 1, 8000, 1000, 1, 0}), u"Unknown ACM ID: 1234 (ACM decoder not installed)"},
      {Header({0, 2, 44100, 16000, 1, 0}, 0x55, 3), u"Unknown ACM ID: 65534 (ACM decoder not installed)"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "tag " << row.wfx.GetFormatType());
    EXPECT_EQ(FormatTagName(row.wfx), row.expected);
  }
}
