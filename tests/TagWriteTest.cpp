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

TEST_F(TagWrite, EntryRefusesMissingPiecesAndIgnoresAnEmptyList) {
  const auto file = Make(Wav().Data(kAudio).Chunk("cue ", kCue).Build());
  const Bytes before = ReadAll(file);
  const std::u16string name = file.u16string();
  const Bytes block = BuildTagBlock({{u"Title", u"x", {}}}), empty = BuildTagBlock({});
  const struct Case {
    const WaveChar* file;
    const std::uint8_t* data;
    std::int32_t size;
    int result;
  } cases[] = {
      {nullptr, block.data(), std::int32_t(block.size()), 0},  // no file name
      {W(name), nullptr, std::int32_t(block.size()), 0},       // no tag data
      {W(name), block.data(), 0, 0},                           // no byte count
      {W(name), empty.data(), std::int32_t(empty.size()), 1},  // an empty list
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    cap.Reset();
    SetRecord r{};
    r.FileName = c.file;
    r.TagData = c.data;
    r.Value = c.size;
    EXPECT_EQ(p.Set(decoder, W(u"IDTags"), &r), c.result);
    EXPECT_TRUE(Traced(kEnterMarker, u"clWaveDecoder_Wave::WriteIDTags")) << cap.TraceUtf8();
    EXPECT_FALSE(Traced(kExitMarker, u"clWaveDecoder_Wave::WriteIDTags"));
    EXPECT_EQ(ReadAll(file), before);
  }
}

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

// An empty ID3v2 chunk, as some programs leave one, is one chunk too many:
// other readers take the first ID3v2 chunk they meet and would find no tags
// in it. A write leaves one ID3v2 chunk, holding the tags (none when the
// settings ask for LIST only), and a delete-all none.
TEST_F(TagWrite, EmptyId3ChunkGivesWay) {
  const TagMap title = {{u"Title", {u"New", {}}}};
  const struct Case {
    Bytes file;
    std::uint32_t creation;  // "WaveTagDefault"
    Ids written;
    TagMap tags;
  } cases[] = {
      {Wav().Chunk("id3 ", {}).Data(kAudio).Build(), 0, {"fmt ", "JUNK", "data", "LIST", "id3 "}, title},
      {Wav().Data(kAudio).Chunk("ID3 ", {}).Chunk("id3 ", Id3v23Tag({{"TALB", "Album"}})).Build(),
       0,
       {"fmt ", "data", "JUNK", "id3 ", "JUNK", "LIST"},
       {{u"Title", {u"New", {}}}, {u"Album", {u"Album", {}}}}},
      {Wav().Data(kAudio).Chunk("ID3 ", {}).Build(), 1, {"fmt ", "data", "LIST"}, title},  // LIST only
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    settings.Set(u"WaveTagDefault", c.creation);
    const auto path = Make(c.file);
    ASSERT_EQ(Write(path, {{u"Title", u"New", {}}}), 1) << cap.TraceUtf8();
    EXPECT_EQ(ReadChunks(path).Ids(), c.written);
    EXPECT_EQ(Read(path), c.tags);
    ASSERT_EQ(Delete(path, nullptr), 1) << cap.TraceUtf8();
    const Ids left = ReadChunks(path).Ids();
    EXPECT_EQ(std::count(left.begin(), left.end(), "ID3 ") + std::count(left.begin(), left.end(), "id3 "), 0);
    EXPECT_TRUE(Read(path).empty());
    EXPECT_EQ(ReadChunks(path).Data("data"), kAudio);
  }
}

