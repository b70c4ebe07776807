// Reading a wave file's tags in Open: precedence of the three sources,
// damaged tag chunks, and the "_riff_" tags of every other chunk.
#include <gtest/gtest.h>

#include <filesystem>

#include "PluginHarness.h"
#include "TagChunkBuilders.h"
#include "host/TagBlock.h"
#include "io/ByteWriter.h"
#include "io/Text.h"
#include "wave/clWaveDecoder_Wave.h"

namespace {
struct Read {
  int ok = 0;
  std::vector<HostTag> tags;
  std::u16string trace;
  // The "_riff_" tags: each name with its data.
  std::vector<std::pair<std::u16string, Bytes>> Riff() const {
    std::vector<std::pair<std::u16string, Bytes>> out;
    for (const auto& t : tags)
      if (t.name.starts_with(u"_riff_")) out.emplace_back(t.name, t.data);
    return out;
  }
  // The tags that are no "_riff_" ones, "name=value" joined by "; ".
  std::u16string Texts() const {
    std::u16string out;
    for (const auto& t : tags)
      if (!t.name.starts_with(u"_riff_")) out += (out.empty() ? u"" : u"; ") + t.name + u"=" + t.value;
    return out;
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

WavBuilder Audio() { return WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)); }
}  // namespace

// ID3v2 wins over LIST and bext wherever it stands, unless its tag claims more
// than its chunk holds; the summary names the sources that delivered tags.
TEST(TagRead, SourcesInTheirPrecedence) {
  const struct Case {
    Bytes file;
    std::u16string summary, tags;
  } cases[] = {
      {Audio().Data(Bytes(8, 0)).Build(), u"", u""},
      {Audio().Chunk("LIST", InfoList({{"INAM", "t"}})).Data(Bytes(8, 0)).Build(), u"LIST", u"Title=t"},
      {Audio().Data(Bytes(8, 0)).Chunk("bext", BextRecord("", 2)).Build(), u"BEXT v2", u"TimeReference=0"},
      {Audio()
           .Chunk("LIST", InfoList({{"INAM", "List title"}, {"IART", "List artist"}, {"IART", "Second"}}))
           .Data(Bytes(64, 0))
           .Chunk("bext", BextRecord("Bext description", 1))
           .Chunk("id3 ", Id3v23Tag({{"TIT2", "Id3 title"}, {"TXXX", ""}}))
           .Build(),
       u"LIST & ID3 & BEXT v1", u"Title=Id3 title; Artist=List artist; Description=Bext description; TimeReference=0"},
      {Audio()
           .Data(Bytes(64, 0))
           .Chunk("id3 ", Id3v23Tag({{"TIT2", "Id3 title"}}, 100))
           .Chunk("LIST", InfoList({{"INAM", "List title"}}))
           .Chunk("bext", BextRecord("Desc", 2))
           .Build(),
       u"LIST & BEXT v2", u"Title=List title; Description=Desc; TimeReference=0"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    const Read r = TagsOf(c.file);
    ASSERT_EQ(r.ok, 1);
    EXPECT_EQ(r.Texts(), c.tags);
    EXPECT_EQ(r.trace.find(u"*** Error"), std::u16string::npos) << WideToUtf8(r.trace);
    EXPECT_TRUE(Contains(r.trace, u" ID Tags:")) << WideToUtf8(r.trace);
    for (const HostTag& t : r.tags)
      EXPECT_TRUE(t.name.starts_with(u"_riff_") || Contains(r.trace, t.name + u": " + t.value + u"\r\n"))
          << WideToUtf8(r.trace);
    TempDir dir;
    XFile file;
    ASSERT_TRUE(file.OpenRead(dir.Write("s.wav", c.file).u16string()));
    TraceCapture cap;
    clWaveDecoder_Wave engine;
    ASSERT_TRUE(engine.Initialize(file.handle(), cap.context(), 0, -1));
    std::u16string summary;
    ASSERT_TRUE(engine.ReadIDTags(summary, {}));
    EXPECT_EQ(summary, c.summary);
    engine.Close(0);
  }
}

TEST(TagRead, DamagedOrForeignTagChunksNeverFailOpen) {
  // An 'adtl' list is not tags; it travels as a "_riff_" tag instead.
  Bytes adtl = {'a', 'd', 't', 'l', 'l', 'a', 'b', 'l', 6, 0, 0, 0, 1, 0, 0, 0, 'x', 0};
  const Read a = TagsOf(Audio().Chunk("LIST", adtl).Data(Bytes(8, 0)).Build());
  ASSERT_EQ(a.ok, 1);
  EXPECT_EQ(a.Texts(), u"");
  EXPECT_EQ(a.Riff(),
            (std::vector<std::pair<std::u16string, Bytes>>{{u"_riff_fmt ", {'f', 'm', 't', ' '}},
                                                           {u"_riff_LIST", Bytes({'L', 'I', 'S', 'T'}) + adtl},
                                                           {u"_riff_data", {'d', 'a', 't', 'a'}}}));

  // A corrupted sub-chunk keeps the tags before it; a broken ID3 tag contributes nothing.
  Bytes info = InfoList({{"INAM", "Kept"}});
  ByteWriter(info).Text("IART");
  ByteWriter(info).U32(5000);
  Bytes broken = Id3v23Tag({{"TIT2", "x"}});
  broken[3] = 9;  // no such version
  const Read b = TagsOf(Audio().Chunk("LIST", info).Chunk("id3 ", broken).Data(Bytes(8, 0)).Build());
  ASSERT_EQ(b.ok, 1);
  EXPECT_EQ(b.Texts(), u"Title=Kept");
  EXPECT_TRUE(Contains(b.trace, u"*** Information: Error LIST sub chunk is corrupted")) << WideToUtf8(b.trace);
  EXPECT_TRUE(Contains(b.trace,
                       u"*** Error: Error reading ID3v2 tag: ID3v2 parse error  "
                       u"[clWaveDecoder_Wave::ReadIDTags]\r\n"));
  // A 601-byte bext gives nothing.
  const Read c = TagsOf(Audio().Chunk("bext", Bytes(601, 'x')).Data(Bytes(8, 0)).Build());
  ASSERT_EQ(c.ok, 1);
  EXPECT_EQ(c.Texts(), u"");
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
  EXPECT_EQ(r.tags.size(), 4u);
  EXPECT_EQ(r.Riff(), (std::vector<std::pair<std::u16string, Bytes>>{{u"_riff_fmt ", {'f', 'm', 't', ' '}},
                                                                     {u"_riff_cue ", Bytes({'c', 'u', 'e', ' '}) + cue},
                                                                     {u"_riff_data", {'d', 'a', 't', 'a'}},
                                                                     {u"_riff_smpl", {'s', 'm', 'p', 'l'}}}));
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

TEST(TagRead, OverridesSetByTheHostRenameTpe2AndTit1) {
  TempDir dir;
  const std::u16string name =
      dir.Write("o.wav",
                Audio().Data(Bytes(8, 0)).Chunk("id3 ", Id3v23Tag({{"TPE2", "Band"}, {"TIT1", "Group"}})).Build())
          .u16string();
  const struct Case {
    int tpe2, tit1;  // -1: not set
    std::u16string tags;
  } cases[] = {
      {-1, -1, u"Album Artist=Band; Content Group=Group"},
      {2, 2, u"Orchestra=Band; Style=Group"},
      {1, 5, u"Album Artist=Band; Style=Group"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    TraceCapture cap;
    Plugin& p = LoadedPlugin();
    void* d = p.Create(&cap.context());
    for (const auto& [setting, value] : {std::pair{u"TPE2OptionOverride", c.tpe2}, {u"TIT1OptionOverride", c.tit1}}) {
      SetRecord set{};
      set.Value = value;
      EXPECT_EQ(value < 0 ? 0 : p.Set(d, W(setting), &set), 0);  // handled, yet 0 on purpose
    }
    OpenRecord record{};
    record.FileName = W(name);
    record.Flags = kOpenReadTags;
    ASSERT_EQ(p.Open(d, &record), 1);
    Read r;
    r.tags = ParseTagBlock(record.TagData, record.TagDataBytes);
    p.Close(d, 0);
    p.Destroy(d);
    EXPECT_EQ(r.Texts(), c.tags);
  }
}
