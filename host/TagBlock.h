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

// What the host shows of a tag: its texts, and of binary data its size and first bytes (enough to name an
// image's type), so that showing the tags of a file does not copy its pictures.
struct ShownTag {
  std::u16string name;
  std::u16string value;
  std::size_t dataSize = 0;
  std::vector<std::uint8_t> head;
};

// The tags of a block; stops quietly at the first record that does not fit.
std::vector<HostTag> ParseTagBlock(const std::uint8_t* block, std::size_t size);
std::vector<ShownTag> ShowTagBlock(const std::uint8_t* block, std::size_t size);
// The flat block of a tag list (what Set "IDTags" takes).
std::vector<std::uint8_t> BuildTagBlock(const std::vector<HostTag>& tags);