TEST_F(TagWrite, DeleteNamedKeepsTheOthers) {
  const Bytes file = Wav()
                         .Data(kAudio)
                         .Chunk("LIST", InfoList({{"INAM", "Title"}, {"IART", "Artist"}, {"ICMT", "Note"}}))
                         .Chunk("id3 ", Id3v23Tag({{"TALB", "Album"}}))
                         .Build();
  // "[Empty]" names the empty name, which none of these tags has.
  const std::pair<std::u16string, std::u16string> cases[] = {
      {{u"Artist\0comment\0", 16}, u"Album=Album; Title=Title"},
      {{u"[Empty]\0", 9}, u"Album=Album; Artist=Artist; Comment=Note; Title=Title"},
      {{u"Album\0[Empty]\0Title\0", 21}, u"Artist=Artist; Comment=Note"},
  };
  for (const auto& [names, left] : cases) {
    SCOPED_TRACE(WideToUtf8(names));
    const auto path = Make(file);
    ASSERT_EQ(Delete(path, names.c_str()), 1) << cap.TraceUtf8();
    TagList kept;
    for (const auto& [name, entry] : Read(path)) kept.AddTag(name, entry.first);
    EXPECT_EQ(Texts(kept), left);
    EXPECT_EQ(ReadChunks(path).Data("data"), kAudio);
  }
}

