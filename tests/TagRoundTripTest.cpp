// Writing one tag changes that tag and nothing else: every tag the reader can
// produce, under every combination of the tagging settings, written back
// unchanged reads back unchanged, and every chunk that holds no tags keeps its
// bytes.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "FileChunks.h"
#include "PluginHarness.h"
#include "TagChunkBuilders.h"
#include "TagSettingsSandbox.h"
#include "io/Text.h"
#include "tags/Id3Frame.h"

namespace fs = std::filesystem;

namespace {
using Tags = std::map<std::u16string, std::pair<std::u16string, Bytes>>;  // by name: value and data

const Bytes kAudio = Noise(4000, 3);
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
  add(u"Artist", u"Someone \u00c5\rSomeone Else");
  add(u"Album Artist", u"AC/DC");
  add(u"Year", std::u16string(date));
  add(u"Original release year", std::u16string(date));
  add(u"Genre", u"Rock\rJazz");
  add(u"Comment", u"A comment \u263a");
  add(u"Lyrics", u"Line one\nline two");
  add(u"User defined URL link", u"http://example.com/user");
  add(u"Rating", u"196");
  add(u"My Own Field", u"Mine \u00df");
  add(u"replaygain_track_gain", u"-6.50 dB");
  add(u"replaygain_track_peak", u"0.988");
  add(u"replaygain_album_gain", u"-7.25 dB");
  add(u"replaygain_album_peak", u"0.999");
  add(u"CUESHEET", u"FILE \"a.wav\" WAVE\r\n  TRACK 01 AUDIO\r\n    INDEX 01 00:00:00");
  add(u"EACLOG", u"Exact log");
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
  add(u"OrigDate", u"2021-03-04");
  add(u"OrigTime", u"05:06:07");
  add(u"TimeReference", u"123456789012");
  add(u"CodingHistory", u"A=PCM,F=44100,W=16,M=stereo");
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

class TagRoundTrip : public ::testing::Test {
 protected:
  void SetUp() override {
    p = &LoadedPlugin();
    decoder = p->Create(&cap.context());
  }
  void TearDown() override { p->Destroy(decoder); }

  int Write(const fs::path& file, const std::vector<HostTag>& tags) {
    return WriteTags(decoder, file.u16string(), tags);
  }
  // The tags as the host receives them, less the chunks offered as "_riff_" tags.
  Tags Read(const fs::path& file) {
    Tags out;
    for (const HostTag& t : ReadTags(file.u16string(), cap.context()))
      if (!t.name.starts_with(u"_riff_")) out[t.name] = {t.value, t.data};
    return out;
  }
  static std::vector<HostTag> AsHostTags(const Tags& tags) {
    std::vector<HostTag> out;
    for (const auto& [name, entry] : tags) out.push_back({name, entry.first, entry.second});
    return out;
  }

  TagSettingsSandbox settings;
  TraceCapture cap;
  Plugin* p = nullptr;
  void* decoder = nullptr;
};

// Which chunks differ, for failure messages.
std::string Differ(const Chunks& want, const Chunks& got) {
  std::string out;
  for (std::size_t i = 0; i < std::max(want.size(), got.size()); ++i)
    if (i >= want.size() || i >= got.size() || want[i] != got[i])
      out += " '" + (i < want.size() ? want[i].first : "") + "'/'" + (i < got.size() ? got[i].first : "") + "'";
  return out;
}

std::string Describe(const Tags& want, const Tags& got) {
  std::string out;
  for (const auto& [name, entry] : want) {
    const auto it = got.find(name);
    if (it == got.end())
      out += "  missing " + WideToUtf8(name) + "\n";
    else if (it->second != entry)
      out += "  changed " + WideToUtf8(name) + ": '" + WideToUtf8(entry.first) + "' -> '" +
             WideToUtf8(it->second.first) + "'\n";
  }
  for (const auto& [name, entry] : got)
    if (!want.count(name)) out += "  extra " + WideToUtf8(name) + " = '" + WideToUtf8(entry.first) + "'\n";
  return out;
}
}  // namespace

