// The property list a host shows for a file, line by line.
#include <gtest/gtest.h>

#include "PluginHarness.h"
#include "host/TagBlock.h"
#include "io/Text.h"

namespace {
using Lines = std::vector<std::pair<std::u16string, std::u16string>>;

Lines Properties(const Bytes& file, std::u16string* trace = nullptr) {
  TempDir dir;
  dir.Write("p.wav", file);
  const std::u16string name = dir.File("p.wav");
  TraceCapture cap;
  Plugin& p = LoadedPlugin();
  void* d = p.Create(&cap.context());
  OpenRecord record{};
  record.FileName = W(name);
  record.Flags = kOpenProperties;
  EXPECT_EQ(p.Open(d, &record), 1) << cap.TraceUtf8();
  Lines lines;
  for (const HostTag& t : ParseTagBlock(record.PropData, record.PropDataBytes)) lines.emplace_back(t.name, t.value);
  p.Close(d, 0);
  p.Destroy(d);
  if (trace) *trace = cap.Trace();
  return lines;
}

std::u16string Line(const Lines& lines, std::u16string_view name) {
  for (const auto& [n, v] : lines)
    if (n == name) return v;
  return u"(none)";
}

}  // namespace

// Quality and channel texts are the AudioText tables' concern; here, which header kind, gapless answer and sample
// count each form gets.
TEST(AudioProps, HeaderKindsGaplessAndSampleCount) {
  const Bytes pcm = PcmFormat(1, 2, 44100, 16), ima = FormatEx(17, 1, 22050, 11100, 512, 4, {0xF9, 0x03});
  struct Case {
    const char* what;
    Bytes fmt;
    std::u16string header, gapless, samples;
    bool withFact = false;
  } cases[] = {
      {"16/44100", pcm, u"Wave Format PCM", u"Yes", u"1,024"},
      {"float/48000", FormatEx(3, 2, 48000, 384000, 8, 32, {}), u"Wave Format Extended", u"Yes", u"512"},
      {"mask 0x3", ExtensibleFormat(1, 2, 44100, 16, 0x3), u"Wave Format Extensible", u"Yes", u"1,024"},
      {"MP3 128k", FormatEx(85, 2, 44100, 16000, 1, 0, Bytes(12, 0)), u"Wave Format Extended", u"No", u"(none)"},
      {"IMA ADPCM", FormatEx(17, 2, 44100, 44359, 2048, 4, {0xF9, 0x07}), u"Wave Format Extended", u"No", u"(none)"},
      {"MS ADPCM", FormatEx(2, 1, 22050, 11155, 512, 4, Bytes(32, 0)), u"Wave Format Extended", u"Yes", u"(none)"},
      {"14-byte fmt", Bytes(pcm.begin(), pcm.end() - 2), u"Wave Format", u"Yes", u"1,024"},
      // 15 bytes: a size no header has; no bits, so blocks of one byte.
      {"15-byte fmt", Bytes(pcm.begin(), pcm.begin() + 15), u"Invalid", u"Yes", u"4,096"},
      {"50-byte fmt", FormatEx(1, 2, 44100, 0, 0, 16, Bytes(32, 0)), u"Wave Format Extended", u"Yes", u"1,024"},
      // A compressed file's sample count is the 'fact' count.
      {"IMA with fact", ima, u"Wave Format Extended", u"No", u"10,000", true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    WavBuilder file;
    file.Fmt(c.fmt);
    if (c.withFact) file.Chunk("fact", {0x10, 0x27, 0, 0});
    const Lines lines = Properties(file.Data(Bytes(4096, 0)).Build());
    EXPECT_EQ(Line(lines, u"Wave Header"), c.header);
    EXPECT_EQ(Line(lines, u"Gapless"), c.gapless);
    EXPECT_EQ(Line(lines, u"Sample Count"), c.samples);
  }
  // One byte is "byte"; odd chunks are listed with their own size.
  const Lines map = Properties(WavBuilder().Fmt(pcm).Chunk("abcd", {7}).Data(Bytes(4, 0)).Build());
  EXPECT_EQ(Line(map, u"Riff Chunks"), u"'fmt ' 16 bytes,  'abcd' 1 byte,  'data' 4 bytes");
  EXPECT_EQ(Line(map, u"ID Tag"), u"(none)");
  EXPECT_EQ(Line(map, u"Contains"), u"(none)");
}
