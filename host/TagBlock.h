// The host's own reading of the flat tag block the plug-in returns: a count,
// then records of length, UTF-16 name, UTF-16 value and binary data.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct HostTag {
  std::u16string name;
  std::u16string value;
  std::vector<std::uint8_t> data;
};

// The tags of a block; stops quietly at the first record that does not fit.
std::vector<HostTag> ParseTagBlock(const std::uint8_t* block, std::size_t size);
// The flat block of a tag list (what Set "IDTags" takes).
std::vector<std::uint8_t> BuildTagBlock(const std::vector<HostTag>& tags);
