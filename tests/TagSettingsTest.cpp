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
  std::uint32_t value = 0;
  for (const auto name : kTagSettingNames) {
    EXPECT_EQ(ReadTagSetting(name), 0u) << WideToUtf8(name);
    EXPECT_FALSE(ReadTagSettingIfSet(name).has_value()) << WideToUtf8(name);
    ASSERT_TRUE(WriteTagSetting(name, ++value)) << WideToUtf8(name);
  }
  value = 0;
  for (const auto name : kTagSettingNames) EXPECT_EQ(ReadTagSetting(name), ++value) << WideToUtf8(name);
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
  for (const auto name : {u"WaveTagDefault", u"WaveLISTPos", u"WaveLISTAlbum", u"WaveLISTTrack"})
    EXPECT_EQ(ReadTagSetting(name), 0u) << WideToUtf8(name);
  EXPECT_EQ(ReadTagSetting(u"WaveLISTPadding"), 2u) << "a good value beside bad ones still counts";
}

TEST(TagSettings, PaddingSizeChoicesInTheirListedOrder) {
  const std::pair<std::uint32_t, std::uint32_t> cases[] = {{0, 2048},  {1, 1024}, {2, 4096}, {3, 8192},
                                                           {4, 16384}, {5, 2048}, {99, 2048}};
  for (const auto& [choice, bytes] : cases) EXPECT_EQ(PaddingSizeFromSetting(choice), bytes) << choice;
}

TEST(TagSettings, OneRecordPerWriteFromTheStoredValuesAndTheOverrides) {
  TagSettingsSandbox sandbox;
  using V = ID3v2WriteSettings::Version;
  using id3parser::TextChoice;
  const struct Case {
    std::uint32_t version, unicode, padding;
    bool tpe2, tit1;
    V wantVersion;
    TextChoice wantText;
    PaddingType wantPadding;
  } cases[] = {
      {0, 0, 0, false, false, V::V23, TextChoice::Ansi, PaddingType::Junk},
      {1, 0, 1, false, false, V::V22, TextChoice::Ansi, PaddingType::Pad},
      {2, 0, 2, false, false, V::V221, TextChoice::Ansi, PaddingType::None},
      {3, 7, 3, true, false, V::V23, TextChoice::Utf16, PaddingType::Junk},
      {1, 1, 9, false, true, V::V22, TextChoice::Utf16, PaddingType::Junk},
  };
  for (const auto& c : cases) {
    sandbox.Set(u"WaveID3v2Version", c.version);
    sandbox.Set(u"WaveID3v2UnicodeEncode", c.unicode);
    sandbox.Set(u"WaveLISTPadding", c.padding);
    ID3v2ReadOptions overrides;
    overrides.tpe2Orchestra = c.tpe2;
    overrides.tit1Style = c.tit1;
    const TagWriteSettings s = TagWriteSettings::Read(overrides);
    EXPECT_EQ(s.id3.version, c.wantVersion) << c.version;
    EXPECT_EQ(s.id3.text, c.wantText) << c.unicode;
    EXPECT_EQ(s.padding, c.wantPadding) << c.padding;
    EXPECT_EQ(s.id3.tpe2Orchestra, c.tpe2);
    EXPECT_EQ(s.id3.tit1Style, c.tit1);
  }
}
