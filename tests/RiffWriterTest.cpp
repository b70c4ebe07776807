// The RIFF writer: insertion with padding, reuse of padding, replacement that
// grows or shrinks, removal into padding, RF64 promotion, and a file that
// keeps its audio whatever write, seek or rename fails.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "FaultInjection.h"
#include "FileChunks.h"
#include "TraceCapture.h"
#include "WavBuilder.h"
#include "codec/Trace.h"
#include "io/ByteReader.h"
#include "io/ByteWriter.h"
#include "io/XFile.h"
#include "riff/clRIFFHandler.h"

namespace fs = std::filesystem;

namespace {
// A whole chunk as the writer takes it: header and data, no pad byte.
Bytes MakeChunk(const std::string& id, const Bytes& data) {
  Bytes out;
  ByteWriter w(out);
  w.Text(id);
  w.U32(std::uint32_t(data.size()));
  w.Bytes(data);
  return out;
}

const Bytes kAudio = Noise(4000, 7);
const Bytes kCue = Noise(20, 9);

// The chunks in file order with their sizes, "fmt 16, data 4000".
std::string LayoutOf(const FileChunks& f) {
  std::string layout;
  for (const FileChunk& c : f.chunks) {
    const std::string id = c.id.substr(0, c.id.find_last_not_of(' ') + 1);
    layout += (layout.empty() ? "" : ", ") + id + " " + std::to_string(c.size);
  }
  return layout;
}

// What every edit must leave: a RIFF size that counts every chunk and pad
// byte; padding holds only zeros, nothing of what a chunk held before (a
// deleted tag must not be readable from the padding it became).
void ExpectWellFormed(const fs::path& file) {
  const Bytes bytes = ReadAll(file);
  ASSERT_GE(bytes.size(), 8u);
  ByteReader r(bytes);
  r.Skip(4);
  EXPECT_EQ(r.U32(), bytes.size() - 8);
  for (const FileChunk& c : ReadChunks(file).chunks)
    if (c.id == "JUNK" || c.id == "PAD ") {
      EXPECT_EQ(std::count(c.data.begin(), c.data.end(), 0), std::ptrdiff_t(c.data.size())) << c.id;
    }
}

// Failed operations leave the trace indented, as they should; between tests it starts at the margin again.
void ResetTraceIndent() { trace_testing::ResetIndentation(); }

// One edit on a file: open for update, scan, change, commit.
class Edit {
 public:
  explicit Edit(const fs::path& file, bool allowRF64 = false) : riff(allowRF64) {
    opened_ = riff.OpenUpdateMedia(file.u16string()) && riff.Initialize(riff.handle(), trace.context());
  }
  bool Run(const std::function<bool(clRIFFHandler&)>& change) {
    EditTransaction transaction(riff);
    const bool ok = opened_ && change(riff) && transaction.Commit();
    if (!ok) ResetTraceIndent();
    return ok;
  }
  TraceCapture trace;
  clRIFFHandler riff;

 private:
  bool opened_ = false;
};

bool Contains(const std::u16string& text, std::u16string_view part) { return text.find(part) != std::u16string::npos; }

std::size_t FilesIn(const fs::path& dir) {
  return std::size_t(std::distance(fs::directory_iterator(dir), fs::directory_iterator()));
}

Bytes FmtChunk() { return PcmFormat(1, 2, 44100, 16); }

// Tables name the padding choices by their setting numbers: 0 'JUNK', 1 'PAD ', 2 none.
PaddingType Padding(int choice) {
  return choice == 0 ? PaddingType::Junk : choice == 1 ? PaddingType::Pad : PaddingType::None;
}
constexpr PaddingType kJunk = PaddingType::Junk;
constexpr PaddingType kNone = PaddingType::None;
}  // namespace

