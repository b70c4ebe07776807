#include "host/ConvertTags.h"

#include <string>
#include <string_view>

#include "host/SamplePositions.h"
#include "io/ByteReader.h"
#include "io/ByteWriter.h"
#include "io/Text.h"

namespace {
constexpr std::size_t kIdSize = 4;

// A RIFF identifier matches in its written case or wholly upper-cased, as the plug-in matches them.
bool IdIs(std::uint32_t id, std::string_view lower) {
  std::string upper(lower);
  for (char& c : upper)
    if (c >= 'a' && c <= 'z') c = char(c - 32);
  return id == MakeFourCC(lower) || id == MakeFourCC(upper);
}

// Chunks the new file makes for itself, or that the tag writers own.
bool MadeAnew(std::uint32_t id) {
  for (const std::string_view own : {"fmt ", "data", "ds64", "fact", "junk", "pad ", "bext", "id3 ", "riff", "rf64"})
    if (IdIs(id, own)) return true;
  return false;
}

std::uint32_t IdOf(const HostTag& tag) { return ByteReader(tag.data).FourCC(); }

bool IsChunk(const HostTag& tag) { return StartsWithFolded(tag.name, u"_riff_") && tag.data.size() >= kIdSize; }

void AppendChunk(std::vector<std::uint8_t>& out, std::uint32_t id, std::span<const std::uint8_t> data) {
  ByteWriter w(out);
  w.FourCC(id);
  w.U32(std::uint32_t(data.size()));
  w.Bytes(data);
  if (data.size() & 1) w.U8(0);
}
}  // namespace

ConvertedTags ConvertTags(const std::vector<HostTag>& source, int inRate, int outRate) {
  ConvertedTags out;
  // Without a mark of where the audio stood, the chunks follow it.
  bool afterData = true;
  for (const HostTag& tag : source)
    if (IsChunk(tag) && IdIs(IdOf(tag), "data")) afterData = false;
  for (const HostTag& tag : source) {
    if (!StartsWithFolded(tag.name, u"_riff_")) {
      out.tags.push_back(tag);
      if (EqualsFolded(tag.name, "TimeReference"))
        out.tags.back().value = RescaleTimeReference(tag.value, inRate, outRate);
      continue;
    }
    if (!IsChunk(tag)) continue;
    const std::uint32_t id = IdOf(tag);
    if (IdIs(id, "data")) afterData = true;
    if (MadeAnew(id) || tag.data.size() - kIdSize > UINT32_MAX) continue;
    std::vector<std::uint8_t> data(tag.data.begin() + kIdSize, tag.data.end());
    if (inRate != outRate && IdIs(id, "cue ")) RescaleCueChunk(data, inRate, outRate);
    if (inRate != outRate && IdIs(id, "smpl")) RescaleSamplerChunk(data, inRate, outRate);
    AppendChunk(afterData ? out.trailing : out.leading, id, data);
  }
  return out;
}
