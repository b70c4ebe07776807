// NetStream against the servers that tests/integration/net_servers.py starts
// and names in NET_* variables; without them every test is skipped.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <utility>

#include "TraceCapture.h"
#include "io/Text.h"
#include "net/NetStream.h"

namespace {
// The library's answers by their start; where Wine's code differs from Windows', both.
using Texts = std::vector<std::u16string_view>;
#ifdef _WIN32
const Texts kRefused{u"WinHTTP error 12029 "}, kUnresolved{u"WinHTTP error 12007 "},
    kUntrusted{u"WinHTTP error 12175 ", u"WinHTTP error 12157 "},
    kTimeout{u"WinHTTP error 12002 ", u"WinHTTP error 10060 "}, kDropped{u"Connection closed at byte 375003 of 750007"};
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

// The served data (net_servers.py, data_bytes): a 32-bit hash of each byte's index, its top byte.
const std::vector<std::uint8_t>& Data() {
  static const std::vector<std::uint8_t> data = [] {
    std::vector<std::uint8_t> bytes(std::size_t(std::stoll(Env("NET_DATA_SIZE"))));
    for (std::size_t k = 0; k < bytes.size(); ++k) {
      const std::uint32_t x = std::uint32_t(k) * 0x9E3779B1u;
      bytes[k] = std::uint8_t(((x ^ (x >> 15)) * 0x85EBCA6Bu) >> 24);
    }
    return bytes;
  }();
  return data;
}

std::int64_t Size() { return std::int64_t(Data().size()); }

std::vector<std::uint8_t> Slice(std::int64_t from, std::int64_t count) {
  from = std::min(from, Size());
  return {Data().begin() + from, Data().begin() + std::min(from + count, Size())};
}

class NetStreamTest : public testing::Test {
 protected:
  void SetUp() override {
    if (Env("NET_HTTP").empty()) GTEST_SKIP() << "needs the servers of tests/integration/net_servers.py";
  }
  bool Open(const char* server, std::string_view path, std::int32_t timeout = 10) {
    return stream.Open(Url(server, path), u"", timeout, trace.context());
  }
  std::string Error() const { return WideToUtf8(stream.ErrorText()); }
  // Reads in steps of `step` bytes until a read comes up short.
  std::vector<std::uint8_t> ReadAll(std::int64_t step) {
    std::vector<std::uint8_t> all, piece(std::size_t(step), 0);
    for (std::int64_t n = step; n == step;) {
      n = stream.Read(piece.data(), step);
      all.insert(all.end(), piece.begin(), piece.begin() + n);
      ahead = std::max(ahead, stream.BytesReceived() - stream.Position());
    }
    return all;
  }

  TraceCapture trace;
  NetStream stream;
  std::int64_t ahead = 0;  // the most the read-ahead held
};
}  // namespace

TEST_F(NetStreamTest, WholeBodyByteExactForEveryReadSizeAndSeeksByRangesOnlyWhereTheServerTakesThem) {
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
    // Byte by byte once (slow), odd steps, and steps beyond the read-ahead.
    for (const std::int64_t step : {&c == cases ? 1 : 7, 4096, 300000}) {
      SCOPED_TRACE(testing::Message() << c.server << c.path << " in steps of " << step);
      ASSERT_TRUE(Open(c.server, c.path)) << Error();
      EXPECT_EQ(stream.Status(), 200);
      EXPECT_TRUE(stream.Headers().starts_with("HTTP/1.1 200 OK\r\n")) << stream.Headers();
      EXPECT_EQ(stream.ContentType(), c.server == std::string_view("NET_SCRIPTED") ? u"" : u"audio/wav");
      EXPECT_EQ(stream.Length(), c.known ? std::optional(Size()) : std::nullopt);
      EXPECT_EQ(stream.CanSeek(), c.ranges);
      EXPECT_TRUE(ReadAll(step) == Data());
      EXPECT_FALSE(stream.Failed()) << Error();
      EXPECT_EQ(stream.Position(), Size());
      EXPECT_EQ(stream.BytesReceived(), Size());
      EXPECT_EQ(stream.BufferCapacity(), NetStream::kReadAhead);
      EXPECT_LE(std::exchange(ahead, 0), std::int64_t(NetStream::kReadAhead));
    }
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
  EXPECT_TRUE(trace.Trace().empty()) << trace.TraceUtf8();
}

