// Writing a wave file's tags: the Broadcast Wave 'bext' chunk, then the
// LIST/INFO and ID3v2 chunks, placed through the chunk list of
// clRIFFHandler so that the audio stays where it is, as one edit that either
// happens whole or leaves the file as it was. The tagging settings are read
// at every write.
#pragma once

#include <string_view>

#include "WavePlugin.h"
#include "riff/clRIFFHandler.h"
#include "tags/TagID3v2.h"
#include "tags/TagID3v2Writer.h"
#include "tags/TagList.h"

// What a writer does with the given tags: write them over the file's (both
// flags clear), drop the file's tags that they name, or drop every tag.
struct TagWriteMode {
  bool deleteNamed = false;
  bool deleteAll = false;
};

// The tagging settings one write works with, read once at its start.
struct TagWriteSettings {
  std::uint32_t creation = 0;   // chunks for a file without tags: 0 LIST and ID3v2, 1 LIST, 2 none, 3 ID3v2
  bool listBeforeData = false;  // a new LIST goes before the audio instead of at the end
  int albumOption = 0;          // 0: 'IPRD' holds the album, otherwise 'ISRC'
  int trackOption = 0;          // 0 'ITRK', 1 'TRCK', otherwise 'itrk'
  PaddingType padding = PaddingType::Junk;
  std::uint32_t paddingSize = 2048;
  ID3v2WriteSettings id3;  // version, encoding and the decoder's TPE2/TIT1 overrides

  // The user's settings as they are stored now, with the decoder's overrides.
  static TagWriteSettings Read(const ID3v2ReadOptions& overrides);
};

// One edit of a named file's tags: the 'bext' chunk (rewritten when the file
// has one, its version, UMID and loudness kept; created only when the given
// tags carry a bext field), then the LIST/INFO and ID3v2 chunks by the tagging
// settings, committed together. A file that cannot be edited is refused
// before anything is written (traced under `function`), and an edit that
// fails leaves the file as it was.
bool EditWaveTags(std::u16string_view path, const TagList& tags, TagWriteMode mode, const TraceContext& log,
                  const ID3v2ReadOptions& id3Options, const char* function);
// The tags to write: the given ones completed with the file's (or, deleting,
// the file's less the named ones); pictures match by name without description.
TagList CompleteTags(const TagList& given, TagList fromFile, bool deleteNamed);
