#include <gtest/gtest.h>

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

TEST(RiffScanner, DataRunningPastTheFileIsCut) {
  // The header claims 1000 bytes of audio but the recording stopped after 100.
  const Bytes cut = WavBuilder()
                        .RiffSize(4 + 24 + 8 + 1000)
                        .Fmt(PcmFormat(1, 2, 44100, 16))
                        .Chunk({"data", Bytes(100, 1), 1000u, true})
                        .Build();
  const Scan s = ScanBytes(cut);
  ASSERT_TRUE(s.ok);
  ASSERT_EQ(s.chunks.size(), 2u);
  EXPECT_EQ(s.chunks[1].DataSize, 100u);
  EXPECT_TRUE(Has(s, ErrorLine(u"Error Chunk is out of file."))) << Utf8(s.trace);
  EXPECT_TRUE(Has(s, InfoLine(u"Warning 'RiffSizeLeft != FileSizeLeft' must be extra data on end of file.")));

  // The same with a RIFF size that the chunk also overruns: only the RIFF-area warning.
  const Bytes both = WavBuilder().Fmt(PcmFormat(1, 2, 44100, 16)).Chunk({"data", Bytes(100, 1), 1000u, true}).Build();
  const Scan t = ScanBytes(both);
  ASSERT_TRUE(t.ok);
  EXPECT_EQ(t.chunks[1].DataSize, 100u);
  EXPECT_TRUE(Has(t, InfoLine(u"Warning Chunk is out of RIFF area (but still inside file).")));
  EXPECT_FALSE(Has(t, ErrorLine(u"Error Chunk is out of file.")));
}

TEST(RiffScanner, RiffSizeOddities) {
  // All ones: no uneven warning, but the sizes disagree.
  const Scan ones =
      ScanBytes(WavBuilder().RiffSize(0xFFFFFFFFu).Fmt(PcmFormat(1, 1, 8000, 8)).Data(Bytes(4, 0)).Build());
  ASSERT_TRUE(ones.ok);
  EXPECT_FALSE(Has(ones, InfoLine(u"Warning: RIFF chunk has uneven databytes, is non-compliant RIFF.")));
  EXPECT_TRUE(Has(ones, InfoLine(u"Warning 'RiffSizeLeft != FileSizeLeft' must be extra data on end of file.")));
  EXPECT_EQ(ones.chunks.size(), 2u);

  // An odd size is non-compliant but scanned; the total-size finding is not reported for it.
  const Scan odd = ScanBytes(WavBuilder().RiffSize(41).Fmt(PcmFormat(1, 1, 8000, 8)).Data(Bytes(4, 0)).Build());
  ASSERT_TRUE(odd.ok);
  EXPECT_TRUE(Has(odd, InfoLine(u"Warning: RIFF chunk has uneven databytes, is non-compliant RIFF.")));
  EXPECT_FALSE(Has(odd, InfoLine(u"Error calculated total RIFF chunk size differs from file.")));

  // An even size that disagrees with the chunks is reported, and the computed size wins.
  const Scan wrong = ScanBytes(WavBuilder().RiffSize(38).Fmt(PcmFormat(1, 1, 8000, 8)).Data(Bytes(4, 0)).Build());
  ASSERT_TRUE(wrong.ok);
  EXPECT_TRUE(Has(wrong, InfoLine(u"Error calculated total RIFF chunk size differs from file."))) << Utf8(wrong.trace);
  EXPECT_EQ(wrong.riffSize, 40u);
}

TEST(RiffScanner, OddChunksWithAndWithoutPadByte) {
  const Bytes padded = WavBuilder().Chunk("odd ", Bytes(3, 7)).Fmt(PcmFormat(1, 1, 8000, 8)).Data(Bytes(5, 1)).Build();
  const Scan s = ScanBytes(padded);
  ASSERT_TRUE(s.ok);
  ASSERT_EQ(s.chunks.size(), 3u);
  EXPECT_EQ(s.chunks[1].ChunkPosition, 12u + 8 + 4);  // found behind the pad byte
  EXPECT_EQ(s.chunks[2].DataSize, 5u);
  EXPECT_EQ(s.trace.find(u"*** Error"), std::u16string::npos) << Utf8(s.trace);

  // An odd last chunk whose pad byte was never written is still listed.
  const Bytes unpadded =
      WavBuilder().Fmt(PcmFormat(1, 1, 8000, 8)).Chunk({"data", Bytes(5, 1), {}, false}).RiffSize(4 + 24 + 13).Build();
  const Scan u = ScanBytes(unpadded);
  ASSERT_TRUE(u.ok);
  ASSERT_EQ(u.chunks.size(), 2u);
  EXPECT_EQ(u.chunks[1].DataSize, 5u);
}

TEST(RiffScanner, TrailingBytesAfterTheRiffAreaAreIgnored) {
  const Bytes bytes = WavBuilder()
                          .Fmt(PcmFormat(1, 1, 8000, 8))
                          .Data(Bytes(4, 0))
                          .Trailing({'J', 'U', 'N', 'K', 4, 0, 0, 0, 1, 2, 3, 4})
                          .Build();
  const Scan s = ScanBytes(bytes);
  ASSERT_TRUE(s.ok);
  EXPECT_EQ(s.chunks.size(), 2u);
  EXPECT_TRUE(Has(s, InfoLine(u"Warning 'RiffSizeLeft != FileSizeLeft' must be extra data on end of file.")));
}

TEST(RiffScanner, TruncatedChunkHeader) {
  Bytes bytes = Minimal();
  bytes.resize(bytes.size() - 12 + 4);  // half of the 'data' header
  const Scan s = ScanBytes(bytes);
  ASSERT_TRUE(s.ok);
  EXPECT_EQ(s.chunks.size(), 1u);
  EXPECT_TRUE(Has(s, ErrorLine(u"File error reading chunk."))) << Utf8(s.trace);
}

TEST(RiffScanner, RF64TakesTheDataSizeFromDs64) {
  // The data header's own size field is a placeholder; the real size is in 'ds64'.
  const Bytes bytes =
      WavBuilder().RF64(8, 2).Fmt(PcmFormat(1, 2, 44100, 16)).Chunk({"data", Bytes(8, 3), 0xFFFFFFFFu, true}).Build();
  const Scan s = ScanBytes(bytes);
  ASSERT_TRUE(s.ok) << Utf8(s.trace);
  EXPECT_TRUE(s.rf64);
  ASSERT_EQ(s.chunks.size(), 3u);
  EXPECT_EQ(s.chunks[0].ChunkID, MakeFourCC("ds64"));
  EXPECT_EQ(s.chunks[2].DataSize, 8u);
  EXPECT_FALSE(Has(s, InfoLine(u"Warning 'RiffSizeLeft != FileSizeLeft' must be extra data on end of file.")));
  EXPECT_FALSE(Has(s, InfoLine(u"Error calculated total RIFF chunk size differs from file.")));
  EXPECT_EQ(s.trace.find(u"*** Error"), std::u16string::npos) << Utf8(s.trace);
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
