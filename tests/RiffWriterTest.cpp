// The RIFF writer: insertion with padding, reuse of padding, replacement that
// grows or shrinks, removal into padding, RF64 promotion, and a file that
// keeps its audio whatever write, seek or rename fails.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "FaultInjection.h"
#include "FileChunks.h"
#include "TraceCapture.h"
#include "WavBuilder.h"
#include "codec/Trace.h"
#include "io/ByteWriter.h"
#include "riff/clRIFFHandler.h"

namespace fs = std::filesystem;

namespace {
constexpr PaddingType kJunk = PaddingType::Junk, kPad = PaddingType::Pad, kNone = PaddingType::None;
const Bytes kAudio = Noise(4000, 7);

bool IsPadding(std::string_view id) { return id == "JUNK" || id == "PAD "; }

// What a chunk holds in these files: padding holds zeros, and any other chunk bytes of its own identifier and size,
// so that a chunk left where another was, or cut to a prefix of itself, shows.
Bytes Content(const std::string& id, std::size_t size) {
  if (id == "fmt ") return PcmFormat(1, 2, 44100, 16);
  if (id == "data") return kAudio;
  return IsPadding(id) ? Bytes(size) : Noise(size, std::uint32_t(std::hash<std::string>{}(id) + size));
}

// A whole chunk as the writer takes it: header and data, no pad byte.
Bytes MakeChunk(const std::string& id, std::size_t size) {
  Bytes out;
  ByteWriter w(out);
  w.Text(id);
  w.U32(std::uint32_t(size));
  w.Bytes(Content(id, size));
  return out;
}

// The items of a layout like "fmt 16, LIST 100, data 4000", as LayoutOf writes it.
std::vector<std::string> Items(std::string_view layout) {
  std::vector<std::string> items;
  for (std::size_t at = 0, end = 0; at < layout.size(); at = end + 2) {
    end = std::min(layout.find(", ", at), layout.size());
    items.emplace_back(layout.substr(at, end - at));
  }
  return items;
}

std::string Join(const std::vector<std::string>& items) {
  std::string layout;
  for (const std::string& item : items) layout += (layout.empty() ? "" : ", ") + item;
  return layout;
}

Bytes Layout(std::string_view layout) {
  WavBuilder b;
  for (const std::string& item : Items(layout)) {
    std::string id = item.substr(0, item.rfind(' '));
    id.resize(4, ' ');
    b.Chunk(id, Content(id, std::stoul(item.substr(item.rfind(' ') + 1))));
  }
  return b.Build();
}

std::string LayoutOf(const FileChunks& f) {
  std::vector<std::string> items;
  for (const FileChunk& c : f.chunks)
    items.push_back(c.id.substr(0, c.id.find_last_not_of(' ') + 1) + " " + std::to_string(c.size));
  return Join(items);
}

std::size_t FilesIn(const fs::path& dir) {
  return std::size_t(std::distance(fs::directory_iterator(dir), fs::directory_iterator()));
}

// 'i'nsert a "test" chunk, 'r'eplace a chunk by one of the same identifier, or 'd'elete one; index -1 is the end.
struct Step {
  char op;
  int index;
  std::size_t size = 0;
  PaddingType padding = kJunk;
  std::uint32_t paddingSize = 0;

  bool Apply(clRIFFHandler& r) const {
    const int at = index < 0 && op != 'i' ? int(r.ChunkCount()) - 1 : index;
    if (op == 'd') return r.RemoveChunk(at, padding);
    if (op == 'i') return r.InsertChunk(at, MakeChunk("test", size), padding, paddingSize);
    std::string id;
    for (int k = 0; k < 4; ++k) id.push_back(char(r.Chunk(std::size_t(at)).ChunkID >> (8 * k)));
    return r.ReplaceChunk(at, MakeChunk(id, size), padding, paddingSize);
  }
};

// One edit on a file: open for update, scan, change, commit.
class Edit {
 public:
  explicit Edit(const fs::path& file, bool allowRF64 = false) : riff(allowRF64) {
    opened_ = riff.OpenUpdateMedia(file.u16string()) && riff.Initialize(riff.handle(), trace.context());
  }
  bool Run(const std::vector<Step>& steps) {
    EditTransaction transaction(riff);
    bool ok = opened_;
    for (const Step& s : steps) ok = ok && s.Apply(riff);
    ok = ok && transaction.Commit();
    // A failed edit leaves the trace indented, as it should; the next starts at the margin.
    if (!ok) trace_testing::ResetIndentation();
    return ok;
  }
  TraceCapture trace;
  clRIFFHandler riff;