// Every tag comes through the first write under every setting: ID3v2 wins
// over LIST on reading and carries everything, in every version (a 2.2 tag
// carries the frames it has no identifier for in TXX frames named after the
// tag) and every encoding (text that ISO-8859-1 cannot hold goes in Unicode
// whatever the choice). Written back unchanged, nothing changes; one changed
// tag changes that tag alone. Chunks without tags keep their bytes throughout.
TEST_F(TagRoundTrip, EveryTagUnderEverySettingComesBackUnchanged) {
  const Bytes file = WavBuilder()
                         .Fmt(PcmFormat(1, 2, 44100, 16))
                         .Chunk("cue ", Noise(28, 9))
                         .Data(kAudio)
                         .Chunk("smpl", Noise(60, 10))
                         .Build();
  const std::vector<HostTag> written = EveryTag(u"2004-05-28T15:30");
  Tags everything;
  for (const HostTag& t : written) everything[t.name] = {t.value, t.data};
  TempDir dir;
  int combinations = 0;
  for (std::uint32_t version : {0, 1, 2})
    for (std::uint32_t unicode : {0, 1})
      for (std::uint32_t album : {0, 1})
        for (std::uint32_t track : {0, 1, 2})
          for (std::uint32_t position : {0, 1})
            for (std::uint32_t paddingType : {0, 1, 2})
              for (std::uint32_t paddingSize : {0, 1, 2, 3, 4}) {
                const std::uint32_t values[] = {version, unicode, album, track, position, paddingType, paddingSize};
                const char16_t* names[] = {
                    u"WaveID3v2Version", u"WaveID3v2UnicodeEncode", u"WaveLISTAlbum",      u"WaveLISTTrack",
                    u"WaveLISTPos",      u"WaveLISTPadding",        u"WaveLISTPaddingSize"};
                for (int i = 0; i < 7; ++i) settings.Set(names[i], values[i]);
                SCOPED_TRACE(testing::Message() << "settings " << version << unicode << album << track << position
                                                << paddingType << paddingSize);
                ++combinations;
                const fs::path path = dir.Write("t.wav", file);
                const auto others = OtherChunks(path);
                ASSERT_EQ(Write(path, written), 1) << cap.TraceUtf8();
                const Tags first = Read(path);
                ASSERT_EQ(first, everything) << Describe(everything, first);
                const auto tagged = OtherChunks(path);  // the new bext chunk among them

                ASSERT_EQ(Write(path, AsHostTags(first)), 1);
                ASSERT_EQ(Read(path), first) << Describe(first, Read(path));
                ASSERT_TRUE(OtherChunks(path) == tagged) << Differ(tagged, OtherChunks(path));

                Tags changed = first;
                changed[u"Title"].first = u"Changed \u00e8";
                ASSERT_EQ(Write(path, {{u"Title", u"Changed \u00e8", {}}}), 1);
                ASSERT_EQ(Read(path), changed) << Describe(changed, Read(path));
                ASSERT_TRUE(OtherChunks(path) == tagged) << Differ(tagged, OtherChunks(path));
                for (std::size_t i = 0; i < others.size(); ++i)
                  ASSERT_TRUE(std::find(tagged.begin(), tagged.end(), others[i]) != tagged.end()) << others[i].first;
              }
  EXPECT_EQ(combinations, 3 * 2 * 2 * 3 * 2 * 3 * 5);
}

// Every date form comes back as it was written, in every version and encoding.
TEST_F(TagRoundTrip, DatesComeBackInTheirForm) {
  const Bytes file = WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)).Data(kAudio).Build();
  TempDir dir;
  for (std::uint32_t version : {0, 1, 2})
    for (std::uint32_t unicode : {0, 1}) {
      settings.Set(u"WaveID3v2Version", version);
      settings.Set(u"WaveID3v2UnicodeEncode", unicode);
      for (const char16_t* date : {u"2004", u"2004-05", u"2004-05-28", u"2004-05-28T15", u"2004-05-28T15:30",
                                   u"2004-05-28T15:30:45", u"2004 05 28", u"circa 1970"}) {
        SCOPED_TRACE(testing::Message() << version << unicode << " " << WideToUtf8(date));
        const fs::path path = dir.Write("d.wav", file);
        ASSERT_EQ(Write(path, {{u"Year", date, {}}, {u"Original release year", date, {}}}), 1);
        // Only the title is written next: the date must survive a write that did not name it.
        ASSERT_EQ(Write(path, {{u"Title", u"t", {}}}), 1);
        const Tags read = Read(path);
        EXPECT_EQ(read.at(u"Year").first, date);
        EXPECT_EQ(read.at(u"Original release year").first, date);
      }
    }
}

