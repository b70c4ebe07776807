// PCM and float decoding end to end through the exports: what the host
// receives must be the stored payload, byte for byte.
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <random>

#include "PluginHarness.h"
#include "io/Text.h"

namespace {
// Fields of the packed host records, copied out so no reference binds to them.
template <typename T>
T Value(T v) {
  return v;
}

int FormatTag(const std::uint8_t* format) { return format[0] | format[1] << 8; }
}  // namespace

// Generated PCM and float layouts, plain and extensible, with ranges and seeks: the host receives the stored
// payload of the blocks asked for, byte for byte, in reads of whole blocks, at positions counted from the range start.
TEST(Decode, GeneratedLayoutsRangesAndSeeks) {
  std::mt19937 gen(7);
  auto upTo = [&gen](std::int64_t n) { return std::int64_t(gen() % std::uint64_t(n + 1)); };
  TempDir dir;
  for (int round = 0; round < 60; ++round) {
    const bool extensible = gen() % 2, isFloat = gen() % 3 == 0;
    const std::uint16_t type = isFloat ? 3 : 1, channels = std::uint16_t(1 + gen() % 8);
    const std::uint16_t bits =
        isFloat ? std::uint16_t(32 << gen() % 2) : std::array<std::uint16_t, 4>{8, 16, 24, 32}[gen() % 4];
    const std::uint32_t rate = std::array{8000u, 22050u, 44100u, 48000u, 96000u, 192000u}[gen() % 6];
    const std::int64_t align = channels * bits / 8, byteRate = align * rate;
    // Up to a few reads' worth and a part block, which is never delivered.
    const Bytes payload = Noise(std::size_t(upTo(4 * 65536 / align) * align + upTo(align - 1)), gen());
    const std::int64_t frames = std::int64_t(payload.size()) / align;
    const bool ranged = gen() % 2;
    const std::int64_t start = ranged ? upTo(frames + 8) : 0, end = ranged && gen() % 2 ? upTo(frames + 8) : -1;
    const std::int64_t seek = gen() % 3 == 0 ? -1 : gen() % 8 == 0 ? 1000000000000 : upTo(frames + 8);
    SCOPED_TRACE(testing::Message() << "round " << round << ": " << channels << "ch " << bits << "bit type " << type
                                    << (extensible ? " extensible" : "") << ", " << frames << " frames, range " << start
                                    << ".." << end << ", seek " << seek);
    const Bytes fmt = extensible ? ExtensibleFormat(type, channels, rate, bits, gen() % 0x40000)
                                 : PcmFormat(type, channels, rate, bits);
    dir.Write("f.wav", WavBuilder().Fmt(fmt).Data(payload).Build());
    TraceCapture cap;
    const Decoded d = DecodeFile(dir.File("f.wav"), cap.context(), start, end, kOpenPrepareDecode, seek);
    ASSERT_EQ(d.openResult, 1) << cap.TraceUtf8();
    EXPECT_FALSE(d.decodeFailed);
    EXPECT_TRUE(cap.NoErrors()) << cap.TraceUtf8();
    EXPECT_EQ(d.seekResult, seek >= 0 ? 1 : 0);

    // The end counts from the data, not from the start; a part block in range is announced, never delivered.
    const std::int64_t size = std::int64_t(payload.size());
    const std::int64_t from = std::min(start * align, size);
    const std::int64_t to = end < 0 ? frames * align : std::min(end * align, size);
    const std::int64_t dataBytes = std::max<std::int64_t>(to - from, 0);
    EXPECT_EQ(Value(d.record.DataBytes), dataBytes);
    EXPECT_EQ(Value(d.record.LengthMs), dataBytes * 1000 / byteRate);
    EXPECT_EQ(Value(d.record.BitRate), std::uint32_t(byteRate * 8));
    EXPECT_TRUE(Contains(cap.Trace(), u"Audio Length: " + Utf8ToWide(std::to_string(dataBytes * 1000 / byteRate)) +
                                          u" mili-seconds  " + Utf8ToWide(std::to_string(dataBytes)) + u" bytes  " +
                                          Utf8ToWide(std::to_string(byteRate * 8 / 1000)) + u" kbps\r\n"))
        << cap.TraceUtf8();

    // A seek counts from the range start; beyond the end nothing is left.
    const std::int64_t skipped = seek < 0 ? 0 : std::min(seek, dataBytes / align) * align;
    const std::int64_t wanted = std::max<std::int64_t>((dataBytes - skipped) / align * align, 0);
    const auto first = payload.begin() + from + skipped;
    EXPECT_TRUE(d.audio == Bytes(first, first + wanted)) << d.audio.size() << " bytes, not " << wanted;
    std::int64_t before = skipped;
    for (std::size_t i = 0; i < d.blockSizes.size(); ++i) {
      // Whole blocks of up to 64 KiB, all but the last as many as fit.
      EXPECT_TRUE(i + 1 < d.blockSizes.size() ? d.blockSizes[i] == 65536 / align * align
                                              : d.blockSizes[i] <= 65536 / align * align)
          << "block " << i << ": " << d.blockSizes[i];
      EXPECT_EQ(d.blockSizes[i] % align, 0u);
      EXPECT_EQ(d.positions[i], before * 1000 / byteRate) << "block " << i;
      EXPECT_EQ(d.durations[i], std::int64_t(d.blockSizes[i]) * 1000 / byteRate) << "block " << i;
      before += d.blockSizes[i];
    }
    EXPECT_EQ(FormatTag(d.format), wanted ? (extensible ? 0xFFFE : type) : 0);
    EXPECT_EQ(FormatTag(d.record.Format), extensible ? 0xFFFE : type);
  }
}