// Every way an open or a read fails, and the one way back: a resume by range.
TEST_F(NetStreamTest, FailuresSayWhatWasAnsweredAndLostConnectionsResumeOnlyWithRangesAndLength) {
  const std::int64_t half = Size() / 2;
  const struct {
    const char* server;
    const char* path;
    int status;
    std::int64_t reached;
    int resumes;
    Texts error;  // the whole text for a status of a failed reply, its start for the library's texts
  } cases[] = {
      {"NET_HTTP", "/missing.wav", 404, 0, 0, {u"HTTP status 404 (Not Found)"}},
      {"NET_HTTPS", "/missing.wav", 404, 0, 0, {u"HTTP status 404 (Not Found)"}},
      {"NET_CLOSED", "/data.wav", 0, 0, 0, kRefused},
      {"", "http://nonexistent.invalid/data.wav", 0, 0, 0, kUnresolved},
      {"NET_ROGUE", "/data.wav", 0, 0, 0, kUntrusted},
      {"NET_WRONG_HOST", "/data.wav", 0, 0, 0, kUntrusted},
      {"NET_SCRIPTED", "/silent", 0, 0, 0, kTimeout},
      {"NET_SCRIPTED", "/drop", 206, Size(), 1, {u""}},
      {"NET_SCRIPTED", "/drop-gone", 503, half, 3, {u"HTTP status 503 (Service Unavailable)"}},
      {"NET_SCRIPTED", "/drop-norange", 200, half, 0, kDropped},
      {"NET_SCRIPTED", "/stall", 200, 0, 0, kTimeout},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    trace.Reset();
    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(Open(c.server, c.path, c.error == kTimeout ? 1 : 5), c.status == 200 || c.resumes > 0) << Error();
    EXPECT_TRUE(ReadAll(65536) == Slice(0, c.reached));
    // A stall ends with the time-out asked for, long before the default one.
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(10));
    EXPECT_EQ(stream.Status(), c.status);
    EXPECT_EQ(stream.Failed(), c.reached < Size());
    if (c.status % 200 != 0)
      EXPECT_EQ(stream.ErrorText(), c.error[0]);
    else
      EXPECT_TRUE(StartsWithOneOf(stream.ErrorText(), c.error)) << Error();
    EXPECT_EQ(stream.BytesReceived(), c.reached);
    std::u16string lines;
    for (int attempt = 1; attempt <= c.resumes; ++attempt)
      lines += u"Connection lost at byte " + ToText(half) + u" of " + Url(c.server, c.path) + u", resuming (attempt " +
               ToText(attempt) + u" of 3).  [NetStream::Read]\r\n";
    EXPECT_EQ(trace.Information(), lines);
    EXPECT_TRUE(trace.NoErrors());
  }
}

// The server holds the rest until /release: a read that waited for more than had arrived would time out.
TEST_F(NetStreamTest, AReadTakesWhatArrivedBeforeAPause) {
  const std::int64_t pauseAt = std::stoll(Env("NET_PAUSE_AT"));
  ASSERT_TRUE(Open("NET_SCRIPTED", "/pause", 5)) << Error();
  std::vector<std::uint8_t> head(std::size_t(pauseAt), 0);
  ASSERT_EQ(stream.Read(head.data(), pauseAt), pauseAt) << Error();
  EXPECT_TRUE(head == Slice(0, pauseAt));
  EXPECT_EQ(stream.BytesReceived(), pauseAt);
  NetStream release;
  ASSERT_TRUE(release.Open(Url("NET_SCRIPTED", "/release"), u"", 5, trace.context()))
      << WideToUtf8(release.ErrorText());
  EXPECT_TRUE(ReadAll(65536) == Slice(pauseAt, Size()));
  EXPECT_FALSE(stream.Failed()) << Error();
}