TEST(RiffWriterInsert, BeforeDataOpensUpWithPadding) {
  const struct Case {
    int type;
    std::uint32_t size;
    std::size_t chunkBytes;
    std::uint64_t growth;
    std::string layout;
  } cases[] = {
      {0, 0, 100, 100 + 2048, "fmt 16, test 92, JUNK 2040, data 4000"},
      {0, 100, 100, 100 + 256, "fmt 16, test 92, JUNK 248, data 4000"},
      {1, 0, 100, 100 + 2048, "fmt 16, test 92, PAD 2040, data 4000"},
      {0, 1001, 100, 100 + 1002, "fmt 16, test 92, JUNK 994, data 4000"},
      {0, 16384, 100, 100 + 16384, "fmt 16, test 92, JUNK 16376, data 4000"},
      {2, 0, 100, 100, "fmt 16, test 92, data 4000"},
      // An odd chunk is followed by its zero pad byte.
      {2, 0, 99, 100, "fmt 16, test 91, data 4000"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "type " << c.type << " size " << c.size << " chunk " << c.chunkBytes);
    TempDir dir;
    const Bytes before = WavBuilder().Fmt(FmtChunk()).Data(kAudio).Build();
    const auto file = dir.Write("a.wav", before);
    const Bytes chunk = MakeChunk("test", Noise(c.chunkBytes - 8, 3));
    Edit edit(file);
    ASSERT_TRUE(edit.Run([&](clRIFFHandler& r) { return r.InsertChunk(1, chunk, Padding(c.type), c.size); }))
        << edit.trace.TraceUtf8();
    EXPECT_TRUE(edit.trace.NoErrors()) << edit.trace.TraceUtf8();
    const Bytes after = ReadAll(file);
    EXPECT_EQ(after.size(), before.size() + c.growth);
    const FileChunks r = ReadChunks(file);
    EXPECT_EQ(LayoutOf(r), c.layout);
    EXPECT_EQ(r.Data("data"), kAudio);
    EXPECT_EQ(r.Data("test"), Bytes(chunk.begin() + 8, chunk.end()));
    ExpectWellFormed(file);
    // The padding holds zeros, and the pad byte of an odd chunk is zero too.
    const std::size_t chunkEnd = 12 + 24 + c.chunkBytes;
    const std::size_t dataHeader = after.size() - kAudio.size() - 8;
    for (std::size_t i = chunkEnd + (c.chunkBytes & 1 ? 0 : 8); i < dataHeader; ++i) ASSERT_EQ(after[i], 0) << i;
    EXPECT_EQ(FilesIn(dir.path()), 1u) << "the temporary copy is gone";
  }
}

TEST(RiffWriterInsert, PaddingIsReusedOrReplaced) {
  const Bytes chunk = MakeChunk("test", Noise(92, 3));
  const struct Case {
    const char* label;
    Bytes file;
    int index;
    std::string layout;
    std::int64_t growth;
  } cases[] = {
      {"padding before data holds the chunk and the rest stays padding",
       WavBuilder().Fmt(FmtChunk()).Chunk("JUNK", Bytes(2040)).Data(kAudio).Build(), 1,
       "fmt 16, test 92, JUNK 1940, data 4000", 0},
      {"padding of exactly the chunk's size becomes the chunk",
       WavBuilder().Fmt(FmtChunk()).Chunk("PAD ", Bytes(92)).Data(kAudio).Build(), 1, "fmt 16, test 92, data 4000", 0},
      {"padding too small is opened up like any chunk",
       WavBuilder().Fmt(FmtChunk()).Chunk("JUNK", Bytes(40)).Data(kAudio).Build(), 1,
       "fmt 16, test 92, JUNK 2040, JUNK 40, data 4000", 2148},
      {"padding at the end is dropped for the chunk",
       WavBuilder().Fmt(FmtChunk()).Data(kAudio).Chunk("JUNK", Bytes(2040)).Build(), 2, "fmt 16, data 4000, test 92",
       100 - 2048},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    TempDir dir;
    const auto file = dir.Write("a.wav", c.file);
    Edit edit(file);
    ASSERT_TRUE(edit.Run([&](clRIFFHandler& r) { return r.InsertChunk(c.index, chunk, kJunk, 0); }))
        << edit.trace.TraceUtf8();
    const FileChunks r = ReadChunks(file);
    EXPECT_EQ(LayoutOf(r), c.layout);
    EXPECT_EQ(r.Data("data"), kAudio);
    EXPECT_EQ(r.Data("test"), Bytes(chunk.begin() + 8, chunk.end()));
    EXPECT_EQ(std::int64_t(ReadAll(file).size()) - std::int64_t(c.file.size()), c.growth);
    EXPECT_EQ(FilesIn(dir.path()), 1u);
  }
}

