// The streaming engine: a wave file read strictly forward from a stream (an
// HTTP or HTTPS reply), walking its chunks as they arrive. Everything it
// shares with the file engine comes from WaveEngine; the tag chunks met
// before the audio are kept, so a streamed file shows the tags it would show
// on disk.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "WavePlugin.h"
#include "riff/WaveTagReader.h"
#include "tags/TagID3v2.h"
#include "wave/WaveEngine.h"
#include "wave/WaveStream.h"

class clsStreamingwavedecoder_Wave : public WaveEngine {
 public:
  explicit clsStreamingwavedecoder_Wave(const TraceContext& log = {});

  // Takes the stream (not owned), the log and the decode range; reads nothing yet.
  bool Initialize(WaveStream& stream, const TraceContext& log, std::int64_t rangeStart, std::int64_t rangeEnd);
  // Walks the chunks up to 'data', once per open: the stream is then where the audio starts.
  bool PullOutFMTnDATA() override;
  // The tags of the LIST/INFO, bext and ID3v2 chunks met before the audio.
  bool ReadIDTags(std::u16string& summary, const ID3v2ReadOptions& id3Options) override;

 protected:
  std::int64_t ReadSource(void* buffer, std::int64_t count) override;
  bool SeekSource(std::int64_t position) override { return stream_ && stream_->Seek(position); }
  bool StartSource(std::int64_t position) override;
  bool ShortReadEndsData() const override;
  void DescribeSource(AudioPropertyInputs& in) override;
  void CloseSource() override;

 private:
  enum class Step { Next, Done, Fail };
  bool ReadRiffHeader(const TraceScope& scope, std::uint64_t& riffSize);
  Step WalkChunk(const TraceScope& scope);
  bool ReadFormat(const TraceScope& scope, std::uint64_t size);
  Step StartData(const TraceScope& scope, std::uint64_t size);
  bool PassChunk(const TraceScope& scope, std::uint32_t id, std::uint64_t size);
  // Reads and drops count bytes; false when they do not all arrive.
  bool Skip(std::uint64_t count);
  // Lowers what is left of the RIFF body and of the stream, never below 0.
  void Consume(std::uint64_t amount);

  WaveStream* stream_ = nullptr;
  bool headerParsed_ = false;
  bool formatFound_ = false;
  bool walked_ = false;  // what the walk answered, for later calls: the stream cannot be walked twice
  std::uint64_t streamLeft_ = 0;
  std::uint64_t riffLeft_ = 0;
  bool unknownLength_ = false;
  std::optional<std::uint64_t> fmtSize_;
  // Every chunk met before the audio, and the bytes of those that carry tags.
  std::vector<ChunkRef> chunks_;
  std::map<std::size_t, std::vector<std::uint8_t>> kept_;
  TagChunkInfo tagChunks_;
};
