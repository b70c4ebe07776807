#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include "WavBuilder.h"
#include "io/XFile.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {
void WriteBytes(const fs::path& path, std::string_view bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc).write(bytes.data(), std::streamsize(bytes.size()));
}

std::string ReadBytes(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

std::u16string Repeat(std::u16string_view head, char16_t fill, std::size_t total) {
  std::u16string path(head);
  path.resize(total, fill);
  return path;
}

using Opener = std::function<bool(XFile&, std::u16string_view)>;
const std::pair<const char*, Opener> kMediaOpens[] = {
    {"OpenReadMedia", [](XFile& f, std::u16string_view p) { return f.OpenReadMedia(p); }},
    {"OpenUpdateMedia", [](XFile& f, std::u16string_view p) { return f.OpenUpdateMedia(p); }},
};
}  // namespace

TEST(XFileLongPath, PrefixOnlyFromTheLimitOn) {
  const std::u16string drive = u"C:\\", unc = u"\\\\server\\share\\", device = u"\\\\?\\C:\\";
  const struct {
    std::u16string path;
    std::size_t limit;
    bool prefixed;
  } cases[] = {
      {Repeat(drive, u'a', 259), 260, false}, {Repeat(drive, u'a', 260), 260, true},
      {Repeat(drive, u'a', 700), 260, true},  {Repeat(drive, u'a', 247), 248, false},
      {Repeat(drive, u'a', 248), 248, true},  {Repeat(unc, u'a', 260), 260, false},
      {Repeat(unc, u'a', 700), 248, false},   {Repeat(device, u'a', 700), 260, false},
      {u"C:\\short.wav", 260, false},         {u"", 260, false},
  };
  for (const auto& c : cases)
    EXPECT_EQ(XFile::LongPath(c.path, c.limit), c.prefixed ? u"\\\\?\\" + c.path : c.path)
        << "length " << c.path.size() << ", limit " << c.limit;
}

TEST(XFileOpen, MissingFileFailsAtOnceWithTheReportedText) {
  TempDir dir;
  const std::u16string missing = dir / u"missing.wav";
  const std::pair<const char*, Opener> opens[] = {
      kMediaOpens[0],
      kMediaOpens[1],
      {"OpenRead", [](XFile& f, std::u16string_view p) { return f.OpenRead(p); }},
      {"OpenUpdate", [](XFile& f, std::u16string_view p) { return f.OpenUpdate(p); }},
  };
  for (const auto& [name, open] : opens) {
    SCOPED_TRACE(name);
    XFile file;
    const auto start = Clock::now();
    EXPECT_FALSE(open(file, missing));
    EXPECT_LT(Clock::now() - start, 1s);
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(file.path(), missing);
    EXPECT_EQ(file.LastError(), kErrorFileNotFound);
    EXPECT_EQ(XFile::OpenErrorText(file.path(), file.LastError()),
              u"Error opening file '" + missing + u"', check no other program has it open. (Win:2)");
    EXPECT_FALSE(open(file, dir / u"no such folder" + u"/a.wav"));
    EXPECT_EQ(file.LastError(), 3u);
  }
  const struct {
    std::u16string path;
    std::uint32_t code;
    std::u16string text;
  } texts[] = {
      {u"", 0, u"No file specified!"},
      {u"", 2, u"No file specified!"},
      {u"C:\\a.wav", 0, u"Error opening file 'C:\\a.wav', check no other program has it open."},
      {u"C:\\a.wav", 32, u"Error opening file 'C:\\a.wav', check no other program has it open. (Win:32)"},
      {u"\u00c4\u266a.wav", 4294967295u,
       u"Error opening file '\u00c4\u266a.wav', check no other program has it open. (Win:4294967295)"},
  };
  for (const auto& c : texts) EXPECT_EQ(XFile::OpenErrorText(c.path, c.code), c.text) << c.code;
}

