// The nine exports as a host meets them: the real library, loaded by path.
#include <gtest/gtest.h>

#include "PluginHarness.h"
#include "host/TagBlock.h"
#include "io/Limits.h"
#include "io/Text.h"

namespace {

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
