// The plug-in playing addresses through its exports, against the servers that
// tests/integration/net_servers.py starts and names in NET_* variables: the
// files are built here and written into the folder nginx serves (NET_WWW); the
// scripted server serves the same files as /MODE/NAME. Whatever a stream shows
// must be what the same bytes show when opened from disk.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>
#include <tuple>

#include "PluginHarness.h"
#include "TagChunkBuilders.h"
#include "host/TagBlock.h"
#include "io/Text.h"

namespace {
constexpr const char* kPull = "clsStreamingwavedecoder_Wave::PullOutFMTnDATA";

std::string Env(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}
std::u16string Url(const char* server, std::string_view path) { return Utf8ToWide(Env(server).append(path)); }
std::filesystem::path Served(const std::string& name) {
  return std::filesystem::path(Utf8ToWide(Env("NET_WWW"))) / name;
}
std::u16string Line(std::u16string_view text, const char* function = kPull) {
  return std::u16string(text) + u"  [" + Utf8ToWide(function) + u"]\r\n";
}

void Serve(const std::string& name, const Bytes& bytes) {
  std::ofstream(Served(name), std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

// IMA ADPCM blocks of noise whose headers hold a valid step index.
Bytes ImaBlocks(std::size_t blocks, std::size_t align) {
  Bytes data = Noise(blocks * align, 17);
  for (std::size_t at = 0; at < data.size(); at += align) data[at + 2] %= 89, data[at + 3] = 0;
  return data;
}

using Tags = std::vector<std::tuple<std::u16string, std::u16string, Bytes>>;
Tags Kept(const std::uint8_t* block, std::size_t size, std::u16string_view dropped) {
  Tags kept;
  for (HostTag& t : ParseTagBlock(block, size))
    if (!t.name.starts_with(dropped)) kept.emplace_back(std::move(t.name), std::move(t.value), std::move(t.data));
  return kept;
}

// Everything a host gets from one decoder object: the Open record, the
// properties less the chunk map, the tags less the unknown chunks, the blocks.
struct Played {
  int open = 0, seek = -1;
  std::array<std::uint8_t, 40> format{};
  std::uint32_t bitRate = 0;
  std::int64_t lengthMs = 0, dataBytes = 0;
  Tags props, tags;
  std::vector<Bytes> blocks;
  bool decodeFailed = false;
  bool operator==(const Played&) const = default;
  Bytes Audio() const {
    Bytes all;
    for (const Bytes& b : blocks) all = all + b;
    return all;
  }
};

// Opens with everything asked for, decodes `before` blocks, seeks to `seekTo` when it is not negative, and
// decodes to the end.
Played Play(const std::u16string& name, const TraceContext& log, int before = 0, std::int64_t seekTo = -1) {
  Plugin& p = LoadedPlugin();
  Played d;
  void* decoder = p.Create(&log);
  OpenRecord record{};
  record.FileName = W(name);
  record.Flags = kOpenAudioInfo | kOpenReadTags | kOpenProperties | kOpenPrepareDecode;
  d.open = p.Open(decoder, &record);
  std::copy(std::begin(record.Format), std::end(record.Format), d.format.begin());
  d.bitRate = record.BitRate, d.lengthMs = record.LengthMs, d.dataBytes = record.DataBytes;
  d.props = Kept(record.PropData, record.PropDataBytes, u"Riff Chunks");
  d.tags = Kept(record.TagData, record.TagDataBytes, u"_riff_");
  for (int i = 0; d.open && i < 100000; ++i) {
    if (i == before && seekTo >= 0) d.seek = p.SetPosition(decoder, seekTo);
    AudioBlock block{};
    if (!p.DecodeBlock(decoder, &block)) {
      d.decodeFailed = true;
      break;
    }
    if (block.DataBytes) d.blocks.emplace_back(block.Data, block.Data + block.DataBytes);
    if (block.LastBlock) break;
  }
  p.Close(decoder, 0);
  p.Destroy(decoder);
  return d;
}

std::size_t Count(std::string_view text, std::string_view part) {
  std::size_t n = 0;
  for (auto at = text.find(part); at != std::string_view::npos; at = text.find(part, at + 1)) ++n;
  return n;
}

// The files of the comparisons, written once into the served folder.
const std::vector<std::pair<std::string, Bytes>>& Fixtures() {
  static const std::vector<std::pair<std::string, Bytes>> fixtures = [] {
    const Bytes list = InfoList({{"INAM", "Streamed title"}, {"IART", "Artist"}, {"ICMT", "odd"}});
    const std::vector<std::pair<std::string, Bytes>> all = {
        {"pcm16.wav", WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)).Data(Noise(4 * 300001, 1)).Build()},
        {"pcm24.wav",
         WavBuilder().Fmt(PcmFormat(1, 2, 48000, 24)).Chunk("junk", Bytes(3, 7)).Data(Noise(6 * 90001, 2)).Build()},
        {"float.wav", WavBuilder().Fmt(PcmFormat(3, 2, 48000, 32)).Data(Noise(8 * 70000, 3)).Build()},
        {"ima.wav",
         WavBuilder().Fmt(FormatEx(17, 1, 22050, 11155, 256, 4, {0xF9, 0x01})).Data(ImaBlocks(700, 256)).Build()},
        {"tagged.wav", WavBuilder()
                           .Fmt(PcmFormat(1, 2, 44100, 16))
                           .Chunk("LIST", list)
                           .Chunk("bext", BextRecord("Streamed description", 1, 0x5A))
                           .Chunk("id3 ", Id3v23Tag({{"TIT2", "ID3 title"}, {"TALB", "Album"}}))
                           .Chunk("smpl", Bytes(36, 1))
                           .Data(Noise(4 * 50000, 4))
                           .Build()},
    };
    for (const auto& [name, bytes] : all) Serve(name, bytes);
    return all;
  }();
  return fixtures;
}

class StreamPlay : public testing::Test {
 protected:
  void SetUp() override {
    if (Env("NET_WWW").empty()) GTEST_SKIP() << "needs the servers of tests/integration/net_servers.py";
    Fixtures();
  }
  Played Disk(const std::string& name, int before = 0, std::int64_t seekTo = -1) {
    TraceCapture disk;
    Played d = Play(Served(name).u16string(), disk.context(), before, seekTo);
    EXPECT_EQ(d.open, 1);
    EXPECT_TRUE(disk.NoErrors()) << disk.TraceUtf8();
    return d;
  }
  TraceCapture cap;
};
}  // namespace