TEST(XFileReadWrite, ShortReadAtEndIsNotAnError) {
  TempDir dir;
  const std::u16string name = dir / u"ten.bin";
  WriteBytes(name, "0123456789");
  XFile file;
  ASSERT_TRUE(file.OpenReadMedia(name));
  EXPECT_EQ(file.Size(), 10);
  std::vector<char> buffer(64 * 1024, 'x');
  const struct {
    std::int64_t seekTo, ask;
    std::string got;
  } cases[] = {
      {0, 64 * 1024, "0123456789"}, {4, 100, "456789"}, {9, 1, "9"}, {10, 100, ""}, {25, 100, ""}, {3, 0, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "at " << c.seekTo << ", asking " << c.ask);
    ASSERT_TRUE(file.Seek(c.seekTo));
    bool error = true;
    const std::int64_t n = file.Read(buffer.data(), c.ask, &error);
    EXPECT_FALSE(error);
    ASSERT_EQ(n, std::int64_t(c.got.size()));
    EXPECT_EQ(std::string(buffer.data(), std::size_t(n)), c.got);
  }
  EXPECT_FALSE(file.Seek(-1));
}

TEST(XFileReadWrite, CreateTruncatesAndAttachedHandleIsNotClosed) {
  TempDir dir;
  const std::u16string name = dir / u"\u00dcn\u00efc\u00f6d\u00e9 \u266a.wav";
  WriteBytes(name, "old contents that are longer");
  XFile owner;
  ASSERT_TRUE(owner.Create(name));
  EXPECT_EQ(owner.Size(), 0);
  // A null buffer is only fine for nothing.
  EXPECT_TRUE(owner.Write(nullptr, 0));
  EXPECT_FALSE(owner.Write(nullptr, 5));
  ASSERT_TRUE(owner.Write("new", 3));
  {
    XFile borrower;
    borrower.Attach(owner.handle());
    EXPECT_FALSE(borrower.owns());
    EXPECT_EQ(borrower.Tell(), 3);
  }
  // The borrower's end left the handle alive.
  ASSERT_TRUE(owner.Seek(0));
  char got[8] = {};
  EXPECT_EQ(owner.Read(got, 8), 3);
  EXPECT_EQ(std::string(got, 3), "new");
  owner.Close();
  EXPECT_FALSE(owner.IsOpen());
  EXPECT_TRUE(XFile::Exists(name));
  EXPECT_EQ(ReadBytes(name), "new");
}

// Sizes and positions past 4 GiB, each with a low 32-bit half that would mislead a 32-bit seek; a file cut short
// and made long again reads zeros where it was cut.
TEST(XFileSize, SetSizeSeekAndTellBeyondFourGiB) {
  constexpr std::int64_t kGiB = std::int64_t(1) << 30, kSize = 5 * kGiB;
  TempDir dir;
  const std::u16string name = dir / u"sparse.bin";
  const std::pair<std::int64_t, std::string> marks[] = {
      {4 * kGiB + 3, "low"}, {kSize - 4, "end!"}, {kGiB * 3 - 2, "mid"}};
  {
    XFile file;
    ASSERT_TRUE(file.Create(name));
    ASSERT_TRUE(file.Write(std::string(100, 'A').data(), 100));
    ASSERT_TRUE(file.SetSize(40));
    EXPECT_EQ(file.Size(), 40);
    EXPECT_EQ(file.Tell(), 40);
    EXPECT_FALSE(file.SetSize(-1));
    ASSERT_TRUE(file.SetSize(kSize)) << file.LastError();
    EXPECT_EQ(file.Size(), kSize);
    EXPECT_EQ(file.Tell(), kSize);
    for (const auto& [at, bytes] : marks) {
      ASSERT_TRUE(file.Seek(at));
      EXPECT_EQ(file.Tell(), at);
      ASSERT_TRUE(file.Write(bytes.data(), std::int64_t(bytes.size())));
    }
    EXPECT_EQ(file.Size(), kSize);
  }
  XFile file;
  ASSERT_TRUE(file.OpenReadMedia(name));
  EXPECT_EQ(file.Size(), kSize);
  char got[100] = {};
  EXPECT_EQ(file.Read(got, 100), 100);
  EXPECT_EQ(std::string(got, 100), std::string(40, 'A') + std::string(60, '\0'));
  ASSERT_TRUE(file.Seek(-6, SeekOrigin::End));
  EXPECT_EQ(file.Tell(), kSize - 6);
  EXPECT_EQ(file.Read(got, 16), 6);
  EXPECT_EQ(std::string(got, 6), std::string("\0\0end!", 6));
  ASSERT_TRUE(file.Seek(4 * kGiB));
  ASSERT_TRUE(file.Seek(3, SeekOrigin::Current));
  EXPECT_EQ(file.Tell(), 4 * kGiB + 3);
  EXPECT_EQ(file.Read(got, 3), 3);
  EXPECT_EQ(std::string(got, 3), "low");
  ASSERT_TRUE(file.Seek(kGiB * 3 - 2));
  EXPECT_EQ(file.Read(got, 3), 3);
  EXPECT_EQ(std::string(got, 3), "mid");
  file.Close();
  EXPECT_TRUE(XFile::RemoveFile(name));
}

