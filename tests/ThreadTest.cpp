// Decoder objects on separate threads share nothing but the trace log: eight
// of them at once, each on its own file (two also writing tags), give every
// round exactly what one thread alone gives.
#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "PluginHarness.h"
#include "TagChunkBuilders.h"
#include "host/TagBlock.h"

namespace fs = std::filesystem;

namespace {
constexpr int kThreads = 8, kRounds = 50;

struct Round {
  int opened = 0, written = 1;
  Bytes tags, props, audio;
  bool operator==(const Round&) const = default;
};

// Each thread's file has a format of its own, and a tag chunk for some.
Bytes File(int kind) {
  const struct {
    Bytes fmt;
    const char* id;
    Bytes tag;
  } files[kThreads] = {
      {PcmFormat(1, 2, 44100, 16), "LIST", InfoList({{"INAM", "Zero"}})},
      {PcmFormat(1, 1, 48000, 24), "id3 ", Id3v23Tag({{"TIT2", "One"}})},
      {PcmFormat(3, 2, 44100, 32), "bext", Bytes(602, 0)},
      {ExtensibleFormat(1, 6, 48000, 16, 0x3F), nullptr, {}},
      {FormatEx(17, 2, 22050, 22311, 1024, 4, {0xF9, 0x03}), nullptr, {}},
      {FormatEx(6, 1, 8000, 8000, 1, 8, {}), nullptr, {}},
      {FormatEx(7, 2, 8000, 16000, 2, 8, {}), nullptr, {}},
      {PcmFormat(1, 2, 96000, 32), "cue ", Bytes(28, 7)},
  };
  const auto& f = files[kind];
  WavBuilder b;
  b.Fmt(f.fmt);
  if (f.id) b.Chunk(f.id, f.tag);
  return b.Data(Noise(20000, std::uint32_t(kind + 1))).Build();
}

// One thread's work on its own file: the writers tag it first, then everyone reads it whole.
std::vector<Round> Work(int kind, const fs::path& file, const TraceContext& trace) {
  Plugin& p = LoadedPlugin();
  void* decoder = p.Create(&trace);
  const std::u16string name = file.u16string();
  std::vector<Round> rounds(kRounds);
  for (Round& r : rounds) {
    if (kind < 2) {
      const Bytes block = BuildTagBlock({{u"Artist", u"Thread " + std::u16string(1, char16_t(u'0' + kind)), {}}});
      SetRecord set{};
      set.FileName = W(name);
      set.TagData = block.data();
      set.Value = std::int32_t(block.size());
      r.written = p.Set(decoder, W(u"IDTags"), &set);
    }
    OpenRecord open{};
    open.FileName = W(name);
    open.Flags = kOpenPrepareDecode | kOpenReadTags | kOpenProperties;
    r.opened = p.Open(decoder, &open);
    if (r.opened) {
      r.tags.assign(open.TagData, open.TagData + open.TagDataBytes);
      r.props.assign(open.PropData, open.PropData + open.PropDataBytes);
      for (AudioBlock block{}; p.DecodeBlock(decoder, &block); block = {}) {
        r.audio.insert(r.audio.end(), block.Data, block.Data + block.DataBytes);
        if (block.LastBlock) break;
      }
    }
    p.Close(decoder, 0);
  }
  p.Destroy(decoder);
  return rounds;
}
}  // namespace

TEST(Threads, EightDecodersAtOnceGiveWhatOneThreadGives) {
  TempDir alone, together;
  std::vector<std::vector<Round>> expected(kThreads), got(kThreads);
  TraceCapture single, traces[kThreads];
  const auto name = [](int i) { return "f" + std::to_string(i) + ".wav"; };
  for (int i = 0; i < kThreads; ++i) expected[i] = Work(i, alone.Write(name(i), File(i)), single.context());
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i)
    threads.emplace_back([&got, i, file = together.Write(name(i), File(i)), trace = traces[i].context()] {
      got[std::size_t(i)] = Work(i, file, trace);
    });
  for (auto& t : threads) t.join();
  for (int i = 0; i < kThreads; ++i) {
    ASSERT_EQ(expected[i].front().opened, 1) << i;
    EXPECT_FALSE(expected[i].front().audio.empty()) << i;
    EXPECT_TRUE(got[i] == expected[i]) << "thread " << i;
    EXPECT_TRUE(traces[i].NoErrors()) << traces[i].TraceUtf8();
  }
}