TEST_F(StreamPlay, EveryServerShowsWhatTheFileShowsFromDisk) {
  for (const auto& [name, bytes] : Fixtures()) {
    const Played disk = Disk(name);
    EXPECT_FALSE(disk.blocks.empty());
    for (const auto& [server, path] : {std::pair{"NET_HTTP", "/"},
                                       {"NET_HTTPS", "/"},
                                       {"NET_SCRIPTED", "/norange/"},
                                       {"NET_SCRIPTED", "/chunked/"}}) {
      SCOPED_TRACE(server + (path + name));
      cap.Reset();
      EXPECT_TRUE(Play(Url(server, path + name), cap.context()) == disk);
      EXPECT_TRUE(cap.NoErrors()) << cap.TraceUtf8();
    }
  }
  // The tag chunks before the audio (title, artist, comment, description, album...) made it to the comparisons.
  EXPECT_GE(Disk("tagged.wav").tags.size(), 5u);
}

TEST_F(StreamPlay, APlainPlayIsOneRequestWithTheUserAgent) {
  EXPECT_TRUE(Play(Url("NET_HTTP", "/pcm16.wav?plain-play"), cap.context()) == Disk("pcm16.wav"));
  Play(Url("NET_HTTP", "/pcm16.wav?seek-play"), cap.context(), 2, 200000);
  // nginx writes its line after the reply, which can be just after the client read the last byte.
  std::string log;
  for (int tries = 0; tries < 100 && (Count(log, "?seek-play") < 2 || Count(log, "?plain-play") < 1); ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    std::ifstream in(std::filesystem::path(Utf8ToWide(Env("NET_ACCESS_LOG"))), std::ios::binary);
    log.assign(std::istreambuf_iterator<char>(in), {});
  }
  EXPECT_EQ(Count(log, "\"GET /pcm16.wav?plain-play HTTP/1.1\" 200 \"Quaverlane\""), 1u) << log;
  // A seek beyond what the read-ahead holds is one request more.
  EXPECT_EQ(Count(log, "?seek-play"), 2u) << log;
}

