// Reading of ID3v2 tags (versions 2.2, 2.3 and 2.4) into the tag list.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "tags/TagList.h"

struct ID3v2ReadOptions {
  bool reportVersion = false;  // append "TagVersion" ("ID3v2.2" ...) before the other entries
  bool tpe2Orchestra = false;  // TPE2 is "Orchestra" instead of "Album Artist"
  bool tit1Style = false;      // TIT1 is "Style" instead of "Content Group"
};

// Parses one complete ID3v2 tag (header included) and appends its entries to
// out; returns the tag's total size as its header declares it (header, body
// and footer), which may exceed bytes when the tag was cut short. Throws
// id3parser::parseError on a malformed header, leaving out unchanged.
std::int64_t ReadID3v2(std::span<const std::uint8_t> bytes, TagList& out, const ID3v2ReadOptions& options);
// The same for a tag in storage that the caller gives up: a picture that fills most of it takes the
// storage over instead of being copied, and the storage is left empty; otherwise it is left as it was.
std::int64_t ReadID3v2(std::vector<std::uint8_t>&& storage, TagList& out, const ID3v2ReadOptions& options);

class TagID3v2 {
 public:
  explicit TagID3v2(const ID3v2ReadOptions& options = {}) : options_(options) {}

  // See ReadID3v2.
  std::int64_t Read(std::span<const std::uint8_t> bytes, TagList& out) const { return ReadID3v2(bytes, out, options_); }

 private:
  ID3v2ReadOptions options_;
};
