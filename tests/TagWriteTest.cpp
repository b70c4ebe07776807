// Writing and deleting tags through Set "IDTags" and DeleteATag: which chunks
// the settings ask for, where they go, what stays of the file, and the traces.
// Writing one tag changes that tag and nothing else: every tag the reader can
// produce, under a sample of the combinations of the tagging settings, written back
// unchanged reads back unchanged, and every chunk that holds no tags keeps its bytes.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <optional>
#include <random>

#include "FileChunks.h"
#include "PluginHarness.h"
#include "TagChunkBuilders.h"
#include "TagPairs.h"
#include "TagSettingsSandbox.h"
#include "codec/Trace.h"
#include "io/Text.h"
#include "riff/clRIFFBEXTChunk.h"
#include "tags/Id3Frame.h"

namespace fs = std::filesystem;

namespace {
const Bytes kAudio = Noise(6000, 17);
const Bytes kCue = Noise(28, 5);

using Ids = std::vector<std::string>;
using TagMap = std::map<std::u16string, std::pair<std::u16string, Bytes>>;  // by name: value and data

const Bytes kPng = Bytes{0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A} + Noise(300, 4);
const Bytes kJpeg = Bytes{0xFF, 0xD8, 0xFF, 0xE0} + Noise(200, 5);
const Bytes kCdToc = {0x00, 0x1A, 0x01, 0x02, 0x00, 0x10, 0x01, 0x00, 0x00, 0x00, 0x00, 0x96, 0x00, 0x10,
                      0x02, 0x00, 0x00, 0x00, 0x3A, 0x98, 0x00, 0x10, 0xAA, 0x00, 0x00, 0x00, 0x6D, 0x60};

// Every tag the readers produce: each frame of the ID3v2 table, the frames
// with their own handling, pictures, the CD table of contents, artists by the
// slash rule, ReplayGain, a cue sheet and a log, every INFO identifier and
// every bext field. Values hold text beyond ISO-8859-1 where a frame can.
std::vector<HostTag> EveryTag(std::u16string_view date) {
  std::vector<HostTag> tags;
  auto add = [&](std::u16string name, std::u16string value, Bytes data = {}) {
    tags.push_back({std::move(name), std::move(value), std::move(data)});
  };
  int n = 0;
  for (const auto& frame : id3parser::TextFrameNames()) {
    const std::u16string name = Widen(frame.name);
    if (name == u"Year" || name == u"Original release year" || name == u"Artist" || name == u"Album Artist") continue;
    add(name, u"Text " + ToText(++n) + u" \u00e9\u4e2d");
  }
  for (const auto& frame : id3parser::UrlFrameNames()) add(Widen(frame.name), u"http://example.com/" + ToText(++n));
  for (const auto& frame : id3parser::RoleListFrameNames()) add(Widen(frame.name), u"Role " + ToText(++n));
  // Values the reader produces: several artists, or one whose name holds a slash
  // (the slash rule joins a name back only when it is the whole value).
  const TagList fixed = TagsFrom(
      u"Artist=Someone \u00c5\rSomeone Else; Album Artist=AC/DC; Genre=Rock\rJazz; Comment=A comment \u263a; "
      u"Lyrics=Line one\nline two; User defined URL link=http://example.com/user; Rating=196; My Own Field=Mine "
      u"\u00df; replaygain_track_gain=-6.50 dB; replaygain_track_peak=0.988; replaygain_album_gain=-7.25 dB; "
      u"replaygain_album_peak=0.999; CUESHEET=FILE \"a.wav\" WAVE\r\n  TRACK 01 AUDIO\r\n    INDEX 01 00:00:00; "
      u"EACLOG=Exact log; OrigDate=2021-03-04; OrigTime=05:06:07; TimeReference=123456789012; "
      u"CodingHistory=A=PCM,F=44100,W=16,M=stereo");
  for (std::size_t i = 0; i < fixed.size(); ++i) add(fixed[i].name, fixed[i].value);
  add(u"Year", std::u16string(date));
  add(u"Original release year", std::u16string(date));
  add(u"_albumart_1_Front Album Cover<subdesc>Sleeve \u00e9", u"", kPng);
  add(u"_albumart_2_Back Album Cover", u"", kJpeg);
  add(u"_albumart_3_Undefined<subdesc>Extra", u"", kPng);
  add(u"_cdtoc", u"", kCdToc);
  for (const char16_t* name :
       {u"Sound Scheme Title", u"Archival Location", u"Commissioned", u"Cropped", u"Dimensions", u"DPI", u"Engineer",
        u"Keywords", u"Lightness", u"Medium", u"Palette Setting", u"Subject", u"Sharpness", u"Technician", u"Location",
        u"URL", u"Version", u"WAVELIST-IXYZ"})
    add(name, std::u16string(u"Info ") + name);
  for (const char16_t* name : {u"Description", u"Originator", u"OrigReference"})
    add(name, std::u16string(u"Bext ") + name);
  return tags;
}

// The chunks that are not tags, with their bytes, in file order ('bext' among them unless left out).
using Chunks = std::vector<std::pair<std::string, Bytes>>;
Chunks OtherChunks(const fs::path& file, bool withBext = true) {
  Chunks out;
  for (const FileChunk& c : ReadChunks(file).chunks) {
    const bool info = c.id == "LIST" && c.data.size() >= 4 && std::equal(c.data.begin(), c.data.begin() + 4, "INFO");
    if (c.id == "id3 " || c.id == "JUNK" || c.id == "PAD " || (c.id == "bext" && !withBext) || info) continue;
    out.emplace_back(c.id, c.data);
  }
  return out;
}

// Bytes behind a complete RIFF area stay byte for byte behind its new end,
// whether chunks are appended, grow at the end or go.
const Bytes kTail = Noise(333, 8);
bool KeepsTail(const fs::path& file) {
  const Bytes bytes = ReadAll(file);
  return bytes.size() >= kTail.size() && std::equal(kTail.rbegin(), kTail.rend(), bytes.rbegin());
}

WavBuilder Wav() { return WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)); }

