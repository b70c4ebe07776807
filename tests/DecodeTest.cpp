// PCM and float decoding end to end through the exports: what the host
// receives must be the stored payload, byte for byte.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "PluginHarness.h"
#include "io/ByteReader.h"
#include "io/Text.h"

namespace {
// Fields of the packed host records, copied out so no reference binds to them.
template <typename T>
T Value(T v) {
  return v;
}

std::uint16_t FormatTag(const std::uint8_t* format) { return ByteReader(ByteSpan(format, 18)).U16(); }
std::uint16_t CbSizeOf(const std::uint8_t* format) {
  ByteReader r(ByteSpan(format, 18));
  r.Skip(16);
  return r.U16();
}
}  // namespace

TEST(Decode, PayloadArrivesUntouchedForEveryPcmAndFloatLayout) {
  struct Case {
    bool extensible;
    std::uint16_t type, channels, bits;
    std::uint32_t rate, mask;
  } cases[] = {
      {false, 1, 1, 8, 8000, 0},     {false, 1, 2, 16, 44100, 0},   {false, 1, 2, 24, 96000, 0},
      {false, 1, 6, 32, 48000, 0},   {false, 3, 2, 32, 48000, 0},   {false, 3, 1, 64, 44100, 0},
      {true, 1, 2, 16, 44100, 0x3},  {true, 1, 6, 24, 48000, 0x3F}, {true, 3, 8, 32, 96000, 0x63F},
      {true, 3, 2, 64, 192000, 0x3}, {true, 1, 8, 8, 22050, 0},
  };
  TempDir dir;
  for (const auto& c : cases) {
    const std::size_t align = std::size_t(c.channels) * c.bits / 8;
    // 2.5 reads' worth plus a part block, which is never delivered.
    const Bytes payload = Noise(align * (65536 / align) * 2 + align * 7 + align / 2 + (align > 1 ? 1 : 0), c.bits);
    const Bytes fmt = c.extensible ? ExtensibleFormat(c.type, c.channels, c.rate, c.bits, c.mask)
                                   : PcmFormat(c.type, c.channels, c.rate, c.bits);
    dir.Write("f.wav", WavBuilder().Fmt(fmt).Data(payload).Build());
    TraceCapture cap;
    const Decoded d = DecodeFile(dir.File("f.wav"), cap.context(), 0, -1, kOpenPrepareDecode);
    const std::string what = std::to_string(c.channels) + "ch " + std::to_string(c.bits) + "bit type " +
                             std::to_string(c.type) + (c.extensible ? " extensible" : "");
    ASSERT_EQ(d.openResult, 1) << what << "\n" << cap.TraceUtf8();
    EXPECT_FALSE(d.decodeFailed) << what;
    const std::size_t whole = payload.size() / align * align;
    EXPECT_EQ(d.audio.size(), whole) << what;
    EXPECT_TRUE(std::equal(d.audio.begin(), d.audio.end(), payload.begin())) << what;
    for (std::uint32_t size : d.blockSizes) {
      EXPECT_LE(size, 65536u) << what;
      EXPECT_EQ(size % align, 0u) << what;
    }
    EXPECT_EQ(FormatTag(d.format), c.extensible ? 0xFFFE : c.type) << what;
    EXPECT_EQ(FormatTag(d.record.Format), c.extensible ? 0xFFFE : c.type) << what;
    EXPECT_TRUE(cap.NoErrors()) << what << "\n" << cap.TraceUtf8();
  }
}

TEST(Decode, BlockBoundariesPositionsAndLength) {
  TempDir dir;
  // 16-bit stereo: 65539 bytes give one 65536-byte block; the last 3 bytes are dropped.
  dir.Write("a.wav", WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)).Data(Noise(65539)).Build());
  TraceCapture cap;
  const Decoded a = DecodeFile(dir.File("a.wav"), cap.context(), 0, -1, kOpenPrepareDecode);
  ASSERT_EQ(a.openResult, 1);
  ASSERT_EQ(a.blockSizes, std::vector<std::uint32_t>{65536});
  EXPECT_EQ(Value(a.record.DataBytes), 65536);
  EXPECT_EQ(Value(a.record.LengthMs), 65536 * 1000 / 176400);
  EXPECT_EQ(Value(a.record.BitRate), 1411200u);
  EXPECT_TRUE(cap.HasLine(u"    Audio Length: 371 mili-seconds  65536 bytes  1411 kbps") ||
              Contains(cap.Trace(), u"Audio Length: 371 mili-seconds  65536 bytes  1411 kbps\r\n"))
      << cap.TraceUtf8();

  dir.Write("b.wav", WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)).Data(Noise(65536 * 3)).Build());
  const Decoded b = DecodeFile(dir.File("b.wav"), cap.context());
  ASSERT_EQ(b.positions.size(), 3u);
  EXPECT_EQ(b.positions[0], 0);
  EXPECT_EQ(b.positions[1], 65536 * 1000 / 176400);
  EXPECT_EQ(b.positions[2], 2 * 65536 * 1000 / 176400);
}

