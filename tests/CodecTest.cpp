// The built-in decoders: exact values for hand-made blocks (the rounding the
// installed codecs use, which is where decoders differ), refusals, and the
// whole plug-in decoding compressed files to what the decoders give for the
// same blocks. On Windows the plug-in goes through the installed codecs, so
// there the last test checks the built-in decoders against them.
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

TEST(Codec, G711CodesExpandToTheStandardLevels) {
  struct Case {
    std::uint8_t code;
    int alaw, mulaw;
  } cases[] = {
      // Levels as ffmpeg expands the same codes.
      {0xD5, 8, 716},         // A-law's smallest positive step
      {0x55, -8, -716},       //
      {0xAA, 32256, 5372},    // A-law's largest magnitudes
      {0x2A, -32256, -5372},  //
      {0xFF, 848, 0},         // mu-law's zero, both signs
      {0x7F, -848, 0},        //
      {0x80, 5504, 32124},    // mu-law's largest magnitudes
      {0x00, -5504, -32124},  //
  };
  for (const auto& c : cases) {
    EXPECT_EQ(AlawToLinear(c.code), c.alaw) << int(c.code);
    EXPECT_EQ(MulawToLinear(c.code), c.mulaw) << int(c.code);
  }
  // 8-bit output is the unsigned high byte.
  const auto narrow = MakeG711Decoder(FormatOf(FormatEx(6, 1, 8000, 8000, 1, 8, {})), Pcm(1, 8000, 8));
  ASSERT_NE(narrow, nullptr);
  const Bytes codes = {0xAA, 0x2A, 0xD5, 0x55};
  Bytes out(4);
  narrow->Decode(codes.data(), 4, out.data());
  EXPECT_EQ(out, (Bytes{254, 2, 128, 127}));
}

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

TEST(Codec, PairsNoDecoderServesAreRefused) {
  struct Case {
    const char* name;
    Bytes fmt;
    WFX target;
  } cases[] = {
      {"3-bit IMA", FormatEx(17, 1, 8000, 3000, 256, 3, {}), Pcm(1, 8000, 16)},
      {"IMA block too small", FormatEx(17, 2, 8000, 3000, 12, 4, {}), Pcm(2, 8000, 16)},
      {"IMA rate changed", FormatEx(17, 1, 8000, 4055, 256, 4, {}), Pcm(1, 16000, 16)},
      {"MS ADPCM block too small", FormatEx(2, 2, 8000, 4096, 10, 4, MsAdpcmExtra(2)), Pcm(2, 8000, 16)},
      {"MS ADPCM to 8-bit", FormatEx(2, 1, 8000, 4096, 256, 4, MsAdpcmExtra(500)), Pcm(1, 8000, 8)},
      {"16-bit A-law", FormatEx(6, 1, 8000, 16000, 2, 16, {}), Pcm(1, 8000, 16)},
      {"mu-law channels changed", FormatEx(7, 2, 8000, 16000, 2, 8, {}), Pcm(1, 8000, 16)},
  };
  for (const auto& c : cases) {
    const WFX source = FormatOf(c.fmt);
    EXPECT_EQ(MakeImaAdpcmDecoder(source, c.target), nullptr) << c.name;
    EXPECT_EQ(MakeMsAdpcmDecoder(source, c.target), nullptr) << c.name;
    EXPECT_EQ(MakeG711Decoder(source, c.target), nullptr) << c.name;
  }
}

TEST(Codec, PluginDecodesCompressedFilesAsTheDecodersDecodeTheirBlocks) {
  constexpr std::uint16_t kBlock = 1024;
  struct Case {
    const char* name;
    Bytes fmt;
    std::uint16_t channels;
    std::size_t dataBytes;
  } cases[] = {
      {"IMA ADPCM stereo", FormatEx(17, 2, 44100, 44359, kBlock, 4, {0xF9, 0x03}), 2, std::size_t(kBlock) * 150},
      {"MS ADPCM stereo", FormatEx(2, 2, 44100, 44359, kBlock, 4, MsAdpcmExtra(1012)), 2, std::size_t(kBlock) * 150},
      {"MS ADPCM mono", FormatEx(2, 1, 22050, 11155, 512, 4, MsAdpcmExtra(1012)), 1, std::size_t(512) * 211},
      {"A-law stereo", FormatEx(6, 2, 8000, 16000, 2, 8, {}), 2, 200000},
      {"mu-law mono", FormatEx(7, 1, 8000, 8000, 1, 8, {}), 1, 150001},
  };
  TempDir dir;
  for (const auto& c : cases) {
    const WFX source = FormatOf(c.fmt);
    Bytes data = Noise(c.dataBytes, 5);
    // Block headers as encoders write them: a step index within the table,
    // a predictor number within the coefficients, a delta of at least 16.
    // MS ADPCM keeps away from full scale: random nibbles drive it into
    // clipping, where the installed codecs part ways, and encoders never do.
    if (source.FormatTag() == kWaveFormatAdpcm) {
      for (std::uint8_t& b : data) b = (b & 0x11) ? std::uint8_t(b & 0x11) : std::uint8_t(0xFF);
    }
    for (std::size_t at = 0; at + source.BlockAlign() <= data.size(); at += source.BlockAlign()) {
      for (std::size_t ch = 0; ch < c.channels; ++ch) {
        if (source.FormatTag() == kWaveFormatImaAdpcm) {
          data[at + 4 * ch + 2] %= 89;
          data[at + 4 * ch + 3] = 0;
        } else if (source.FormatTag() == kWaveFormatAdpcm) {
          // Predictors that do not extrapolate, a delta of 16 and quiet first samples.
          data[at + ch] = std::uint8_t(2 * (data[at + ch] % 3));
          data[at + c.channels + 2 * ch] = 16;
          data[at + c.channels + 2 * ch + 1] = 0;
          data[at + 3 * c.channels + 2 * ch + 1] = 0;
          data[at + 5 * c.channels + 2 * ch + 1] = 0;
        }
      }
    }
    dir.Write("c.wav", WavBuilder().Fmt(c.fmt).Data(data).Build());
    TraceCapture cap;
    const Decoded d = DecodeFile(dir.File("c.wav"), cap.context());
    ASSERT_EQ(d.openResult, 1) << c.name << "\n" << cap.TraceUtf8();
    EXPECT_FALSE(d.decodeFailed) << c.name;
    EXPECT_TRUE(cap.NoErrors()) << c.name << "\n" << cap.TraceUtf8();

    const WFX delivered = FormatOf(Bytes(d.format, d.format + 18));
    EXPECT_EQ(delivered.FormatTag(), kWaveFormatPcm) << c.name;
    const auto decoder = source.FormatTag() == kWaveFormatImaAdpcm ? MakeImaAdpcmDecoder(source, delivered)
                         : source.FormatTag() == kWaveFormatAdpcm  ? MakeMsAdpcmDecoder(source, delivered)
                                                                   : MakeG711Decoder(source, delivered);
    ASSERT_NE(decoder, nullptr) << c.name;
    const std::size_t blocks = data.size() / decoder->BlockBytes();
    Bytes expected(blocks * decoder->OutputBytesPerBlock());
    decoder->Decode(data.data(), blocks, expected.data());
    EXPECT_EQ(d.audio.size(), expected.size()) << c.name;
    EXPECT_TRUE(d.audio == expected) << c.name;
  }
}
