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

WFX FormatOf(const std::uint8_t* format) {
  WFX wfx;
  wfx.Assign(ByteSpan(format, kWfxHeadSize));
  return wfx;
}

Bytes MpegWave(std::uint16_t tag, std::size_t dataBytes) {
  return WavBuilder().Fmt(FormatEx(tag, 1, 22050, 4000, 1, 0, Bytes(12, 0))).Data(Noise(dataBytes, 4)).Build();
}
}  // namespace

// A missing or incomplete sibling is not loaded. A late one, answering the third packet with every byte it was given
// and then each packet, is fed until it answers, and its format (16-bit stereo, 44100 Hz) reaches the host at open.
// One that never answers still opens with the format the file implies, 16-bit PCM at its rate and channels, and ends
// at once.
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

TEST(SubDecoder, SiblingsAsAnInstallationMayHaveThem) {
  const struct {
    std::string sibling;
    std::uint16_t tag;
    std::size_t size;
    std::uint16_t channels;  // 0: not opened
    std::uint32_t rate;
    std::vector<std::uint32_t> blocks;
  } cases[] = {
      {"", kWaveFormatMpegLayer3, 4096, 0, 0, {}},
      {"mp3_nodelete", kWaveFormatMpegLayer3, 4096, 0, 0, {}},
      {"mp3_late", kWaveFormatMpeg, 4 * 65536 + 1000, 2, 44100, {3 * 65536, 65536, 1000}},
      {"mp3_late", kWaveFormatMpegLayer3, 4 * 65536 + 1000, 2, 44100, {3 * 65536, 65536, 1000}},
      {"mp3_silent", kWaveFormatMpegLayer3, 3 * 65536, 1, 22050, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.sibling + " " + std::to_string(c.tag));
    Installation install(c.sibling);
    const Bytes file = MpegWave(c.tag, c.size);
    install.dir.Write("m.wav", file);
    TraceCapture cap;
    const Decoded d = DecodeFile(install.plugin, install.dir.File("m.wav"), cap.context());
    if (!c.channels) {
      EXPECT_EQ(d.openResult, 0);
      EXPECT_EQ(cap.Errors(), u"Error loading external Decoder '" + install.SiblingPath() +
                                  u"'  [clWaveDecoder_Wave::PrepareToDecodeAudio]\r\n");
      continue;
    }
    ASSERT_EQ(d.openResult, 1) << cap.TraceUtf8();
    EXPECT_TRUE(cap.NoErrors()) << cap.TraceUtf8();
    const WFX format = FormatOf(d.record.Format);
    EXPECT_EQ(format.FormatTag(), kWaveFormatPcm);
    EXPECT_EQ(format.BitsPerSample(), 16);
    EXPECT_EQ(format.Channels(), c.channels);
    EXPECT_EQ(format.SamplesPerSec(), c.rate);
    // Every call brings a block until the one flagged last (the silent sibling's first and empty one).
    EXPECT_FALSE(d.decodeFailed);
    EXPECT_EQ(d.blockSizes, c.blocks);
    EXPECT_EQ(d.calls, std::max<int>(1, int(c.blocks.size())));
    EXPECT_TRUE(d.audio == (c.blocks.empty() ? Bytes() : Bytes(file.end() - std::ptrdiff_t(c.size), file.end())));
  }
}
