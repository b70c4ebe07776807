// The nine exports as a host meets them: the real library, loaded by path.
#include <gtest/gtest.h>

#include "PluginHarness.h"
#include "host/TagBlock.h"
#include "io/Limits.h"
#include "io/Text.h"

namespace {
std::u16string FromHost(const WaveChar* s) {
  return s ? std::u16string(reinterpret_cast<const char16_t*>(s)) : u"(null)";
}

class Exports : public ::testing::Test {
 protected:
  void SetUp() override {
    p = &LoadedPlugin();
    decoder = p->Create(&cap.context());
    ASSERT_NE(decoder, nullptr);
  }
  void TearDown() override { EXPECT_EQ(p->Destroy(decoder), 1); }
  int OpenFile(const std::u16string& name, std::uint32_t flags) {
    OpenRecord record{};
    record.FileName = W(name);
    record.Flags = flags;
    return p->Open(decoder, &record);
  }

  TraceCapture cap;
  Plugin* p = nullptr;
  void* decoder = nullptr;
};
}  // namespace

TEST(ExportsNull, EveryExportButDestroyRefusesANullHandle) {
  Plugin& p = LoadedPlugin();
  OpenRecord open{};
  AudioBlock block{};
  GetRecord get{};
  SetRecord set{};
  const std::u16string key = u"Decodes";
  EXPECT_EQ(p.Open(nullptr, &open), 0);
  EXPECT_EQ(p.Close(nullptr, 0), 0);
  EXPECT_EQ(p.DecodeBlock(nullptr, &block), 0);
  EXPECT_EQ(p.SetPosition(nullptr, 0), 0);
  EXPECT_EQ(p.Get(nullptr, W(key), &get), 0);
  EXPECT_EQ(p.Set(nullptr, W(key), &set), 0);
  EXPECT_EQ(p.DeleteATag(nullptr, W(key), nullptr), 0);
  EXPECT_EQ(p.Destroy(nullptr), 1);
  // Create never fails, not even without a trace context.
  void* d = p.Create(nullptr);
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(p.Close(d, 0), 1);  // never opened
  EXPECT_EQ(p.Destroy(d), 1);
}

TEST_F(Exports, FailedOpensSayWhy) {
  TempDir dir;
  dir.Write("a.wav", WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)).Data(Bytes(4, 0)).Build());
  dir.Write("x.wav", WavBuilder().Container("RIFX").Data(Bytes(4, 0)).Build());
  const std::u16string missing = dir.File("missing.wav");
  const std::u16string noFile = u"Error opening file '" + missing + u"', check no other program has it open. (Win:2)";
  const struct {
    std::u16string name;
    std::uint32_t flags;
    std::u16string error, trace;
  } cases[] = {
      // External packets are refused before the file is touched.
      {dir.File("a.wav"), kOpenExternalPackets | kOpenPrepareDecode,
       u"Error cannot decode external-packet data.  [clDecoder_Wave::Open]\r\n",
       u"->->  [clDecoder_Wave::Open]\r\n*** Error: Error cannot decode external-packet data.  "
       u"[clDecoder_Wave::Open]\r\n"},
      // The error ends the unfinished "Opening file" line.
      {missing, kOpenAudioInfo, noFile + u"  [clDecoder_Wave::Open]\r\n",
       u"Opening file '" + missing + u"' for read access: *** Error: " + noFile + u"  [clDecoder_Wave::Open]\r\n"},
      {dir.File("x.wav"), 0, u"Error RIFF chunk unknown 'RIFX'  [clRIFFHandler::ScanFile]\r\n",
       u"Opening file '" + dir.File("x.wav") + u"' for read access: Opened\r\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(WideToUtf8(c.error));
    cap.Reset();
    EXPECT_EQ(OpenFile(c.name, c.flags), 0);
    EXPECT_EQ(cap.Errors(), c.error);
    EXPECT_TRUE(Contains(cap.Trace(), c.trace)) << cap.TraceUtf8();
    EXPECT_EQ(Contains(cap.Trace(), u"Opening file"), c.flags != (kOpenExternalPackets | kOpenPrepareDecode));
    EXPECT_EQ(p->Close(decoder, 0), 1);
  }
}

