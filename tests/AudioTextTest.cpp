#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "WfxHeads.h"
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

// Eight channels make the per-channel bitrate equal to the byte rate.
WFX Lossy(std::uint16_t tag, std::uint32_t bytesPerSec, std::uint16_t channels = 8, std::uint16_t subTag = 0) {
  return Header({tag, channels, 44100, bytesPerSec, 1, 0}, subTag, 3);
}
WFX Pcm(std::uint16_t tag, std::uint16_t bits, std::uint32_t rate, std::uint16_t subTag = 0) {
  return Header({tag, 2, rate, 0, 0, bits}, subTag, 3);
}
}  // namespace

TEST(AudioText, TextsOfTheFormat) {
  using Text = std::u16string (*)(const WFX&);
  const Text Q = QualityName, L = ChannelLayoutText, W = WfxText, N = FormatTagName;
  struct Row {
    Text text;
    WFX wfx;
    std::u16string expected;
  };
  const Row rows[] = {
      {Q, Pcm(kWaveFormatPcm, 16, 44100), u"CD (Lossless)"},
      {Q, Pcm(kWaveFormatPcm, 16, 48000), u"DAT (Lossless)"},
      {Q, Pcm(kWaveFormatPcm, 16, 96000), u"Perfect (Lossless)"},
      {Q, Pcm(kWaveFormatPcm, 24, 44100), u"Perfect (Lossless)"},
      {Q, Pcm(kWaveFormatPcm, 24, 96000), u"DVD (Lossless)"},
      {Q, Pcm(kWaveFormatPcm, 24, 48000), u"DVD (Lossless)"},
      {Q, Pcm(kWaveFormatPcm, 8, 96000), u"Perfect (Lossless)"},
      {Q, Pcm(kWaveFormatIeeeFloat, 32, 48000), u"DVD (Lossless)"},
      {Q, Pcm(kWaveFormatIeeeFloat, 32, 47999), u"Perfect (Lossless)"},
      {Q, Pcm(0, 16, 44100, kWaveFormatPcm), u"CD (Lossless)"},
      {Q, Pcm(0, 24, 192000, kWaveFormatIeeeFloat), u"DVD (Lossless)"},
      {Q, Lossy(kWaveFormatMpeg, 127500), u"High (Lossy)"},
      {Q, Lossy(kWaveFormatMpeg, 127499), u"Medium (Lossy)"},
      {Q, Lossy(kWaveFormatMpeg, 79500), u"Medium (Lossy)"},
      {Q, Lossy(kWaveFormatMpeg, 79499), u"Low (Lossy)"},
      {Q, Lossy(kWaveFormatMpegLayer3, 95500), u"High (Lossy)"},
      {Q, Lossy(kWaveFormatMpegLayer3, 95499), u"Medium (Lossy)"},
      {Q, Lossy(kWaveFormatMpegLayer3, 63500), u"Medium (Lossy)"},
      {Q, Lossy(kWaveFormatMpegLayer3, 63499), u"Low (Lossy)"},
      {Q, Lossy(kWaveFormatMpegLayer3, 16000, 2), u"Medium (Lossy)"},  // 128 kbit/s stereo
      {Q, Lossy(kWaveFormatMpegLayer3, 24000, 2), u"High (Lossy)"},    // 192 kbit/s stereo
      {Q, Lossy(kWaveFormatImaAdpcm, 127500), u"Medium (Lossy)"},
      {Q, Lossy(kWaveFormatImaAdpcm, 127499), u"Low (Lossy)"},
      {Q, Lossy(kWaveFormatImaAdpcm, 4000000, 1), u"Medium (Lossy)"},
      {Q, Lossy(kWaveFormatAlaw, 8000, 1), u"Low (Lossy)"},
      {Q, Lossy(kWaveFormatMpeg, 15938, 0), u"High (Lossy)"},  // no channels counts as one
      {Q, Lossy(0, 127500, 8, kWaveFormatMpeg), u"High (Lossy)"},
      {Q, Lossy(0, 127500, 8, 0x55), u"Medium (Lossy)"},
      // Without a mask, or without the extensible form, the channel count decides.
      {L, Header({0, 3, 44100, 0, 0, 16}, kWaveFormatPcm, 0), u"Left, Right, Sub-woofer"},
      {L, Header({kWaveFormatPcm, 1, 44100, 0, 0, 16}, 0, 0, 22), u"Center"},
      {L, Header({0, 2, 44100, 0, 0, 16}, kWaveFormatPcm, 0x3), u"Left,  Right"},
      {L, Header({0, 2, 44100, 0, 0, 16}, kWaveFormatPcm, 0x4), u"Center"},
      {L, Header({0, 2, 44100, 0, 0, 16}, kWaveFormatPcm, 0x3F),
       u"Left,  Right,  Center,  Sub-woofer,  Back Left,  Back Right"},
      {L, Header({0, 2, 44100, 0, 0, 16}, kWaveFormatPcm, 0x600), u"Side Left,  Side Right"},
      {L, Header({0, 2, 44100, 0, 0, 16}, kWaveFormatPcm, 0x3FFC0),
       u"Left of Center,  Right of Center,  Back Center,  Side Left,  Side Right,  Top Center,  "
       u"Top Front Left,  Top Front Center,  Top Front Right,  Top Back Left,  Top Back Center,  Top Back Right"},
      {L, Header({0, 2, 44100, 0, 0, 16}, kWaveFormatPcm, 0x40004), u"Center"},
      {L, Header({0, 2, 44100, 0, 0, 16}, kWaveFormatPcm, 0xFFFC0000), u""},
      {W, Header({kWaveFormatPcm, 2, 44100, 0, 0, 16}),
       u"Format Tag: 1 Channels: 2 Bits per Sample: 16 Samples Per Second: 44100 Bytes Per Second: 176400 "
       u"Block Align: 4 CB Size: 0"},
      {W, Header({kWaveFormatImaAdpcm, 1, 22050, 11100, 512, 4}, 0, 0, 2),
       u"Format Tag: 17 Channels: 1 Bits per Sample: 4 Samples Per Second: 22050 Bytes Per Second: 11100 "
       u"Block Align: 512 CB Size: 2"},
      {W, Header({0, 6, 48000, 0, 0, 32}, kWaveFormatIeeeFloat, 0x3F),
       u"Format Tag: 65534 Channels: 6 Bits per Sample: 32 Samples Per Second: 48000 Bytes Per Second: 1152000 "
       u"Block Align: 24 CB Size: 22 Extensible Sub-Format: 3"},
      {W, Header({0, 2, 44100, 16000, 1, 0}, 0x55, 3),
       u"Format Tag: 65534 Channels: 2 Bits per Sample: 0 Samples Per Second: 44100 Bytes Per Second: 16000 "
       u"Block Align: 1 CB Size: 22 Extensible Sub-Format: 65534"},
      {W, Header({kWaveFormatExtensible, 2, 44100, 176400, 4, 16}),
       u"Format Tag: 65534 Channels: 2 Bits per Sample: 16 Samples Per Second: 44100 Bytes Per Second: 176400 "
       u"Block Align: 4 CB Size: 0"},
      // Under Wine the names come from its ACM drivers; the POSIX build answers alike.
      {N, Header({kWaveFormatPcm, 2, 44100, 0, 0, 16}), u"PCM"},
      {N, Header({0, 2, 44100, 0, 0, 16}, kWaveFormatPcm, 3), u"PCM"},
      {N, Header({kWaveFormatAdpcm, 2, 22050, 22311, 1024, 4}, 0, 0, 32), u"Microsoft ADPCM"},
      {N, Header({kWaveFormatAlaw, 1, 8000, 8000, 1, 8}), u"A-Law"},
      {N, Header({kWaveFormatMulaw, 1, 8000, 8000, 1, 8}), u"U-Law"},
      {N, Header({kWaveFormatImaAdpcm, 1, 22050, 11100, 512, 4}, 0, 0, 2), u"IMA ADPCM"},
      {N, Header({kWaveFormatGsm610, 1, 8000, 1625, 65, 0}, 0, 0, 2), u"GSM 6.10"},
      {N, Header({kWaveFormatMpegLayer3, 2, 44100, 16000, 1, 0}, 0, 0, 12), u"MPeg3"},
      {N, Header({kWaveFormatIeeeFloat, 2, 48000, 0, 0, 32}), u"IEEE Float (ACM decoder not installed)"},
      {N, Header({0, 2, 48000, 0, 0, 32}, kWaveFormatIeeeFloat, 3), u"IEEE Float (ACM decoder not installed)"},
      {N, Header({0x0160, 2, 44100, 16000, 1, 0}), u"Microsoft Audio1 (ACM decoder not installed)"},
      {N, Header({0x1400, 1, 8000, 1000, 1, 0}), u"Norris Communications (ACM decoder not installed)"},
      {N, Header({0x0272, 2, 44100, 16000, 1, 0}), u"Sony ATRAC3 (ACM decoder not installed)"},
      {N, Header({1234, 1, 8000, 1000, 1, 0}), u"Unknown ACM ID: 1234 (ACM decoder not installed)"},
      {N, Header({0, 2, 44100, 16000, 1, 0}, 0x55, 3), u"Unknown ACM ID: 65534 (ACM decoder not installed)"},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(testing::Message() << "row " << i);
    EXPECT_EQ(rows[i].text(rows[i].wfx), rows[i].expected);
  }
  const std::u16string layouts[] = {
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
  for (std::uint16_t channels = 0; channels < std::size(layouts); ++channels) {
    SCOPED_TRACE(channels);
    EXPECT_EQ(ChannelLayoutText(Header({kWaveFormatPcm, channels, 44100, 0, 0, 16})), layouts[channels]);
  }
}
