// Reading a wave file's tags in Open: precedence of the three sources,
// damaged tag chunks, and the "_riff_" tags of every other chunk.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "PluginHarness.h"
#include "TagChunkBuilders.h"
#include "host/TagBlock.h"
#include "io/ByteWriter.h"
#include "io/Text.h"
#include "riff/clRIFFBEXTChunk.h"
#include "wave/clWaveDecoder_Wave.h"

namespace {
struct Read {
  int ok = 0;
  std::vector<HostTag> tags;
  std::u16string trace;
  const HostTag* Find(const std::u16string& name) const {
    for (const auto& t : tags)
      if (t.name == name) return &t;
    return nullptr;
  }
  std::u16string Value(const std::u16string& name) const {
    const HostTag* t = Find(name);
    return t ? t->value : u"(none)";
  }
};

Read TagsOf(const Bytes& file) {
  TempDir dir;
  dir.Write("t.wav", file);
  TraceCapture cap;
  Read r;
  r.tags = ReadTags(dir.File("t.wav"), cap.context(), &r.ok);
  r.trace = cap.Trace();
  return r;
}

WavBuilder Audio() {
  WavBuilder b;
  b.Fmt(PcmFormat(1, 2, 44100, 16));
  return b;
}
}  // namespace

TEST(TagRead, Id3WinsOverListAndBextWhereverItStands) {
  const Read r =
      TagsOf(Audio()
                 .Chunk("LIST", InfoList({{"INAM", "List title"}, {"IART", "List artist"}, {"IART", "Second"}}))
                 .Data(Bytes(64, 0))
                 .Chunk("bext", BextRecord("Bext description", 1))
                 .Chunk("id3 ", Id3v23Tag({{"TIT2", "Id3 title"}, {"TXXX", ""}}))
                 .Build());
  ASSERT_EQ(r.ok, 1);
  EXPECT_EQ(r.Value(u"Title"), u"Id3 title");
  EXPECT_EQ(r.Value(u"Artist"), u"List artist");  // the second IART of the same list is dropped
  EXPECT_EQ(r.Value(u"Description"), u"Bext description");
  EXPECT_EQ(r.Value(u"TimeReference"), u"0");
  int titles = 0;
  for (const auto& t : r.tags) titles += EqualsFolded(t.name, u"title");
  EXPECT_EQ(titles, 1);
  EXPECT_TRUE(Contains(r.trace, u" ID Tags:")) << WideToUtf8(r.trace);
  EXPECT_TRUE(Contains(r.trace, u"Title: Id3 title\r\n"));
  EXPECT_EQ(r.trace.find(u"*** Error"), std::u16string::npos) << WideToUtf8(r.trace);
}

TEST(TagRead, AnId3TagLargerThanItsChunkIsIgnored) {
  const Read r = TagsOf(Audio()
                            .Data(Bytes(64, 0))
                            .Chunk("id3 ", Id3v23Tag({{"TIT2", "Id3 title"}}, 100))
                            .Chunk("LIST", InfoList({{"INAM", "List title"}}))
                            .Chunk("bext", BextRecord("Desc", 2))
                            .Build());
  ASSERT_EQ(r.ok, 1);
  EXPECT_EQ(r.Value(u"Title"), u"List title");
  EXPECT_EQ(r.Value(u"Description"), u"Desc");
}

TEST(TagRead, DamagedOrForeignTagChunksNeverFailOpen) {
  // An 'adtl' list is not tags; it travels as a "_riff_" tag instead.
  Bytes adtl = {'a', 'd', 't', 'l', 'l', 'a', 'b', 'l', 6, 0, 0, 0, 1, 0, 0, 0, 'x', 0};
  const Read a = TagsOf(Audio().Chunk("LIST", adtl).Data(Bytes(8, 0)).Build());
  ASSERT_EQ(a.ok, 1);
  ASSERT_NE(a.Find(u"_riff_LIST"), nullptr);
  EXPECT_EQ(a.Find(u"_riff_LIST")->data, Bytes({'L', 'I', 'S', 'T'}) + adtl);

  // A corrupted sub-chunk keeps the tags before it; a broken ID3 tag contributes nothing.
  Bytes info = InfoList({{"INAM", "Kept"}});
  ByteWriter(info).Text("IART");
  ByteWriter(info).U32(5000);
  Bytes broken = Id3v23Tag({{"TIT2", "x"}});
  broken[3] = 9;  // no such version
  const Read b = TagsOf(Audio().Chunk("LIST", info).Chunk("id3 ", broken).Data(Bytes(8, 0)).Build());
  ASSERT_EQ(b.ok, 1);
  EXPECT_EQ(b.Value(u"Title"), u"Kept");
  EXPECT_TRUE(Contains(b.trace, u"*** Information: Error LIST sub chunk is corrupted")) << WideToUtf8(b.trace);
  EXPECT_TRUE(Contains(b.trace,
                       u"*** Error: Error reading ID3v2 tag: ID3v2 parse error  "
                       u"[clWaveDecoder_Wave::ReadIDTags]\r\n"));
  // A 601-byte bext gives nothing.
  const Read c = TagsOf(Audio().Chunk("bext", Bytes(601, 'x')).Data(Bytes(8, 0)).Build());
  ASSERT_EQ(c.ok, 1);
  EXPECT_EQ(c.Find(u"TimeReference"), nullptr);
}

