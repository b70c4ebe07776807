#include <gtest/gtest.h>

#include <iterator>

#include "TraceCapture.h"
#include "WavBuilder.h"
#include "codec/Trace.h"
#include "io/ByteReader.h"
#include "io/ByteWriter.h"
#include "io/Limits.h"
#include "io/Text.h"
#include "riff/ChunkWalk.h"
#include "riff/clRIFFHandler.h"

namespace {
struct Scan {
  bool ok = false;
  std::vector<RIFFChunkInfo> chunks;
  std::uint64_t riffSize = 0;
  bool rf64 = false;
  std::u16string trace;
};

Scan ScanBytes(const Bytes& bytes) {
  trace_testing::ResetIndentation();  // a failed scan leaves it deeper
  TempDir dir;
  const auto path = dir.Write("scan.wav", bytes);
  XFile file;
  EXPECT_TRUE(file.OpenRead(path.u16string()));
  TraceCapture cap;
  clRIFFHandler riff;
  Scan s;
  s.ok = riff.Initialize(file.handle(), cap.context());
  for (std::size_t i = 0; i < riff.ChunkCount(); ++i) s.chunks.push_back(riff.Chunk(i));
  s.riffSize = riff.RiffSize();
  s.rf64 = riff.IsRF64();
  s.trace = cap.Trace();
  riff.Reset();
  return s;
}

const std::u16string kScanTag = u"  [clRIFFHandler::ScanFile]\r\n";
std::u16string InfoLine(const std::u16string& text) { return u"*** Information: " + text + kScanTag; }
std::u16string ErrorLine(const std::u16string& text) { return u"*** Error: " + text + kScanTag; }
bool Has(const Scan& s, const std::u16string& line) { return s.trace.find(line) != std::u16string::npos; }
std::string Utf8(const std::u16string& s) { return WideToUtf8(s); }

}  // namespace

