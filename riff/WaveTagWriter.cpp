#include "riff/WaveTagWriter.h"

#include <algorithm>
#include <exception>
#include <vector>

#include "codec/Trace.h"
#include "io/ByteWriter.h"
#include "io/Text.h"
#include "riff/TagSettings.h"
#include "riff/WaveTagReader.h"
#include "riff/clRIFFBEXTChunk.h"
#include "riff/clRIFFHandler.h"
#include "riff/clRIFFLISTChunk.h"

namespace {
constexpr const char* kIDTagWriter = "clWaveDecoder_Wave::IDTagWriter";
constexpr const char* kBEXTWriter = "clWaveDecoder_Wave::BEXTWriter";

// An ID3v2 rendering of no more than its header holds no frame.
constexpr std::size_t kEmptyId3Size = 10;

bool OpenForWrite(clRIFFHandler& riff, std::u16string_view path, const TraceContext& log, const char* function) {
  Trace(u"Opening file '", log, function, false);
  Trace(path, log, function, false);
  Trace(u"' for write access:", log, function, false);
  if (!riff.OpenUpdateMedia(path)) {
    TraceError(XFile::OpenErrorText(path, riff.LastError()), log, function);
    return false;
  }
  Trace(u"Opened", log, nullptr, true);
  return riff.Initialize(riff.handle(), log) && riff.CanEdit(function);
}

std::vector<std::uint8_t> MakeChunk(std::uint32_t id, std::span<const std::uint8_t> payload) {
  std::vector<std::uint8_t> chunk;
  chunk.reserve(clRIFFHandler::kChunkHeaderSize + payload.size());
  ByteWriter w(chunk);
  w.FourCC(id);
  w.U32(std::uint32_t(payload.size()));
  w.Bytes(payload);
  return chunk;
}

// A chunk that would be written back unchanged is left alone: the file is not touched at all.
bool Unchanged(clRIFFHandler& riff, const RIFFChunkInfo& record, std::span<const std::uint8_t> chunk,
               const TraceContext& log) {
  if (riff.Rewriting() || record.DataSize + clRIFFHandler::kChunkHeaderSize != chunk.size()) return false;
  ByteReader r(chunk);
  if (r.FourCC() != record.ChunkID) return false;
  std::vector<std::uint8_t> old;
  if (!ReadFileIntoMemory(old, record.DataSize, record.FileDataPosition, riff, log)) return false;
  return std::equal(old.begin(), old.end(), chunk.begin() + clRIFFHandler::kChunkHeaderSize);
}

// Tags that are not the host's to put into LIST or ID3v2: other chunks carried
// as "_riff_" tags (the file's own chunks stay where they are), the version
// note, and the bext fields, which have their own chunk.
void DropUnwritable(TagList& tags, const TraceContext& log) {
  tags.RemoveTagsIf([](const TagEntry& tag) {
    return StartsWithFolded(tag.name, u"_riff_") || EqualsFolded(tag.name, u"TagVersion");
  });
  clRIFFBEXTChunk::RemoveTagsFromList(tags, log);
}

// With "WaveLISTPos" 1 a new LIST goes before the audio, into padding between
// 'fmt ' and 'data' when there is some.
int ListInsertIndex(clRIFFHandler& riff, const TagWriteSettings& settings) {
  const int dataIndex = riff.FindDataChunkIndex();
  if (!settings.listBeforeData || dataIndex < 0) return int(riff.ChunkCount());
  const int fmtIndex = riff.FindChunkIndex("fmt ");
  for (int i = fmtIndex + 1; fmtIndex >= 0 && i < dataIndex; ++i) {
    const std::uint32_t id = riff.Chunk(std::size_t(i)).ChunkID;
    if (FourCCMatches(id, "JUNK", true) || FourCCMatches(id, "PAD ", true)) return i;
  }
  return dataIndex;
}

bool WriteList(clRIFFHandler& riff, const TagList& tags, const RIFFChunkInfo* list, const TagWriteSettings& settings,
               const TraceContext& log) {
  std::vector<std::uint8_t> payload;
  if (!clRIFFLISTChunk::TagsToLIST(payload, tags, log, settings.trackOption, settings.albumOption)) return false;
  // No tag maps to INFO: an existing list would only hold nothing, so it goes.
  if (payload.empty()) return !list || riff.RemoveChunk(riff.IndexOf(list), settings.padding);
  const std::vector<std::uint8_t> chunk = MakeChunk(MakeFourCC("LIST"), payload);
  if (list) {
    if (Unchanged(riff, *list, chunk, log)) return true;
    return riff.ReplaceChunk(riff.IndexOf(list), chunk, settings.padding, settings.paddingSize);
  }
  return riff.InsertChunk(ListInsertIndex(riff, settings), chunk, settings.padding, settings.paddingSize);
}

bool WriteId3(clRIFFHandler& riff, const TagList& tags, const RIFFChunkInfo* id3, const TagWriteSettings& settings,
              const TraceContext& log) {
  std::vector<std::uint8_t> rendering;
  try {
    rendering = RenderID3v2(tags, settings.id3);
  } catch (const std::exception& e) {
    TraceError(u"Error writing ID3v2 tag: " + Widen(e.what()), log, kIDTagWriter);
    return false;
  }
  if (rendering.size() <= kEmptyId3Size) return !id3 || riff.RemoveChunk(riff.IndexOf(id3), settings.padding);
  const std::vector<std::uint8_t> chunk = MakeChunk(MakeFourCC("id3 "), rendering);
  if (id3) {
    if (Unchanged(riff, *id3, chunk, log)) return true;
    return riff.ReplaceChunk(riff.IndexOf(id3), chunk, settings.padding, settings.paddingSize);
  }
  return riff.InsertChunk(-1, chunk, settings.padding, settings.paddingSize);
}

bool HasBextField(const TagList& tags) {
  for (std::size_t i = 0; i < tags.size(); ++i)
    if (clRIFFBEXTChunk::IsBextTagName(tags[i].name) && !tags[i].value.empty()) return true;
  return false;
}

// What the edit needs of the file's tag chunks, read before it writes anything.
// Records keep their address while others come and go; indexes do not.
struct FileTagChunks {
  TagList tags;
  const RIFFChunkInfo* list = nullptr;
  const RIFFChunkInfo* id3 = nullptr;
  // Some programs append a second INFO list or ID3v2 chunk instead of replacing
  // the first, and some leave an empty ID3v2 chunk: they go.
  std::vector<const RIFFChunkInfo*> extra;
};

FileTagChunks ReadFileTagChunks(clRIFFHandler& riff, const TagWriteSettings& settings, const TraceContext& log,
                                const ID3v2ReadOptions& id3Options) {
  FileTagChunks out;
  TagChunkInfo info;
  ReadTagChunks(riff, out.tags, log, id3Options, settings.albumOption, info);
  if (info.listIndex >= 0) out.list = &riff.Chunk(std::size_t(info.listIndex));
  if (info.id3Index >= 0) out.id3 = &riff.Chunk(std::size_t(info.id3Index));
  for (const std::vector<int>* indexes : {&info.moreLists, &info.moreId3})
    for (const int index : *indexes) out.extra.push_back(&riff.Chunk(std::size_t(index)));
  return out;
}

// The extra chunks' tags took part in the reading, and other programs would
// show their stale values (or, for an empty ID3v2 chunk read first, nothing).
// In place: padding never moves the audio.
bool RemoveDuplicates(clRIFFHandler& riff, const FileTagChunks& file, const TagWriteSettings& settings) {
  const PaddingType padding = settings.padding == PaddingType::None ? PaddingType::Junk : settings.padding;
  for (const RIFFChunkInfo* chunk : file.extra)
    if (!riff.RemoveChunk(riff.IndexOf(chunk), padding)) return false;
  return true;
}

bool WriteListAndId3(clRIFFHandler& riff, const TagList& given, TagWriteMode mode, const FileTagChunks& file,
                     const TagWriteSettings& settings, const TraceContext& log) {
  TraceScope scope(log, kIDTagWriter);
  const RIFFChunkInfo* list = file.list;
  const RIFFChunkInfo* id3 = file.id3;
  bool ok = RemoveDuplicates(riff, file, settings);
  if (ok && mode.deleteAll) {
    if (list) ok = riff.RemoveChunk(riff.IndexOf(list), settings.padding);
    if (ok && id3) ok = riff.RemoveChunk(riff.IndexOf(id3), settings.padding);
    return ok && scope.Ok();
  }

  TagList tags = CompleteTags(given, file.tags, mode.deleteNamed);
  DropUnwritable(tags, log);
  const bool writeList = list || settings.creation == 0 || settings.creation == 1;
  // INFO has no place for replay gain: such tags always get an ID3v2 chunk.
  const bool writeId3 = id3 || settings.creation == 0 || settings.creation == 3 || HasReplayGainTags(tags);
  if (ok && writeList) ok = WriteList(riff, tags, list, settings, log);
  if (ok && writeId3) ok = WriteId3(riff, tags, id3, settings, log);
  return ok && scope.Ok();
}

bool WriteBext(clRIFFHandler& riff, const TagList& given, TagWriteMode mode, const TagWriteSettings& settings,
               const TraceContext& log) {
  TraceScope scope(log, kBEXTWriter);
  const int index = riff.FindChunkIndex("bext");
  const bool creating = index < 0;
  // A file without bext gets one only when the host gives it something to hold.
  if (creating && (mode.deleteAll || mode.deleteNamed || !HasBextField(given))) return scope.Ok();

  std::vector<std::uint8_t> old;
  TagList fileTags;
  if (!creating) {
    const RIFFChunkInfo& record = riff.Chunk(std::size_t(index));
    if (!ReadFileIntoMemory(old, record.DataSize, record.FileDataPosition, riff, log)) return false;
    clRIFFBEXTChunk().InitFrom(old, fileTags, log);
  }
  TagList tags;
  if (!mode.deleteAll) tags = CompleteTags(given, std::move(fileTags), mode.deleteNamed);
  std::vector<std::uint8_t> payload;
  if (!clRIFFBEXTChunk::TagsToBEXT(payload, tags, log)) return false;
  // Version, UMID and loudness are no tags: a rewritten chunk keeps them as they were.
  if (old.size() >= clRIFFBEXTChunk::kFixedSize && payload.size() >= clRIFFBEXTChunk::kFixedSize)
    std::copy(old.begin() + clRIFFBEXTChunk::kVersionOffset, old.begin() + clRIFFBEXTChunk::kReservedOffset,
              payload.begin() + clRIFFBEXTChunk::kVersionOffset);

  const std::vector<std::uint8_t> chunk = MakeChunk(MakeFourCC("bext"), payload);
  bool ok = true;
  if (creating)
    ok = riff.InsertChunk(-1, chunk, settings.padding, settings.paddingSize);
  else if (!Unchanged(riff, riff.Chunk(std::size_t(index)), chunk, log))
    ok = riff.ReplaceChunk(index, chunk, settings.padding, settings.paddingSize);
  return ok && scope.Ok();
}
}  // namespace

