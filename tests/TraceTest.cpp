#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "TraceCapture.h"
#include "codec/Trace.h"

#ifndef _WIN32
#include <fcntl.h>
#include <unistd.h>
#endif

namespace {
// The indentation is process-wide and a failed operation leaves it deeper.
void ToDepthZero() { trace_testing::ResetIndentation(); }
}  // namespace

// Markers indent by two blanks per level, a line written in pieces gets one indentation and no function name, error
// and information lines reach their own handles without the prefix, and a scope writes its exit only on success.
TEST(Trace, TranscriptOfMarkersPiecesPrefixesAndScopes) {
  ToDepthZero();
  TraceCapture cap;
  const auto& ctx = cap.context();
  Trace(kEnterMarker, ctx, "clDecoder_Wave::Open", true);
  Trace(kEnterMarker, ctx, "clRIFFHandler::ScanFile", true);
  Trace(u"inner", ctx, nullptr, true);
  Trace(kExitMarker, ctx, "clRIFFHandler::ScanFile", true);
  Trace(u"middle", ctx, "X::Y", true);
  Trace(u"Opening file '", ctx, "clDecoder_Wave::Open", false);
  Trace(u"a.wav", ctx, nullptr, false);
  Trace(u"' for read access: ", ctx, nullptr, false);
  Trace(u"Opened", ctx, nullptr, true);
  TraceError(u"Error cannot decode external-packet data.", ctx, "clDecoder_Wave::Open");
  TraceInformation(u"Warning: RIFF chunk has uneven databytes, is non-compliant RIFF.", ctx, "clRIFFHandler::ScanFile");
  Trace(u"next", ctx, nullptr, true);
  Trace(kExitMarker, ctx, "clDecoder_Wave::Open", true);
  Trace(kExitMarker, ctx, "clDecoder_Wave::Open", true);  // at depth zero: stays at zero
  Trace(u"outer", ctx, nullptr, true);
  {
    TraceScope ok(ctx, "A::Good");
    ok.Line(u"working");
    ok.Ok();
  }
  {
    TraceScope failed(ctx, "A::Bad");
    failed.Error(u"Broken.");
  }
  Trace(u"after", ctx, nullptr, true);
  // The prefix takes the place of the indentation; the next line is indented again.
  EXPECT_EQ(cap.Trace(),
            u"->->  [clDecoder_Wave::Open]\r\n"
            u"  ->->  [clRIFFHandler::ScanFile]\r\n"
            u"    inner\r\n"
            u"  <-<-  [clRIFFHandler::ScanFile]\r\n"
            u"  middle  [X::Y]\r\n"
            u"  Opening file 'a.wav' for read access: Opened\r\n"
            u"*** Error: Error cannot decode external-packet data.  [clDecoder_Wave::Open]\r\n"
            u"*** Information: Warning: RIFF chunk has uneven databytes, is non-compliant RIFF.  "
            u"[clRIFFHandler::ScanFile]\r\n"
            u"  next\r\n"
            u"<-<-  [clDecoder_Wave::Open]\r\n"
            u"<-<-  [clDecoder_Wave::Open]\r\n"
            u"outer\r\n"
            u"->->  [A::Good]\r\n"
            u"  working\r\n"
            u"<-<-  [A::Good]\r\n"
            u"->->  [A::Bad]\r\n"
            u"*** Error: Broken.  [A::Bad]\r\n"
            u"  after\r\n");
  EXPECT_EQ(cap.Errors(),
            u"Error cannot decode external-packet data.  [clDecoder_Wave::Open]\r\nBroken.  [A::Bad]\r\n");
  EXPECT_EQ(cap.Information(),
            u"Warning: RIFF chunk has uneven databytes, is non-compliant RIFF.  [clRIFFHandler::ScanFile]\r\n");
  ToDepthZero();
}

TEST(Trace, FormatTraceLineRules) {
  EXPECT_EQ(FormatTraceLine(u"", u"piece", "A::B", false), u"piece");
  EXPECT_EQ(FormatTraceLine(u"  ", u"line", nullptr, true), u"  line\r\n");
  EXPECT_EQ(FormatTraceLine(u"*** Error: ", u"x", "A::B", true), u"*** Error: x  [A::B]\r\n");
}

TEST(Trace, IndentationFollowsMarkersEvenWhenNothingIsWritten) {
  ToDepthZero();
  const TraceContext nowhere{0, 0, 0};
  Trace(kEnterMarker, nowhere, "A", true);
  Trace(kEnterMarker, nowhere, "B", true);
  TraceCapture cap;
  Trace(u"deep", cap.context(), nullptr, true);
  EXPECT_EQ(cap.Trace(), u"    deep\r\n");
  ToDepthZero();
}

TEST(Trace, TwoThreadsNeverInterleaveInsideAPiece) {
  ToDepthZero();
  TraceCapture cap;
  const std::u16string a(300, u'a'), b(300, u'b');
  auto writer = [&](const std::u16string& text) {
    for (int i = 0; i < 500; ++i) Trace(text, cap.context(), "T::Run", true);
  };
  std::thread t1(writer, a), t2(writer, b);
  t1.join();
  t2.join();
  const std::u16string all = cap.Trace();
  std::size_t lines = 0;
  for (std::size_t pos = 0; pos < all.size(); ++lines) {
    const std::size_t end = all.find(u"\r\n", pos);
    ASSERT_NE(end, std::u16string::npos);
    const std::u16string line = all.substr(pos, end - pos);
    EXPECT_TRUE(line == a + u"  [T::Run]" || line == b + u"  [T::Run]") << "mixed line at " << pos;
    pos = end + 2;
  }
  EXPECT_EQ(lines, 1000u);
}

#ifndef _WIN32
// Handle 0 is a valid descriptor on POSIX, which makes "never written" observable.
TEST(Trace, HandlesZeroAndAllOnesAreNeverWritten) {
  char path[] = "/tmp/wavestdin-XXXXXX";
  const int fd = mkstemp(path);
  const int saved = dup(0);
  dup2(fd, 0);
  const TraceContext ctx{0, ~std::uint64_t{0}, 0};
  TraceError(u"lost", ctx, "A::B");
  TraceInformation(u"lost", ctx, "A::B");
  Trace(u"lost", ctx, nullptr, true);
  dup2(saved, 0);
  close(saved);
  EXPECT_EQ(lseek(fd, 0, SEEK_END), 0);
  close(fd);
  unlink(path);
}

// A handle that takes nothing (a full disk) costs the traced operation nothing: no retry for ever.
TEST(Trace, HandleThatRefusesEveryWriteIsLeftAtOnce) {
  const int full = open("/dev/full", O_WRONLY);
  ASSERT_GE(full, 0);
  const TraceContext ctx{std::uint64_t(full), std::uint64_t(full), std::uint64_t(full)};
  TraceError(u"lost", ctx, "A::B");
  Trace(u"lost", ctx, nullptr, true);
  close(full);
}
#endif
