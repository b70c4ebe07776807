#include "PluginHarness.h"

#include <gtest/gtest.h>

#include "host/HostPlatform.h"

Plugin& LoadedPlugin() {
  static Plugin plugin;
  static const bool ok = [] {
    std::string error;
    const bool loaded = plugin.Load(ExecutableDirectory() + PluginFileName(), error);
    EXPECT_TRUE(loaded) << error;
    return loaded;
  }();
  EXPECT_TRUE(ok);
  return plugin;
}

Decoded DecodeFile(Plugin& p, const std::u16string& name, const TraceContext& context, std::int64_t rangeStart,
                   std::int64_t rangeEnd, std::uint32_t flags, std::int64_t seek) {
  Decoded d;
  void* decoder = p.Create(&context);
  SetRecord range{};
  range.RangeStart = rangeStart;
  range.RangeEnd = rangeEnd;
  p.Set(decoder, W(u"Set Decode Range"), &range);
  d.record.FileName = W(name);
  d.record.Flags = flags;
  d.openResult = p.Open(decoder, &d.record);
  if (d.openResult && seek >= 0) d.seekResult = p.SetPosition(decoder, seek);
  if (d.openResult && (flags & kOpenPrepareDecode)) {
    for (int guard = 0; guard < 1000000; ++guard) {
      AudioBlock block{};
      ++d.calls;
      if (!p.DecodeBlock(decoder, &block)) {
        d.decodeFailed = true;
        break;
      }
      if (block.DataBytes) {
        d.audio.insert(d.audio.end(), block.Data, block.Data + block.DataBytes);
        d.blockSizes.push_back(block.DataBytes);
        d.positions.push_back(block.PositionMs);
        d.durations.push_back(block.DurationMs);
        std::copy(std::begin(block.Format), std::end(block.Format), d.format);
      }
      if (block.LastBlock) break;
    }
  }
  p.Close(decoder, 0);
  p.Destroy(decoder);
  return d;
}

int WriteTags(void* decoder, const std::u16string& file, const std::vector<HostTag>& tags) {
  const Bytes block = BuildTagBlock(tags);
  SetRecord r{};
  r.FileName = W(file);
  r.TagData = block.data();
  r.Value = std::int32_t(block.size());
  return LoadedPlugin().Set(decoder, W(u"IDTags"), &r);
}

std::vector<HostTag> ReadTags(const std::u16string& file, const TraceContext& context, int* opened) {
  Plugin& p = LoadedPlugin();
  void* decoder = p.Create(&context);
  OpenRecord record{};
  record.FileName = W(file);
  record.Flags = kOpenReadTags;
  const int result = p.Open(decoder, &record);
  if (opened) *opened = result;
  std::vector<HostTag> tags = ParseTagBlock(record.TagData, record.TagDataBytes);
  p.Close(decoder, 0);
  p.Destroy(decoder);
  return tags;
}
