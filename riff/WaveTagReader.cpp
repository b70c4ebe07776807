#include "riff/WaveTagReader.h"

#include <new>

#include "codec/Trace.h"
#include "io/ByteWriter.h"
#include "io/Text.h"
#include "riff/clRIFFBEXTChunk.h"
#include "riff/clRIFFLISTChunk.h"
#include "tags/Id3Errors.h"

namespace {
constexpr const char* kReadFile = "clWaveDecoder_Wave::ReadFileIntoMemory";
constexpr const char* kReadTags = "clWaveDecoder_Wave::ReadIDTags";

// The first source to carry a name wins, also against a second value of the same source.
void MergeFirstWins(TagList& into, TagList& from) { into.TakeEntries(std::move(from), true); }

bool IsId3Chunk(std::uint32_t id) { return id == MakeFourCC("ID3 ") || id == MakeFourCC("id3 "); }

bool ReadChunk(clRIFFHandler& riff, const RIFFChunkInfo& chunk, std::vector<std::uint8_t>& buffer,
               const TraceContext& log) {
  return ReadFileIntoMemory(buffer, chunk.DataSize, chunk.FileDataPosition, riff, log);
}
}  // namespace

bool ReadFileIntoMemory(std::vector<std::uint8_t>& buffer, std::uint64_t count, std::uint64_t position, XFile& file,
                        const TraceContext& log) {
  if (count > kMaxTagChunkBytes) {
    TraceError(u"Error chunk of " + ToTextU(count) + u" bytes is too large to read into memory (limit " +
                   ToTextU(kMaxTagChunkBytes) + u").",
               log, kReadFile);
    return false;
  }
  if (!file.Seek(std::int64_t(position))) {
    TraceError(u"Error SetPosition returned false.", log, kReadFile);
    return false;
  }
  try {
    buffer.resize(std::size_t(count));
  } catch (const std::bad_alloc&) {
    TraceError(u"Error allocating " + ToTextU(count) + u" bytes.", log, kReadFile);
    return false;
  }
  if (file.Read(buffer.data(), std::int64_t(count)) != std::int64_t(count)) {
    TraceError(u"Error cannot read chunk from file.", log, kReadFile);
    return false;
  }
  return true;
}

bool ReadTagChunks(std::span<const ChunkRef> chunks, const ChunkBytes& bytes, TagList& tags, const TraceContext& log,
                   const ID3v2ReadOptions& id3Options, int albumOption, TagChunkInfo& info) {
  tags.Clear();
  info = TagChunkInfo{};
  std::vector<std::uint8_t> buffer;

  // ID3v2 wins over LIST and bext wherever it stands.
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    const ChunkRef& chunk = chunks[i];
    if (!IsId3Chunk(chunk.id)) continue;
    // An empty chunk holds no tags, but other readers take the first ID3v2
    // chunk they meet, empty or not: it is one chunk too many for a writer.
    if (chunk.size == 0) {
      info.moreId3.push_back(int(i));
      continue;
    }
    (info.id3Index < 0 ? info.id3Index : info.moreId3.emplace_back()) = int(i);
    if (!bytes(i, buffer)) continue;
    TagList found;
    try {
      const std::int64_t size = ReadID3v2(std::move(buffer), found, id3Options);
      // A tag that claims more than its chunk holds is not trusted at all.
      if (size > std::int64_t(chunk.size)) {
        TraceInformation(u"ID3v2 tag of " + ToText(size) + u" bytes does not fit its chunk of " + ToTextU(chunk.size) +
                             u" bytes; its tags are ignored.",
                         log, kReadTags);
        continue;
      }
    } catch (const std::exception& e) {
      TraceError(u"Error reading ID3v2 tag: " + Widen(e.what()), log, kReadTags);
      continue;
    }
    if (!found.empty()) info.fromId3 = true;
    MergeFirstWins(tags, found);
  }

  // LIST and bext: the one that stands first in the file wins between them.
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    const ChunkRef& chunk = chunks[i];
    if (chunk.size == 0) continue;
    const bool isList = FourCCMatches(chunk.id, "LIST", true);
    const bool isBext = FourCCMatches(chunk.id, "bext", true);
    if ((!isList && !isBext) || !bytes(i, buffer)) continue;
    TagList found;
    if (isList) {
      if (!clRIFFLISTChunk::IsInfoList(buffer)) continue;  // 'adtl' and other lists are not tags
      clRIFFLISTChunk list;
      list.InitFrom(buffer, found, log, albumOption);  // a partial decode keeps what came before the damage
      (info.listIndex < 0 ? info.listIndex : info.moreLists.emplace_back()) = int(i);
      if (!found.empty()) info.fromList = true;
    } else {
      if (info.bextIndex < 0) info.bextIndex = int(i);
      clRIFFBEXTChunk bext;
      if (!bext.InitFrom(buffer, found, log)) continue;
      if (!info.fromBext) info.bextVersion = clRIFFBEXTChunk::Version(buffer).value_or(0);
      info.fromBext = true;
    }
    MergeFirstWins(tags, found);
  }
  return true;
}

