// Writing and deleting tags through Set "IDTags" and DeleteATag: which chunks
// the settings ask for, where they go, what stays of the file, and the traces.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <optional>

#include "FileChunks.h"
#include "PluginHarness.h"
#include "TagChunkBuilders.h"
#include "TagSettingsSandbox.h"
#include "codec/Trace.h"
#include "io/Text.h"
#include "riff/clRIFFBEXTChunk.h"

namespace fs = std::filesystem;

namespace {
const Bytes kAudio = Noise(6000, 17);
const Bytes kCue = Noise(28, 5);

using Ids = std::vector<std::string>;

class TagWrite : public ::testing::Test {
 protected:
  void SetUp() override {
    p = &LoadedPlugin();
    decoder = p->Create(&cap.context());
  }
  void TearDown() override { p->Destroy(decoder); }

  fs::path Make(const Bytes& bytes) { return dir.Write("t.wav", bytes); }

  int Write(const fs::path& file, const std::vector<HostTag>& tags) {
    return WriteTags(decoder, file.u16string(), tags);
  }
  int Delete(const fs::path& file, const char16_t* names) {
    const std::u16string name = file.u16string();
    return p->DeleteATag(decoder, W(name), reinterpret_cast<const WaveChar*>(names));
  }
  std::map<std::u16string, std::u16string> Tags(const fs::path& file) {
    std::map<std::u16string, std::u16string> out;
    for (const HostTag& t : ReadTags(file.u16string(), quiet.context()))
      if (t.data.empty() || t.name.starts_with(u"_albumart_")) out[t.name] = t.value;
    return out;
  }
  bool Traced(std::u16string_view marker, std::u16string_view function) {
    return Contains(cap.Trace(), std::u16string(marker) + u"  [" + std::u16string(function) + u"]\r\n");
  }

  TagSettingsSandbox settings;
  TempDir dir;
  TraceCapture cap, quiet;
  Plugin* p = nullptr;
  void* decoder = nullptr;
};

Bytes Plain() { return WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)).Data(kAudio).Chunk("cue ", kCue).Build(); }
}  // namespace

TEST_F(TagWrite, EntryRefusesMissingPiecesAndIgnoresAnEmptyList) {
  const auto file = Make(Plain());
  const Bytes before = ReadAll(file);
  const std::u16string name = file.u16string();
  const Bytes block = BuildTagBlock({{u"Title", u"x", {}}});
  const Bytes empty = BuildTagBlock({});
  const struct Case {
    const char* label;
    const WaveChar* file;
    const std::uint8_t* data;
    std::int32_t size;
    int result;
  } cases[] = {
      {"no file name", nullptr, block.data(), std::int32_t(block.size()), 0},
      {"no tag data", W(name), nullptr, std::int32_t(block.size()), 0},
      {"no byte count", W(name), block.data(), 0, 0},
      {"an empty list", W(name), empty.data(), std::int32_t(empty.size()), 1},
  };
  for (const auto& c : cases) {
    cap.Reset();
    SetRecord r{};
    r.FileName = c.file;
    r.TagData = c.data;
    r.Value = c.size;
    EXPECT_EQ(p->Set(decoder, W(u"IDTags"), &r), c.result) << c.label;
    EXPECT_TRUE(Traced(kEnterMarker, u"clWaveDecoder_Wave::WriteIDTags")) << c.label << cap.TraceUtf8();
    EXPECT_FALSE(Traced(kExitMarker, u"clWaveDecoder_Wave::WriteIDTags")) << c.label;
    EXPECT_EQ(ReadAll(file), before) << c.label;
  }
}

TEST_F(TagWrite, DefaultsAppendListAndId3AndKeepTheRest) {
  const auto file = Make(Plain());
  ASSERT_EQ(Write(file, {{u"Title", u"First", {}}, {u"Artist", u"Someone", {}}}), 1) << cap.TraceUtf8();
  EXPECT_TRUE(cap.NoErrors()) << cap.TraceUtf8();
  EXPECT_TRUE(Traced(kExitMarker, u"clWaveDecoder_Wave::WriteIDTags"));
  FileChunks v = ReadChunks(file);
  EXPECT_EQ(v.Ids(), (Ids{"fmt ", "data", "cue ", "LIST", "id3 "}));
  EXPECT_EQ(v.Data("data"), kAudio);
  EXPECT_EQ(v.Data("cue "), kCue);
  // A second write names only the title: the artist stays.
  ASSERT_EQ(Write(file, {{u"Title", u"Second", {}}}), 1);
  const auto tags = Tags(file);
  EXPECT_EQ(tags.at(u"Title"), u"Second");
  EXPECT_EQ(tags.at(u"Artist"), u"Someone");
  // The longer list no longer fits before the ID3v2 chunk: the file is rewritten with padding behind it.
  v = ReadChunks(file);
  EXPECT_EQ(v.Ids(), (Ids{"fmt ", "data", "cue ", "LIST", "JUNK", "id3 "}));
  EXPECT_EQ(v.Data("data"), kAudio);
  EXPECT_EQ(v.Data("cue "), kCue);
}