TEST(XFileNames, RenameReplacesAndRemoveClearsReadOnly) {
  TempDir dir;
  const std::u16string from = dir / u"from.wav", to = dir / u"to.wav";
  WriteBytes(from, "new");
  WriteBytes(to, "old");
  XFile file;
  ASSERT_TRUE(file.OpenRead(from));
  file.Close();
  EXPECT_FALSE(file.Rename(u""));
  ASSERT_TRUE(file.Rename(to)) << file.LastError();
  EXPECT_EQ(file.path(), from);
  EXPECT_FALSE(XFile::Exists(from));
  EXPECT_EQ(ReadBytes(to), "new");
  EXPECT_FALSE(file.Rename(to));  // the source is gone
  fs::permissions(fs::path(to), fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                  fs::perm_options::remove);
  EXPECT_TRUE(XFile::RemoveFile(to));
  EXPECT_FALSE(XFile::Exists(to));
  EXPECT_FALSE(XFile::RemoveFile(to));
  EXPECT_FALSE(XFile::RemoveFile(u""));
  EXPECT_FALSE(XFile::Exists(u""));
  EXPECT_TRUE(XFile::Exists(dir.path().u16string()));
}

TEST(XFileNames, PathsBeyondTheOldLimitWork) {
  TempDir dir;
  // Long names rather than deep folders, so that the folder itself stays
  // within reach of the standard library's cleanup; names stay under 255.
  const std::size_t base = dir.path().u16string().size() + 1;
  if (base > 90) GTEST_SKIP() << "the temporary folder's name is too long";
  const fs::path folder = dir.path() / std::string(99 - base, 'f');
  fs::create_directories(folder);
  const std::u16string name = (folder / Repeat(u"long", u'n', 200)).u16string();
  const std::u16string renamed = (folder / Repeat(u"renamed", u'r', 210)).u16string();
  ASSERT_EQ(name.size(), 300u);
  XFile file;
  ASSERT_TRUE(file.Create(name)) << file.LastError();
  ASSERT_TRUE(file.Write("deep", 4));
  file.Close();
  ASSERT_TRUE(file.OpenReadMedia(name)) << file.LastError();
  char got[4] = {};
  EXPECT_EQ(file.Read(got, 4), 4);
  file.Close();
  EXPECT_TRUE(XFile::Exists(name));
  EXPECT_TRUE(file.Rename(renamed)) << file.LastError();
  EXPECT_FALSE(XFile::Exists(name));
  EXPECT_TRUE(XFile::RemoveFile(renamed));
  EXPECT_FALSE(XFile::Exists(renamed));
}