TEST(Decode, BitRateWrapsInItsThirtyTwoBits) {
  TempDir dir;
  const struct {
    Bytes fmt;
    std::uint32_t bitRate;
    const char16_t* kbps;
  } cases[] = {
      {PcmFormat(1, 2, 44100, 16), 1411200u, u"1411 kbps"},
      {FormatEx(0x2222, 2, 44100, 0x1FFFFFFF, 4, 16, {}), 0xFFFFFFF8u, u"4294967 kbps"},
      {FormatEx(0x2222, 2, 44100, 0x20000001, 4, 16, {}), 8u, u"0 kbps"},
      // A 'fmt ' chunk filled with text, as some writers leave it: the byte rate reads "wave".
      {Bytes{'H', 'e', 'l', 'l', 'o', ' ', 'b', 'y', 'w', 'a', 'v', 'e', ' ', 't', 'e', 'x'}, 0x2BB30BB8u,
       u"733154 kbps"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(WideToUtf8(c.kbps));
    dir.Write("b.wav", WavBuilder().Fmt(c.fmt).Data(Bytes(4000, 0)).Build());
    TraceCapture cap;
    const Decoded d = DecodeFile(dir.File("b.wav"), cap.context(), 0, -1, kOpenAudioInfo);
    ASSERT_EQ(d.openResult, 1) << cap.TraceUtf8();
    EXPECT_EQ(Value(d.record.BitRate), c.bitRate);
    EXPECT_TRUE(Contains(cap.Trace(), std::u16string(u" bytes  ") + c.kbps + u"\r\n")) << cap.TraceUtf8();
  }
}

TEST(Decode, RangesAndSeeks) {
  TempDir dir;
  const Bytes payload = Noise(4000 * 4);  // 4000 frames of 16-bit stereo
  dir.Write("r.wav", WavBuilder().Fmt(PcmFormat(1, 2, 8000, 16)).Data(payload).Build());
  const std::u16string name = dir.File("r.wav");
  Plugin& p = LoadedPlugin();
  TraceCapture cap;

  struct Case {
    std::int64_t start, end, seek;  // seek -1: none
    std::size_t fromFrame, frames;
  } cases[] = {
      {10, -1, 5, 15, 4000 - 15},                              // the seek counts from the range start
      {0, -1, 3999, 3999, 1},       {0, -1, 4000, 0, 0},       // beyond the end: nothing left
      {0, -1, 1000000000000, 0, 0}, {100, 200, -1, 100, 100},  // the end counts from the data, not from the start
      {200, 100, -1, 0, 0},         {200, 100, 5, 0, 0},      {3990, -1, -1, 3990, 10}, {5000, -1, -1, 0, 0},
  };
  for (const auto& c : cases) {
    void* d = p.Create(&cap.context());
    SetRecord range{};
    range.RangeStart = c.start;
    range.RangeEnd = c.end;
    ASSERT_EQ(p.Set(d, W(u"Set Decode Range"), &range), 1);
    OpenRecord record{};
    record.FileName = W(name);
    record.Flags = kOpenPrepareDecode;
    ASSERT_EQ(p.Open(d, &record), 1);
    if (c.seek >= 0) {
      EXPECT_EQ(p.SetPosition(d, c.seek), 1);
    }
    Bytes got;
    for (int i = 0; i < 100; ++i) {
      AudioBlock block{};
      ASSERT_EQ(p.DecodeBlock(d, &block), 1);
      got.insert(got.end(), block.Data, block.Data + block.DataBytes);
      if (block.LastBlock) break;
    }
    const auto from = payload.begin() + std::ptrdiff_t(c.fromFrame * 4);
    EXPECT_EQ(got, Bytes(from, from + std::ptrdiff_t(c.frames * 4))) << c.start << " " << c.end << " " << c.seek;
    p.Close(d, 0);
    p.Destroy(d);
  }
  EXPECT_TRUE(cap.NoErrors()) << cap.TraceUtf8();
}

TEST(Decode, FormatsThatCannotBeDecoded) {
  struct Case {
    std::string name;
    Bytes fmt;
    std::u16string error;
  } cases[] = {
      {"12-bit", PcmFormat(1, 2, 44100, 12),
       u"*** Error: Invalid bit depth value.  [clWaveDecoder_Wave::PrepareToDecodeAudio]"},
      {"no channels", FormatEx(1, 0, 44100, 0, 0, 12, {}),
       u"*** Error: Invalid channel count.  [clWaveDecoder_Wave::PrepareToDecodeAudio]"},
      {"13-byte fmt", Bytes(13, 1),
       u"*** Error: Error 'fmt ' chunk is a bad size.  [clWaveDecoder_Wave::PullOutFMTnDATA]"},
      {"no decoder", FormatEx(352, 2, 44100, 16000, 2048, 0, {}),
       u"*** Error: Error Cannot Create Wave Decoder (Microsoft Audio1 (ACM decoder not installed))  "
       u"[clWaveDecoder_Wave::PrepareToDecodeAudio]"},
  };
  TempDir dir;
  for (const auto& c : cases) {
    dir.Write("x.wav", WavBuilder().Fmt(c.fmt).Data(Bytes(4096, 0)).Build());
    TraceCapture cap;
    const Decoded d = DecodeFile(dir.File("x.wav"), cap.context());
    EXPECT_EQ(d.openResult, 0) << c.name;
    EXPECT_TRUE(Contains(cap.Trace(), c.error)) << c.name << "\n" << cap.TraceUtf8();
  }
  TraceCapture cap;
  dir.Write("nofmt.wav", WavBuilder().Data(Bytes(16, 0)).Build());
  EXPECT_EQ(DecodeFile(dir.File("nofmt.wav"), cap.context()).openResult, 0);
  dir.Write("nodata.wav", WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)).Build());
  EXPECT_EQ(DecodeFile(dir.File("nodata.wav"), cap.context()).openResult, 0);
  EXPECT_TRUE(Contains(cap.Errors(), u"Error cannot find 'fmt ' chunk.  [clWaveDecoder_Wave::PullOutFMTnDATA]\r\n"));
  EXPECT_TRUE(Contains(cap.Errors(), u"Error cannot find 'data' chunk.  [clWaveDecoder_Wave::PullOutFMTnDATA]\r\n"));
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

