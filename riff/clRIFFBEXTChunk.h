// The payload of a Broadcast Wave 'bext' chunk and the tags it carries: five
// fixed-width ANSI text fields, the time reference and the coding history.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "WavePlugin.h"
#include "tags/TagList.h"

class clRIFFBEXTChunk {
 public:
  // The fixed part and its fields, as offsets from the start of the chunk data.
  static constexpr std::size_t kDescriptionOffset = 0;
  static constexpr std::size_t kDescriptionSize = 256;
  static constexpr std::size_t kOriginatorOffset = 256;
  static constexpr std::size_t kOriginatorSize = 32;
  static constexpr std::size_t kOriginatorReferenceOffset = 288;
  static constexpr std::size_t kOriginatorReferenceSize = 32;
  static constexpr std::size_t kOriginationDateOffset = 320;
  static constexpr std::size_t kOriginationDateSize = 10;
  static constexpr std::size_t kOriginationTimeOffset = 330;
  static constexpr std::size_t kOriginationTimeSize = 8;
  static constexpr std::size_t kTimeReferenceLowOffset = 338;
  static constexpr std::size_t kTimeReferenceHighOffset = 342;
  static constexpr std::size_t kVersionOffset = 346;
  static constexpr std::size_t kUmidOffset = 348;
  static constexpr std::size_t kUmidSize = 64;
  static constexpr std::size_t kLoudnessOffset = 412;
  static constexpr std::size_t kLoudnessSize = 10;
  static constexpr std::size_t kReservedOffset = 422;
  static constexpr std::size_t kReservedSize = 180;
  static constexpr std::size_t kCodingHistoryOffset = 602;
  static constexpr std::size_t kFixedSize = 602;

  static constexpr std::u16string_view kDescription = u"Description";
  static constexpr std::u16string_view kOriginator = u"Originator";
  static constexpr std::u16string_view kOriginatorReference = u"OrigReference";
  static constexpr std::u16string_view kOriginationDate = u"OrigDate";
  static constexpr std::u16string_view kOriginationTime = u"OrigTime";
  static constexpr std::u16string_view kTimeReference = u"TimeReference";
  static constexpr std::u16string_view kCodingHistory = u"CodingHistory";

  // The version field of a payload that holds the fixed part; none for a shorter one.
  static std::optional<std::uint16_t> Version(std::span<const std::uint8_t> payload);
  // Appends the tags of a payload to dest; false (and no tags) below the fixed size.
  bool InitFrom(std::span<const std::uint8_t> payload, TagList& dest, const TraceContext& log);
  // Builds a payload (version 0, UMID and loudness zero) from the bext tags of the list.
  static bool TagsToBEXT(std::vector<std::uint8_t>& out, const TagList& tags, const TraceContext& log);
  // Removes every tag that a bext chunk carries.
  static bool RemoveTagsFromList(TagList& tags, const TraceContext& log);
  // True for the names of the tags a bext chunk carries (ASCII case ignored).
  static bool IsBextTagName(std::u16string_view name);
  // The tags the last InitFrom decoded.
  const TagList& Tags() const { return tags_; }

 private:
  TagList tags_;
};