TEST(Decode, ChunkOrderFactAndDamage) {
  TempDir dir;
  // Two 'data' chunks: the first in the list is decoded.
  dir.Write("two.wav",
            WavBuilder().Fmt(PcmFormat(1, 1, 8000, 8)).Data(Bytes(10, 1)).Chunk("data", Bytes(20, 2)).Build());
  TraceCapture cap;
  EXPECT_EQ(DecodeFile(dir.File("two.wav"), cap.context()).audio, Bytes(10, 1));

  // A 2-byte 'fact' is ignored; a good one gives a compressed file's length.
  const Bytes ima = FormatEx(17, 1, 22050, 11100, 512, 4, {2, 0, 0xF9, 0x03});
  dir.Write("fact2.wav", WavBuilder().Fmt(ima).Chunk("fact", {1, 2}).Data(Bytes(5120, 0)).Build());
  const Decoded f2 = DecodeFile(dir.File("fact2.wav"), cap.context(), 0, -1, kOpenAudioInfo);
  EXPECT_EQ(Value(f2.record.LengthMs), 5120 * 1000 / 11100);
  dir.Write("fact4.wav", WavBuilder().Fmt(ima).Chunk("fact", {0x44, 0xAC, 0, 0}).Data(Bytes(5120, 0)).Build());
  cap.Reset();
  const Decoded f4 = DecodeFile(dir.File("fact4.wav"), cap.context(), 0, -1, kOpenAudioInfo);
  EXPECT_EQ(Value(f4.record.LengthMs), 44100 * 1000 / 22050);
  EXPECT_TRUE(Contains(cap.Trace(), u"Read 'fact' chunk: 44100 samples\r\n")) << cap.TraceUtf8();
  // With a decode range the fact count no longer describes what is decoded.
  const Decoded f4r = DecodeFile(dir.File("fact4.wav"), cap.context(), 1, -1, kOpenAudioInfo);
  EXPECT_EQ(Value(f4r.record.LengthMs), (5120 - 512) * 1000 / 11100);

  // The file shrinks while open: the next read comes up short.
  dir.Write("cut.wav", WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)).Data(Noise(65536 * 4)).Build());
  Plugin& p = LoadedPlugin();
  cap.Reset();
  void* d = p.Create(&cap.context());
  OpenRecord record{};
  const std::u16string name = dir.File("cut.wav");
  record.FileName = W(name);
  record.Flags = kOpenPrepareDecode;
  ASSERT_EQ(p.Open(d, &record), 1);
  std::filesystem::resize_file(dir.path() / "cut.wav", 44 + 65536 + 100);
  AudioBlock block{};
  EXPECT_EQ(p.DecodeBlock(d, &block), 1);
  EXPECT_EQ(p.DecodeBlock(d, &block), 0);
  EXPECT_EQ(cap.Errors(), u"Error reading data from file.  [clWaveDecoder_Wave::ReadDataBlock]\r\n");
  p.Close(d, 0);
  p.Destroy(d);
}
