// NetStream against the servers that tests/integration/net_servers.py starts
// and names in NET_* variables; without them every test is skipped.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <thread>

#include "TraceCapture.h"
#include "io/Text.h"
#include "net/NetStream.h"

namespace {
// The library's answers by their start; where Wine's code differs from Windows', both.
using Texts = std::vector<std::u16string_view>;
#ifdef _WIN32
const Texts kRefused{u"WinHTTP error 12029 "}, kUnresolved{u"WinHTTP error 12007 "},
    kUntrusted{u"WinHTTP error 12175 ", u"WinHTTP error 12157 "},
    kTimeout{u"WinHTTP error 12002 ", u"WinHTTP error 10060 "},
    kDropped{u"Connection closed at byte 750003 of 1500007"};
#else
const Texts kRefused{u"curl error 7: "}, kUnresolved{u"curl error 6: "}, kUntrusted{u"curl error 60: "},
    kTimeout{u"curl error 28: "}, kDropped{u"curl error 18: "};
#endif

bool StartsWithOneOf(std::u16string_view text, const Texts& starts) {
  return std::any_of(starts.begin(), starts.end(), [&](std::u16string_view start) { return text.starts_with(start); });
}

std::string Env(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::u16string Url(const char* server, std::string_view path) { return Utf8ToWide(Env(server).append(path)); }

// The served data (net_servers.py, data_bytes): splitmix64 of each 8-byte word's index, little-endian.
const std::vector<std::uint8_t>& Data() {
  static const std::vector<std::uint8_t> data = [] {
    std::vector<std::uint8_t> bytes(std::size_t(std::stoll(Env("NET_DATA_SIZE"))) + 8);
    for (std::size_t k = 0; k < bytes.size() / 8; ++k) {
      std::uint64_t z = (k + 1) * 0x9E3779B97F4A7C15ull;
      z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
      z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
      for (std::size_t b = 0; b < 8; ++b) bytes[k * 8 + b] = std::uint8_t((z ^ (z >> 31)) >> (8 * b));
    }
    bytes.resize(bytes.size() - 8);
    return bytes;
  }();
  return data;
}

std::int64_t Size() { return std::int64_t(Data().size()); }

std::vector<std::uint8_t> Slice(std::int64_t from, std::int64_t count) {
  from = std::min(from, Size());
  return {Data().begin() + from, Data().begin() + std::min(from + count, Size())};
}

// Reads in steps of `step` bytes until a read comes up short.
std::vector<std::uint8_t> ReadAll(NetStream& stream, std::int64_t step) {
  std::vector<std::uint8_t> all, piece(std::size_t(step), 0);
  for (std::int64_t n = step; n == step;) {
    n = stream.Read(piece.data(), step);
    all.insert(all.end(), piece.begin(), piece.begin() + n);
  }
  return all;
}

class NetStreamTest : public testing::Test {
 protected:
  void SetUp() override {
    if (Env("NET_HTTP").empty()) GTEST_SKIP() << "needs the servers of tests/integration/net_servers.py";
  }
  bool Open(const char* server, std::string_view path, std::int32_t timeout = 10, std::u16string_view agent = {}) {
    return stream.Open(Url(server, path), agent, timeout, trace.context());
  }
  std::string Error() const { return WideToUtf8(stream.ErrorText()); }

  TraceCapture trace;
  NetStream stream;
};
}  // namespace

TEST_F(NetStreamTest, WholeBodyByteExactForEveryReadSize) {
  const struct {
    const char* server;
    const char* path;
    bool known;
    bool ranges;
  } cases[] = {
      {"NET_HTTP", "/data.wav", true, true},      {"NET_HTTPS", "/data.wav", true, true},
      {"NET_HTTP", "/redirect", true, true},      {"NET_SCRIPTED", "/norange", true, false},
      {"NET_SCRIPTED", "/chunked", false, false}, {"NET_SCRIPTED", "/close", false, false},
  };
  for (const auto& c : cases) {
    for (const std::int64_t step : {1, 8, 4096, 65536}) {
      SCOPED_TRACE(testing::Message() << c.server << c.path << " in steps of " << step);
      ASSERT_TRUE(Open(c.server, c.path)) << Error();
      EXPECT_EQ(stream.Status(), 200);
      EXPECT_EQ(stream.Length(), c.known ? std::optional(Size()) : std::nullopt);
      EXPECT_EQ(stream.CanSeek(), c.ranges);
      EXPECT_TRUE(ReadAll(stream, step) == Data());
      EXPECT_FALSE(stream.Failed()) << Error();
      EXPECT_EQ(stream.Position(), Size());
      EXPECT_EQ(stream.BytesReceived(), Size());
    }
  }
  ASSERT_TRUE(Open("NET_HTTPS", "/data.wav"));
  EXPECT_EQ(stream.ContentType(), u"audio/wav");
  EXPECT_TRUE(stream.Headers().starts_with("HTTP/1.1 200 OK\r\n")) << stream.Headers();
  EXPECT_TRUE(trace.Trace().empty()) << trace.TraceUtf8();
}

TEST_F(NetStreamTest, SeeksByRangeRequestsOnlyWhereTheServerTakesThem) {
  const struct {
    const char* server;
    const char* path;
    bool ranges;
  } cases[] = {{"NET_HTTP", "/data.wav", true},
               {"NET_HTTPS", "/data.wav", true},
               {"NET_SCRIPTED", "/norange", false},
               {"NET_SCRIPTED", "/chunked", false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    ASSERT_TRUE(Open(c.server, c.path)) << Error();
    std::int64_t at = 0;
    // Forward, within the read-ahead both ways, back to the start, near, at and past the end.
    for (const std::int64_t to : {std::int64_t(1000), std::int64_t(7000), std::int64_t(7900), std::int64_t(0),
                                  Size() - 10, std::int64_t(123457), Size(), Size() + 5, std::int64_t(777)}) {
      SCOPED_TRACE(to);
      EXPECT_EQ(stream.Seek(to), c.ranges) << Error();
      EXPECT_TRUE(stream.Seek(stream.Position()));
      at = c.ranges ? to : at;
      EXPECT_EQ(stream.Position(), at);
      std::vector<std::uint8_t> got(1000);
      got.resize(std::size_t(stream.Read(got.data(), 1000)));
      EXPECT_TRUE(got == Slice(at, 1000));
      at += std::int64_t(got.size());
      EXPECT_FALSE(stream.Failed()) << Error();
    }
  }
}

TEST_F(NetStreamTest, FailuresSayWhatWasAnswered) {
  const struct {
    std::u16string url;
    int status;
    Texts error;  // the whole text for a status, its start for the library's texts
  } cases[] = {
      {Url("NET_HTTP", "/missing.wav"), 404, {u"HTTP status 404 (Not Found)"}},
      {Url("NET_HTTPS", "/missing.wav"), 404, {u"HTTP status 404 (Not Found)"}},
      {Url("NET_CLOSED", "/data.wav"), 0, kRefused},
      {u"http://nonexistent.invalid/data.wav", 0, kUnresolved},
      {Url("NET_ROGUE", "/data.wav"), 0, kUntrusted},
      {Url("NET_WRONG_HOST", "/data.wav"), 0, kUntrusted},
      {Url("NET_SCRIPTED", "/silent"), 0, kTimeout},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(WideToUtf8(c.url));
    EXPECT_FALSE(stream.Open(c.url, u"", 2, trace.context()));
    EXPECT_TRUE(stream.Failed());
    EXPECT_EQ(stream.Status(), c.status);
    if (c.status != 0)
      EXPECT_EQ(stream.ErrorText(), c.error[0]);
    else
      EXPECT_TRUE(StartsWithOneOf(stream.ErrorText(), c.error)) << Error();
    std::uint8_t byte = 0;
    EXPECT_EQ(stream.Read(&byte, 1), 0);
  }
}

TEST_F(NetStreamTest, LostConnectionsResumeOnlyWithRangesAndLength) {
  const std::int64_t half = Size() / 2;
  const struct {
    const char* path;
    std::int64_t reached;
    int resumes;
    Texts error;
  } cases[] = {
      {"/drop", Size(), 1, {u""}},
      {"/drop-gone", half, 3, {u"HTTP status 503 (Service Unavailable)"}},
      {"/drop-norange", half, 0, kDropped},
      {"/stall", 0, 0, kTimeout},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    trace.Reset();
    ASSERT_TRUE(Open("NET_SCRIPTED", c.path, 2)) << Error();
    EXPECT_TRUE(ReadAll(stream, 65536) == Slice(0, c.reached));
    EXPECT_EQ(stream.Failed(), c.reached < Size());
    EXPECT_TRUE(StartsWithOneOf(stream.ErrorText(), c.error)) << Error();
    EXPECT_EQ(stream.BytesReceived(), c.reached);
    std::u16string lines;
    for (int attempt = 1; attempt <= c.resumes; ++attempt)
      lines += u"Connection lost at byte " + ToText(half) + u" of " + Url("NET_SCRIPTED", c.path) +
               u", resuming (attempt " + ToText(attempt) + u" of 3).  [NetStream::Read]\r\n";
    EXPECT_EQ(trace.Information(), lines);
    EXPECT_TRUE(trace.NoErrors());
  }
}

TEST_F(NetStreamTest, AReadTakesWhatArrivedBeforeAPause) {
  const std::int64_t pauseAt = std::stoll(Env("NET_PAUSE_AT"));
  const auto pause = std::chrono::seconds(std::stoll(Env("NET_PAUSE_SECONDS")));
  const auto started = std::chrono::steady_clock::now();
  ASSERT_TRUE(Open("NET_SCRIPTED", "/pause", 30)) << Error();
  std::vector<std::uint8_t> head(std::size_t(pauseAt), 0);
  ASSERT_EQ(stream.Read(head.data(), pauseAt), pauseAt);
  EXPECT_LT(std::chrono::steady_clock::now() - started, pause / 2);
  EXPECT_TRUE(head == Slice(0, pauseAt));
  EXPECT_EQ(stream.BytesReceived(), pauseAt);
  // The rest follows the pause.
  EXPECT_TRUE(ReadAll(stream, 65536) == Slice(pauseAt, Size()));
  EXPECT_FALSE(stream.Failed()) << Error();
  EXPECT_GE(std::chrono::steady_clock::now() - started, pause);
}

TEST_F(NetStreamTest, UserAgentReachesTheServer) {
  const struct {
    const char* path;
    std::u16string_view agent;
    const char* logged;
  } cases[] = {
      {"/data.wav?1", u"WaveNetTest/1.0 (check)", "\"GET /data.wav?1 HTTP/1.1\" 200 \"WaveNetTest/1.0 (check)\""},
      {"/data.wav?2", u"", "\"GET /data.wav?2 HTTP/1.1\" 200 \"-\""},
  };
  for (const auto& c : cases) {
    ASSERT_TRUE(Open("NET_HTTP", c.path, 10, c.agent)) << Error();
    EXPECT_TRUE(ReadAll(stream, 65536) == Data());
  }
  stream.Close();
  // nginx writes its line after sending the reply, which can be just after the client read the last byte.
  std::string log;
  for (int tries = 0; tries < 100 && log.find(cases[1].logged) == std::string::npos; ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    std::ifstream in(Env("NET_ACCESS_LOG"), std::ios::binary);
    log.assign(std::istreambuf_iterator<char>(in), {});
  }
  for (const auto& c : cases) EXPECT_NE(log.find(c.logged), std::string::npos) << c.logged << " in\n" << log;
}

TEST_F(NetStreamTest, ReadAheadStaysBoundedOnALongBody) {
  ASSERT_TRUE(Open("NET_HTTP", "/big.bin")) << Error();
  std::vector<std::uint8_t> block(65536);
  std::int64_t total = 0, ahead = 0;
  for (std::int64_t n; (n = stream.Read(block.data(), 65536)) > 0;) {
    total += n;
    ahead = std::max(ahead, stream.BytesReceived() - stream.Position());
  }
  EXPECT_EQ(total, std::stoll(Env("NET_BIG_SIZE")));
  EXPECT_LE(ahead, std::int64_t(NetStream::kReadAhead));
  EXPECT_EQ(stream.BufferCapacity(), NetStream::kReadAhead);
}
