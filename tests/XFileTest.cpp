#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "WavBuilder.h"
#include "io/XFile.h"

namespace fs = std::filesystem;

namespace {
void WriteBytes(const fs::path& path, std::string_view bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc).write(bytes.data(), std::streamsize(bytes.size()));
}
}  // namespace

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
