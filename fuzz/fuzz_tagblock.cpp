// Any bytes as a flat tag block: reading keeps what fits, and writing what was
// read and reading it again gives the very same list.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "tags/TagList.h"

namespace {
void Require(bool condition) {
  if (!condition) std::abort();
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  TagList first;
  first.FromBlock(std::span<const std::uint8_t>(data, size));
  const std::vector<std::uint8_t> block = first.ToBlock();
  std::int64_t total = 4;
  for (std::size_t i = 0; i < first.size(); ++i) total += first.TagEntrySize(i);
  Require(std::int64_t(block.size()) == total);

  TagList second;
  second.FromBlock(block);
  Require(second.size() == first.size());
  for (std::size_t i = 0; i < first.size(); ++i) {
    Require(second[i].name == first[i].name);
    Require(second[i].value == first[i].value);
    Require(second[i].data == first[i].data);
  }
  Require(second.ToBlock() == block);
  return 0;
}
