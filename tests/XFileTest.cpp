#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "FileHolder.h"
#include "WavBuilder.h"
#include "io/XFile.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {
void WriteBytes(const fs::path& path, std::string_view bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), std::streamsize(bytes.size()));
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
}  // namespace

TEST(XFileLongPath, PrefixOnlyFromTheLimitOn) {
  const std::u16string drive = u"C:\\";
  const std::u16string unc = u"\\\\server\\share\\";
  const std::u16string device = u"\\\\?\\C:\\";
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
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "length " << c.path.size() << ", limit " << c.limit);
    const std::u16string expected = c.prefixed ? u"\\\\?\\" + c.path : c.path;
    EXPECT_EQ(XFile::LongPath(c.path, c.limit), expected);
  }
}

TEST(XFileOpen, MissingFileFailsAtOnceWithTheReportedText) {
  TempDir dir;
  const std::u16string missing = dir / u"missing.wav";
  const std::u16string inMissingFolder = dir / u"no such folder" + u"/a.wav";
  const struct {
    const char* name;
    std::function<bool(XFile&, std::u16string_view)> open;
  } opens[] = {
      {"OpenReadMedia", [](XFile& f, std::u16string_view p) { return f.OpenReadMedia(p); }},
      {"OpenUpdateMedia", [](XFile& f, std::u16string_view p) { return f.OpenUpdateMedia(p); }},
      {"OpenRead", [](XFile& f, std::u16string_view p) { return f.OpenRead(p); }},
      {"OpenUpdate", [](XFile& f, std::u16string_view p) { return f.OpenUpdate(p); }},
  };
  for (const auto& o : opens) {
    SCOPED_TRACE(o.name);
    XFile file;
    const auto start = Clock::now();
    EXPECT_FALSE(o.open(file, missing));
    EXPECT_LT(Clock::now() - start, 1s);
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(file.path(), missing);
    EXPECT_EQ(file.LastError(), kErrorFileNotFound);
    EXPECT_EQ(XFile::OpenErrorText(file.path(), file.LastError()),
              u"Error opening file '" + missing + u"', check no other program has it open. (Win:2)");

    EXPECT_FALSE(o.open(file, inMissingFolder));
    EXPECT_EQ(file.LastError(), 3u);
  }
}