class TagWrite : public ::testing::Test {
 protected:
  void SetUp() override { decoder = p.Create(&cap.context()); }
  void TearDown() override { p.Destroy(decoder); }

  fs::path Make(const Bytes& bytes) { return dir.Write("t.wav", bytes); }
  int Write(const fs::path& file, const std::vector<HostTag>& tags) {
    return WriteTags(decoder, file.u16string(), tags);
  }
  int Delete(const fs::path& file, const char16_t* names) {
    return p.DeleteATag(decoder, W(file.u16string()), reinterpret_cast<const WaveChar*>(names));
  }
  // The tags as the host receives them, less the chunks offered as "_riff_" tags.
  TagMap Read(const fs::path& file) {
    TagMap out;
    for (const HostTag& t : ReadTags(file.u16string(), quiet.context()))
      if (!t.name.starts_with(u"_riff_")) out[t.name] = {t.value, t.data};
    return out;
  }
  bool Traced(std::u16string_view marker, std::u16string_view function) {
    return Contains(cap.Trace(), std::u16string(marker) + u"  [" + std::u16string(function) + u"]\r\n");
  }

  TagSettingsSandbox settings;
  TempDir dir;
  TraceCapture cap, quiet;
  Plugin& p = LoadedPlugin();
  void* decoder = nullptr;
};
}  // namespace

// A list that outgrows its room is rewritten with padding behind it, to grow into next time.
TEST_F(TagWrite, AGrownListLeavesPaddingBehindIt) {
  const auto file = Make(Wav().Data(kAudio).Chunk("cue ", kCue).Build());
  ASSERT_EQ(Write(file, {{u"Title", u"First", {}}}), 1);
  ASSERT_EQ(Write(file, {{u"Title", u"A longer one", {}}}), 1) << cap.TraceUtf8();
  EXPECT_EQ(ReadChunks(file).Ids(), (Ids{"fmt ", "data", "cue ", "LIST", "JUNK", "id3 "}));
}