// Whole, cut, damaged and unusual files: whether the scan succeeds, which chunks it lists where, and exactly which
// findings the trace reports.
TEST(RiffScanner, WhatIsListedAndReported) {
  enum : unsigned { kOutOfFile = 1, kExtra = 2, kOutOfRiff = 4, kUneven = 8, kDiffers = 16, kReadError = 32 };
  const std::u16string findings[] = {
      ErrorLine(u"Error Chunk is out of file."),
      InfoLine(u"Warning 'RiffSizeLeft != FileSizeLeft' must be extra data on end of file."),
      InfoLine(u"Warning Chunk is out of RIFF area (but still inside file)."),
      InfoLine(u"Warning: RIFF chunk has uneven databytes, is non-compliant RIFF."),
      InfoLine(u"Error calculated total RIFF chunk size differs from file."),
      ErrorLine(u"File error reading chunk."),
  };
  const auto stereo = [] { return WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)); };
  const auto mono = [] { return WavBuilder().Fmt(PcmFormat(1, 1, 8000, 8)); };
  const auto named = [](std::string container, std::string form) {
    return WavBuilder().Container(container).Form(form).Data(Bytes(4, 0)).Build();
  };
  const Bytes whole = stereo().Data(Bytes(4, 0)).Build();
  struct Case {
    std::string label;
    Bytes file;
    std::string ids;                         // the chunks listed, four characters each
    std::uint64_t lastSize = 0, lastAt = 0;  // the last chunk's data size and position (0: not checked)
    unsigned found = 0;
    std::uint64_t riffSize = 0;  // 0: not checked
    std::vector<std::u16string> lines = {};
    bool ok = true;
  };
  std::vector<Case> cases = {
      {"well formed",
       whole,
       "fmt data",
       4,
       44,
       0,
       40,
       {InfoLine(u"  RIFF Header 'RIFF'  Length: 40  FormType 'WAVE'"),
        InfoLine(u"  Got Chunk 'fmt '  Length: 16  RiffSizeLeft: 28  ChunkPosition: 12"),
        InfoLine(u"  Got Chunk 'data'  Length: 4  RiffSizeLeft: 4  ChunkPosition: 36"), u"<-<-" + kScanTag}},
      {"only the header", WavBuilder().Build(), "", 0, 0, 0, 4},
      // The header claims 1000 bytes of audio but the recording stopped after 100.
      {"data cut short by the end of the file",
       stereo().RiffSize(4 + 24 + 8 + 1000).Chunk({"data", Bytes(100, 1), 1000u, true}).Build(), "fmt data", 100, 0,
       kOutOfFile | kExtra | kDiffers},
      {"data past the RIFF area too", stereo().Chunk({"data", Bytes(100, 1), 1000u, true}).Build(), "fmt data", 100, 0,
       kOutOfRiff},
      {"RIFF size all ones", mono().RiffSize(0xFFFFFFFFu).Data(Bytes(4, 0)).Build(), "fmt data", 4, 0, kExtra},
      {"odd RIFF size", mono().RiffSize(41).Data(Bytes(4, 0)).Build(), "fmt data", 4, 0, kUneven | kExtra},
      {"even RIFF size that disagrees: the computed size wins", mono().RiffSize(38).Data(Bytes(4, 0)).Build(),
       "fmt data", 4, 0, kDiffers | kExtra | kOutOfRiff, 40},
      {"odd chunk, found behind its pad byte",
       WavBuilder().Chunk("odd ", Bytes(3, 7)).Fmt(PcmFormat(1, 1, 8000, 8)).Data(Bytes(5, 1)).Build(), "odd fmt data",
       5, 12 + 12 + 24 + 8},
      {"odd last chunk without its pad byte",
       mono().Chunk({"data", Bytes(5, 1), {}, false}).RiffSize(4 + 24 + 13).Build(), "fmt data", 5, 0, kUneven},
      {"bytes after the RIFF area",
       mono().Data(Bytes(4, 0)).Trailing({'J', 'U', 'N', 'K', 4, 0, 0, 0, 1, 2, 3, 4}).Build(), "fmt data", 4, 0,
       kExtra},
      {"chunk header cut", Bytes(whole.begin(), whole.end() - 8), "fmt ", 16, 0, kReadError | kExtra | kDiffers},
      // The data header's own size field is a placeholder; the real size is in 'ds64'.
      {"RF64",
       WavBuilder().RF64(8, 2).Fmt(PcmFormat(1, 2, 44100, 16)).Chunk({"data", Bytes(8, 3), 0xFFFFFFFFu, true}).Build(),
       "ds64fmt data", 8},
      {"lower case", named("riff", "wave"), "data", 4},
      {"RF64 without ds64: no size for the data", named("RF64", "WAVE"), "data", 0},
      {"Riff", named("Riff", "WAVE"), "", 0, 0, 0, 0, {ErrorLine(u"Error RIFF chunk unknown 'Riff'")}, false},
      {"RIFX", named("RIFX", "WAVE"), "", 0, 0, 0, 0, {ErrorLine(u"Error RIFF chunk unknown 'RIFX'")}, false},
      {"AVI", named("RIFF", "AVI "), "", 0, 0, 0, 0, {ErrorLine(u"Error RIFF form chunk unknown 'AVI '")}, false},
      {"Wave", named("RIFF", "Wave"), "", 0, 0, 0, 0, {ErrorLine(u"Error RIFF form chunk unknown 'Wave'")}, false},
  };
  // Files too short for a header succeed empty, writing the two markers and nothing between them.
  for (std::size_t size = 0; size < 12; ++size)
    cases.push_back({"cut to " + std::to_string(size),
                     Bytes(whole.begin(), whole.begin() + std::ptrdiff_t(size)),
                     "",
                     0,
                     0,
                     0,
                     0,
                     {u"  ->->" + kScanTag + u"  <-<-" + kScanTag}});
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    const Scan s = ScanBytes(c.file);
    ASSERT_EQ(s.ok, c.ok) << Utf8(s.trace);
    for (const auto& line : c.lines) EXPECT_TRUE(Has(s, line)) << Utf8(line) << Utf8(s.trace);
    if (!c.ok) {
      EXPECT_FALSE(Has(s, u"<-<-" + kScanTag));
      continue;
    }
    std::string ids;
    for (const RIFFChunkInfo& chunk : s.chunks) {
      ids += Utf8(FourCCToText(chunk.ChunkID));
      EXPECT_EQ(chunk.FileDataPosition, chunk.ChunkPosition + 8);
    }
    ASSERT_EQ(ids, c.ids);
    if (!s.chunks.empty()) {
      EXPECT_EQ(s.chunks.front().ChunkPosition, 12u);
      EXPECT_EQ(s.chunks.back().DataSize, c.lastSize);
      EXPECT_EQ(s.rf64, c.file[0] == 'R' && c.file[1] == 'F');
    }
    if (c.lastAt) {
      EXPECT_EQ(s.chunks.back().FileDataPosition, c.lastAt);
    }
    if (c.riffSize) {
      EXPECT_EQ(s.riffSize, c.riffSize);
    }
    for (std::size_t i = 0; i < std::size(findings); ++i)
      EXPECT_EQ(Has(s, findings[i]), (c.found >> i & 1) != 0) << Utf8(findings[i]) << Utf8(s.trace);
    if (!c.found) {
      EXPECT_EQ(s.trace.find(u"*** Error"), std::u16string::npos) << Utf8(s.trace);
      EXPECT_EQ(s.trace.find(u"Warning"), std::u16string::npos) << Utf8(s.trace);
    }
  }
}

TEST(RiffScanner, FourCCMatchingRule) {
  struct Case {
    const char* id;
    const char* text;
    bool caseless, match;
  } cases[] = {
      {"data", "data", true, true},   {"DATA", "data", true, true},  {"Data", "data", true, false},
      {"DATA", "data", false, false}, {"data", "data", false, true}, {"LIST", "list", true, true},
  };
  for (const auto& c : cases) EXPECT_EQ(FourCCMatches(MakeFourCC(c.id), c.text, c.caseless), c.match) << c.id << c.text;
  EXPECT_EQ(FourCCToText(MakeFourCC("cue ")), u"cue ");
}

// A file of empty chunks stops being listed at the cap: what an open costs is
// bounded by it, not by the file. The walk runs over memory, as fuzzers run it.
TEST(RiffScanner, ChunkCountIsCapped) {
  Bytes file = WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)).Build();
  const std::size_t headers = kMaxChunkRecords + 1000;
  const Bytes junk = {'J', 'U', 'N', 'K', 0, 0, 0, 0};
  for (std::size_t i = 0; i < headers; ++i) file.insert(file.end(), junk.begin(), junk.end());
  ByteWriter(file).PatchU32(4, std::uint32_t(file.size() - 8));

  TraceCapture cap;
  MemorySource source(file);
  ChunkWalk walk;
  {
    TraceScope scope(cap.context(), "clRIFFHandler::ScanFile");
    EXPECT_TRUE(WalkChunks(source, std::int64_t(file.size()), scope, walk));
    scope.Ok();
  }
  EXPECT_EQ(walk.chunks.size(), kMaxChunkRecords);
  EXPECT_TRUE(
      cap.HasLine(u"*** Error: Error more than 65536 chunks: the rest of the file is not scanned.  "
                  u"[clRIFFHandler::ScanFile]"));
}