TEST(RiffWriterInsert, ShortChunkIsRefused) {
  TempDir dir;
  const auto file = dir.Write("a.wav", WavBuilder().Fmt(FmtChunk()).Data(kAudio).Build());
  Edit edit(file);
  EXPECT_FALSE(edit.Run([](clRIFFHandler& r) { return r.InsertChunk(1, Bytes{'t', 'e', 's'}, kJunk, 0); }));
  EXPECT_TRUE(edit.trace.HasLine(u"*** Error: Error no chunk to insert.  [clRIFFHandler::InsertChunk]"))
      << edit.trace.TraceUtf8();
}

TEST(RiffWriterRemove, IntoPaddingInPlaceOrOut) {
  const Bytes list = Noise(100, 5);
  const struct Case {
    const char* label;
    Bytes file;
    int index, type;
    std::string layout;
    std::int64_t growth;
    std::size_t changedFrom, changedTo;  // the only bytes that may differ in place: the header and what it held
  } cases[] = {
      {"absorbed by the padding behind it",
       WavBuilder().Fmt(FmtChunk()).Chunk("LIST", list).Chunk("JUNK", Bytes(500)).Data(kAudio).Build(), 1, 2,
       "fmt 16, JUNK 608, data 4000", 0, 36, 152},
      {"turned into 'JUNK'", WavBuilder().Fmt(FmtChunk()).Chunk("LIST", list).Data(kAudio).Build(), 1, 0,
       "fmt 16, JUNK 100, data 4000", 0, 36, 144},
      {"turned into 'PAD '", WavBuilder().Fmt(FmtChunk()).Chunk("LIST", list).Data(kAudio).Build(), 1, 1,
       "fmt 16, PAD 100, data 4000", 0, 36, 144},
      {"no padding wanted: the file is rewritten without it",
       WavBuilder().Fmt(FmtChunk()).Chunk("LIST", list).Data(kAudio).Build(), 1, 2, "fmt 16, data 4000", -108, 0, 0},
      {"the last chunk is cut off, not turned into padding",
       WavBuilder().Fmt(FmtChunk()).Data(kAudio).Chunk("id3 ", Noise(101)).Build(), 2, 0, "fmt 16, data 4000", -110, 0,
       0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    TempDir dir;
    const auto file = dir.Write("a.wav", c.file);
    Edit edit(file);
    ASSERT_TRUE(edit.Run([&](clRIFFHandler& r) { return r.RemoveChunk(c.index, Padding(c.type)); }))
        << edit.trace.TraceUtf8();
    const FileChunks r = ReadChunks(file);
    EXPECT_EQ(LayoutOf(r), c.layout);
    EXPECT_EQ(r.Data("data"), kAudio);
    ExpectWellFormed(file);
    const Bytes after = ReadAll(file);
    EXPECT_EQ(std::int64_t(after.size()) - std::int64_t(c.file.size()), c.growth);
    if (c.growth == 0) {
      for (std::size_t i = 0; i < after.size(); ++i)
        if (i < c.changedFrom || i >= c.changedTo) {
          ASSERT_EQ(after[i], c.file[i]) << "byte " << i;
        }
    }
    EXPECT_EQ(FilesIn(dir.path()), 1u);
  }
}

TEST(RiffWriterReplace, GrowsAndShrinksWithoutLosingNeighbours) {
  const Bytes padded = WavBuilder()
                           .Fmt(FmtChunk())
                           .Chunk("LIST", Noise(100, 4))
                           .Chunk("JUNK", Bytes(200))
                           .Data(kAudio)
                           .Chunk("cue ", kCue)
                           .Build();
  const Bytes tight = WavBuilder().Fmt(FmtChunk()).Chunk("LIST", Noise(100, 4)).Data(kAudio).Build();
  const Bytes last = WavBuilder().Fmt(FmtChunk()).Data(kAudio).Chunk("LIST", Noise(100, 4)).Build();
  const struct Case {
    const char* label;
    const Bytes& file;
    int index;
    std::size_t newSize;
    int type;
    std::string layout;
    std::int64_t growth;
  } cases[] = {
      {"smaller: the padding grows", padded, 1, 50, 0, "fmt 16, LIST 50, JUNK 250, data 4000, cue 20", 0},
      {"larger, within the padding", padded, 1, 250, 0, "fmt 16, LIST 250, JUNK 50, data 4000, cue 20", 0},
      {"exactly the room of chunk and padding", padded, 1, 308, 0, "fmt 16, LIST 308, data 4000, cue 20", 0},
      {"two bytes more: the padding header moves onto itself", padded, 1, 102, 0,
       "fmt 16, LIST 102, JUNK 198, data 4000, cue 20", 0},
      {"four bytes less: the same the other way", padded, 1, 96, 2, "fmt 16, LIST 96, JUNK 204, data 4000, cue 20", 0},
      {"odd size within the room", padded, 1, 151, 0, "fmt 16, LIST 151, JUNK 148, data 4000, cue 20", 0},
      {"room left too small for a padding header: rewritten with fresh padding", padded, 1, 304, 0,
       "fmt 16, LIST 304, JUNK 2040, data 4000, cue 20", 304 + 2048 - 308},
      {"larger than the room: rewritten", padded, 1, 1000, 1, "fmt 16, LIST 1000, PAD 2040, data 4000, cue 20",
       1000 + 2048 - 308},
      {"smaller without padding: the rest becomes padding", tight, 1, 50, 0, "fmt 16, LIST 50, JUNK 42, data 4000", 0},
      {"smaller, no padding wanted: rewritten without any", tight, 1, 50, 2, "fmt 16, LIST 50, data 4000", -50},
      {"larger, odd and last: written at the end with its pad byte", last, 2, 5001, 0, "fmt 16, data 4000, LIST 5001",
       4902},
      {"smaller and last: the file is cut", last, 2, 10, 0, "fmt 16, data 4000, LIST 10", -90},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    TempDir dir;
    const auto file = dir.Write("a.wav", c.file);
    const Bytes chunk = MakeChunk("LIST", Noise(c.newSize, 11));
    Edit edit(file);
    ASSERT_TRUE(edit.Run([&](clRIFFHandler& r) { return r.ReplaceChunk(c.index, chunk, Padding(c.type), 0); }))
        << edit.trace.TraceUtf8();
    EXPECT_TRUE(edit.trace.NoErrors()) << edit.trace.TraceUtf8();
    const FileChunks r = ReadChunks(file);
    EXPECT_EQ(LayoutOf(r), c.layout);
    EXPECT_EQ(r.Data("data"), kAudio);
    EXPECT_EQ(r.Data("LIST"), Bytes(chunk.begin() + 8, chunk.end()));
    ExpectWellFormed(file);
    if (&c.file == &padded) {
      EXPECT_EQ(r.Data("cue "), kCue);
    }
    EXPECT_EQ(std::int64_t(ReadAll(file).size()) - std::int64_t(c.file.size()), c.growth);
    EXPECT_EQ(FilesIn(dir.path()), 1u);
  }
}

namespace {
// A file just under 4 GiB whose audio is mostly a hole: noise at both ends of
// the data chunk, zeros between, so that it costs little disk.
struct BigFile {
  static constexpr std::uint64_t kDataSize = 0xFFFFF000u - 36 - 36 - 8;
  Bytes head, tail;
  fs::path path;

  BigFile(const TempDir& dir, bool junk) {
    WavBuilder b;
    b.Fmt(FmtChunk());
    if (junk) b.Chunk("JUNK", Bytes(28));
    Bytes prefix = b.Build();
    ByteWriter w(prefix);
    w.Text("data");
    w.U32(std::uint32_t(kDataSize));
    head = Noise(4096, 21);
    tail = Noise(4096, 22);
    path = dir.Write("big.wav", prefix + head);
    fs::resize_file(path, prefix.size() + kDataSize - tail.size());
    std::ofstream out(path, std::ios::binary | std::ios::app);
    out.write(reinterpret_cast<const char*>(tail.data()), std::streamsize(tail.size()));
    out.close();
    // The RIFF size, now that the file is complete.
    std::fstream patch(path, std::ios::binary | std::ios::in | std::ios::out);
    const std::uint32_t riffSize = std::uint32_t(prefix.size() + kDataSize - 8);
    patch.seekp(4);
    for (int i = 0; i < 4; ++i) patch.put(char(riffSize >> (8 * i)));
  }

  // The audio's two ends are where they were, and its size is unchanged.
  ::testing::AssertionResult AudioIntact() const {
    clRIFFHandler riff;
    if (!riff.OpenRead(path.u16string()) || !riff.Initialize(riff.handle(), TraceContext{}))
      return ::testing::AssertionFailure() << "does not open";
    const RIFFChunkInfo* data = riff.FindChunk("data");
    if (!data || data->DataSize != kDataSize) return ::testing::AssertionFailure() << "data chunk size changed";
    Bytes a(head.size()), b(tail.size());
    riff.Seek(std::int64_t(data->FileDataPosition));
    riff.Read(a.data(), std::int64_t(a.size()));
    riff.Seek(std::int64_t(data->FileDataPosition + kDataSize - tail.size()));
    riff.Read(b.data(), std::int64_t(b.size()));
    if (a != head || b != tail) return ::testing::AssertionFailure() << "audio bytes changed";
    return ::testing::AssertionSuccess();
  }
};
}  // namespace

TEST(RiffWriterRF64, PromotionPast4GiB) {
  TempDir dir;
  BigFile big(dir, true);
  const Bytes tag = MakeChunk("LIST", Noise(8192, 3));
  {
    // The chunk was appended when the limit showed: the failed edit takes it back.
    const auto size = fs::file_size(big.path);
    const auto headers = [&] {
      Bytes b(64);
      std::ifstream(big.path, std::ios::binary).read(reinterpret_cast<char*>(b.data()), 64);
      return b;
    };
    const Bytes before = headers();
    Edit edit(big.path, false);
    EXPECT_FALSE(edit.Run([&](clRIFFHandler& r) { return r.InsertChunk(-1, tag, kJunk, 0); }));
    EXPECT_TRUE(edit.trace.HasLine(u"*** Error: 4GB wave limit exceeded.  [clRIFFHandler::WriteChunkHeaders]"))
        << edit.trace.TraceUtf8();
    EXPECT_TRUE(big.AudioIntact());
    EXPECT_EQ(fs::file_size(big.path), size);
    EXPECT_EQ(headers(), before);
    EXPECT_FALSE(ReadChunks(big.path).rf64);
  }
  Edit edit(big.path, true);
  ASSERT_TRUE(edit.Run([&](clRIFFHandler& r) { return r.InsertChunk(-1, tag, kJunk, 0); })) << edit.trace.TraceUtf8();
  const FileChunks r = ReadChunks(big.path);
  EXPECT_TRUE(r.rf64);
  EXPECT_EQ(r.ds64Data, BigFile::kDataSize);
  EXPECT_EQ(LayoutOf(r), "fmt 16, ds64 28, data " + std::to_string(BigFile::kDataSize) + ", LIST 8192");
  EXPECT_TRUE(big.AudioIntact());
  const Bytes head = [&] {
    Bytes b(12);
    std::ifstream in(big.path, std::ios::binary);
    in.read(reinterpret_cast<char*>(b.data()), 12);
    return b;
  }();
  EXPECT_EQ(head, (Bytes{'R', 'F', '6', '4', 0xFF, 0xFF, 0xFF, 0xFF, 'W', 'A', 'V', 'E'}));
  EXPECT_EQ(FilesIn(dir.path()), 1u);
}

// Stops the file layer at every write, seek or rename of an edit in turn, as
// a crash would (that operation and every later one fail) or a full disk
// (that one alone): each time the file still opens, its audio is the same,
// and no temporary file stays behind. An edit that fails leaves the file byte
// for byte as it was, unless the device went while it was being undone,
// which the trace says.
TEST(RiffWriterSafety, EveryInterruptedEditKeepsTheAudio) {
  const Bytes list = MakeChunk("LIST", Noise(300, 2));
  const Bytes big = MakeChunk("LIST", Noise(5000, 2));
  const Bytes small = MakeChunk("LIST", Noise(40, 2));
  const Bytes withPadding = WavBuilder()
                                .Fmt(FmtChunk())
                                .Chunk("LIST", Noise(100))
                                .Chunk("JUNK", Bytes(400))
                                .Data(kAudio)
                                .Chunk("cue ", kCue)
                                .Build();
  const Bytes plain = WavBuilder().Fmt(FmtChunk()).Data(kAudio).Chunk("cue ", kCue).Build();
  const struct Case {
    const char* label;
    const Bytes& file;
    std::function<bool(clRIFFHandler&)> edit;
  } cases[] = {
      {"insert before data with padding", plain, [&](clRIFFHandler& r) { return r.InsertChunk(1, list, kJunk, 0); }},
      {"insert before data without padding", plain, [&](clRIFFHandler& r) { return r.InsertChunk(1, list, kNone, 0); }},
      {"insert into padding", withPadding, [&](clRIFFHandler& r) { return r.InsertChunk(2, small, kJunk, 0); }},
      {"append", plain, [&](clRIFFHandler& r) { return r.InsertChunk(-1, list, kJunk, 0); }},
      {"replace larger, in the room", withPadding, [&](clRIFFHandler& r) { return r.ReplaceChunk(1, list, kJunk, 0); }},
      {"replace larger, rewritten", withPadding, [&](clRIFFHandler& r) { return r.ReplaceChunk(1, big, kJunk, 0); }},
      {"replace smaller", withPadding, [&](clRIFFHandler& r) { return r.ReplaceChunk(1, small, kJunk, 0); }},
      {"replace two bytes larger", withPadding,
       [&](clRIFFHandler& r) { return r.ReplaceChunk(1, MakeChunk("LIST", Noise(102, 2)), kJunk, 0); }},
      {"remove into padding", withPadding, [&](clRIFFHandler& r) { return r.RemoveChunk(1, kJunk); }},
      {"remove without padding", withPadding, [&](clRIFFHandler& r) { return r.RemoveChunk(2, kNone); }},
      // Past what an edit in place keeps to undo itself, it goes on in a copy, even halfway.
      {"remove into padding past the undo limit", withPadding,
       [&](clRIFFHandler& r) {
         r.SetUndoLimit(64);
         return r.RemoveChunk(1, kJunk);
       }},
      {"replace in the room past the undo limit", withPadding,
       [&](clRIFFHandler& r) {
         r.SetUndoLimit(200);
         return r.ReplaceChunk(1, list, kJunk, 0);
       }},
      {"remove all tag chunks", withPadding,
       [&](clRIFFHandler& r) { return r.RemoveChunk(1, kNone) && r.RemoveChunk(r.FindChunkIndex("cue "), kNone); }},
  };
  for (const auto& c : cases)
    for (const bool once : {false, true}) {
      bool reached = true;
      for (int k = 1; reached && k < 200; ++k) {
        SCOPED_TRACE(testing::Message() << c.label << ", operation " << k << (once ? " alone" : " on") << " fails");
        TempDir dir;
        const auto file = dir.Write("a.wav", c.file);
        Edit edit(file);
        once ? xfile_fault::ArmOnce(k) : xfile_fault::Arm(k);
        const bool finished = edit.Run(c.edit);
        reached = xfile_fault::Count() >= k;
        xfile_fault::Disarm();
        ResetTraceIndent();
        // One failure may be retried (a rename) or not matter (a look at the last header); a device that is gone always
        // does.
        if (finished) {
          EXPECT_TRUE(once || !reached);
          if (std::string_view(c.label).ends_with("undo limit")) {
            EXPECT_TRUE(Contains(edit.trace.Trace(), u"than it keeps to undo itself: it goes on in a copy."));
          }
        } else if (once || !Contains(edit.trace.Errors(), u"Error cannot undo the failed edit of '")) {
          ASSERT_EQ(ReadAll(file), c.file) << edit.trace.TraceUtf8();
        }
        const FileChunks r = ReadChunks(file);
        ASSERT_TRUE(r.scanned);
        ASSERT_EQ(r.Data("data"), kAudio);
        EXPECT_EQ(FilesIn(dir.path()), 1u);
      }
      EXPECT_FALSE(reached) << c.label;
    }
}

TEST(RiffWriterSafety, InterruptedPromotionKeepsTheAudio) {
  TempDir dir;
  BigFile big(dir, true);
  const Bytes tag = MakeChunk("LIST", Noise(8192, 3));
  bool finished = false;
  for (int k = 1; !finished && k < 100; ++k) {
    SCOPED_TRACE(testing::Message() << "operation " << k << " fails");
    Edit edit(big.path, true);
    xfile_fault::Arm(k);
    finished = edit.Run([&](clRIFFHandler& r) { return r.InsertChunk(-1, tag, kJunk, 0); });
    xfile_fault::Disarm();
    ResetTraceIndent();
    ASSERT_TRUE(big.AudioIntact());
    EXPECT_EQ(FilesIn(dir.path()), 1u);
  }
  EXPECT_TRUE(finished);
  EXPECT_TRUE(ReadChunks(big.path).rf64);
}