 private:
  bool opened_ = false;
};

// Edits `before` and expects exactly the file `after` names, byte for byte: neighbours untouched, zeros in the
// padding and the pad bytes, the RIFF size counting them all, no temporary copy left.
void ExpectEdit(const std::string& before, const Step& step, const std::string& after) {
  SCOPED_TRACE(testing::Message() << before << " -> " << after);
  TempDir dir;
  const auto file = dir.Write("a.wav", Layout(before));
  Edit edit(file);
  ASSERT_TRUE(edit.Run({step})) << edit.trace.TraceUtf8();
  EXPECT_TRUE(edit.trace.NoErrors()) << edit.trace.TraceUtf8();
  ASSERT_EQ(LayoutOf(ReadChunks(file)), after);
  EXPECT_TRUE(ReadAll(file) == Layout(after));
  EXPECT_EQ(FilesIn(dir.path()), 1u);
}
}  // namespace

TEST(RiffWriter, EditsLayOutTheFileAsThePaddingSettingsSay) {
  const std::string plain = "fmt 16, data 4000", tight = "fmt 16, LIST 100, data 4000";
  const std::string padded = "fmt 16, LIST 100, JUNK 200, data 4000, cue 20", last = "fmt 16, data 4000, LIST 100";
  const struct {
    std::string before;
    Step step;
    std::string after;
  } cases[] = {
      // Insertion before the audio opens the file up with padding: 2048 bytes unless asked, at least 256, even.
      {plain, {'i', 1, 92}, "fmt 16, test 92, JUNK 2040, data 4000"},
      {plain, {'i', 1, 92, kJunk, 100}, "fmt 16, test 92, JUNK 248, data 4000"},
      {plain, {'i', 1, 92, kPad}, "fmt 16, test 92, PAD 2040, data 4000"},
      {plain, {'i', 1, 92, kJunk, 1001}, "fmt 16, test 92, JUNK 994, data 4000"},
      {plain, {'i', 1, 92, kJunk, 16384}, "fmt 16, test 92, JUNK 16376, data 4000"},
      {plain, {'i', 1, 92, kNone}, "fmt 16, test 92, data 4000"},
      {plain, {'i', 1, 91, kNone}, "fmt 16, test 91, data 4000"},
      // Padding before the audio takes the chunk, exactly or with room to spare; too small, it stays.
      {"fmt 16, JUNK 2040, data 4000", {'i', 1, 92}, "fmt 16, test 92, JUNK 1940, data 4000"},
      {"fmt 16, PAD 92, data 4000", {'i', 1, 92}, "fmt 16, test 92, data 4000"},
      {"fmt 16, JUNK 40, data 4000", {'i', 1, 92}, "fmt 16, test 92, JUNK 2040, JUNK 40, data 4000"},
      // Padding at the end is dropped for the chunk.
      {"fmt 16, data 4000, JUNK 2040", {'i', 2, 92}, "fmt 16, data 4000, test 92"},
      // Removal: into the padding behind, as padding in place, out of the file; the last chunk is cut off.
      {"fmt 16, LIST 100, JUNK 500, data 4000", {'d', 1, 0, kNone}, "fmt 16, JUNK 608, data 4000"},
      {tight, {'d', 1}, "fmt 16, JUNK 100, data 4000"},
      {tight, {'d', 1, 0, kPad}, "fmt 16, PAD 100, data 4000"},
      {tight, {'d', 1, 0, kNone}, plain},
      {"fmt 16, data 4000, id3 101", {'d', 2}, plain},
      // Replacement within the room of chunk and padding moves the padding header, even onto itself.
      {padded, {'r', 1, 50}, "fmt 16, LIST 50, JUNK 250, data 4000, cue 20"},
      {padded, {'r', 1, 250}, "fmt 16, LIST 250, JUNK 50, data 4000, cue 20"},
      {padded, {'r', 1, 308}, "fmt 16, LIST 308, data 4000, cue 20"},
      {padded, {'r', 1, 102}, "fmt 16, LIST 102, JUNK 198, data 4000, cue 20"},
      {padded, {'r', 1, 96, kNone}, "fmt 16, LIST 96, JUNK 204, data 4000, cue 20"},
      {padded, {'r', 1, 151}, "fmt 16, LIST 151, JUNK 148, data 4000, cue 20"},
      // Room left too small for a padding header, or too little room: rewritten with fresh padding.
      {padded, {'r', 1, 304}, "fmt 16, LIST 304, JUNK 2040, data 4000, cue 20"},
      {padded, {'r', 1, 1000, kPad}, "fmt 16, LIST 1000, PAD 2040, data 4000, cue 20"},
      {tight, {'r', 1, 50}, "fmt 16, LIST 50, JUNK 42, data 4000"},
      {tight, {'r', 1, 50, kNone}, "fmt 16, LIST 50, data 4000"},
      {last, {'r', 2, 5001}, "fmt 16, data 4000, LIST 5001"},
      {last, {'r', 2, 10}, "fmt 16, data 4000, LIST 10"},
  };
  for (const auto& c : cases) ExpectEdit(c.before, c.step, c.after);
}