TEST_F(TagWrite, TagCreationSettingAndReplayGain) {
  const struct Case {
    std::uint32_t creation;
    bool replayGain;
    Ids ids;
  } cases[] = {
      {0, false, {"fmt ", "data", "LIST", "id3 "}}, {1, false, {"fmt ", "data", "LIST"}},
      {1, true, {"fmt ", "data", "LIST", "id3 "}},  {2, false, {"fmt ", "data"}},
      {2, true, {"fmt ", "data", "id3 "}},          {3, false, {"fmt ", "data", "id3 "}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "WaveTagDefault " << c.creation << (c.replayGain ? " with replay gain" : ""));
    settings.Set(u"WaveTagDefault", c.creation);
    const auto file = Make(WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)).Data(kAudio).Build());
    std::vector<HostTag> tags = {{u"Title", u"T", {}}};
    if (c.replayGain) tags.push_back({u"replaygain_track_gain", u"-6.50 dB", {}});
    ASSERT_EQ(Write(file, tags), 1) << cap.TraceUtf8();
    EXPECT_EQ(ReadChunks(file).Ids(), c.ids);
    if (c.replayGain) {
      EXPECT_EQ(Tags(file).at(u"replaygain_track_gain"), u"-6.50 dB");
    }
  }
}

TEST_F(TagWrite, ListBeforeTheAudioReusesPadding) {
  const Bytes withJunk = WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)).Chunk("JUNK", Bytes(2040)).Data(kAudio).Build();
  const Bytes without = WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)).Data(kAudio).Build();
  const std::size_t list = 8 + 4 + 8 + 8;  // 'INFO', then 'INAM' with "Placed" and two zeros
  const struct Case {
    const char* label;
    const Bytes& file;
    std::uint32_t padding, paddingSize;
    Ids ids;
    std::size_t growth;
  } cases[] = {
      {"into the padding", withJunk, 0, 0, {"fmt ", "LIST", "JUNK", "data"}, 0},
      {"before data with 2 KB of padding", without, 0, 0, {"fmt ", "LIST", "JUNK", "data"}, list + 2048},
      {"before data with 'PAD ' of 4 KB", without, 1, 2, {"fmt ", "LIST", "PAD ", "data"}, list + 4096},
      {"before data without padding", without, 2, 0, {"fmt ", "LIST", "data"}, list},
  };
  settings.Set(u"WaveTagDefault", 1);
  settings.Set(u"WaveLISTPos", 1);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    settings.Set(u"WaveLISTPadding", c.padding);
    settings.Set(u"WaveLISTPaddingSize", c.paddingSize);
    const auto file = Make(c.file);
    ASSERT_EQ(Write(file, {{u"Title", u"Placed", {}}}), 1) << cap.TraceUtf8();
    FileChunks v = ReadChunks(file);
    EXPECT_EQ(v.Ids(), c.ids);
    EXPECT_EQ(v.Data("data"), kAudio);
    EXPECT_EQ(Tags(file).at(u"Title"), u"Placed");
    EXPECT_EQ(ReadAll(file).size(), c.file.size() + c.growth);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1);
  }
}

TEST_F(TagWrite, EmptiedId3ChunkBecomesPaddingOrGoes) {
  const Bytes file =
      WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)).Chunk("id3 ", Id3v23Tag({{"TIT2", "Only"}})).Data(kAudio).Build();
  const struct Case {
    std::uint32_t padding;
    Ids ids;
  } cases[] = {{0, {"fmt ", "JUNK", "data"}}, {1, {"fmt ", "PAD ", "data"}}, {2, {"fmt ", "data"}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "padding " << c.padding);
    settings.Set(u"WaveLISTPadding", c.padding);
    const auto path = Make(file);
    ASSERT_EQ(Delete(path, u"Title\0"), 1) << cap.TraceUtf8();
    FileChunks v = ReadChunks(path);
    EXPECT_EQ(v.Ids(), c.ids);
    EXPECT_EQ(v.Data("data"), kAudio);
    EXPECT_TRUE(Tags(path).empty());
  }
}