TEST(TagRead, OtherChunksTravelAsRiffTags) {
  const Bytes cue = Noise(24, 3);
  const Read r = TagsOf(WavBuilder()
                            .RF64(8)
                            .Chunk("JUNK", Bytes(10, 0))
                            .Fmt(PcmFormat(1, 2, 44100, 16))
                            .Chunk("fact", {1, 0, 0, 0})
                            .Chunk("cue ", cue)
                            .Chunk("PAD ", Bytes(4, 0))
                            .Chunk({"data", Bytes(8, 0), 0xFFFFFFFFu, true})
                            .Chunk("smpl", {})
                            .Build());
  ASSERT_EQ(r.ok, 1) << WideToUtf8(r.trace);
  std::vector<std::u16string> names;
  for (const auto& t : r.tags) names.push_back(t.name);
  EXPECT_EQ(names, (std::vector<std::u16string>{u"_riff_fmt ", u"_riff_cue ", u"_riff_data", u"_riff_smpl"}));
  EXPECT_EQ(r.Find(u"_riff_fmt ")->data, Bytes({'f', 'm', 't', ' '}));
  EXPECT_EQ(r.Find(u"_riff_data")->data, Bytes({'d', 'a', 't', 'a'}));
  EXPECT_EQ(r.Find(u"_riff_cue ")->data, Bytes({'c', 'u', 'e', ' '}) + cue);
  EXPECT_EQ(r.Find(u"_riff_smpl")->data, Bytes({'s', 'm', 'p', 'l'}));
}

// A chunk that claims far more than any tag needs is skipped, not allocated.
TEST(TagRead, OversizedMetadataChunkIsSkipped) {
  TempDir dir;
  const std::uint32_t huge = 300u << 20;
  const Bytes head = Audio().Data(Bytes(8, 0)).Chunk({"LIST", {}, huge, true}).Build();
  const auto path = dir.Write("big.wav", head);
  std::filesystem::resize_file(path, head.size() + huge);  // sparse
  TraceCapture cap;
  int opened = 0;
  ReadTags(path.u16string(), cap.context(), &opened);
  EXPECT_EQ(opened, 1);
  EXPECT_TRUE(Contains(cap.Errors(),
                       u"Error chunk of 314572800 bytes is too large to read into memory (limit "
                       u"268435456).  [clWaveDecoder_Wave::ReadFileIntoMemory]\r\n"))
      << cap.TraceUtf8();
}

TEST(TagRead, SummaryNamesTheSourcesThatDeliveredTags) {
  struct Case {
    Bytes file;
    std::u16string summary;
  } cases[] = {
      {Audio().Data(Bytes(8, 0)).Build(), u""},
      {Audio().Chunk("LIST", InfoList({{"INAM", "t"}})).Data(Bytes(8, 0)).Build(), u"LIST"},
      {Audio()
           .Chunk("bext", BextRecord("d", 1))
           .Chunk("LIST", InfoList({{"INAM", "t"}}))
           .Data(Bytes(8, 0))
           .Chunk("id3 ", Id3v23Tag({{"TIT2", "x"}}))
           .Build(),
       u"LIST & ID3 & BEXT v1"},
      {Audio().Data(Bytes(8, 0)).Chunk("bext", BextRecord("", 2)).Build(), u"BEXT v2"},
  };
  for (const auto& c : cases) {
    TempDir dir;
    dir.Write("s.wav", c.file);
    XFile file;
    ASSERT_TRUE(file.OpenRead(dir.File("s.wav")));
    TraceCapture cap;
    clWaveDecoder_Wave engine;
    ASSERT_TRUE(engine.Initialize(file.handle(), cap.context(), 0, -1));
    std::u16string summary;
    ASSERT_TRUE(engine.ReadIDTags(summary, {}));
    EXPECT_EQ(summary, c.summary);
    engine.Close(0);
  }
}

TEST(TagRead, OverridesSetByTheHostRenameTpe2AndTit1) {
  TempDir dir;
  dir.Write("o.wav", Audio().Data(Bytes(8, 0)).Chunk("id3 ", Id3v23Tag({{"TPE2", "Band"}, {"TIT1", "Group"}})).Build());
  const std::u16string name = dir.File("o.wav");
  struct Case {
    int tpe2, tit1;  // -1: not set
    const char16_t *albumArtist, *orchestra, *contentGroup, *style;
  } cases[] = {
      {-1, -1, u"Band", u"(none)", u"Group", u"(none)"},
      {2, 2, u"(none)", u"Band", u"(none)", u"Group"},
      {1, 5, u"Band", u"(none)", u"(none)", u"Group"},
  };
  for (const auto& c : cases) {
    TraceCapture cap;
    Plugin& p = LoadedPlugin();
    void* d = p.Create(&cap.context());
    SetRecord set{};
    if (c.tpe2 >= 0) {
      set.Value = c.tpe2;
      EXPECT_EQ(p.Set(d, W(u"TPE2OptionOverride"), &set), 0);  // handled, yet 0 on purpose
    }
    if (c.tit1 >= 0) {
      set.Value = c.tit1;
      EXPECT_EQ(p.Set(d, W(u"TIT1OptionOverride"), &set), 0);
    }
    OpenRecord record{};
    record.FileName = W(name);
    record.Flags = kOpenReadTags;
    ASSERT_EQ(p.Open(d, &record), 1);
    Read r;
    r.tags = ParseTagBlock(record.TagData, record.TagDataBytes);
    p.Close(d, 0);
    p.Destroy(d);
    EXPECT_EQ(r.Value(u"Album Artist"), c.albumArtist) << c.tpe2;
    EXPECT_EQ(r.Value(u"Orchestra"), c.orchestra) << c.tpe2;
    EXPECT_EQ(r.Value(u"Content Group"), c.contentGroup) << c.tit1;
    EXPECT_EQ(r.Value(u"Style"), c.style) << c.tit1;
  }
}