// Whatever the layout and the edit, the chunks that are not padding are the ones the edit leaves, in their order,
// each with its own bytes.
TEST(RiffWriter, GeneratedEditsKeepEveryOtherChunk) {
  std::mt19937 rng(4711);
  const auto pick = [&](std::size_t n) { return std::size_t(rng() % n); };
  const char* ids[] = {"LIST", "cue", "bext", "id3", "JUNK", "PAD"};
  const auto kept = [](std::vector<std::string> items) {
    std::erase_if(items, [](const std::string& c) { return IsPadding(c.substr(0, 4)); });
    return items;
  };
  for (int round = 0; round < 150; ++round) {
    std::vector<std::string> layout;
    for (const char* fixed : {"fmt 16", "data 4000"}) {
      layout.push_back(fixed);
      for (std::size_t n = pick(4); n-- > 0;)
        layout.push_back(std::string(ids[pick(6)]) + " " + std::to_string(pick(700)));
    }
    std::vector<int> editable;  // tag chunks
    for (std::size_t i = 1; i < layout.size(); ++i)
      if (!IsPadding(layout[i].substr(0, 4)) && layout[i] != "data 4000") editable.push_back(int(i));
    const std::string before = Join(layout);
    const std::uint32_t paddingSize[] = {0, 100, 1001};
    Step step{"idr"[editable.empty() ? 0 : pick(3)], 0, pick(3000), PaddingType(pick(3)), paddingSize[pick(3)]};
    if (step.op == 'i') {
      step.index = pick(layout.size()) == 0 ? -1 : int(1 + pick(layout.size() - 1));
      layout.insert(step.index < 0 ? layout.end() : layout.begin() + step.index, "test " + std::to_string(step.size));
    } else {
      step.index = editable[pick(editable.size())];
      std::string& item = layout[std::size_t(step.index)];
      if (step.op == 'r')
        item = item.substr(0, item.find(' ') + 1) + std::to_string(step.size);
      else
        layout.erase(layout.begin() + step.index);
    }
    SCOPED_TRACE(testing::Message() << "round " << round << ": " << before << "; " << step.op << " at " << step.index
                                    << ", " << step.size << " bytes, padding " << int(step.padding));
    TempDir dir;
    const auto file = dir.Write("a.wav", Layout(before));
    Edit edit(file);
    ASSERT_TRUE(edit.Run({step})) << edit.trace.TraceUtf8();
    const std::string after = LayoutOf(ReadChunks(file));
    EXPECT_EQ(kept(Items(after)), kept(layout));
    EXPECT_TRUE(ReadAll(file) == Layout(after)) << after;
    EXPECT_EQ(FilesIn(dir.path()), 1u);
  }
}