TEST_F(TagWrite, DeleteAllRemovesListAndId3AndClearsBext) {
  const Bytes file = WavBuilder()
                         .Fmt(PcmFormat(1, 2, 44100, 16))
                         .Chunk("bext", BextRecord("A description", 1, 0x55))
                         .Chunk("LIST", InfoList({{"INAM", "Title"}, {"IART", "Artist"}}))
                         .Data(kAudio)
                         .Chunk("cue ", kCue)
                         .Chunk("id3 ", Id3v23Tag({{"TALB", "Album"}}))
                         .Build();
  for (const char16_t* names : {static_cast<const char16_t*>(nullptr), u""}) {
    SCOPED_TRACE(names ? "empty list" : "null list");
    cap.Reset();
    const auto path = Make(file);
    ASSERT_EQ(Delete(path, names), 1) << cap.TraceUtf8();
    EXPECT_TRUE(Traced(kExitMarker, u"clDecoder_Wave::DeleteATag"));
    FileChunks v = ReadChunks(path);
    EXPECT_EQ(v.Ids(), (Ids{"fmt ", "bext", "JUNK", "data", "cue "}));
    EXPECT_EQ(v.Data("data"), kAudio);
    EXPECT_EQ(v.Data("cue "), kCue);
    const Bytes& bext = v.Data("bext");
    ASSERT_EQ(bext.size(), clRIFFBEXTChunk::kFixedSize);
    EXPECT_EQ(bext[0], 0) << "description cleared";
    EXPECT_EQ(bext[clRIFFBEXTChunk::kVersionOffset], 1) << "version kept";
    EXPECT_EQ(bext[clRIFFBEXTChunk::kUmidOffset + 10], 0x55) << "UMID kept";
    const auto tags = Tags(path);
    EXPECT_EQ(tags.size(), 1u);
    EXPECT_EQ(tags.count(u"TimeReference"), 1u);
  }
}

TEST_F(TagWrite, DeleteNamedKeepsTheOthers) {
  const Bytes file = WavBuilder()
                         .Fmt(PcmFormat(1, 2, 44100, 16))
                         .Data(kAudio)
                         .Chunk("LIST", InfoList({{"INAM", "Title"}, {"IART", "Artist"}, {"ICMT", "Note"}}))
                         .Chunk("id3 ", Id3v23Tag({{"TALB", "Album"}}))
                         .Build();
  const struct Case {
    const char16_t* names;
    std::size_t length;
    std::vector<std::u16string> gone, kept;
  } cases[] = {
      {u"Artist\0comment\0", 16, {u"Artist", u"Comment"}, {u"Title", u"Album"}},
      // "[Empty]" names the empty name, which none of these tags has.
      {u"[Empty]\0", 9, {}, {u"Title", u"Artist", u"Comment", u"Album"}},
      {u"Album\0[Empty]\0Title\0", 21, {u"Album", u"Title"}, {u"Artist", u"Comment"}},
  };
  for (const auto& c : cases) {
    const std::u16string names(c.names, c.length);
    SCOPED_TRACE(WideToUtf8(names));
    const auto path = Make(file);
    ASSERT_EQ(Delete(path, names.c_str()), 1) << cap.TraceUtf8();
    const auto tags = Tags(path);
    for (const auto& name : c.gone) EXPECT_EQ(tags.count(name), 0u) << WideToUtf8(name);
    for (const auto& name : c.kept) EXPECT_EQ(tags.count(name), 1u) << WideToUtf8(name);
    EXPECT_EQ(ReadChunks(path).Data("data"), kAudio);
  }
}