bool ReadTagChunks(clRIFFHandler& riff, TagList& tags, const TraceContext& log, const ID3v2ReadOptions& id3Options,
                   int albumOption, TagChunkInfo& info) {
  std::vector<ChunkRef> chunks;
  chunks.reserve(riff.ChunkCount());
  for (std::size_t i = 0; i < riff.ChunkCount(); ++i) chunks.push_back({riff.Chunk(i).ChunkID, riff.Chunk(i).DataSize});
  const ChunkBytes bytes = [&](std::size_t index, std::vector<std::uint8_t>& data) {
    return ReadChunk(riff, riff.Chunk(index), data, log);
  };
  return ReadTagChunks(chunks, bytes, tags, log, id3Options, albumOption, info);
}

void AddRiffChunkTags(clRIFFHandler& riff, TagList& tags, const TraceContext& log, const TagChunkInfo& info) {
  std::vector<std::uint8_t> buffer;
  for (std::size_t i = 0; i < riff.ChunkCount(); ++i) {
    const RIFFChunkInfo chunk = riff.Chunk(i);
    const std::uint32_t id = chunk.ChunkID;
    if (FourCCMatches(id, "ds64", true) || FourCCMatches(id, "fact", true) || FourCCMatches(id, "junk", true) ||
        FourCCMatches(id, "PAD ", true) || FourCCMatches(id, "bext", true) || FourCCMatches(id, "id3 ", true) ||
        int(i) == info.listIndex)
      continue;
    std::vector<std::uint8_t> value;
    ByteWriter(value).FourCC(id);
    // 'fmt ' and 'data' only mark where they stood in the chunk order.
    if (!FourCCMatches(id, "fmt ", false) && !FourCCMatches(id, "data", false)) {
      if (!ReadChunk(riff, chunk, buffer, log)) continue;
      value.insert(value.end(), buffer.begin(), buffer.end());
    }
    tags.AddTag(u"_riff_" + FourCCToText(id), u"", value);
  }
}

std::u16string TagSummary(const TagChunkInfo& info) {
  std::u16string summary;
  auto add = [&](std::u16string_view part) {
    if (!summary.empty()) summary += u" & ";
    summary += part;
  };
  if (info.fromList) add(u"LIST");
  if (info.fromId3) add(u"ID3");
  if (info.fromBext) add(u"BEXT v" + ToTextU(info.bextVersion));
  return summary;
}

bool HasReplayGainTags(const TagList& tags) {
  for (const char16_t* name :
       {u"replaygain_track_gain", u"replaygain_track_peak", u"replaygain_album_gain", u"replaygain_album_peak"})
    if (tags.FindTag(name)) return true;
  return false;
}

void LogTags(const TagList& tags, const TraceContext& log, const char* function) {
  Trace(u" ID Tags:", log, function, true);
  // The tag lines go to the trace handle alone. Without one they would still
  // take the process-wide lock once per tag: a file can hold a hundred
  // thousand, and under Wine each lock is a call to the server.
  if (!HasTraceHandle(log)) return;
  for (std::size_t i = 0; i < tags.size(); ++i) {
    const TagEntry& tag = tags[i];
    std::u16string line = tag.name + u": ";
    if (!tag.data.empty()) {
      line += u"DATA Length: " + ToTextU(tag.data.size());
    } else {
      for (char16_t c : tag.value)
        if (c >= 32 && c <= 126) line.push_back(c);
    }
    Trace(line, log, nullptr, true);
  }
}