TEST_F(Exports, OpenScansTheFileAndCloseReleasesIt) {
  TempDir dir;
  dir.Write("a.wav",
            WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)).Chunk("cue ", Bytes(28, 0)).Data(Bytes(400, 1)).Build());
  const std::u16string name = dir.File("a.wav");
  ASSERT_EQ(OpenFile(name, 0), 1) << cap.TraceUtf8();
  const std::u16string trace = cap.Trace();
  EXPECT_TRUE(Contains(trace, u"Opening file '" + name + u"' for read access: Opened\r\n")) << cap.TraceUtf8();
  for (const char16_t* line :
       {u"Reading Audio Information\r\n", u"Read Audio Information\r\n", u"Got Chunk 'fmt '  Length: 16",
        u"Got Chunk 'cue '  Length: 28", u"Got Chunk 'data'  Length: 400", u"<-<-  [clDecoder_Wave::Open]\r\n"})
    EXPECT_TRUE(Contains(trace, line)) << WideToUtf8(line) << "\n" << cap.TraceUtf8();
  EXPECT_TRUE(cap.NoErrors()) << cap.TraceUtf8();
  EXPECT_EQ(p->Close(decoder, 0), 1);
  // Closed for real: the file can now be removed.
  EXPECT_TRUE(std::filesystem::remove(dir.path() / "a.wav"));
  EXPECT_TRUE(Contains(cap.Trace(), u"<-<-  [clDecoder_Wave::Close]\r\n"));
}

TEST_F(Exports, GetAnswersEveryRow) {
  struct Case {
    std::u16string key;
    int index, subIndex, result;
    std::u16string t1, t2, t3;
  } cases[] = {
      {u"Decodes", 0, 0, 1, u".wav", u"Wave", u"(null)"},
      {u"Decodes", 1, 0, 1, u".bwf", u"Broadcast Wave Format", u"(null)"},
      {u"Decodes", 2, 0, 0, u"(null)", u"(null)", u"(null)"},
      {u"decodes", 0, 0, 0, u"(null)", u"(null)", u"(null)"},
      {u"StreamingDecodes", 0, 0, 1, u"audio/wav", u"(null)", u"(null)"},
      {u"StreamingDecodes", 7, 0, 1, u"application/x-wave", u"(null)", u"(null)"},
      {u"StreamingDecodes", 8, 0, 0, u"(null)", u"(null)", u"(null)"},
      {u"StreamingDecodes", -1, 0, 0, u"(null)", u"(null)", u"(null)"},
      {u"Decoder Description", 0, 0, 1, u"Wave Decoder", u"(null)", u"(null)"},
      {u"Property Elements", 0, 0, 1,
       u"Audio Quality\rChannel Mapping\rEncoder Settings\rWave Header\rRiff Chunks\rSample Count\rGapless\rID "
       u"Tag\rContains",
       u"(null)", u"(null)"},
      {u"Default Property Elements", 0, 0, 1, u"Audio Quality\rEncoder Settings\rContains", u"(null)", u"(null)"},
      {u"ID Tag Options", 0, 3, 1, u"Tag Creation", u"Tagging\\WaveTagDefault", u"ID3"},
      {u"ID Tag Options", 0, 4, 0, u"(null)", u"(null)", u"(null)"},
      {u"ID Tag Options", 1, 1, 1, u"LIST Chunk Position", u"Tagging\\WaveLISTPos",
       u"[LIST]  [optional padding]  [data]"},
      {u"ID Tag Options", 5, 1, 1, u"LIST Padding Size", u"Tagging\\WaveLISTPaddingSize", u"1 KB"},
      {u"ID Tag Options", 5, 4, 1, u"LIST Padding Size", u"Tagging\\WaveLISTPaddingSize", u"16 KB"},
      {u"ID Tag Options", 6, 2, 1, u"ID3v2 Version", u"Tagging\\WaveID3v2Version", u"v2.21"},
      {u"ID Tag Options", 7, 1, 1, u"ID3v2 Text Encoding", u"Tagging\\WaveID3v2UnicodeEncode", u"Unicode-16"},
      {u"ID Tag Options", 8, 0, 0, u"(null)", u"(null)", u"(null)"},
      {u"ID Tag Options", -1, 0, 0, u"(null)", u"(null)", u"(null)"},
      {u"Unknown", 0, 0, 0, u"(null)", u"(null)", u"(null)"},
  };
  for (const auto& c : cases) {
    GetRecord record{};
    record.Index = c.index;
    record.SubIndex = c.subIndex;
    EXPECT_EQ(p->Get(decoder, W(c.key), &record), c.result) << WideToUtf8(c.key) << c.index;
    EXPECT_EQ(FromHost(record.Text1), c.t1) << WideToUtf8(c.key) << c.index;
    EXPECT_EQ(FromHost(record.Text2), c.t2) << WideToUtf8(c.key) << c.index;
    EXPECT_EQ(FromHost(record.Text3), c.t3) << WideToUtf8(c.key) << c.index;
  }
  GetRecord none{};
  EXPECT_EQ(p->Get(decoder, nullptr, &none), 0);
  EXPECT_TRUE(Contains(cap.Trace(), u"Decoder Description  [clDecoder_Wave::Get]\r\n"));
}

