// The eight tagging settings: defaults, malformed values, the padding sizes
// they stand for, and the ID3v2 writer options they give.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "TagSettingsSandbox.h"
#include "io/Text.h"
#include "riff/TagSettings.h"
#include "riff/WaveTagWriter.h"

TEST(TagSettings, MissingValuesReadAsZeroAndWrittenOnesBack) {
  TagSettingsSandbox sandbox;
  std::uint32_t value = 1;
  for (const auto name : kTagSettingNames) {
    EXPECT_EQ(ReadTagSetting(name), 0u) << WideToUtf8(name);
    EXPECT_FALSE(ReadTagSettingIfSet(name).has_value()) << WideToUtf8(name);
    ASSERT_TRUE(WriteTagSetting(name, value)) << WideToUtf8(name);
    ++value;
  }
  value = 1;
  for (const auto name : kTagSettingNames) EXPECT_EQ(ReadTagSetting(name), value++) << WideToUtf8(name);
  ASSERT_TRUE(DeleteTagSetting(u"WaveLISTPos"));
  EXPECT_EQ(ReadTagSetting(u"WaveLISTPos"), 0u);
}

TEST(TagSettings, MalformedValuesReadAsZero) {
  TagSettingsSandbox sandbox;
  const std::u16string location = TagSettingsLocation();
  if (location.starts_with(u"HKEY_")) GTEST_SKIP() << "the registry holds typed values only";
  const std::filesystem::path file(WideToUtf8(location));
  std::filesystem::create_directories(file.parent_path());
  std::ofstream(file) << "WaveTagDefault=abc\nWaveLISTPos=\nWaveLISTAlbum=99999999999\nWaveLISTTrack=-1\n"
                         "WaveLISTPadding=2\nno equals sign\n";
  EXPECT_EQ(ReadTagSetting(u"WaveTagDefault"), 0u);
  EXPECT_EQ(ReadTagSetting(u"WaveLISTPos"), 0u);
  EXPECT_EQ(ReadTagSetting(u"WaveLISTAlbum"), 0u);
  EXPECT_EQ(ReadTagSetting(u"WaveLISTTrack"), 0u);
  EXPECT_EQ(ReadTagSetting(u"WaveLISTPadding"), 2u) << "a good value beside bad ones still counts";
}

TEST(TagSettings, PaddingSizeChoicesInTheirListedOrder) {
  const std::pair<std::uint32_t, std::uint32_t> cases[] = {{0, 2048},  {1, 1024}, {2, 4096}, {3, 8192},
                                                           {4, 16384}, {5, 2048}, {99, 2048}};
  for (const auto& [choice, bytes] : cases) EXPECT_EQ(PaddingSizeFromSetting(choice), bytes) << choice;
}

TEST(TagSettings, Id3WriterOptionsFromSettingsAndOverrides) {
  TagSettingsSandbox sandbox;
  const struct Case {
    std::uint32_t version, unicode;
    bool tpe2, tit1;
    ID3v2WriteOptions options;
  } cases[] = {
      {0, 0, false, false, {}},
      {1, 0, false, false, {u"ID3v2WriteV22"}},
      {2, 0, false, false, {u"ID3v2WriteV221"}},
      {3, 0, false, false, {}},
      {0, 1, false, false, {u"ID3v2EncodeUni"}},
      {0, 7, false, false, {u"ID3v2EncodeUni"}},
      {1, 1, true, true, {u"TPE2Orchestra", u"TIT1Style", u"ID3v2WriteV22", u"ID3v2EncodeUni"}},
      {0, 0, false, true, {u"TIT1Style"}},
  };
  for (const auto& c : cases) {
    sandbox.Set(u"WaveID3v2Version", c.version);
    sandbox.Set(u"WaveID3v2UnicodeEncode", c.unicode);
    ID3v2ReadOptions overrides;
    overrides.tpe2Orchestra = c.tpe2;
    overrides.tit1Style = c.tit1;
    EXPECT_EQ(ID3WriteOptionsFromSettings(overrides), c.options) << c.version << " " << c.unicode;
  }
}
