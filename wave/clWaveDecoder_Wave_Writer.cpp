// The file engine's tag writing: the host's entry points onto the tag writers.
#include "codec/Trace.h"
#include "riff/WaveTagWriter.h"
#include "wave/clWaveDecoder_Wave.h"

bool clWaveDecoder_Wave::WriteIDTags(const char16_t* fileName, const std::uint8_t* tagData, std::int32_t tagBytes,
                                     const TraceContext& log, const ID3v2ReadOptions& id3Options) {
  TraceScope scope(log, "clWaveDecoder_Wave::WriteIDTags");
  // A negative count cannot describe a block: it is refused like a missing one.
  if (!fileName || !tagData || tagBytes <= 0) return false;
  TagList tags;
  tags.FromBlock(std::span(tagData, std::size_t(tagBytes)));
  if (tags.empty()) return true;
  if (!EditTags(fileName, tags, false, false, log, id3Options, scope.function())) return false;
  return scope.Ok();
}

bool clWaveDecoder_Wave::EditTags(std::u16string_view fileName, const TagList& tags, bool deleteNamed, bool deleteAll,
                                  const TraceContext& log, const ID3v2ReadOptions& id3Options, const char* function) {
  return EditWaveTags(fileName, tags, {deleteNamed, deleteAll}, log, id3Options, function);
}