TEST_F(StreamPlay, WalkMessagesOfAStream) {
  const Bytes fmt = PcmFormat(1, 2, 44100, 16), audio = Noise(4000, 5);
  const struct {
    const char* name;
    bool unsized;  // the scripted server's chunked reply, else nginx's with a length
    Bytes bytes;
    int open;
    std::u16string_view line;  // an error, or a warning (an information line)
  } cases[] = {
      {"small.wav", false, {'R', 'I', 'F', 'F', 4, 0, 0, 0, 'W', 'A', 'V'}, 0, u"Error: File too small for RIFF."},
      {"rifx.wav", false, WavBuilder().Container("RIFX").Fmt(fmt).Data(audio).Build(), 0,
       u"Error RIFF chunk unknown 'RIFX'"},
      {"avi.wav", false, WavBuilder().Form("AVI ").Fmt(fmt).Data(audio).Build(), 0,
       u"Error RIFF form chunk unknown 'AVI '"},
      {"rf64.wav", false, WavBuilder().RF64(audio.size()).Fmt(fmt).Data(audio).Build(), 0,
       u"Error RIFF chunk unknown 'RF64'"},
      {"biglist.wav", false, WavBuilder().Fmt(fmt).Chunk("LIST", Bytes(12 << 20, 0)).Data(audio).Build(), 0,
       u"Error unknown Chunk too large for streaming."},
      {"fmtlate.wav", false, WavBuilder().Data(audio).Fmt(fmt).Build(), 0, u"Error wave file has no format chunk."},
      {"riffshort.wav", false, WavBuilder().RiffSize(4).Fmt(fmt).Data(audio).Build(), 0,
       u"Error wave file has no format chunk."},
      {"fmtsize.wav", false, WavBuilder().Fmt(Bytes(fmt.begin(), fmt.begin() + 12)).Data(audio).Build(), 0,
       u"Error 'fmt ' chunk is a bad size."},
      {"uneven.wav", false, WavBuilder().RiffSize(4 + 24 + 8 + 4001).Fmt(fmt).Data(audio).Trailing({0}).Build(), 1,
       u"Warning: RIFF chunk has uneven databytes, is non-compliant RIFF."},
      {"outriff.wav", false, WavBuilder().RiffSize(4 + 24 + 8 + 100).Fmt(fmt).Data(audio).Build(), 1,
       u"Warning Chunk is out of RIFF area (but still inside file)."},
      {"cut.wav", false, WavBuilder().Fmt(fmt).Data(audio).TruncateTo(44 + 1000).Build(), 1,
       u"Error Chunk is out of file."},
      {"nohead.wav", false, WavBuilder().Fmt(fmt).Data(audio).TruncateTo(12 + 24 + 4).Build(), 1,
       u"File error reading chunk."},
      // Without a length nothing is cut short ahead: the read itself comes up short.
      {"cutfmt.wav", true, WavBuilder().Fmt(fmt).Data(audio).TruncateTo(12 + 8 + 10).Build(), 0,
       u"Error cannot read 'fmt ' chunk from file."},
      {"cutjunk.wav", true,
       WavBuilder().Fmt(fmt).Chunk("junk", Bytes(100, 1)).Data(audio).TruncateTo(12 + 24 + 8 + 50).Build(), 0,
       u"Error cannot read unknown chunk from file."},
      {"cutlist.wav", true,
       WavBuilder().Fmt(fmt).Chunk("LIST", InfoList({{"INAM", "cut"}})).Data(audio).TruncateTo(12 + 24 + 10).Build(), 0,
       u"Error cannot read unknown chunk from file."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Serve(c.name, c.bytes);
    cap.Reset();
    const Played d = Play(
        c.unsized ? Url("NET_SCRIPTED", "/chunked/" + std::string(c.name)) : Url("NET_HTTP", "/" + std::string(c.name)),
        cap.context());
    EXPECT_EQ(d.open, c.open);
    EXPECT_FALSE(d.decodeFailed);
    const bool warning = c.line.starts_with(u"Warning");
    EXPECT_EQ(cap.Errors(), warning ? u"" : Line(c.line)) << cap.TraceUtf8();
    EXPECT_EQ(cap.Information(), warning ? Line(c.line) : u"") << cap.TraceUtf8();
  }
  // The file engine needs no stream's bound on chunks before the audio.
  EXPECT_EQ(Disk("biglist.wav").blocks.size(), 1u);
}

TEST_F(StreamPlay, SeeksMatchTheFileWithRangesAndFailWithout) {
  // Back to the start, forward past the read-ahead, past the end.
  for (const std::int64_t to : {0, 150000, 10, 400000}) {
    SCOPED_TRACE(to);
    const Played disk = Disk("pcm16.wav", 3, to);
    EXPECT_EQ(disk.seek, 1);
    EXPECT_TRUE(Play(Url("NET_HTTP", "/pcm16.wav"), cap.context(), 3, to) == disk);
    cap.Reset();
    EXPECT_EQ(Play(Url("NET_SCRIPTED", "/norange/pcm16.wav"), cap.context(), 3, to).seek, 0);
    EXPECT_EQ(cap.Errors(), Line(u"Error SetPosition returned false.", "clsStreamingwavedecoder_Wave::SetPosition"));
  }
}

// Only the resumed play has all the audio; the others stop where the connection did, with the error.
TEST_F(StreamPlay, LostConnectionsResumeOnlyWithRanges) {
  const Bytes all = Disk("pcm16.wav").Audio();
  const std::u16string url = Url("NET_SCRIPTED", "/drop/pcm16.wav");
  const std::u16string lost = u"Connection lost at byte " + ToText(std::int64_t(Fixtures()[0].second.size() / 2)) +
                              u" of " + url + u", resuming (attempt 1 of 3).";
  cap.Reset();
  EXPECT_TRUE(Play(url, cap.context()).Audio() == all);
  EXPECT_EQ(cap.Errors(), u"") << cap.TraceUtf8();
  EXPECT_EQ(cap.Information(), Line(lost, "NetStream::Read")) << cap.TraceUtf8();
  cap.Reset();
  const Played cut = Play(Url("NET_SCRIPTED", "/drop-norange/pcm16.wav"), cap.context());
  const Bytes got = cut.Audio();
  EXPECT_TRUE(cut.decodeFailed);
  EXPECT_TRUE(got.size() < all.size() && std::equal(got.begin(), got.end(), all.begin()));
  EXPECT_EQ(cap.Errors(), Line(u"Error reading data from file.", "clsStreamingwavedecoder_Wave::ReadDataBlock"));
  EXPECT_EQ(cap.Information(), u"") << cap.TraceUtf8();
}

TEST_F(StreamPlay, AFailedOpenSaysWhatTheServerAnswered) {
  Plugin& p = LoadedPlugin();
  void* decoder = p.Create(&cap.context());
  // A local file that failed to open first: its error code is no part of an address's failure.
  const std::u16string missing = Served("missing.wav").u16string(), url = Url("NET_HTTPS", "/missing.wav");
  for (const std::u16string* name : {&missing, &url}) {
    OpenRecord record{};
    record.FileName = W(*name);
    record.Flags = kOpenAudioInfo | kOpenReadTags | kOpenProperties | kOpenPrepareDecode;
    cap.Reset();
    EXPECT_EQ(p.Open(decoder, &record), 0);
  }
  EXPECT_EQ(cap.Information(), Line(u"HTTP status 404 (Not Found)", "clDecoder_Wave::Open"));
  EXPECT_EQ(cap.Errors(),
            Line(u"Error opening file '" + url + u"', check no other program has it open.", "clDecoder_Wave::Open"));
  p.Close(decoder, 0);
  p.Destroy(decoder);
}

TEST_F(StreamPlay, AnOpenEndedDataChunkPlaysToTheEndOfAnUnsizedReply) {
  const Bytes audio = Noise(4 * 150000 + 2, 6);  // a part block at the end, never delivered
  Serve("open.wav", WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)).Chunk({"data", audio, 0u}).Build());
  const Played d = Play(Url("NET_SCRIPTED", "/chunked/open.wav"), cap.context());
  EXPECT_EQ(d.open, 1);
  EXPECT_FALSE(d.decodeFailed);
  EXPECT_TRUE(d.Audio() == Bytes(audio.begin(), audio.end() - 2));
  EXPECT_TRUE(std::all_of(d.blocks.begin(), d.blocks.end(), [](const Bytes& b) { return b.size() % 4 == 0; }));
  EXPECT_TRUE(cap.NoErrors()) << cap.TraceUtf8();
}
