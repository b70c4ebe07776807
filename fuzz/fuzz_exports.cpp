// Any bytes as a file, through the nine exports as a host calls them: a decode
// range, options, an open with any flags, decoding, seeking, every query, and
// a second open of the same object. The tag and property blocks handed out are
// well formed, and every audio block holds whole frames of the format it names.
//
// The file is the whole input; its last eight bytes also choose what is done
// (so real files work as seeds unchanged).
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz/FuzzSupport.h"
#include "tags/TagList.h"

namespace {
// Blocks decoded per pass: the file holds at most a few of the engine's reads.
constexpr int kMaxBlocks = 64;

struct Choices {
  std::uint8_t open, rangeStart, rangeEnd, seek1, seek2, query, options, reopen;
};

// Seven bits: the four flags a host sets, one unknown low and one high bit, and external packets.
std::uint32_t OpenFlags(std::uint8_t bits) {
  constexpr std::uint32_t kFlags[] = {kOpenPrepareDecode, kOpenAudioInfo,      kOpenReadTags, kOpenProperties, 0x100,
                                      0x80000000,         kOpenExternalPackets};
  std::uint32_t flags = 0;
  for (std::size_t i = 0; i < std::size(kFlags); ++i)
    if (bits >> i & 1) flags |= kFlags[i];
  return flags;
}

void CheckBlock(const std::uint8_t* data, std::uint32_t size) {
  if (size == 0) return;
  Require(data != nullptr);
  TagList list;
  list.FromBlock({data, size});
  Require(list.ToBlock() == std::vector<std::uint8_t>(data, data + size));
}

std::size_t Length(const WaveChar* text) {
  std::size_t n = 0;
  while (text && text[n]) ++n;
  return n;
}

void Query(void* decoder, std::uint8_t choice) {
  for (const char16_t* key : {u"Decodes", u"StreamingDecodes", u"Decoder Description", u"Property Elements",
                              u"Default Property Elements", u"ID Tag Options", u"Unknown"}) {
    for (const std::int32_t index : {-1, 0, 1, choice & 0x0F}) {
      GetRecord record{};
      record.Index = index;
      record.SubIndex = std::int32_t(choice >> 4) - 1;
      if (Get(decoder, key, &record)) Require(Length(record.Text1) + Length(record.Text2) + Length(record.Text3) != 0);
    }
  }
  GetRecord none{};
  Require(Get(decoder, nullptr, &none) == 0);
}

void OpenAndDecode(void* decoder, const std::u16string& name, std::uint8_t bits, const Choices& c) {
  OpenRecord record{};
  record.FileName = W(name);
  record.Flags = OpenFlags(bits);
  if (Open(decoder, &record)) {
    CheckBlock(record.TagData, record.TagDataBytes);
    CheckBlock(record.PropData, record.PropDataBytes);
    DecodeBlocks(decoder, kMaxBlocks);
    for (const std::uint8_t seek : {c.seek1, c.seek2}) {
      SetPosition(decoder, Pick(seek));
      DecodeBlocks(decoder, 2);
    }
  }
  Close(decoder, 0);
}
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  OwnSettingsFile();
  HoldSiblingLoaded();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::filesystem::path path = ScratchDir() / "exports.wav";
  static const std::u16string name = Wide(path);
  WriteFile(path, {data, size});
  std::uint8_t tail[sizeof(Choices)] = {};
  std::copy_n(data + size - std::min(size, sizeof tail), std::min(size, sizeof tail), tail);
  Choices c;
  std::memcpy(&c, tail, sizeof c);

  void* decoder = Create(&kNoTrace);
  Require(decoder != nullptr);
  SetRecord set{};
  set.Value = c.options >> 2;
  if (c.options & 1) Set(decoder, u"TPE2OptionOverride", &set);
  if (c.options & 2) Set(decoder, u"TIT1OptionOverride", &set);
  if (c.options & 4) Set(decoder, u"IgnoreRegistrySettings", &set);
  if (c.open & 0x80) {
    set.RangeStart = Pick(c.rangeStart);
    set.RangeEnd = Pick(c.rangeEnd);
    Require(Set(decoder, u"Set Decode Range", &set) == 1);
  }
  OpenAndDecode(decoder, name, c.open, c);
  if (c.reopen & 1) OpenAndDecode(decoder, name, c.reopen >> 1, c);
  Query(decoder, c.query);
  Require(Destroy(decoder) == 1);
  return 0;
}
