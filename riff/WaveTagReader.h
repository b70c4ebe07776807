// Reading a wave file's tags: the ID3v2 chunk first, then LIST/INFO and bext
// in file order, merged so that the first source to carry a name wins; every
// other chunk is offered as a "_riff_" tag.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "WavePlugin.h"
#include "io/Limits.h"
#include "riff/clRIFFHandler.h"
#include "tags/TagID3v2.h"
#include "tags/TagList.h"

// Which chunks delivered tags, and where the tag chunks stand (-1: none).
struct TagChunkInfo {
  int listIndex = -1;  // the INFO list whose tags win
  int id3Index = -1;   // the first ID3v2 chunk that is not empty
  // Further INFO lists and ID3v2 chunks, as some programs append instead of
  // replacing, and empty ID3v2 chunks.
  std::vector<int> moreLists, moreId3;
  int bextIndex = -1;
  bool fromList = false, fromId3 = false, fromBext = false;
  std::uint16_t bextVersion = 0;
};

// Seeks to `position` and reads exactly `count` bytes into `buffer`.
bool ReadFileIntoMemory(std::vector<std::uint8_t>& buffer, std::uint64_t count, std::uint64_t position, XFile& file,
                        const TraceContext& log);
// A chunk as the tag reader sees it: its identifier and size, in file order.
struct ChunkRef {
  std::uint32_t id = 0;
  std::uint64_t size = 0;
};
// Gives the data of the chunk at an index of the list; false when it cannot be had.
using ChunkBytes = std::function<bool(std::size_t index, std::vector<std::uint8_t>& data)>;

// Fills `tags` from the ID3v2, LIST/INFO and bext chunks of a list, whatever holds their bytes.
bool ReadTagChunks(std::span<const ChunkRef> chunks, const ChunkBytes& bytes, TagList& tags, const TraceContext& log,
                   const ID3v2ReadOptions& id3Options, int albumOption, TagChunkInfo& info);
// The same for the chunks of a scanned file.
bool ReadTagChunks(clRIFFHandler& riff, TagList& tags, const TraceContext& log, const ID3v2ReadOptions& id3Options,
                   int albumOption, TagChunkInfo& info);
// Appends a "_riff_" binary tag for every chunk that is not a tag or bookkeeping chunk.
void AddRiffChunkTags(clRIFFHandler& riff, TagList& tags, const TraceContext& log, const TagChunkInfo& info);
// "LIST & ID3 & BEXT v1" from the sources that delivered tags.
std::u16string TagSummary(const TagChunkInfo& info);
bool HasReplayGainTags(const TagList& tags);
// Writes " ID Tags:" and one line per tag to the trace.
void LogTags(const TagList& tags, const TraceContext& log, const char* function);