TagList CompleteTags(const TagList& given, TagList fromFile, bool deleteNamed) {
  TagList out;
  if (deleteNamed) {
    fromFile.RemoveTagsNamedIn(given, true);
  } else {
    out = given;
  }
  out.TakeEntries(std::move(fromFile), true, true);
  return out;
}

TagWriteSettings TagWriteSettings::Read(const ID3v2ReadOptions& overrides) {
  TagWriteSettings s;
  s.creation = ReadTagSetting(u"WaveTagDefault");
  s.listBeforeData = ReadTagSetting(u"WaveLISTPos") == 1;
  s.albumOption = int(ReadTagSetting(u"WaveLISTAlbum"));
  s.trackOption = int(ReadTagSetting(u"WaveLISTTrack"));
  // Only the three choices the option page offers mean anything; any other value is the default.
  const std::uint32_t padding = ReadTagSetting(u"WaveLISTPadding");
  s.padding = padding == 1 ? PaddingType::Pad : padding == 2 ? PaddingType::None : PaddingType::Junk;
  s.paddingSize = PaddingSizeFromSetting(ReadTagSetting(u"WaveLISTPaddingSize"));
  const std::uint32_t version = ReadTagSetting(u"WaveID3v2Version");
  if (version == 1) s.id3.version = ID3v2WriteSettings::Version::V22;
  if (version == 2) s.id3.version = ID3v2WriteSettings::Version::V221;
  if (ReadTagSetting(u"WaveID3v2UnicodeEncode") != 0) s.id3.text = id3parser::TextChoice::Utf16;
  s.id3.tpe2Orchestra = overrides.tpe2Orchestra;
  s.id3.tit1Style = overrides.tit1Style;
  return s;
}

bool EditWaveTags(std::u16string_view path, const TagList& given, TagWriteMode mode, const TraceContext& log,
                  const ID3v2ReadOptions& id3Options, const char* function) {
  // A tag edit may make a file outgrow 4 GiB; it becomes RF64 rather than fail.
  clRIFFHandler riff(true);
  EditTransaction edit(riff);
  if (!OpenForWrite(riff, path, log, function)) return false;
  const TagWriteSettings settings = TagWriteSettings::Read(id3Options);
  const FileTagChunks file = ReadFileTagChunks(riff, settings, log, id3Options);
  return WriteBext(riff, given, mode, settings, log) && WriteListAndId3(riff, given, mode, file, settings, log) &&
         edit.Commit();
}
