// The property lines shown to the user for an opened file: quality, codec,
// header kind, speakers, sample count, chunk map, tag summary and so on.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "WavePlugin.h"
#include "riff/clRIFFHandler.h"
#include "tags/TagList.h"
#include "wave/WFX.h"

struct AudioPropertyInputs {
  const WFX* onFile = nullptr;
  const WFX* uncompressed = nullptr;
  std::int64_t decodeBytes = 0;  // the decode range length
  std::uint32_t factSamples = 0;
  std::optional<std::uint64_t> fmtChunkSize;  // of the first 'fmt ' chunk, when there is one
  const clRIFFHandler* chunks = nullptr;      // the chunk map; none for a stream
  const TagList* tags = nullptr;
  std::u16string tagSummary;
};

// The property list in display order; each line is also traced as "\tName: value".
TagList BuildAudioProperties(const AudioPropertyInputs& in, const TraceContext& log);
// The thousands separator of the user's locale (asked once per property list: it is slow to ask).
std::u16string ThousandsSeparator();
// Groups the digits of a decimal text by thousands with the given separator.
std::u16string GroupThousands(std::uint64_t value, std::u16string_view separator);
