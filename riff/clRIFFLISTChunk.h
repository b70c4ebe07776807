// The payload of a 'LIST' chunk of list type 'INFO' and the tags it carries:
// one zero-terminated ANSI text per sub-chunk, named by a fixed identifier table.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "WavePlugin.h"
#include "io/ByteReader.h"
#include "tags/TagList.h"

class clRIFFLISTChunk {
 public:
  static constexpr std::uint32_t kInfoType = MakeFourCC("INFO");
  static constexpr std::size_t kListTypeSize = 4;
  static constexpr std::size_t kSubChunkHeaderSize = 8;
  static constexpr std::u16string_view kUnknownPrefix = u"WAVELIST-";

  // True when the payload begins with the list type INFO in any letter case.
  static bool IsInfoList(std::span<const std::uint8_t> payload);
  // Appends the tags of an INFO payload (starting at the list type) to dest; false for another
  // list type or a payload that could be decoded only in part (the tags read so far stay).
  bool InitFrom(std::span<const std::uint8_t> payload, TagList& dest, const TraceContext& log, int albumOption);
  // Builds 'INFO' and its sub-chunks (no LIST header) from the tags; out stays empty when no tag maps.
  static bool TagsToLIST(std::vector<std::uint8_t>& out, const TagList& tags, const TraceContext& log, int trackOption,
                         int albumOption);
  // The tags the last InitFrom decoded.
  const TagList& Tags() const { return tags_; }

 private:
  TagList tags_;
};