// Tag chunks that open the file, before 'fmt ', are the ones rewritten: no
// second list, and no stale tag left in front to be read first.
TEST_F(TagWrite, TagChunksBeforeTheFormatAreTheOnesRewritten) {
  const Bytes layouts[] = {
      WavBuilder().Chunk("LIST", InfoList({{"INAM", "Old"}})).Fmt(PcmFormat(1, 2, 44100, 16)).Data(kAudio).Build(),
      WavBuilder()
          .Chunk("id3 ", Id3v23Tag({{"TIT2", "Old"}}))
          .Fmt(PcmFormat(1, 2, 44100, 16))
          .Data(kAudio)
          .Chunk("ID3 ", Id3v23Tag({{"TIT2", "Older"}}))
          .Build()};
  for (const Bytes& layout : layouts) {
    SCOPED_TRACE(&layout - layouts);
    const auto file = Make(layout);
    ASSERT_EQ(Write(file, {{u"Title", u"New", {}}}), 1) << cap.TraceUtf8();
    EXPECT_EQ(Read(file)[u"Title"].first, u"New");
    const Ids ids = ReadChunks(file).Ids();
    EXPECT_EQ(std::count(ids.begin(), ids.end(), "LIST"), 1);
    EXPECT_EQ(std::count_if(ids.begin(), ids.end(), [](const std::string& id) { return id == "id3 " || id == "ID3 "; }),
              1);
  }
}

// Which chunks the settings ask for and where they go: a list before the
// audio takes padding that is there, or brings its own.
TEST_F(TagWrite, SettingsPlaceTheChunks) {
  const Bytes plain = Wav().Data(kAudio).Build(), withJunk = Wav().Chunk("JUNK", Bytes(2040)).Data(kAudio).Build();
  const std::ptrdiff_t list = 8 + 4 + 8 + 8;  // 'INFO', then 'INAM' with "Placed" and two zeros
  const std::u16string gain = u"replaygain_track_gain";
  const struct Case {
    std::uint32_t creation, position, padding, paddingSize;  // WaveTagDefault, WaveLISTPos, WaveLISTPadding(Size)
    const Bytes& file;
    bool replayGain;
    Ids ids;
    std::ptrdiff_t growth;  // -1: not checked
  } cases[] = {
      {0, 0, 0, 0, plain, false, {"fmt ", "data", "LIST", "id3 "}, -1},
      {1, 0, 0, 0, plain, false, {"fmt ", "data", "LIST"}, -1},
      {1, 0, 0, 0, plain, true, {"fmt ", "data", "LIST", "id3 "}, -1},
      {2, 0, 0, 0, plain, false, {"fmt ", "data"}, -1},
      {2, 0, 0, 0, plain, true, {"fmt ", "data", "id3 "}, -1},
      {3, 0, 0, 0, plain, false, {"fmt ", "data", "id3 "}, -1},
      {1, 1, 0, 0, withJunk, false, {"fmt ", "LIST", "JUNK", "data"}, 0},
      {1, 1, 0, 0, plain, false, {"fmt ", "LIST", "JUNK", "data"}, list + 2048},
      {1, 1, 1, 2, plain, false, {"fmt ", "LIST", "PAD ", "data"}, list + 4096},
      {1, 1, 2, 0, plain, false, {"fmt ", "LIST", "data"}, list},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    settings.Set(u"WaveTagDefault", c.creation);
    settings.Set(u"WaveLISTPos", c.position);
    settings.Set(u"WaveLISTPadding", c.padding);
    settings.Set(u"WaveLISTPaddingSize", c.paddingSize);
    const auto file = Make(c.file);
    std::vector<HostTag> tags = {{u"Title", u"Placed", {}}};
    if (c.replayGain) tags.push_back({gain, u"-6.50 dB", {}});
    ASSERT_EQ(Write(file, tags), 1) << cap.TraceUtf8();
    EXPECT_TRUE(cap.NoErrors()) << cap.TraceUtf8();
    EXPECT_TRUE(Traced(kExitMarker, u"clWaveDecoder_Wave::WriteIDTags"));
    const FileChunks v = ReadChunks(file);
    EXPECT_EQ(v.Ids(), c.ids);
    EXPECT_EQ(v.Data("data"), kAudio);
    TagMap want;
    if (c.creation != 2 || c.replayGain) want[u"Title"] = {u"Placed", {}};
    if (c.replayGain) want[gain] = {u"-6.50 dB", {}};
    EXPECT_EQ(Read(file), want);
    if (c.growth >= 0) {
      EXPECT_EQ(ReadAll(file).size(), c.file.size() + std::size_t(c.growth));
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1);
  }
}

