// A file whose tag chunks hold many distinct names must not cost one scan of
// the tag list per tag: opening it, writing a tag and deleting tags compare
// names n log n times. The comparisons are counted through the test build's
// seam; when the tags grow four-fold their count may grow less than six-fold
// (n log n gives under five, a scan per tag sixteen).
#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "TagChunkBuilders.h"
#include "TagSettingsSandbox.h"
#include "codec/clDecoder_Wave.h"
#include "host/TagBlock.h"
#include "io/Text.h"

namespace {
std::atomic<std::uint64_t> gComparisons{0};

// 'X' and three letters: no identifier of the INFO table looks like it.
std::string InfoId(int i) {
  std::string id = "X";
  for (int k = 0; k < 3; ++k, i /= 26) id.push_back(char('A' + i % 26));
  return id;
}

// n INFO sub-chunks of their own identifiers, n TXXX frames of which every
// second one carries the name of an INFO sub-chunk (and wins over it), and bext.
Bytes ManyTagsFile(int n) {
  TextFieldList info, frames;
  for (int i = 0; i < n; ++i) {
    info.push_back({InfoId(i), "list " + std::to_string(i)});
    const std::string description = i % 2 ? "WAVELIST-" + InfoId(i) : "d" + std::to_string(i);
    frames.push_back({"TXXX", description + '\0' + "id3 " + std::to_string(i)});
  }
  return WavBuilder()
      .Fmt(PcmFormat(1, 2, 44100, 16))
      .Chunk("bext", BextRecord("described", 1))
      .Data(Bytes(400, 0))
      .Chunk("LIST", InfoList(info))
      .Chunk("id3 ", Id3v23Tag(frames))
      .Build();
}

struct Costs {
  std::uint64_t open = 0, write = 0, untag = 0;
};

// The tags a host receives when it opens the file, as `wavehost info` opens it.
std::vector<HostTag> Open(clDecoder_Wave& d, const std::u16string& name) {
  OpenRecord record{};
  record.FileName = reinterpret_cast<const WaveChar*>(name.c_str());
  record.Flags = kOpenAudioInfo | kOpenReadTags | kOpenProperties;
  EXPECT_EQ(d.Open(record), 1);
  std::vector<HostTag> tags = ParseTagBlock(record.TagData, record.TagDataBytes);
  d.Close(0);
  return tags;
}

std::u16string ValueOf(const std::vector<HostTag>& tags, std::u16string_view name) {
  for (const HostTag& tag : tags)
    if (tag.name == name) return tag.value;
  return u"(none)";
}

std::size_t CountPrefixed(const std::vector<HostTag>& tags, std::u16string_view prefix) {
  std::size_t count = 0;
  for (const HostTag& tag : tags) count += tag.name.starts_with(prefix);
  return count;
}

Costs CostsFor(int n) {
  TagSettingsSandbox settings;
  const std::u16string name = settings.dir().Write("many.wav", ManyTagsFile(n)).u16string();
  const TraceContext quiet{};
  clDecoder_Wave d(&quiet);
  Costs costs;

  gComparisons = 0;
  const std::vector<HostTag> read = Open(d, name);
  costs.open = gComparisons.exchange(0);
  EXPECT_EQ(CountPrefixed(read, u"WAVELIST-"), std::size_t(n));
  EXPECT_EQ(CountPrefixed(read, u"d"), std::size_t(n / 2));
  EXPECT_EQ(ValueOf(read, u"WAVELIST-" + Widen(InfoId(1))), u"id3 1");
  EXPECT_EQ(ValueOf(read, u"WAVELIST-" + Widen(InfoId(2))), u"list 2");

  std::vector<HostTag> given;
  for (int i = 0; i < n; ++i) given.push_back({u"new " + ToText(i), u"v", {}});
  const Bytes block = BuildTagBlock(given);
  SetRecord set{};
  set.FileName = reinterpret_cast<const WaveChar*>(name.c_str());
  set.TagData = block.data();
  set.Value = std::int32_t(block.size());
  EXPECT_EQ(d.Set(u"IDTags", set), 1);
  costs.write = gComparisons.exchange(0);

  std::u16string names;
  for (int i = 0; i < n; i += 2) names += u"d" + ToText(i) + u'\0';
  names += u'\0';
  EXPECT_EQ(d.DeleteATag(name.c_str(), names.c_str()), 1);
  costs.untag = gComparisons.exchange(0);

  const std::vector<HostTag> left = Open(d, name);
  EXPECT_EQ(CountPrefixed(left, u"new "), std::size_t(n));
  EXPECT_EQ(CountPrefixed(left, u"WAVELIST-"), std::size_t(n));
  EXPECT_EQ(CountPrefixed(left, u"d"), 0u);
  return costs;
}
}  // namespace

void CountFoldedComparison() { gComparisons.fetch_add(1, std::memory_order_relaxed); }

TEST(TagScale, ManyDistinctNamesCostNLogNComparisons) {
  constexpr int kSmall = 500;
  const Costs small = CostsFor(kSmall);
  const Costs large = CostsFor(4 * kSmall);
  EXPECT_LT(large.open, 6 * small.open) << small.open << " -> " << large.open;
  EXPECT_LT(large.write, 6 * small.write) << small.write << " -> " << large.write;
  EXPECT_LT(large.untag, 6 * small.untag) << small.untag << " -> " << large.untag;
}
