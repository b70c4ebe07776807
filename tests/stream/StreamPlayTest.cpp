// The plug-in playing addresses through its exports, against the servers that
// tests/integration/net_servers.py starts and names in NET_* variables: the
// files are built here and written into the folder nginx serves (NET_WWW); the
// scripted server serves the same files as /MODE/NAME (norange, chunked, drop,
// drop-norange, stall, pause). Whatever a stream shows must be what the same bytes
// show when opened from disk.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "PluginHarness.h"
#include "TagChunkBuilders.h"
#include "host/TagBlock.h"
#include "io/Text.h"

namespace {
constexpr std::uint32_t kEverything = kOpenAudioInfo | kOpenReadTags | kOpenProperties | kOpenPrepareDecode;
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

// Everything a host gets from one decoder object: the Open record, the
// properties less the chunk map, the tags less the unknown chunks, the blocks.
struct Played {
  int open = 0, seek = -1;
  std::uint8_t format[40]{};
  std::uint32_t bitRate = 0;
  std::int64_t lengthMs = 0, dataBytes = 0;
  std::vector<HostTag> props, tags;
  std::vector<Bytes> blocks;
  bool decodeFailed = false;
  Bytes Audio() const {
    Bytes all;
    for (const Bytes& b : blocks) all = all + b;
    return all;
  }
};

// Opens with everything asked for, decodes `before` blocks, seeks to `seekTo` when it is not negative, and
// decodes to the end.
Played Play(const std::u16string& name, const TraceContext& log, int before = 0, std::int64_t seekTo = -1,
            std::int32_t timeout = 0) {
  Plugin& p = LoadedPlugin();
  Played d;
  void* decoder = p.Create(&log);
  if (timeout > 0) {
    SetRecord set{};
    set.Value = timeout;
    EXPECT_EQ(p.Set(decoder, W(u"Stream Timeout"), &set), 1);
  }
  OpenRecord record{};
  record.FileName = W(name);
  record.Flags = kEverything;
  d.open = p.Open(decoder, &record);
  std::copy(std::begin(record.Format), std::end(record.Format), d.format);
  d.bitRate = record.BitRate, d.lengthMs = record.LengthMs, d.dataBytes = record.DataBytes;
  for (HostTag& t : ParseTagBlock(record.PropData, record.PropDataBytes))
    if (t.name != u"Riff Chunks") d.props.push_back(std::move(t));
  for (HostTag& t : ParseTagBlock(record.TagData, record.TagDataBytes))
    if (!t.name.starts_with(u"_riff_")) d.tags.push_back(std::move(t));
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

bool SameTags(const std::vector<HostTag>& a, const std::vector<HostTag>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const HostTag& x, const HostTag& y) {
    return x.name == y.name && x.value == y.value && x.data == y.data;
  });
}

void ExpectSame(const Played& stream, const Played& disk) {
  EXPECT_EQ(stream.open, 1);
  EXPECT_TRUE(std::equal(std::begin(stream.format), std::end(stream.format), std::begin(disk.format)));
  EXPECT_EQ(stream.bitRate, disk.bitRate);
  EXPECT_EQ(stream.lengthMs, disk.lengthMs);
  EXPECT_EQ(stream.dataBytes, disk.dataBytes);
  EXPECT_TRUE(SameTags(stream.props, disk.props));
  EXPECT_TRUE(SameTags(stream.tags, disk.tags));
  EXPECT_FALSE(stream.decodeFailed);
  EXPECT_EQ(stream.seek, disk.seek);
  EXPECT_TRUE(stream.blocks == disk.blocks);
}

