// Every operation of the decoder object, interrupted at each file operation in
// turn (the k-th read, write, seek, flush or rename fails, and so does every
// later one, as if the device had gone; or the k-th alone fails, as on a full
// disk): it returns 0 with an error line or finishes, the file still opens
// with the same audio, no temporary file stays behind, and nothing leaks. An
// operation that returns 0 leaves the file byte for byte as it was, unless the
// device went while the edit was being undone, which the trace then says.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "FaultInjection.h"
#include "PluginHarness.h"
#include "TagChunkBuilders.h"
#include "TagSettingsSandbox.h"
#include "codec/Trace.h"
#include "codec/clDecoder_Wave.h"
#include "host/TagBlock.h"

namespace fs = std::filesystem;

namespace {
const Bytes kAudio = Noise(9000, 31);

// Opens with `flags`; when decoding, reads to the last block (into `audio`) and seeks back. 1 when all went well.
int OpenAndRead(clDecoder_Wave& d, const std::u16string& name, std::uint32_t flags, Bytes* audio = nullptr) {
  OpenRecord record{};
  record.FileName = W(name);
  record.Flags = flags;
  if (!d.Open(record)) return 0;
  for (AudioBlock block{}; flags & kOpenPrepareDecode; block = {}) {
    if (!d.DecodeBlock(block)) return 0;
    if (audio && block.Data) audio->insert(audio->end(), block.Data, block.Data + block.DataBytes);
    if (block.LastBlock) return d.SetPosition(100);
  }
  return 1;
}

// The audio as a fresh decoder object hands it over, or nothing when the file does not open.
std::optional<Bytes> Audio(const fs::path& file) {
  const TraceContext quiet{};
  clDecoder_Wave d(&quiet);
  Bytes audio;
  const int ok = OpenAndRead(d, file.u16string(), kOpenPrepareDecode, &audio);
  d.Close(0);
  return ok ? std::optional(audio) : std::nullopt;
}

int WriteTags(clDecoder_Wave& d, const std::u16string& name, const std::vector<HostTag>& tags) {
  const Bytes block = BuildTagBlock(tags);
  SetRecord record{};
  record.FileName = W(name);
  record.TagData = block.data();
  record.Value = std::int32_t(block.size());
  return d.Set(u"IDTags", record);
}
}  // namespace

TEST(Interruption, EveryOperationKeepsTheAudioAndSaysWhy) {
  TagSettingsSandbox settings;
  const Bytes file = WavBuilder()
                         .Fmt(PcmFormat(1, 2, 44100, 16))
                         .Chunk("LIST", InfoList({{"INAM", "Title"}}))
                         .Chunk("bext", Bytes(602, 0))
                         .Chunk("ID3 ", {})  // left by another program: every edit turns it into padding first
                         .Data(kAudio)
                         .Chunk("id3 ", Id3v23Tag({{"TALB", "Album"}}))
                         .Build();
  const std::u16string longTitle(300, u'T');
  const struct {
    const char* label;
    std::uint32_t padding;  // "WaveLISTPadding"
    std::function<int(clDecoder_Wave&, const std::u16string&)> run;
  } cases[] = {
      {"open for information", 0, [](auto& d, auto& n) { return OpenAndRead(d, n, 4 | 8 | 16); }},
      {"open, decode and seek", 0, [](auto& d, auto& n) { return OpenAndRead(d, n, 1); }},
      {"write into the room", 0,
       [&](auto& d, auto& n) {
         return WriteTags(d, n, {{u"Title", u"T2", {}}});
       }},
      {"write, rewritten with padding", 0,
       [&](auto& d, auto& n) {
         return WriteTags(d, n, {{u"Title", longTitle, {}}, {u"OrigDate", u"2020-01-02", {}}});
       }},
      {"write, rewritten without padding", 2,
       [&](auto& d, auto& n) {
         return WriteTags(d, n, {{u"Title", longTitle, {}}});
       }},
      {"delete named", 2, [](auto& d, auto& n) { return d.DeleteATag(n.c_str(), u"Album\0"); }},
      {"delete all", 2, [](auto& d, auto& n) { return d.DeleteATag(n.c_str(), nullptr); }},
  };
  for (const auto& c : cases) {
    settings.Set(u"WaveLISTPadding", c.padding);
    EXPECT_TRUE(xfile_fault::Sweep(500, [&](int k, bool once) {
      SCOPED_TRACE(testing::Message() << c.label << ", operation " << k << (once ? " alone" : " on") << " fails");
      TempDir dir;
      const fs::path path = dir.Write("t.wav", file);
      TraceCapture cap;
      int result = 0;
      bool reached = false;
      {
        clDecoder_Wave d(&cap.context());
        reached = xfile_fault::Reaches(k, once, [&] { result = c.run(d, path.u16string()); });
        d.Close(0);
      }
      trace_testing::ResetIndentation();
      if (!reached) {
        EXPECT_EQ(result, 1) << cap.TraceUtf8();
      } else if (result == 0) {
        EXPECT_FALSE(cap.Errors().empty()) << cap.TraceUtf8();
        if (once || !Contains(cap.Errors(), u"Error cannot undo the failed edit of '")) {
          EXPECT_TRUE(ReadAll(path) == file) << cap.TraceUtf8();
        }
      }
      EXPECT_EQ(Audio(path), kAudio);
      EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1);
      return reached && !testing::Test::HasFailure();
    })) << c.label;
  }
}