TEST_F(TagWrite, BextIsKeptRewrittenOrCreatedOnlyWhenAsked) {
  const Bytes withBext =
      WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)).Chunk("bext", BextRecord("Old", 2, 0x77)).Data(kAudio).Build();
  const Bytes plain = WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)).Data(kAudio).Build();
  settings.Set(u"WaveTagDefault", 2);
  const struct Case {
    const char* label;
    const Bytes& file;
    std::vector<HostTag> tags;
    Ids ids;
    std::string description;
    std::uint8_t version, umid;
  } cases[] = {
      {"rewritten in place", withBext, {{u"Description", u"New", {}}}, {"fmt ", "bext", "data"}, "New", 2, 0x77},
      {"untouched fields stay", withBext, {{u"Title", u"T", {}}}, {"fmt ", "bext", "data"}, "Old", 2, 0x77},
      {"created at the end", plain, {{u"Originator", u"Desk", {}}}, {"fmt ", "data", "bext"}, "", 0, 0},
      {"not created for other tags", plain, {{u"Title", u"T", {}}}, {"fmt ", "data"}, "", 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    const auto path = Make(c.file);
    ASSERT_EQ(Write(path, c.tags), 1) << cap.TraceUtf8();
    FileChunks v = ReadChunks(path);
    EXPECT_EQ(v.Ids(), c.ids);
    EXPECT_EQ(v.Data("data"), kAudio);
    const Bytes bext = v.Data("bext");
    if (bext.empty()) continue;
    ASSERT_GE(bext.size(), clRIFFBEXTChunk::kFixedSize);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(bext.data())), c.description);
    EXPECT_EQ(bext[clRIFFBEXTChunk::kVersionOffset], c.version);
    EXPECT_EQ(bext[clRIFFBEXTChunk::kUmidOffset], c.umid);
    EXPECT_EQ(ReadAll(path).size(), c.file.size() + (c.file == plain ? 8 + clRIFFBEXTChunk::kFixedSize : 0));
  }
}

// Files both writers refuse and leave as they are: one that is not there, and
// ones whose chunk list does not account for their audio (an unfinished
// recording, a header cut short). The deletion entry still closes its trace level.
TEST_F(TagWrite, MissingAndUnfinishedFilesAreRefusedAndUntouched) {
  const auto build = [] { return WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)).Data(kAudio); };
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
    for (const char16_t* writer : {u"BEXTWriter", u"IDTagWriter"})
      EXPECT_TRUE(Contains(cap.Errors(), c.error + u"  [clWaveDecoder_Wave::" + writer + u"]\r\n")) << cap.TraceUtf8();
  }
}

// Bytes behind a complete RIFF area stay byte for byte behind its new end,
// whether chunks are appended, grow at the end or go.
TEST_F(TagWrite, BytesAfterTheRiffAreaAreKept) {
  const Bytes trailing = Noise(333, 8);
  const Bytes file = WavBuilder()
                         .Fmt(PcmFormat(1, 2, 44100, 16))
                         .Data(kAudio)
                         .Chunk("LIST", InfoList({{"INAM", "Short"}}))
                         .Trailing(trailing)
                         .Build();
  const auto path = Make(file);
  const auto check = [&](const char* step) {
    const Bytes after = ReadAll(path);
    ASSERT_GE(after.size(), trailing.size()) << step;
    EXPECT_TRUE(std::equal(trailing.begin(), trailing.end(), after.end() - std::ptrdiff_t(trailing.size()))) << step;
    EXPECT_EQ(ReadChunks(path).Data("data"), kAudio) << step;
  };
  ASSERT_EQ(Write(path, {{u"Title", std::u16string(500, u'x'), {}}, {u"Artist", u"A", {}}}), 1);
  check("LIST grown and ID3v2 appended");
  EXPECT_EQ(Tags(path)[u"Title"], std::u16string(500, u'x'));
  ASSERT_EQ(Delete(path, nullptr), 1);
  check("all deleted");
  EXPECT_TRUE(Tags(path).count(u"Title") == 0);
}

// A write that must rewrite the file works on a copy made beside the real
// file under a fresh, unpredictable name, gives it the original's permissions,
// keeps a symbolic link a link, and never parts hard links.
TEST_F(TagWrite, RewritesKeepNamesLinksAndPermissions) {
  settings.Set(u"WaveLISTPadding", 2);
  const Bytes file =
      WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)).Chunk("LIST", InfoList({{"INAM", "x"}})).Data(kAudio).Build();
  const std::vector<HostTag> grow = {{u"Title", std::u16string(400, u'y'), {}}};
  const auto temporaries = [&] {
    std::vector<std::u16string> names;
    for (std::size_t at = 0; (at = cap.Trace().find(u"Rewriting through '", at)) != std::u16string::npos; ++at)
      names.push_back(cap.Trace().substr(at + 19, cap.Trace().find(u'\'', at + 19) - at - 19));
    return names;
  };

  const auto path = Make(file);
  ASSERT_EQ(Write(path, grow), 1);
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
  EXPECT_EQ(Tags(other)[u"Title"], u"short");
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
  EXPECT_EQ(Tags(path)[u"Title"], std::u16string(5000, u'l'));
#endif
  EXPECT_EQ(ReadChunks(path).Data("data"), kAudio);
}
