// Renders a tag list as one complete ID3v2 tag (header included), the
// writing half of the ID3v2 codec.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tags/Id3WriteText.h"
#include "tags/TagList.h"

// What the writer renders: the version, the text encoding chosen (a frame
// whose text does not fit ISO-8859-1 gets Unicode whatever the choice), the
// date-frame flags and the frame-name overrides shared with reading.
struct ID3v2WriteSettings {
  enum class Version { V22, V221, V23, V24 };
  Version version = Version::V23;
  id3parser::TextChoice text = id3parser::TextChoice::Ansi;
  bool fullDateInYear = false;  // the whole date in TYER/TORY instead of the year alone
  bool strictYearDate = false;  // only values in a date form go into the date frames
  bool tpe2Orchestra = false;   // "Orchestra" travels in TPE2
  bool tit1Style = false;       // "Style" travels in TIT1
};

// Option words, as the tag writer passes them:
// "ID3v2WriteV22", "ID3v2WriteV221", "ID3v2WriteV24" (version; default 2.3),
// "ID3v2EncodeUni", "ID3v2EncodeUTF8" (text encoding; default ANSI),
// "WriteFullDateInYearTag", "WriteStrictYearDate" (date frames),
// "TPE2Orchestra", "TIT1Style" (frame-name overrides, as on reading).
using ID3v2WriteOptions = std::vector<std::u16string>;

// The settings the option words stand for; words it does not know are ignored.
ID3v2WriteSettings ParseID3v2WriteOptions(const ID3v2WriteOptions& options);

// The tag's bytes; a list that yields no frame renders as 10 bytes or fewer.
// Throws id3parser::writeError ("ID3v2 write error") when it cannot be rendered.
std::vector<std::uint8_t> RenderID3v2(const TagList& tags, const ID3v2WriteSettings& settings);
// The same with the settings given as option words.
std::vector<std::uint8_t> RenderID3v2(const TagList& tags, const ID3v2WriteOptions& options);