TEST(XFileOpen, ErrorTexts) {
  const struct {
    std::u16string path;
    std::uint32_t code;
    std::u16string text;
  } cases[] = {
      {u"", 0, u"No file specified!"},
      {u"", 2, u"No file specified!"},
      {u"C:\\a.wav", 0, u"Error opening file 'C:\\a.wav', check no other program has it open."},
      {u"C:\\a.wav", 32, u"Error opening file 'C:\\a.wav', check no other program has it open. (Win:32)"},
      {u"\u00c4\u266a.wav", 4294967295u,
       u"Error opening file '\u00c4\u266a.wav', check no other program has it open. (Win:4294967295)"},
  };
  for (const auto& c : cases) EXPECT_EQ(XFile::OpenErrorText(c.path, c.code), c.text) << c.code;
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
    std::int64_t seekTo;
    std::int64_t ask;
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

TEST(XFileSize, SetSizeTruncatesAndExtendsWithZeros) {
  TempDir dir;
  const std::u16string name = dir / u"size.bin";
  XFile file;
  ASSERT_TRUE(file.Create(name));
  ASSERT_TRUE(file.Write(std::string(100, 'A').data(), 100));

  ASSERT_TRUE(file.SetSize(40));
  EXPECT_EQ(file.Size(), 40);
  EXPECT_EQ(file.Tell(), 40);
  ASSERT_TRUE(file.SetSize(1000));
  EXPECT_EQ(file.Size(), 1000);
  EXPECT_FALSE(file.SetSize(-1));
  file.Close();
  EXPECT_EQ(ReadBytes(name), std::string(40, 'A') + std::string(960, '\0'));
}

TEST(XFileSize, SeekAndTellBeyondFourGiB) {
  constexpr std::int64_t kGiB = std::int64_t(1) << 30;
  constexpr std::int64_t kSize = 5 * kGiB;
  TempDir dir;
  const std::u16string name = dir / u"sparse.bin";
  {
    XFile file;
    ASSERT_TRUE(file.Create(name));
    ASSERT_TRUE(file.SetSize(kSize)) << file.LastError();
    EXPECT_EQ(file.Size(), kSize);
    EXPECT_EQ(file.Tell(), kSize);
    // Each position has a low 32-bit half that would mislead a 32-bit seek.
    const struct {
      std::int64_t at;
      std::string bytes;
    } marks[] = {{4 * kGiB + 3, "low"}, {kSize - 4, "end!"}, {kGiB * 3 - 2, "mid"}};
    for (const auto& m : marks) {
      ASSERT_TRUE(file.Seek(m.at));
      EXPECT_EQ(file.Tell(), m.at);
      ASSERT_TRUE(file.Write(m.bytes.data(), std::int64_t(m.bytes.size())));
    }
    EXPECT_EQ(file.Size(), kSize);
  }
  XFile file;
  ASSERT_TRUE(file.OpenReadMedia(name));
  EXPECT_EQ(file.Size(), kSize);
  char got[16] = {};
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
  const std::u16string from = dir / u"from.wav";
  const std::u16string to = dir / u"to.wav";
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
  const std::u16string target = dir / u"song.wav";
  const std::u16string temp = dir / u"song.wav.tmp";
  enum Begun { kCreated, kNotOpened, kOpenFailed };
  const struct {
    const char* name;
    Begun begun;
    bool commit;
    bool finish;  // FinishRewrite, else DiscardRewrite
    std::string expected;
  } cases[] = {
      {"commit", kCreated, true, true, "rewritten"},
      {"finish without commit", kCreated, false, true, "original"},
      {"discard", kCreated, true, false, "original"},
      {"never opened", kNotOpened, true, true, "original"},
      {"never opened, no commit", kNotOpened, false, true, "original"},
      // A failed open stores the path but still begins nothing.
      {"open failed", kOpenFailed, true, true, "original"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
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
  const std::u16string victim = dir / u"victim.txt";
  const std::u16string taken = dir / u"taken.tmp";
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
  const struct {
    std::uint32_t holderShare;
    std::uint32_t openerShare;
    bool opens;
  } cases[] = {
      {3, 3, true},
      {0, 3, false},
      {3, 0, false},
      {0, 0, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "holder shares " << c.holderShare << ", opener shares " << c.openerShare);
    XFile holder;
    holder.SetShareMode(c.holderShare);
    ASSERT_TRUE(holder.OpenRead(name));
    XFile opener;
    opener.SetShareMode(c.openerShare);
    const auto start = Clock::now();
    EXPECT_EQ(opener.OpenUpdate(name), c.opens);
    EXPECT_LT(Clock::now() - start, 1s);
    EXPECT_EQ(opener.LastError(), c.opens ? 0u : kErrorSharingViolation);
    opener.Close();
    holder.Close();
    // Once the holder is gone anybody may open it.
    EXPECT_TRUE(opener.OpenUpdate(name)) << opener.LastError();
  }
}

TEST(XFileSharing, FileHeldByAnotherProgramOpensOnceReleased) {
  TempDir dir;
  const std::u16string name = dir / u"held.wav";
  const fs::path marker = fs::path(name + u".held");
  const struct {
    const char* name;
    std::function<bool(XFile&, std::u16string_view)> open;
  } opens[] = {
      {"OpenReadMedia", [](XFile& f, std::u16string_view p) { return f.OpenReadMedia(p); }},
      {"OpenUpdateMedia", [](XFile& f, std::u16string_view p) { return f.OpenUpdateMedia(p); }},
  };
  for (const auto& o : opens) {
    SCOPED_TRACE(o.name);
    WriteBytes(name, "audio");
    fs::remove(marker);
    FileHolder holder;
    ASSERT_TRUE(holder.Start(fs::path(name), 1500));
    const auto deadline = Clock::now() + 30s;
    while (!fs::exists(marker) && Clock::now() < deadline) std::this_thread::sleep_for(10ms);
    ASSERT_TRUE(fs::exists(marker)) << "the holder never got the file";

    XFile plain;
    EXPECT_FALSE(plain.OpenRead(name));
    EXPECT_EQ(plain.LastError(), kErrorSharingViolation);

    XFile file;
    const auto start = Clock::now();
    ASSERT_TRUE(o.open(file, name)) << file.LastError();
    EXPECT_GE(Clock::now() - start, 1s);
    char got[8] = {};
    EXPECT_EQ(file.Read(got, 8), 5);
    EXPECT_EQ(std::string(got, 5), "audio");
    EXPECT_EQ(holder.Wait(), 0);
  }
}