TEST_F(TagWrite, EmptiedId3ChunkBecomesPaddingOrGoes) {
  const Bytes file = Wav().Chunk("id3 ", Id3v23Tag({{"TIT2", "Only"}})).Data(kAudio).Build();
  const std::pair<std::uint32_t, Ids> cases[] = {
      {0, {"fmt ", "JUNK", "data"}}, {1, {"fmt ", "PAD ", "data"}}, {2, {"fmt ", "data"}}};
  for (const auto& [padding, ids] : cases) {
    SCOPED_TRACE(padding);
    settings.Set(u"WaveLISTPadding", padding);
    const auto path = Make(file);
    ASSERT_EQ(Delete(path, u"Title\0"), 1) << cap.TraceUtf8();
    EXPECT_EQ(ReadChunks(path).Ids(), ids);
    EXPECT_EQ(ReadChunks(path).Data("data"), kAudio);
    EXPECT_TRUE(Read(path).empty());
  }
}

// Every tag comes through the first write under every setting: ID3v2 wins
// over LIST on reading and carries everything, in every version (a 2.2 tag
// carries the frames it has no identifier for in TXX frames named after the
// tag) and every encoding (text that ISO-8859-1 cannot hold goes in Unicode
// whatever the choice). Written back unchanged, nothing changes; one changed
// tag changes that tag alone. Chunks without tags keep their bytes throughout.
TEST_F(TagWrite, EveryTagUnderSampledSettingsComesBackUnchanged) {
  const Bytes file =
      Wav().Chunk("cue ", Noise(28, 9)).Data(kAudio).Chunk("smpl", Noise(60, 10)).Trailing(kTail).Build();
  const std::vector<HostTag> written = EveryTag(u"2004-05-28T15:30");
  TagMap everything;
  for (const HostTag& t : written) everything[t.name] = {t.value, t.data};
  // A seeded sample of the 1080 combinations of the seven settings: every
  // value of each setting comes up, and the whole product cost a minute a run.
  std::mt19937 rng(1080);
  const std::uint32_t sizes[] = {3, 2, 2, 3, 2, 3, 5};
  for (int combination = 0; combination < 60; ++combination) {
    std::uint32_t values[7];
    for (int i = 0; i < 7; ++i) values[i] = (combination + rng()) % sizes[i];
    const char16_t* names[] = {u"WaveID3v2Version", u"WaveID3v2UnicodeEncode", u"WaveLISTAlbum",      u"WaveLISTTrack",
                               u"WaveLISTPos",      u"WaveLISTPadding",        u"WaveLISTPaddingSize"};
    for (int i = 0; i < 7; ++i) settings.Set(names[i], values[i]);
    SCOPED_TRACE(testing::Message() << "settings " << values[0] << values[1] << values[2] << values[3] << values[4]
                                    << values[5] << values[6]);
    const fs::path path = dir.Write("t.wav", file);
    const auto others = OtherChunks(path);
    ASSERT_EQ(Write(path, written), 1) << cap.TraceUtf8();
    const TagMap first = Read(path);
    ASSERT_EQ(first, everything);
    ASSERT_TRUE(KeepsTail(path));
    const auto tagged = OtherChunks(path);  // the new bext chunk among them

    std::vector<HostTag> back;
    for (const auto& [name, entry] : first) back.push_back({name, entry.first, entry.second});
    ASSERT_EQ(Write(path, back), 1);
    ASSERT_EQ(Read(path), first);
    ASSERT_EQ(OtherChunks(path), tagged);
    ASSERT_TRUE(KeepsTail(path));

    TagMap changed = first;
    changed[u"Title"].first = u"Changed \u00e8";
    ASSERT_EQ(Write(path, {{u"Title", u"Changed \u00e8", {}}}), 1);
    ASSERT_EQ(Read(path), changed);
    ASSERT_EQ(OtherChunks(path), tagged);
    ASSERT_TRUE(KeepsTail(path));
    for (std::size_t i = 0; i < others.size(); ++i)
      ASSERT_TRUE(std::find(tagged.begin(), tagged.end(), others[i]) != tagged.end()) << others[i].first;
  }
}