TEST(RiffWriter, ShortChunkIsRefused) {
  TempDir dir;
  const auto file = dir.Write("a.wav", Layout("fmt 16, data 4000"));
  Edit edit(file);
  EditTransaction transaction(edit.riff);
  EXPECT_FALSE(edit.riff.InsertChunk(1, Bytes{'t', 'e', 's'}, kJunk, 0));
  trace_testing::ResetIndentation();
  EXPECT_TRUE(edit.trace.HasLine(u"*** Error: Error no chunk to insert.  [clRIFFHandler::InsertChunk]"))
      << edit.trace.TraceUtf8();
}

// Stops the file layer at every write, seek or rename of an edit in turn, as a crash or a full disk would: each time
// the file still opens, its audio is the same, and no temporary file stays behind. An edit that fails leaves the file
// byte for byte as it was, unless the device went while it was being undone, which the trace says.
TEST(RiffWriterSafety, EveryInterruptedEditKeepsTheAudio) {
  const std::string padded = "fmt 16, LIST 100, JUNK 400, data 4000, cue 20", plain = "fmt 16, data 4000, cue 20";
  const struct {
    const char* label;
    std::string file;
    std::vector<Step> steps;
    std::uint64_t undoLimit = 0;  // past it an edit in place goes on in a copy, even halfway
  } cases[] = {
      {"insert before data with padding", plain, {{'i', 1, 300}}},
      {"insert before data without padding", plain, {{'i', 1, 300, kNone}}},
      {"insert into padding", padded, {{'i', 2, 40}}},
      {"append", plain, {{'i', -1, 300}}},
      {"replace larger, in the room", padded, {{'r', 1, 300}}},
      {"replace larger, rewritten", padded, {{'r', 1, 5000}}},
      {"replace smaller", padded, {{'r', 1, 40}}},
      {"replace two bytes larger", padded, {{'r', 1, 102}}},
      {"remove into padding", padded, {{'d', 1}}},
      {"remove without padding", padded, {{'d', 2, 0, kNone}}},
      {"remove into padding past the undo limit", padded, {{'d', 1}}, 64},
      {"replace in the room past the undo limit", padded, {{'r', 1, 300}}, 200},
      {"remove all tag chunks", padded, {{'d', 1, 0, kNone}, {'d', -1, 0, kNone}}},
  };
  for (const auto& c : cases)
    EXPECT_TRUE(xfile_fault::Sweep(200, [&](int k, bool once) {
      SCOPED_TRACE(testing::Message() << c.label << ", operation " << k << (once ? " alone" : " on") << " fails");
      TempDir dir;
      const Bytes before = Layout(c.file);
      const auto file = dir.Write("a.wav", before);
      Edit edit(file);
      if (c.undoLimit) edit.riff.SetUndoLimit(c.undoLimit);
      bool finished = false;
      const bool reached = xfile_fault::Reaches(k, once, [&] { finished = edit.Run(c.steps); });
      trace_testing::ResetIndentation();
      // One failure may be retried (a rename) or not matter (a look at the last header); a device that is gone
      // always does.
      if (finished) {
        EXPECT_TRUE(once || !reached);
        if (c.undoLimit) {
          EXPECT_NE(edit.trace.Trace().find(u"than it keeps to undo itself: it goes on in a copy."),
                    std::u16string::npos);
        }
      } else if (once || edit.trace.Errors().find(u"Error cannot undo the failed edit of '") == std::u16string::npos) {
        EXPECT_TRUE(ReadAll(file) == before) << edit.trace.TraceUtf8();
      }
      const FileChunks r = ReadChunks(file);
      EXPECT_TRUE(r.scanned);
      EXPECT_TRUE(r.Data("data") == kAudio);
      EXPECT_EQ(FilesIn(dir.path()), 1u);
      return reached && !HasFailure();
    })) << c.label;
}