TEST_F(Exports, SetResults) {
  SetRecord record{};
  EXPECT_EQ(p->Set(decoder, W(u"IgnoreRegistrySettings"), &record), 0);
  record.Value = 2;
  EXPECT_EQ(p->Set(decoder, W(u"TPE2OptionOverride"), &record), 0);
  record.RangeStart = 0;
  record.RangeEnd = -1;
  EXPECT_EQ(p->Set(decoder, W(u"Set Decode Range"), &record), 1);
  EXPECT_EQ(p->Set(decoder, W(u"set decode range"), &record), 0);
  EXPECT_EQ(p->Set(decoder, W(u"Unknown"), &record), 0);
  EXPECT_TRUE(Contains(cap.Trace(), u"Set Decode Range  [clDecoder_Wave::Set]\r\n"));
}

// Whatever a host hands over, the answer is a clean 0 or a read bounded by
// what the record itself says, never a crash.
TEST_F(Exports, BadRecordsFromAHost) {
  EXPECT_EQ(p->SetPosition(decoder, 5), 0) << "before any open";
  EXPECT_EQ(cap.Errors(), u"Error SetPosition returned false.  [clWaveDecoder_Wave::SetPosition]\r\n");

  cap.Reset();
  OpenRecord unnamed{};
  unnamed.Flags = kOpenAudioInfo;
  EXPECT_EQ(p->Open(decoder, &unnamed), 0);
  EXPECT_EQ(cap.Errors(), u"No file specified!  [clDecoder_Wave::Open]\r\n");
  EXPECT_EQ(p->Open(decoder, nullptr), 0);

  TempDir dir;
  dir.Write("a.wav", WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)).Data(Bytes(400, 1)).Build());
  const std::u16string name = dir.File("a.wav");
  EXPECT_EQ(OpenFile(name, kOpenAudioInfo | 0xFFFFFF00u), 1) << "bits nobody defined are ignored";
  EXPECT_EQ(p->Close(decoder, 0), 1);

  // A byte count far beyond the block: only its own records are read (a sanitizer would see more).
  const Bytes block = BuildTagBlock({{u"Title", u"Bounded", {}}});
  for (const std::int32_t count : {-1, std::int32_t(block.size()) * 1000}) {
    SetRecord r{};
    r.FileName = W(name);
    r.TagData = block.data();
    r.Value = count;
    EXPECT_EQ(p->Set(decoder, W(u"IDTags"), &r), count > 0 ? 1 : 0) << count;
  }

  cap.Reset();
  const std::u16string unterminated(kMaxHostNameListUnits, u'x');
  EXPECT_EQ(p->DeleteATag(decoder, W(name), W(unterminated)), 0);
  EXPECT_EQ(cap.Errors(),
            u"Error the list of tag names does not end within 1048576 characters.  "
            u"[clDecoder_Wave::DeleteATag]\r\n");
}