std::string AccessLog() {
  std::ifstream in(std::filesystem::path(Utf8ToWide(Env("NET_ACCESS_LOG"))), std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

std::size_t Count(std::string_view text, std::string_view part) {
  std::size_t n = 0;
  for (auto at = text.find(part); at != std::string_view::npos; at = text.find(part, at + 1)) ++n;
  return n;
}

// The files of the comparisons, written once into the served folder.
struct Fixture {
  std::string name;
  Bytes bytes;
};
const std::vector<Fixture>& Fixtures() {
  static const std::vector<Fixture> fixtures = [] {
    const Bytes list = InfoList({{"INAM", "Streamed title"}, {"IART", "Artist"}, {"ICMT", "odd"}});
    const std::vector<Fixture> all = {
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
    for (const Fixture& f : all) Serve(f.name, f.bytes);
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
    EXPECT_TRUE(disk.NoErrors()) << disk.TraceUtf8();
    return d;
  }
  TraceCapture cap;
};
}  // namespace

TEST_F(StreamPlay, EveryServerShowsWhatTheFileShowsFromDisk) {
  for (const Fixture& f : Fixtures()) {
    const Played disk = Disk(f.name);
    ASSERT_EQ(disk.open, 1) << f.name;
    EXPECT_FALSE(disk.blocks.empty());
    for (const auto& [server, path] : {std::pair{"NET_HTTP", "/"},
                                       {"NET_HTTPS", "/"},
                                       {"NET_SCRIPTED", "/norange/"},
                                       {"NET_SCRIPTED", "/chunked/"}}) {
      SCOPED_TRACE(server + (path + f.name));
      cap.Reset();
      ExpectSame(Play(Url(server, path + f.name), cap.context()), disk);
      EXPECT_TRUE(cap.NoErrors()) << cap.TraceUtf8();
    }
  }
  // The tag chunks before the audio reach the host from a stream too.
  const Played tagged = Disk("tagged.wav");
  for (const std::u16string name : {u"Title", u"Artist", u"Album", u"Description"})
    EXPECT_TRUE(std::any_of(tagged.tags.begin(), tagged.tags.end(), [&](const HostTag& t) { return t.name == name; }))
        << WideToUtf8(name);
}

TEST_F(StreamPlay, APlainPlayIsOneRequestWithTheUserAgent) {
  ExpectSame(Play(Url("NET_HTTP", "/pcm16.wav?plain-play"), cap.context()), Disk("pcm16.wav"));
  Play(Url("NET_HTTP", "/pcm16.wav?seek-play"), cap.context(), 2, 200000);
  // nginx writes its line after the reply, which can be just after the client read the last byte.
  std::string log;
  for (int tries = 0; tries < 100 && (Count(log, "?seek-play") < 2 || Count(log, "?plain-play") < 1); ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    log = AccessLog();
  }
  EXPECT_EQ(Count(log, "\"GET /pcm16.wav?plain-play HTTP/1.1\" 200 \"Quaverlane\""), 1u) << log;
  // A seek beyond what the read-ahead holds is one request more.
  EXPECT_EQ(Count(log, "?seek-play"), 2u) << log;
}

TEST_F(StreamPlay, WalkMessagesOfAStream) {
  const Bytes fmt = PcmFormat(1, 2, 44100, 16), audio = Noise(4000, 5);
  const struct {
    const char* name;
    const char* via;  // nginx with a length, or the scripted server's chunked reply without one
    Bytes bytes;
    int open;
    std::u16string errors, information;
  } cases[] = {
      {"small.wav",
       "/",
       {'R', 'I', 'F', 'F', 4, 0, 0, 0, 'W', 'A', 'V'},
       0,
       Line(u"Error: File too small for RIFF."),
       u""},
      {"rifx.wav", "/", WavBuilder().Container("RIFX").Fmt(fmt).Data(audio).Build(), 0,
       Line(u"Error RIFF chunk unknown 'RIFX'"), u""},
      {"avi.wav", "/", WavBuilder().Form("AVI ").Fmt(fmt).Data(audio).Build(), 0,
       Line(u"Error RIFF form chunk unknown 'AVI '"), u""},
      {"rf64.wav", "/", WavBuilder().RF64(audio.size()).Fmt(fmt).Data(audio).Build(), 0,
       Line(u"Error RIFF chunk unknown 'RF64'"), u""},
      {"biglist.wav", "/", WavBuilder().Fmt(fmt).Chunk("LIST", Bytes(12 << 20, 0)).Data(audio).Build(), 0,
       Line(u"Error unknown Chunk too large for streaming."), u""},
      {"fmtlate.wav", "/", WavBuilder().Data(audio).Fmt(fmt).Build(), 0, Line(u"Error wave file has no format chunk."),
       u""},
      {"riffshort.wav", "/", WavBuilder().RiffSize(4).Fmt(fmt).Data(audio).Build(), 0,
       Line(u"Error wave file has no format chunk."), u""},
      {"fmtsize.wav", "/", WavBuilder().Fmt(Bytes(fmt.begin(), fmt.begin() + 12)).Data(audio).Build(), 0,
       Line(u"Error 'fmt ' chunk is a bad size."), u""},
      {"uneven.wav", "/", WavBuilder().RiffSize(4 + 24 + 8 + 4001).Fmt(fmt).Data(audio).Trailing({0}).Build(), 1, u"",
       Line(u"Warning: RIFF chunk has uneven databytes, is non-compliant RIFF.")},
      {"outriff.wav", "/", WavBuilder().RiffSize(4 + 24 + 8 + 100).Fmt(fmt).Data(audio).Build(), 1, u"",
       Line(u"Warning Chunk is out of RIFF area (but still inside file).")},
      {"cut.wav", "/", WavBuilder().Fmt(fmt).Data(audio).TruncateTo(44 + 1000).Build(), 1,
       Line(u"Error Chunk is out of file."), u""},
      {"nohead.wav", "/", WavBuilder().Fmt(fmt).Data(audio).TruncateTo(12 + 24 + 4).Build(), 1,
       Line(u"File error reading chunk."), u""},
      // Without a length nothing is cut short ahead: the read itself comes up short.
      {"cutfmt.wav", "/chunked/", WavBuilder().Fmt(fmt).Data(audio).TruncateTo(12 + 8 + 10).Build(), 0,
       Line(u"Error cannot read 'fmt ' chunk from file."), u""},
      {"cutjunk.wav", "/chunked/",
       WavBuilder().Fmt(fmt).Chunk("junk", Bytes(100, 1)).Data(audio).TruncateTo(12 + 24 + 8 + 50).Build(), 0,
       Line(u"Error cannot read unknown chunk from file."), u""},
      {"cutlist.wav", "/chunked/",
       WavBuilder().Fmt(fmt).Chunk("LIST", InfoList({{"INAM", "cut"}})).Data(audio).TruncateTo(12 + 24 + 10).Build(), 0,
       Line(u"Error cannot read unknown chunk from file."), u""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Serve(c.name, c.bytes);
    cap.Reset();
    const Played d = Play(
        Url(std::string_view(c.via) == "/" ? "NET_HTTP" : "NET_SCRIPTED", c.via + std::string(c.name)), cap.context());
    EXPECT_EQ(d.open, c.open);
    EXPECT_FALSE(d.decodeFailed);
    EXPECT_EQ(cap.Errors(), c.errors) << cap.TraceUtf8();
    EXPECT_EQ(cap.Information(), c.information) << cap.TraceUtf8();
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
    ExpectSame(Play(Url("NET_HTTP", "/pcm16.wav"), cap.context(), 3, to), disk);
    cap.Reset();
    const Played plain = Play(Url("NET_SCRIPTED", "/norange/pcm16.wav"), cap.context(), 3, to);
    EXPECT_EQ(plain.seek, 0);
    EXPECT_EQ(cap.Errors(), Line(u"Error SetPosition returned false.", "clsStreamingwavedecoder_Wave::SetPosition"));
  }
}

TEST_F(StreamPlay, LostConnectionsResumeOnlyWithRanges) {
  const Played disk = Disk("pcm16.wav");
  const Bytes all = disk.Audio();
  const std::u16string lost = u"Connection lost at byte " + ToText(std::int64_t(Fixtures()[0].bytes.size() / 2)) +
                              u" of " + Url("NET_SCRIPTED", "/drop/pcm16.wav") + u", resuming (attempt 1 of 3).";
  const std::u16string readError =
      Line(u"Error reading data from file.", "clsStreamingwavedecoder_Wave::ReadDataBlock");
  const struct {
    std::string path;
    std::u16string errors, information;
  } cases[] = {{"/drop/pcm16.wav", u"", Line(lost, "NetStream::Read")},
               {"/drop-norange/pcm16.wav", readError, u""},
               {"/stall/pcm16.wav", readError, u""}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    cap.Reset();
    const Played d = Play(Url("NET_SCRIPTED", c.path), cap.context(), 0, -1, 2);
    const Bytes got = d.Audio();
    EXPECT_EQ(d.decodeFailed, !c.errors.empty());
    EXPECT_TRUE(c.errors.empty() ? got == all
                                 : got.size() < all.size() && std::equal(got.begin(), got.end(), all.begin()));
    EXPECT_EQ(cap.Errors(), c.errors) << cap.TraceUtf8();
    EXPECT_EQ(cap.Information(), c.information) << cap.TraceUtf8();
  }
}

TEST_F(StreamPlay, AnOpenTakesTheTagsThatArrivedBeforeAPause) {
  const Played disk = Disk("tagged.wav");
  const auto& fixtures = Fixtures();
  const auto tagged =
      std::find_if(fixtures.begin(), fixtures.end(), [](const Fixture& f) { return f.name == "tagged.wav"; });
  // Everything before the audio arrives before the pause.
  ASSERT_LT(std::int64_t(tagged->bytes.size()) - disk.dataBytes, std::stoll(Env("NET_PAUSE_AT")));
  const auto pause = std::chrono::seconds(std::stoll(Env("NET_PAUSE_SECONDS")));
  Plugin& p = LoadedPlugin();
  void* decoder = p.Create(&cap.context());
  const std::u16string url = Url("NET_SCRIPTED", "/pause/tagged.wav");
  OpenRecord record{};
  record.FileName = W(url);
  record.Flags = kOpenAudioInfo | kOpenReadTags | kOpenProperties;
  const auto started = std::chrono::steady_clock::now();
  EXPECT_EQ(p.Open(decoder, &record), 1);
  EXPECT_LT(std::chrono::steady_clock::now() - started, pause / 2);
  std::vector<HostTag> tags;
  for (HostTag& t : ParseTagBlock(record.TagData, record.TagDataBytes))
    if (!t.name.starts_with(u"_riff_")) tags.push_back(std::move(t));
  EXPECT_TRUE(SameTags(tags, disk.tags));
  const std::int64_t dataBytes = record.DataBytes;
  EXPECT_EQ(dataBytes, disk.dataBytes);
  p.Close(decoder, 0);
  p.Destroy(decoder);
  EXPECT_TRUE(cap.NoErrors()) << cap.TraceUtf8();
}

TEST_F(StreamPlay, FailedOpensSayWhatTheServerAnswered) {
#ifdef _WIN32
  const std::vector<std::u16string_view> untrusted{u"WinHTTP error 12175 ", u"WinHTTP error 12157 "};
#else
  const std::vector<std::u16string_view> untrusted{u"curl error 60: "};
#endif
  const struct {
    std::u16string url;
    std::vector<std::u16string_view> answers;  // the start of the information line
  } cases[] = {{Url("NET_HTTP", "/missing.wav"), {u"HTTP status 404 (Not Found)  ["}},
               {Url("NET_HTTPS", "/missing.wav"), {u"HTTP status 404 (Not Found)  ["}},
               {Url("NET_ROGUE", "/pcm16.wav"), untrusted}};
  Plugin& p = LoadedPlugin();
  void* decoder = p.Create(&cap.context());
  // A local file that failed to open first: its error code is no part of an address's failure.
  const std::u16string missing = Served("missing.wav").u16string();
  OpenRecord local{};
  local.FileName = W(missing);
  EXPECT_EQ(p.Open(decoder, &local), 0);
  for (const auto& c : cases) {
    SCOPED_TRACE(WideToUtf8(c.url));
    cap.Reset();
    OpenRecord record{};
    record.FileName = W(c.url);
    record.Flags = kEverything;
    EXPECT_EQ(p.Open(decoder, &record), 0);
    const std::u16string information = cap.Information();
    EXPECT_TRUE(std::any_of(c.answers.begin(), c.answers.end(), [&](auto a) { return information.starts_with(a); }))
        << WideToUtf8(information);
    EXPECT_TRUE(information.ends_with(u"  [clDecoder_Wave::Open]\r\n")) << WideToUtf8(information);
    EXPECT_EQ(cap.Errors(), Line(u"Error opening file '" + c.url + u"', check no other program has it open.",
                                 "clDecoder_Wave::Open"));
  }
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
