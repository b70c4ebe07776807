// The tag writers on any file, under any tagging settings: Set "IDTags" with a
// hostile flat tag block and with tags built from the input (names the
// writers map, bext fields, pictures), then DeleteATag with and without
// names. They never touch the audio: a file that decoded before decodes to the
// very same bytes afterwards; an edit that returns 0 leaves the file byte for
// byte as it was; and no edit leaves its temporary copy behind.
//
// Input: eight settings bytes, a mode byte, the tag block's size (16 bits),
// the tag block, then the file.
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/FuzzSupport.h"
#include "riff/TagSettings.h"
#include "tags/TagList.h"

namespace {
constexpr int kMaxBlocks = 64;

constexpr std::u16string_view kNames[] = {u"Title",
                                          u"Artist",
                                          u"Album",
                                          u"Year",
                                          u"Track",
                                          u"Genre",
                                          u"Comment",
                                          u"Album Artist",
                                          u"Composer",
                                          u"Disc",
                                          u"Rating",
                                          u"Lyrics",
                                          u"ISRC",
                                          u"Product",
                                          u"Description",
                                          u"Originator",
                                          u"OrigReference",
                                          u"OrigDate",
                                          u"OrigTime",
                                          u"TimeReference",
                                          u"CodingHistory",
                                          u"TagVersion",
                                          u"_riff_JUNK",
                                          u"replaygain_track_gain",
                                          u"_cdtoc",
                                          u"[Empty]",
                                          u"Custom Name",
                                          u"_albumart_1_Front Album Cover",
                                          u"_albumart_2_Back Album Cover<subdesc>back"};

bool IsBinary(std::u16string_view name) { return name.starts_with(u"_albumart_") || name == u"_cdtoc"; }

// Pairs of a name byte and a value length, each followed by the value's bytes.
TagList BuiltTags(ByteSpan raw) {
  TagList tags;
  ByteReader in(raw);
  while (in.remaining() >= 2) {
    const std::u16string_view name = kNames[in.U8() % std::size(kNames)];
    const ByteSpan value = in.Bytes(std::min<std::size_t>(in.U8(), in.remaining()));
    if (IsBinary(name))
      tags.AddTag(name, u"", value);
    else
      tags.AddTag(name, Latin1ToWide({reinterpret_cast<const char*>(value.data()), value.size()}));
  }
  return tags;
}

// The host's list of names to delete: zero-terminated, ended by an empty one.
std::u16string NameList(ByteSpan raw) {
  std::u16string list;
  for (std::size_t i = 0; i < std::min<std::size_t>(raw.size(), 4); ++i)
    list.append(kNames[raw[i] % std::size(kNames)]).push_back(0);
  return list;
}

// Missing, malformed, huge or one of the first few values (the choices and some past them).
void WriteSettings(const std::filesystem::path& file, ByteSpan bytes) {
  std::ofstream out(file, std::ios::trunc);
  for (std::size_t i = 0; i < kTagSettingNames.size(); ++i) {
    const std::uint8_t b = bytes[i];
    if (b == 0xFF) continue;
    out << WideToUtf8(kTagSettingNames[i]) << '=';
    if (b == 0xFE)
      out << "x1";
    else
      out << (b >= 0xF0 ? std::uint64_t(b) * 100000007u : b % 6u);
    out << '\n';
  }
}

std::optional<std::vector<std::uint8_t>> DecodedAudio(const std::u16string& name) {
  void* decoder = Create(&kNoTrace);
  OpenRecord record{};
  record.FileName = W(name);
  record.Flags = kOpenPrepareDecode | kOpenReadTags;
  std::optional<std::vector<std::uint8_t>> audio;
  if (Open(decoder, &record)) audio = DecodeBlocks(decoder, kMaxBlocks);
  Close(decoder, 0);
  Destroy(decoder);
  return audio;
}

int WriteTags(void* decoder, const std::u16string& name, ByteSpan block) {
  SetRecord record{};
  record.FileName = W(name);
  record.TagData = block.data();
  record.Value = std::int32_t(block.size());
  return Set(decoder, u"IDTags", &record);
}

std::vector<std::uint8_t> ReadBack(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  OwnSettingsFile();
  HoldSiblingLoaded();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::filesystem::path settings = OwnSettingsFile();
  static const std::filesystem::path path = ScratchDir() / "writers.wav";
  static const std::u16string name = Wide(path);
  ByteReader in({data, size});
  const ByteSpan settingBytes = in.Bytes(kTagSettingNames.size());
  const std::uint8_t mode = in.U8();
  const ByteSpan block = in.Bytes(std::min<std::size_t>(in.U16(), in.remaining()));
  if (!in.ok()) return 0;
  WriteSettings(settings, settingBytes);
  WriteFile(path, in.Rest());
  const auto before = DecodedAudio(name);

  void* decoder = Create(&kNoTrace);
  SetRecord overrides{};
  overrides.Value = 2;
  if (mode & 0x20) Set(decoder, u"TPE2OptionOverride", &overrides);
  if (mode & 0x40) Set(decoder, u"TIT1OptionOverride", &overrides);
  // Each edit finds the file as the one before left it.
  std::vector<std::uint8_t> bytes = ReadBack(path);
  const auto edited = [&](int result) {
    std::vector<std::uint8_t> after = ReadBack(path);
    if (result == 0) Require(after == bytes);
    bytes = std::move(after);
  };
  if (mode & 0x01) edited(WriteTags(decoder, name, block));
  if (mode & 0x02) edited(WriteTags(decoder, name, BuiltTags(block).ToBlock()));
  if (mode & 0x04) edited(DeleteATag(decoder, W(name), W(NameList(block))));
  if (mode & 0x08) edited(DeleteATag(decoder, W(name), nullptr));
  if (mode & 0x10) edited(DeleteATag(decoder, W(name), u""));
  Destroy(decoder);

  Require(!std::filesystem::exists(path.string() + "~tagedit.tmp"));
  if (before) Require(DecodedAudio(name) == before);
  return 0;
}