// An INFO list keeps its text in the ANSI code page: what that cannot hold
// becomes its replacement character when LIST is the only tag written.
TEST_F(TagRoundTrip, InfoOnlyFilesHoldAnsiText) {
  settings.Set(u"WaveTagDefault", 1);
  TempDir dir;
  const fs::path path = dir.Write("i.wav", WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)).Data(kAudio).Build());
  ASSERT_EQ(Write(path, {{u"Title", u"Caf\u00e9 \u4e2d", {}}, {u"Year", u"2004-05-28", {}}}), 1);
  const Tags read = Read(path);
  EXPECT_EQ(read.at(u"Title").first, u"Caf\u00e9 ?");
  EXPECT_EQ(read.at(u"Year").first, u"2004-05-28");
}

// Chunks that recorders, editors and samplers write, shaped as their files
// have them, before and after the audio: a tag write and a delete-all leave
// every one of them byte for byte, and the bext chunk's version, UMID and
// loudness fields with them.
TEST_F(TagRoundTrip, RecorderChunksSurviveWritesAndDeletes) {
  auto text = [](const std::string& s) { return Bytes(s.begin(), s.end()); };
  Bytes bextV2 = BextRecord("Scene 4 take 2", 2, 0x5A);
  for (std::size_t i = 412; i < 422; ++i) bextV2[i] = std::uint8_t(i);  // loudness values
  const Bytes adtl = text("adtl") + text("labl") + Bytes{9, 0, 0, 0, 1, 0, 0, 0, 'I', 'n', 't', 'r', 'o', 0} + Bytes{0};
  const Bytes cue =
      Bytes{1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 'd', 'a', 't', 'a', 0, 0, 0, 0, 0, 0, 0, 0, 0x40, 0x1F, 0, 0};
  const std::vector<std::pair<const char*, Bytes>> layouts[] = {
      {{"bext", BextRecord("Field recorder", 1, 0xA5) + text("A=PCM,F=48000,W=24,M=mono\r\n")},
       {"iXML", text("<?xml version=\"1.0\"?><BWFXML><PROJECT>Doc</PROJECT><SCENE>4</SCENE></BWFXML>")},
       {"fmt ", PcmFormat(1, 1, 48000, 24)},
       {"data", kAudio},
       {"cue ", cue},
       {"LIST", adtl}},
      {{"fmt ", PcmFormat(1, 2, 44100, 16)},
       {"bext", bextV2},
       {"axml", text("<ebuCoreMain><coreMetadata><title>Clip</title></coreMetadata></ebuCoreMain>")},
       {"data", kAudio},
       {"smpl", Noise(60, 21)},
       {"inst", Bytes{60, 0, 0, 0, 127, 1, 127}},
       {"acid", Noise(24, 22)}},
  };
  TempDir dir;
  for (const auto& layout : layouts) {
    WavBuilder builder;
    for (const auto& [id, data] : layout) builder.Chunk(id, data);
    const fs::path path = dir.Write("r.wav", builder.Build());
    const Chunks others = OtherChunks(path, false);
    Bytes bext;
    for (const auto& [id, data] : layout)
      if (std::string(id) == "bext") bext = data;
    for (int step = 0; step < 2; ++step) {
      SCOPED_TRACE(step == 0 ? "written" : "deleted");
      ASSERT_EQ(step == 0 ? Write(path, EveryTag(u"2020-01-02")) : p->DeleteATag(decoder, W(path.u16string()), nullptr),
                1)
          << cap.TraceUtf8();
      EXPECT_TRUE(OtherChunks(path, false) == others) << Differ(others, OtherChunks(path, false));
      // The fields that are no tags stay as the recorder wrote them.
      const Bytes now = ReadChunks(path).Data("bext");
      ASSERT_GE(now.size(), 602u);
      EXPECT_TRUE(std::equal(bext.begin() + 346, bext.begin() + 602, now.begin() + 346));
    }
  }
}
