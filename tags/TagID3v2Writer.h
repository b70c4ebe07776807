// Renders a tag list as one complete ID3v2 tag (header included), the
// writing half of the ID3v2 codec.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tags/TagList.h"

// Option words, as the tag writer passes them:
// "ID3v2WriteV22", "ID3v2WriteV221", "ID3v2WriteV24" (version; default 2.3),
// "ID3v2EncodeUni", "ID3v2EncodeUTF8" (text encoding; default ANSI),
// "WriteFullDateInYearTag", "WriteStrictYearDate" (date frames),
// "TPE2Orchestra", "TIT1Style" (frame-name overrides, as on reading).
using ID3v2WriteOptions = std::vector<std::u16string>;

// The tag's bytes; a list that yields no frame renders as 10 bytes or fewer.
// Throws id3parser::writeError ("ID3v2 write error") when it cannot be rendered.
std::vector<std::uint8_t> RenderID3v2(const TagList& tags, const ID3v2WriteOptions& options);
