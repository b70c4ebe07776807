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

Bytes Minimal() { return WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)).Data(Bytes(4, 0)).Build(); }
}  // namespace

TEST(RiffScanner, TinyFilesSucceedEmptyAndSilent) {
  const Bytes whole = Minimal();
  for (std::size_t size = 0; size < 12; ++size) {
    const Scan s = ScanBytes(Bytes(whole.begin(), whole.begin() + std::ptrdiff_t(size)));
    EXPECT_TRUE(s.ok) << size;
    EXPECT_TRUE(s.chunks.empty()) << size;
    // The scan writes its two markers and nothing between them.
    EXPECT_TRUE(Has(s, u"  ->->" + kScanTag + u"  <-<-" + kScanTag)) << size << ": " << Utf8(s.trace);
  }
  const Scan header = ScanBytes(WavBuilder().Build());
  EXPECT_TRUE(header.ok);
  EXPECT_TRUE(header.chunks.empty());
  EXPECT_EQ(header.riffSize, 4u);
}

TEST(RiffScanner, WellFormedFileTracesEveryChunk) {
  const Scan s = ScanBytes(Minimal());
  ASSERT_TRUE(s.ok);
  ASSERT_EQ(s.chunks.size(), 2u);
  EXPECT_EQ(s.chunks[0].ChunkID, MakeFourCC("fmt "));
  EXPECT_EQ(s.chunks[0].DataSize, 16u);
  EXPECT_EQ(s.chunks[0].ChunkPosition, 12u);
  EXPECT_EQ(s.chunks[0].FileDataPosition, 20u);
  EXPECT_EQ(s.chunks[1].ChunkID, MakeFourCC("data"));
  EXPECT_EQ(s.chunks[1].FileDataPosition, 44u);
  EXPECT_EQ(s.riffSize, 40u);
  EXPECT_TRUE(Has(s, InfoLine(u"  RIFF Header 'RIFF'  Length: 40  FormType 'WAVE'")));
  EXPECT_TRUE(Has(s, InfoLine(u"  Got Chunk 'fmt '  Length: 16  RiffSizeLeft: 28  ChunkPosition: 12")));
  EXPECT_TRUE(Has(s, InfoLine(u"  Got Chunk 'data'  Length: 4  RiffSizeLeft: 4  ChunkPosition: 36")));
  EXPECT_EQ(s.trace.find(u"*** Error"), std::u16string::npos) << Utf8(s.trace);
  EXPECT_EQ(s.trace.find(u"Warning"), std::u16string::npos) << Utf8(s.trace);
  EXPECT_TRUE(Has(s, u"<-<-" + kScanTag));
}

TEST(RiffScanner, ContainerIdentifiers) {
  struct Case {
    std::string container, form;
    bool ok;
    std::u16string error;
  } cases[] = {
      {"riff", "wave", true, u""},
      {"RF64", "WAVE", true, u""},
      {"Riff", "WAVE", false, u"Error RIFF chunk unknown 'Riff'"},
      {"RIFX", "WAVE", false, u"Error RIFF chunk unknown 'RIFX'"},
      {"RIFF", "AVI ", false, u"Error RIFF form chunk unknown 'AVI '"},
      {"RIFF", "Wave", false, u"Error RIFF form chunk unknown 'Wave'"},
  };
  for (const auto& c : cases) {
    const Scan s = ScanBytes(WavBuilder().Container(c.container).Form(c.form).Data(Bytes(4, 0)).Build());
    EXPECT_EQ(s.ok, c.ok) << c.container << c.form;
    if (!c.ok) {
      EXPECT_TRUE(Has(s, ErrorLine(c.error))) << Utf8(s.trace);
      EXPECT_FALSE(Has(s, u"<-<-" + kScanTag));
    }
  }
}

// Damaged and unusual files still scan: what is listed, and exactly which findings the trace reports.
TEST(RiffScanner, DamageIsScannedAroundAndReported) {
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
  Bytes headerCut = Minimal();
  headerCut.resize(headerCut.size() - 12 + 4);  // half of the 'data' header
  struct Case {
    const char* label;
    Bytes file;
    std::size_t chunks;
    std::uint64_t lastSize, lastAt;  // the last chunk's data size and position (0: not checked)
    unsigned found;
    std::uint64_t riffSize = 0;  // 0: not checked
  } cases[] = {
      // The header claims 1000 bytes of audio but the recording stopped after 100.
      {"data cut short by the end of the file",
       stereo().RiffSize(4 + 24 + 8 + 1000).Chunk({"data", Bytes(100, 1), 1000u, true}).Build(), 2, 100, 0,
       kOutOfFile | kExtra | kDiffers},
      {"data past the RIFF area too", stereo().Chunk({"data", Bytes(100, 1), 1000u, true}).Build(), 2, 100, 0,
       kOutOfRiff},
      {"RIFF size all ones", mono().RiffSize(0xFFFFFFFFu).Data(Bytes(4, 0)).Build(), 2, 4, 0, kExtra},
      {"odd RIFF size", mono().RiffSize(41).Data(Bytes(4, 0)).Build(), 2, 4, 0, kUneven | kExtra},
      {"even RIFF size that disagrees: the computed size wins", mono().RiffSize(38).Data(Bytes(4, 0)).Build(), 2, 4, 0,
       kDiffers | kExtra | kOutOfRiff, 40},
      {"odd chunk, found behind its pad byte",
       WavBuilder().Chunk("odd ", Bytes(3, 7)).Fmt(PcmFormat(1, 1, 8000, 8)).Data(Bytes(5, 1)).Build(), 3, 5,
       12 + 12 + 24 + 8, 0},
      {"odd last chunk without its pad byte",
       mono().Chunk({"data", Bytes(5, 1), {}, false}).RiffSize(4 + 24 + 13).Build(), 2, 5, 0, kUneven},
      {"bytes after the RIFF area",
       mono().Data(Bytes(4, 0)).Trailing({'J', 'U', 'N', 'K', 4, 0, 0, 0, 1, 2, 3, 4}).Build(), 2, 4, 0, kExtra},
      {"chunk header cut", headerCut, 1, 16, 0, kReadError | kExtra | kDiffers},
      // The data header's own size field is a placeholder; the real size is in 'ds64'.
      {"RF64",
       WavBuilder().RF64(8, 2).Fmt(PcmFormat(1, 2, 44100, 16)).Chunk({"data", Bytes(8, 3), 0xFFFFFFFFu, true}).Build(),
       3, 8, 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    const Scan s = ScanBytes(c.file);
    ASSERT_TRUE(s.ok) << Utf8(s.trace);
    ASSERT_EQ(s.chunks.size(), c.chunks);
    EXPECT_EQ(s.chunks.back().DataSize, c.lastSize);
    if (c.lastAt) {
      EXPECT_EQ(s.chunks.back().FileDataPosition, c.lastAt);
    }
    if (c.riffSize) {
      EXPECT_EQ(s.riffSize, c.riffSize);
    }
    EXPECT_EQ(s.rf64, s.chunks.front().ChunkID == MakeFourCC("ds64"));
    for (std::size_t i = 0; i < std::size(findings); ++i)
      EXPECT_EQ(Has(s, findings[i]), (c.found >> i & 1) != 0) << Utf8(findings[i]) << Utf8(s.trace);
    if (!c.found) {
      EXPECT_EQ(s.trace.find(u"*** Error"), std::u16string::npos) << Utf8(s.trace);
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