namespace {
// A file just under 4 GiB whose audio is mostly a hole: noise at both ends of
// the data chunk, zeros between, so that it costs little disk.
struct BigFile {
  static constexpr std::uint64_t kDataSize = 0xFFFFF000u - 36 - 36 - 8, kDataAt = 12 + 24 + 36 + 8;
  const Bytes head = Noise(4096, 21), tail = Noise(4096, 22);
  fs::path path;

  explicit BigFile(const TempDir& dir) {
    Bytes prefix = Layout("fmt 16, JUNK 28");
    ByteWriter w(prefix);
    w.Text("data");
    w.U32(std::uint32_t(kDataSize));
    ByteWriter(prefix).PatchU32(4, std::uint32_t(prefix.size() + kDataSize - 8));
    path = dir.Write("big.wav", prefix + head);
    fs::resize_file(path, prefix.size() + kDataSize - tail.size());
    std::ofstream(path, std::ios::binary | std::ios::app).write(reinterpret_cast<const char*>(tail.data()), 4096);
  }

  Bytes Start(std::size_t n) const {
    Bytes b(n);
    std::ifstream(path, std::ios::binary).read(reinterpret_cast<char*>(b.data()), std::streamsize(n));
    return b;
  }

  // The audio's two ends are where they were, and its size is unchanged.
  ::testing::AssertionResult AudioIntact() const {
    const FileChunks r = ReadChunks(path);
    if (r.chunks.size() < 3 || r.chunks[2].id != "data" || r.chunks[2].size != kDataSize)
      return ::testing::AssertionFailure() << "data chunk moved or resized: " << LayoutOf(r);
    Bytes a(head.size()), b(tail.size());
    std::ifstream in(path, std::ios::binary);
    in.seekg(kDataAt).read(reinterpret_cast<char*>(a.data()), std::streamsize(a.size()));
    in.seekg(std::streamoff(kDataAt + kDataSize - tail.size())).read(reinterpret_cast<char*>(b.data()), 4096);
    if (a != head || b != tail) return ::testing::AssertionFailure() << "audio bytes changed";
    return ::testing::AssertionSuccess();
  }
};
}  // namespace

// Appending past 4 GiB is refused, leaving the file as it was, unless RF64 is allowed; then the file is promoted,
// and whatever fails on the way, the audio stays.
TEST(RiffWriterRF64, PromotionPast4GiB) {
  TempDir dir;
  const std::vector<Step> append = {{'i', -1, 8192}};
  {
    BigFile big(dir);
    const auto size = fs::file_size(big.path);
    const Bytes before = big.Start(64);
    Edit edit(big.path, false);
    EXPECT_FALSE(edit.Run(append));
    EXPECT_TRUE(edit.trace.HasLine(u"*** Error: 4GB wave limit exceeded.  [clRIFFHandler::WriteChunkHeaders]"))
        << edit.trace.TraceUtf8();
    EXPECT_TRUE(big.AudioIntact());
    EXPECT_EQ(fs::file_size(big.path), size);
    EXPECT_EQ(big.Start(64), before);
    EXPECT_FALSE(ReadChunks(big.path).rf64);
  }
  EXPECT_TRUE(xfile_fault::Sweep(100, [&](int k, bool once) {
    SCOPED_TRACE(testing::Message() << "operation " << k << (once ? " alone" : " on") << " fails");
    BigFile big(dir);
    Edit edit(big.path, true);
    const bool reached = xfile_fault::Reaches(k, once, [&] { edit.Run(append); });
    trace_testing::ResetIndentation();
    EXPECT_TRUE(big.AudioIntact());
    EXPECT_EQ(FilesIn(dir.path()), 1u);
    if (!reached) {
      const FileChunks r = ReadChunks(big.path);
      EXPECT_TRUE(r.rf64);
      EXPECT_EQ(r.ds64Data, BigFile::kDataSize);
      EXPECT_EQ(LayoutOf(r), "fmt 16, ds64 28, data " + std::to_string(BigFile::kDataSize) + ", test 8192");
      EXPECT_EQ(big.Start(12), (Bytes{'R', 'F', '6', '4', 0xFF, 0xFF, 0xFF, 0xFF, 'W', 'A', 'V', 'E'}));
    }
    return reached && !HasFailure();
  }));
}
