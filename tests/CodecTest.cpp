// The built-in ADPCM decoders: exact values for hand-made blocks, with the
// rounding the installed codecs use, which is where decoders differ. Whole
// files against an independent decoder are compressed_vs_ffmpeg's part.
#include <gtest/gtest.h>

#include <vector>

#include "PluginHarness.h"
#include "io/ByteReader.h"
#include "wave/G711Decoder.h"
#include "wave/ImaAdpcmDecoder.h"
#include "wave/MsAdpcmDecoder.h"

namespace {
WFX FormatOf(Bytes chunk) {
  WFX wfx;
  wfx.SetFromChunk(chunk);
  return wfx;
}

WFX Pcm(std::uint16_t channels, std::uint32_t rate, std::uint16_t bits) {
  return FormatOf(PcmFormat(1, channels, rate, bits));
}

std::vector<int> Samples16(const Bytes& pcm) {
  std::vector<int> out;
  ByteReader in(pcm);
  while (in.remaining() >= 2) out.push_back(std::int16_t(in.U16()));
  return out;
}

std::vector<int> DecodeBlocks(BlockDecoder& decoder, const Bytes& blocks) {
  Bytes out(blocks.size() / decoder.BlockBytes() * decoder.OutputBytesPerBlock());
  decoder.Decode(blocks.data(), blocks.size() / decoder.BlockBytes(), out.data());
  return Samples16(out);
}

Bytes MsAdpcmExtra(std::uint16_t samplesPerBlock) {
  Bytes extra = {std::uint8_t(samplesPerBlock), std::uint8_t(samplesPerBlock >> 8), 7, 0};
  for (int c : {256, 0, 512, -256, 0, 0, 192, 64, 240, 0, 460, -208, 392, -232})
    extra.insert(extra.end(), {std::uint8_t(c & 0xFF), std::uint8_t((c >> 8) & 0xFF)});
  return extra;
}
}  // namespace

// IMA ADPCM builds each difference bit by bit and clamps; MS ADPCM predicts from the header's coefficients and
// rounds toward zero.
TEST(Codec, AdpcmBlocksDecodeToTheInstalledCodecsRounding) {
  const auto ima = MakeImaAdpcmDecoder(FormatOf(FormatEx(17, 1, 8000, 4000, 8, 4, {9, 0})), Pcm(1, 8000, 16));
  const auto ms = MakeMsAdpcmDecoder(FormatOf(FormatEx(2, 1, 8000, 4000, 9, 4, MsAdpcmExtra(6))), Pcm(1, 8000, 16));
  ASSERT_NE(ima, nullptr);
  ASSERT_NE(ms, nullptr);
  struct Case {
    const char* name;
    BlockDecoder* decoder;
    Bytes block;  // MS ADPCM: predictor, delta, sample1, sample2, nibbles
    std::vector<int> samples;
  } cases[] = {
      // Nibble 7 at step 7 adds 7 + 3 + 1 + 0 = 11 (a multiplying decoder gets 13).
      {"IMA rounding", ima.get(), {0, 0, 0, 0, 0x07, 0x8F, 0x00, 0x00}, {0, 11, 13, -12, -15, -12, -9, -7, -5}},
      {"IMA clamped high",
       ima.get(),
       {0xF8, 0x7F, 88, 0, 0x77, 0x00, 0x00, 0x00},
       {32760, 32767, 32767, 32767, 32767, 32767, 32767, 32767, 32767}},
      {"MS steps", ms.get(), {0, 16, 0, 100, 0, 50, 0, 0x1F, 0x70}, {50, 100, 116, 100, 212, 212}},
      // -1 x 192 / 256 is -0.75: zero, where a shifting decoder gives -1.
      {"MS toward zero", ms.get(), {3, 16, 0, 0xFF, 0xFF, 0, 0, 0x00, 0x00}, {0, -1, 0, 0, 0, 0}},
  };
  for (const auto& c : cases) EXPECT_EQ(DecodeBlocks(*c.decoder, c.block), c.samples) << c.name;
  // A damaged step index past the table decodes as the last step.
  EXPECT_EQ(DecodeBlocks(*ima, {0, 0, 200, 0, 0x08, 0x13, 0x57, 0x9B}),
            DecodeBlocks(*ima, {0, 0, 88, 0, 0x08, 0x13, 0x57, 0x9B}));

  // Beyond two channels, headers come field by field and nibbles sample by
  // sample: each channel decodes as its own mono block would.
  const Bytes mono[3] = {{0, 16, 0, 100, 0, 50, 0, 0x1F, 0x70},
                         {1, 20, 0, 0x10, 0, 0xF0, 0xFF, 0x9A, 0x35},
                         {4, 40, 1, 7, 0, 9, 0, 0xC2, 0x6E}};
  Bytes three;
  for (const std::size_t field : {0, 1, 3, 5})  // predictor, delta, sample 1, sample 2
    for (const Bytes& m : mono)
      three.insert(three.end(), m.begin() + long(field), m.begin() + long(field ? field + 2 : 1));
  auto nibble = [&](std::size_t i) { return (mono[i % 3][7 + i / 6] >> (i / 3 % 2 ? 0 : 4)) & 0x0F; };
  for (std::size_t i = 0; i < 12; i += 2) three.push_back(std::uint8_t(nibble(i) << 4 | nibble(i + 1)));
  const auto ms3 = MakeMsAdpcmDecoder(FormatOf(FormatEx(2, 3, 8000, 12000, 27, 4, MsAdpcmExtra(6))), Pcm(3, 8000, 16));
  ASSERT_NE(ms3, nullptr);
  std::vector<int> interleaved;
  for (std::size_t k = 0; k < 6; ++k)
    for (const Bytes& m : mono) interleaved.push_back(DecodeBlocks(*ms, m)[k]);
  EXPECT_EQ(DecodeBlocks(*ms3, three), interleaved);
}
