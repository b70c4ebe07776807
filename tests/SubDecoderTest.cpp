// MPEG payloads through the sibling plug-in: the real one decoding MPEG in
// wave files, and copies of this plug-in set beside a missing, incomplete or
// slow sibling, the way a user's installation can be.
#include <gtest/gtest.h>

#include <filesystem>

#include "PluginHarness.h"
#include "host/HostPlatform.h"
#include "io/ByteReader.h"
#include "io/Text.h"
#include "wave/WFX.h"

namespace {
namespace fs = std::filesystem;

fs::path FromUtf8(const std::string& text) { return fs::path(std::u8string(text.begin(), text.end())); }
std::string ToUtf8(const fs::path& path) {
  const std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

std::string LibraryExtension() { return fs::path(PluginFileName()).extension().string(); }

// A copy of the plug-in in a folder of its own, with `sibling` (a file of
// bin/siblings, or nothing) beside it under the name the plug-in looks for.
struct Installation {
  TempDir dir;
  Plugin plugin;  // declared after the folder: unloaded before it is removed
  explicit Installation(const std::string& sibling) {
    const fs::path bin = FromUtf8(ExecutableDirectory());
    fs::copy_file(bin / PluginFileName(), dir.path() / PluginFileName());
    if (!sibling.empty())
      fs::copy_file(bin / "siblings" / (sibling + LibraryExtension()), dir.path() / ("mp3" + LibraryExtension()));
    std::string error;
    EXPECT_TRUE(plugin.Load(ToUtf8(dir.path() / PluginFileName()), error)) << error;
  }
  std::u16string SiblingPath() const {
    return (dir.path() / ("mp3" + LibraryExtension())).make_preferred().u16string();
  }
};

struct SiblingRun {
  int openResult = 0;
  OpenRecord record{};
  Bytes audio;
  std::vector<std::uint32_t> blockSizes;
  std::vector<std::uint32_t> lastFlags;
};

SiblingRun DecodeWith(Plugin& p, const std::u16string& name, const TraceContext& context) {
  SiblingRun r;
  void* decoder = p.Create(&context);
  r.record.FileName = W(name);
  r.record.Flags = kOpenPrepareDecode;
  r.openResult = p.Open(decoder, &r.record);
  for (int guard = 0; r.openResult && guard < 100000; ++guard) {
    AudioBlock block{};
    if (!p.DecodeBlock(decoder, &block)) break;
    r.audio.insert(r.audio.end(), block.Data, block.Data + block.DataBytes);
    r.blockSizes.push_back(block.DataBytes);
    r.lastFlags.push_back(block.LastBlock);
    if (block.LastBlock) break;
  }
  p.Close(decoder, 0);
  p.Destroy(decoder);
  return r;
}

WFX FormatOf(const std::uint8_t* format) {
  WFX wfx;
  wfx.Assign(ByteSpan(format, kWfxHeadSize));
  return wfx;
}

Bytes MpegWave(std::uint16_t tag, std::size_t dataBytes) {
  return WavBuilder().Fmt(FormatEx(tag, 1, 22050, 4000, 1, 0, Bytes(12, 0))).Data(Noise(dataBytes, 4)).Build();
}
}  // namespace

TEST(SubDecoder, MpegInWaveDecodesThroughTheSibling) {
  // Real encoder output (ffmpeg: 0.6 s of a 1 kHz sine, mono 22050 Hz,
  // 32 kbit/s). The data chunk's last frame lies in a part block, which the
  // file engine never reads, so 22 Layer-3 frames of 576 samples and 11
  // Layer-2 frames of 1152 samples arrive.
  struct Case {
    const char* file;
    std::size_t samples;
  } cases[] = {{"data/mp3_in_wave.wav", 22 * 576}, {"data/mp2_in_wave.wav", 11 * 1152}};
  for (const auto& c : cases) {
    TraceCapture cap;
    const Decoded d = DecodeFile(Utf8ToWide(c.file), cap.context());
    ASSERT_EQ(d.openResult, 1) << c.file << "\n" << cap.TraceUtf8();
    EXPECT_FALSE(d.decodeFailed) << c.file;
    EXPECT_TRUE(cap.NoErrors()) << c.file << "\n" << cap.TraceUtf8();
    EXPECT_TRUE(Contains(cap.Trace(), u"Loading MP3 Sub-Decoder\r\n")) << cap.TraceUtf8();
    EXPECT_TRUE(Contains(cap.Trace(), u"Decoding until first data with External Decoder\r\n")) << cap.TraceUtf8();
    const WFX format = FormatOf(d.format);
    EXPECT_EQ(format.FormatTag(), kWaveFormatPcm) << c.file;
    EXPECT_EQ(format.BitsPerSample(), 16) << c.file;
    EXPECT_EQ(format.SamplesPerSec(), 22050u) << c.file;
    EXPECT_EQ(format.Channels(), 1) << c.file;
    EXPECT_EQ(d.audio.size(), c.samples * 2) << c.file;
    // A full-scale-ish sine, not silence or noise: the loudest sample is near its peak.
    int peak = 0;
    ByteReader in(d.audio);
    while (in.remaining() >= 2) peak = std::max(peak, std::abs(int(std::int16_t(in.U16()))));
    EXPECT_GT(peak, 3000) << c.file;
    EXPECT_LT(peak, 7000) << c.file;
  }
}

TEST(SubDecoder, MissingOrIncompleteSiblingIsNotLoaded) {
  for (const std::string sibling : {"", "mp3_nodelete"}) {
    Installation install(sibling);
    install.dir.Write("m.wav", MpegWave(kWaveFormatMpegLayer3, 4096));
    TraceCapture cap;
    const SiblingRun r = DecodeWith(install.plugin, install.dir.File("m.wav"), cap.context());
    EXPECT_EQ(r.openResult, 0) << sibling;
    EXPECT_EQ(cap.Errors(), u"Error loading external Decoder '" + install.SiblingPath() +
                                u"'  [clWaveDecoder_Wave::PrepareToDecodeAudio]\r\n")
        << sibling;
  }
}

TEST(SubDecoder, SiblingSilentForTheFirstPacketsIsFedUntilItAnswers) {
  // The late sibling answers the third packet with every byte it was given, then each packet.
  for (const std::uint16_t tag : {kWaveFormatMpeg, kWaveFormatMpegLayer3}) {
    Installation install("mp3_late");
    const std::size_t size = 4 * 65536 + 1000;
    const Bytes file = MpegWave(tag, size);
    install.dir.Write("m.wav", file);
    TraceCapture cap;
    const SiblingRun r = DecodeWith(install.plugin, install.dir.File("m.wav"), cap.context());
    ASSERT_EQ(r.openResult, 1) << tag << "\n" << cap.TraceUtf8();
    EXPECT_TRUE(cap.NoErrors()) << cap.TraceUtf8();
    // The sibling's format reaches the host at open: 16-bit stereo, 44100 Hz.
    const WFX format = FormatOf(r.record.Format);
    EXPECT_EQ(format.Channels(), 2);
    EXPECT_EQ(format.SamplesPerSec(), 44100u);
    EXPECT_EQ(r.blockSizes, (std::vector<std::uint32_t>{3 * 65536, 65536, 1000}));
    EXPECT_EQ(r.lastFlags, (std::vector<std::uint32_t>{0, 0, 1}));
    const Bytes payload(file.end() - std::ptrdiff_t(size), file.end());
    EXPECT_TRUE(r.audio == payload);
  }
}

TEST(SubDecoder, SiblingThatNeverAnswersStillOpensAndEndsAtOnce) {
  Installation install("mp3_silent");
  install.dir.Write("m.wav", MpegWave(kWaveFormatMpegLayer3, 3 * 65536));
  TraceCapture cap;
  const SiblingRun r = DecodeWith(install.plugin, install.dir.File("m.wav"), cap.context());
  ASSERT_EQ(r.openResult, 1) << cap.TraceUtf8();
  EXPECT_TRUE(cap.NoErrors()) << cap.TraceUtf8();
  // The format stays what the file implies: 16-bit PCM at its rate and channels.
  const WFX format = FormatOf(r.record.Format);
  EXPECT_EQ(format.FormatTag(), kWaveFormatPcm);
  EXPECT_EQ(format.BitsPerSample(), 16);
  EXPECT_EQ(format.SamplesPerSec(), 22050u);
  EXPECT_EQ(format.Channels(), 1);
  EXPECT_EQ(r.blockSizes, (std::vector<std::uint32_t>{0}));
  EXPECT_EQ(r.lastFlags, (std::vector<std::uint32_t>{1}));
}