// The bext chunk is rewritten where it stands, keeping the fields that are no
// tags, and created at the end only for a bext field.
TEST_F(TagWrite, BextIsKeptRewrittenOrCreatedOnlyWhenAsked) {
  const Bytes withBext = Wav().Chunk("bext", BextRecord("Old", 2, 0x77)).Data(kAudio).Build();
  const Bytes plain = Wav().Data(kAudio).Build();
  Bytes created = BextRecord("", 0);
  std::copy_n("Desk", 4, created.begin() + clRIFFBEXTChunk::kOriginatorOffset);
  settings.Set(u"WaveTagDefault", 2);
  const struct Case {
    const Bytes& file;
    HostTag tag;
    Ids ids;
    Bytes bext;
  } cases[] = {
      {withBext, {u"Description", u"New", {}}, {"fmt ", "bext", "data"}, BextRecord("New", 2, 0x77)},
      {withBext, {u"Title", u"T", {}}, {"fmt ", "bext", "data"}, BextRecord("Old", 2, 0x77)},
      {plain, {u"Originator", u"Desk", {}}, {"fmt ", "data", "bext"}, created},
      {plain, {u"Title", u"T", {}}, {"fmt ", "data"}, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    const auto path = Make(c.file);
    ASSERT_EQ(Write(path, {c.tag}), 1) << cap.TraceUtf8();
    const FileChunks v = ReadChunks(path);
    EXPECT_EQ(v.Ids(), c.ids);
    EXPECT_EQ(v.Data("data"), kAudio);
    EXPECT_EQ(v.Data("bext"), c.bext);
  }
}

// Files a tag edit refuses before it writes anything, and leaves as they are:
// one that is not there, ones whose chunk list does not account for their
// audio (an unfinished recording, a header cut short), and RF64 files without
// the 'ds64' chunk that gives their sizes. The deletion entry still closes its
// trace level.
TEST_F(TagWrite, MissingAndUnfinishedFilesAreRefusedAndUntouched) {
  const auto build = [] { return Wav().Data(kAudio); };
  const fs::path path = dir.path() / "t.wav";
  const std::u16string area = u"Error the RIFF area ", left = u": an unfinished or damaged file is left as it is.";
  const struct Case {
    const char* label;
    std::optional<Bytes> file;
    std::u16string error;
  } cases[] = {
      {"missing", std::nullopt,
       u"Error opening file '" + path.u16string() + u"', check no other program has it open. (Win:2)"},
      {"RIFF size 0", build().RiffSize(0).Build(),
       area + u"(RIFF size 0, file size 6044, chunks none) holds no 'fmt ' and no 'data' chunk" + left},
      {"stale size", build().RiffSize(4 + 24).Build(),
       area + u"(RIFF size 28, file size 6044, chunks 'fmt ') holds no 'data' chunk" + left},
      {"header cut", build().TruncateTo(24).Build(),
       area + u"(RIFF size 6036, file size 24, chunks 'fmt ') holds no 'data' chunk" + left},
      {"RF64 without 'ds64'", build().Container("RF64").RiffSize(0xFFFFFFFF).Build(),
       u"Error the RF64 file (file size 6044, chunks 'fmt ', 'data') has no 'ds64' chunk of 28 bytes before its "
       u"'data' chunk, so the size of its audio is not known: it is left as it is."},
      {"RF64 with a short 'ds64'",
       WavBuilder()
           .Container("RF64")
           .RiffSize(0xFFFFFFFF)
           .Chunk("ds64", Bytes(20))
           .Fmt(PcmFormat(1, 2, 44100, 16))
           .Data(kAudio)
           .Build(),
       u"Error the RF64 file (file size 6072, chunks 'ds64', 'fmt ', 'data') has no 'ds64' chunk of 28 bytes before "
       u"its 'data' chunk, so the size of its audio is not known: it is left as it is."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    cap.Reset();
    fs::remove(path);
    if (c.file) Make(*c.file);
    EXPECT_EQ(Write(path, {{u"Title", u"New", {}}}), 0);
    EXPECT_FALSE(Traced(kExitMarker, u"clWaveDecoder_Wave::WriteIDTags"));
    EXPECT_EQ(Delete(path, nullptr), 0);
    EXPECT_TRUE(Traced(kExitMarker, u"clDecoder_Wave::DeleteATag"));
    EXPECT_EQ(fs::exists(path) ? std::optional<Bytes>(ReadAll(path)) : std::nullopt, c.file);
    for (const char16_t* entry : {u"clWaveDecoder_Wave::WriteIDTags", u"clDecoder_Wave::DeleteATag"})
      EXPECT_TRUE(Contains(cap.Errors(), c.error + u"  [" + entry + u"]\r\n")) << cap.TraceUtf8();
  }
}

// A write that must rewrite the file works on a copy made beside the real
// file under a fresh, unpredictable name, gives it the original's permissions,
// keeps a symbolic link a link, and never parts hard links.
TEST_F(TagWrite, RewritesKeepNamesLinksAndPermissions) {
  settings.Set(u"WaveLISTPadding", 2);
  const auto temporaries = [&] {
    std::vector<std::u16string> names;
    for (std::size_t at = 0; (at = cap.Trace().find(u"Rewriting through '", at)) != std::u16string::npos; ++at)
      names.push_back(cap.Trace().substr(at + 19, cap.Trace().find(u'\'', at + 19) - at - 19));
    return names;
  };

  const auto path = Make(Wav().Chunk("LIST", InfoList({{"INAM", "x"}})).Data(kAudio).Build());
  ASSERT_EQ(Write(path, {{u"Title", std::u16string(400, u'y'), {}}}), 1);
  ASSERT_EQ(Write(path, {{u"Title", std::u16string(900, u'z'), {}}}), 1);
  const auto names = temporaries();
  ASSERT_EQ(names.size(), 2u) << cap.TraceUtf8();
  EXPECT_NE(names[0], names[1]);
  for (const auto& name : names) {
    EXPECT_TRUE(name.starts_with(path.u16string() + u".~") && name.ends_with(u".tmp") &&
                name.size() == path.u16string().size() + 22)
        << WideToUtf8(name);
    EXPECT_FALSE(fs::exists(name));
  }

  // Several names for one file: a rewrite would leave the old audio under the others.
  const fs::path other = dir.path() / "other.wav";
  fs::create_hard_link(path, other);
  const Bytes before = ReadAll(path);
  EXPECT_EQ(Write(path, {{u"Title", std::u16string(2000, u'w'), {}}}), 0);
  EXPECT_TRUE(Contains(cap.Errors(), u"Error '" + path.u16string() +
                                         u"' has 2 names (hard links); rewriting it would part them, so it is left "
                                         u"as it is.  [clRIFFHandler::Rewrite]\r\n"));
  EXPECT_EQ(ReadAll(path), before);
  ASSERT_EQ(Write(path, {{u"Title", u"short", {}}}), 1) << "an edit in place keeps both names";
  EXPECT_EQ(Read(other)[u"Title"].first, u"short");
  fs::remove(other);

#ifndef _WIN32
  for (const auto mode : {fs::perms::owner_read | fs::perms::owner_write,
                          fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read}) {
    fs::permissions(path, mode);
    ASSERT_EQ(Write(path, {{u"Title", std::u16string(3000 + int(mode), u'p'), {}}}), 1);
    EXPECT_EQ(fs::status(path).permissions(), mode);
  }
  const fs::path link = dir.path() / "link.wav";
  fs::create_symlink(path, link);
  ASSERT_EQ(Write(link, {{u"Title", std::u16string(5000, u'l'), {}}}), 1);
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_EQ(Read(path)[u"Title"].first, std::u16string(5000, u'l'));
#endif
  EXPECT_EQ(ReadChunks(path).Data("data"), kAudio);
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

// Chunks that recorders, editors and samplers write, shaped as their files
// have them, before and after the audio: a tag write and a delete-all (by an
// absent or an empty list of names) leave every one of them byte for byte, and
// the bext chunk's version, UMID and loudness fields with them; the delete
// leaves padding where a tag chunk stood before the audio.
TEST_F(TagWrite, RecorderChunksSurviveWritesAndDeletes) {
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
       {"LIST", InfoList({{"INAM", "Title"}, {"IART", "Artist"}})},
       {"data", kAudio},
       {"smpl", Noise(60, 21)},
       {"inst", Bytes{60, 0, 0, 0, 127, 1, 127}},
       {"acid", Noise(24, 22)},
       {"id3 ", Id3v23Tag({{"TALB", "Album"}})}},
  };
  // What a delete-all leaves of the file as the recorder wrote it (the coding history goes).
  const Ids deleted[] = {{"bext", "JUNK", "iXML", "fmt ", "data", "cue ", "LIST"},
                         {"fmt ", "bext", "axml", "JUNK", "data", "smpl", "inst", "acid"}};
  for (const auto& layout : layouts) {
    const std::size_t n = &layout - layouts;
    WavBuilder builder;
    Bytes bext;
    for (const auto& [id, data] : layout) {
      builder.Chunk(id, data);
      if (std::string(id) == "bext") bext = data;
    }
    const Bytes file = n ? builder.Build() : builder.Trailing(kTail).Build();  // the second's end can be cut
    const fs::path path = dir.Write("r.wav", file);
    const Chunks others = OtherChunks(path, false);
    for (int step = 0; step < 3; ++step) {
      SCOPED_TRACE(step == 0 ? "written" : step == 1 ? "deleted" : "deleted at once");
      cap.Reset();
      if (step == 2) dir.Write("r.wav", file);
      ASSERT_EQ(step == 0 ? Write(path, EveryTag(u"2020-01-02")) : Delete(path, n ? u"" : nullptr), 1)
          << cap.TraceUtf8();
      EXPECT_EQ(OtherChunks(path, false), others);
      EXPECT_TRUE(n || KeepsTail(path));
      // The fields that are no tags stay as the recorder wrote them.
      const Bytes now = ReadChunks(path).Data("bext");
      ASSERT_GE(now.size(), 602u);
      EXPECT_TRUE(std::equal(bext.begin() + 346, bext.begin() + 602, now.begin() + 346));
      const TagMap cleared = {{u"TimeReference", {u"0", {}}}};
      EXPECT_EQ(step ? Read(path) : cleared, cleared);
    }
    EXPECT_TRUE(Traced(kExitMarker, u"clDecoder_Wave::DeleteATag"));
    EXPECT_EQ(ReadChunks(path).Ids(), deleted[n]);
  }
}