TEST(Decode, TraceQuotesBothFormats) {
  TempDir dir;
  dir.Write("t.wav", WavBuilder().Fmt(ExtensibleFormat(3, 2, 48000, 32, 3)).Data(Bytes(800, 0)).Build());
  TraceCapture cap;
  const Decoded d = DecodeFile(dir.File("t.wav"), cap.context());
  ASSERT_EQ(d.openResult, 1);
  EXPECT_EQ(CbSizeOf(d.format), 22);
  const std::u16string wfx =
      u"Format Tag: 65534 Channels: 2 Bits per Sample: 32 Samples Per Second: 48000 Bytes Per Second: 384000 Block "
      u"Align: 8 CB Size: 22 Extensible Sub-Format: 3";
  EXPECT_TRUE(Contains(cap.Trace(), u"Compressed WFX (on file): " + wfx + u"\r\n")) << cap.TraceUtf8();
  EXPECT_TRUE(Contains(cap.Trace(), u"Uncompressed WFX (sent to qv): " + wfx + u"\r\n"));
  for (const char16_t* line : {u"Finding 'fmt ' chunk.\r\n", u"Finding 'data' chunk.\r\n",
                               u"Assigning 'fmt ' chunk to WFX\r\n", u"Calling ACMDecoder.CreateNewConverter\r\n",
                               u"Setting Position in File\r\n", u"Preparing to Decode\r\n", u"Prepared Decoding\r\n"})
    EXPECT_TRUE(Contains(cap.Trace(), line)) << WideToUtf8(line);
}

// Files above 4 GiB: sizes come from 'ds64'. The file is sparse, so the test
// costs neither disk nor time.
TEST(Decode, RF64AboveFourGigabytes) {
  const std::uint64_t dataSize = 5ull << 30;
  const Bytes head = WavBuilder()
                         .RF64(dataSize, dataSize / 4)
                         .Fmt(PcmFormat(1, 2, 48000, 16))
                         .Chunk({"data", {}, 0xFFFFFFFFu, true})
                         .Build();
  TempDir dir;
  const auto path = dir.path() / "big.wav";
  {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(head.data()), std::streamsize(head.size()));
  }
  const std::uint64_t dataStart = head.size();
  std::filesystem::resize_file(path, dataStart + dataSize);
  const Bytes tail = Noise(4096, 9);
  {
    std::fstream out(path, std::ios::binary | std::ios::in | std::ios::out);
    out.seekp(std::streamoff(dataStart + dataSize - tail.size()));
    out.write(reinterpret_cast<const char*>(tail.data()), std::streamsize(tail.size()));
  }
  Plugin& p = LoadedPlugin();
  TraceCapture cap;
  void* d = p.Create(&cap.context());
  OpenRecord record{};
  const std::u16string name = path.u16string();
  record.FileName = W(name);
  record.Flags = kOpenPrepareDecode;
  ASSERT_EQ(p.Open(d, &record), 1) << cap.TraceUtf8();
  EXPECT_EQ(Value(record.DataBytes), std::int64_t(dataSize));
  EXPECT_EQ(Value(record.LengthMs), std::int64_t(dataSize * 1000 / 192000));
  ASSERT_EQ(p.SetPosition(d, std::int64_t(dataSize / 4 - 1024)), 1);
  AudioBlock block{};
  ASSERT_EQ(p.DecodeBlock(d, &block), 1);
  EXPECT_EQ(Value(block.LastBlock), 1u);
  EXPECT_EQ(Bytes(block.Data, block.Data + block.DataBytes), tail);
  EXPECT_EQ(Value(block.PositionMs), std::int64_t((dataSize - 4096) * 1000 / 192000));
  EXPECT_TRUE(cap.NoErrors()) << cap.TraceUtf8();
  p.Close(d, 0);
  p.Destroy(d);
}
