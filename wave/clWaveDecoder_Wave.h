// The file engine: a seekable wave file, found through its chunk list.
#pragma once

#include <cstdint>
#include <string>

#include "WavePlugin.h"
#include "riff/WaveTagReader.h"
#include "riff/clRIFFHandler.h"
#include "tags/TagID3v2.h"
#include "wave/WaveEngine.h"

class clWaveDecoder_Wave : public WaveEngine {
 public:
  // `log` is where operations before the first Initialize (a seek with no file) report.
  explicit clWaveDecoder_Wave(const TraceContext& log = {});

  // Takes the handle (not owned), the log and the decode range, and scans the file.
  bool Initialize(FileHandle handle, const TraceContext& log, std::int64_t rangeStart, std::int64_t rangeEnd);
  // Finds 'fmt ', 'data' and 'fact' in the chunk list and builds the formats, once per open.
  bool PullOutFMTnDATA() override;
  // Fills the tag list and the summary text; TagBlock() is the flat block.
  // `id3Options` carries the host's TPE2/TIT1 overrides.
  bool ReadIDTags(std::u16string& summary, const ID3v2ReadOptions& id3Options) override;

  // Writes the host's flat tag block into a named file (no open needed): bext, then LIST and ID3v2.
  bool WriteIDTags(const char16_t* fileName, const std::uint8_t* tagData, std::int32_t tagBytes,
                   const TraceContext& log, const ID3v2ReadOptions& id3Options);
  // Writes, or deletes (named tags, or all), the tags of a named file: the
  // bext writer, then the LIST/INFO and ID3v2 writer, as one edit that leaves
  // the file as it was when it fails. `function` names the caller in the trace.
  bool EditTags(std::u16string_view fileName, const TagList& tags, bool deleteNamed, bool deleteAll,
                const TraceContext& log, const ID3v2ReadOptions& id3Options, const char* function);

  clRIFFHandler& riff() { return riff_; }

 protected:
  std::int64_t ReadSource(void* buffer, std::int64_t count) override { return riff_.Read(buffer, count); }
  bool SeekSource(std::int64_t position) override { return riff_.IsOpen() && riff_.Seek(position); }
  bool CheckDecodable(const TraceScope& scope) override;
  void DescribeSource(AudioPropertyInputs& in) override;
  void CloseSource() override { riff_.Reset(); }

 private:
  void ReadFactChunk(const TraceScope& scope);

  clRIFFHandler riff_;
  TagChunkInfo tagChunks_;
};