TEST(XFileRewrite, CommitReplacesTargetAndDiscardLeavesIt) {
  TempDir dir;
  const std::u16string target = dir / u"song.wav", temp = dir / u"song.wav.tmp";
  enum Begun { kCreated, kNotOpened, kOpenFailed };
  const struct {
    Begun begun;
    bool commit, finish;  // FinishRewrite, else DiscardRewrite
    std::string expected;
  } cases[] = {
      {kCreated, true, true, "rewritten"},
      {kCreated, false, true, "original"},
      {kCreated, true, false, "original"},
      {kNotOpened, true, true, "original"},
      {kNotOpened, false, true, "original"},
      // A failed open stores the path but still begins nothing.
      {kOpenFailed, true, true, "original"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "begun " << c.begun << ", commit " << c.commit << ", finish " << c.finish);
    WriteBytes(target, "original");
    XFile file;
    if (c.begun == kCreated) {
      ASSERT_TRUE(file.Create(temp));
      ASSERT_TRUE(file.Write("rewritten", 9));
    } else if (c.begun == kOpenFailed) {
      EXPECT_FALSE(file.OpenRead(target + u".missing"));
    }
    file.SetRewriteTarget(target);
    file.SetCommit(c.commit);
    if (c.finish) {
      EXPECT_TRUE(file.FinishRewrite());
    } else {
      file.DiscardRewrite();
    }
    EXPECT_FALSE(file.IsOpen());
    EXPECT_FALSE(XFile::Exists(temp));
    EXPECT_EQ(ReadBytes(target), c.expected);
  }
}

// A temporary file is made by its own creation or not at all: a name that is
// taken, by a file or by a link planted there, is refused and left alone.
TEST(XFileRewrite, CreateNewNeverTakesAnExistingName) {
  TempDir dir;
  const std::u16string victim = dir / u"victim.txt", taken = dir / u"taken.tmp";
  WriteBytes(victim, "victim");
  WriteBytes(taken, "taken");
  XFile file;
  EXPECT_FALSE(file.CreateNew(taken));
  EXPECT_EQ(ReadBytes(taken), "taken");
#ifndef _WIN32
  const std::u16string planted = dir / u"planted.tmp";
  fs::create_symlink(fs::path(victim), fs::path(planted));
  EXPECT_FALSE(file.CreateNew(planted));
  EXPECT_EQ(ReadBytes(victim), "victim");
  ASSERT_TRUE(file.CreateTemporaryBeside(victim));
  EXPECT_EQ(fs::status(fs::path(file.path())).permissions(), fs::perms::owner_read | fs::perms::owner_write);
#endif
}

TEST(XFileSharing, ShareModesDecideWhoElseMayOpen) {
  TempDir dir;
  const std::u16string name = dir / u"shared.wav";
  WriteBytes(name, "data");
  for (const std::uint32_t holderShare : {3u, 0u})
    for (const std::uint32_t openerShare : {3u, 0u}) {
      SCOPED_TRACE(testing::Message() << "holder shares " << holderShare << ", opener shares " << openerShare);
      const bool opens = holderShare == 3 && openerShare == 3;
      XFile holder, opener;
      holder.SetShareMode(holderShare);
      ASSERT_TRUE(holder.OpenRead(name));
      opener.SetShareMode(openerShare);
      const auto start = Clock::now();
      EXPECT_EQ(opener.OpenUpdate(name), opens);
      EXPECT_LT(Clock::now() - start, 1s);
      EXPECT_EQ(opener.LastError(), opens ? 0u : kErrorSharingViolation);
      opener.Close();
      holder.Close();
      // Once the holder is gone anybody may open it.
      EXPECT_TRUE(opener.OpenUpdate(name)) << opener.LastError();
    }
}

// Media opens wait for a holder that shares nothing to let go; plain opens fail at once.
TEST(XFileSharing, HeldFileOpensForMediaOnceReleased) {
  TempDir dir;
  const std::u16string name = dir / u"held.wav";
  WriteBytes(name, "audio");
  for (const auto& [label, open] : kMediaOpens) {
    SCOPED_TRACE(label);
    XFile holder, plain, file;
    holder.SetShareMode(0);
    ASSERT_TRUE(holder.OpenUpdate(name));
    std::thread release([&] {
      std::this_thread::sleep_for(1500ms);
      holder.Close();
    });
    EXPECT_FALSE(plain.OpenRead(name));
    EXPECT_EQ(plain.LastError(), kErrorSharingViolation);
    const auto start = Clock::now();
    EXPECT_TRUE(open(file, name)) << file.LastError();
    EXPECT_GE(Clock::now() - start, 1s);
    char got[8] = {};
    EXPECT_EQ(file.Read(got, 8), 5);
    EXPECT_EQ(std::string(got, 5), "audio");
    release.join();
  }
}
