// The source's tags on their way into a converted file: the plug-in writes
// the named tags through Set "IDTags"; the chunks it offers as "_riff_" tags
// the host writes itself, where they stood around the audio. Positions
// counted in samples move to the new rate.
#pragma once

#include <cstdint>
#include <vector>

#include "host/TagBlock.h"

struct ConvertedTags {
  // For Set "IDTags": every tag but the "_riff_" ones, the bext time reference rescaled.
  std::vector<HostTag> tags;
  // Whole chunks (header, data, pad byte) that stood before and after the source's 'data' chunk.
  std::vector<std::uint8_t> leading;
  std::vector<std::uint8_t> trailing;
};

ConvertedTags ConvertTags(const std::vector<HostTag>& source, int inRate, int outRate);
