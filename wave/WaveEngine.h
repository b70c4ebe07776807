// What the file engine and the streaming engine share: the on-file and
// uncompressed formats, the decode range, the decode pipeline (the converter,
// or the MPEG sub-decoder), the audio information and the property text. Each
// engine supplies where its bytes come from, how it finds the format, and the
// names it traces under.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "WavePlugin.h"
#include "tags/TagID3v2.h"
#include "tags/TagList.h"
#include "wave/ACMDecoder.h"
#include "wave/AudioBuffer.h"
#include "wave/WFX.h"
#include "wave/clQvDecoder.h"

class TraceScope;
struct AudioPropertyInputs;

class WaveEngine {
 public:
  // Reads are whole blocks of at most this many bytes.
  static constexpr std::uint32_t kMaxRead = 65536;

  // The qualified names an engine's operations are traced under.
  struct Names {
    const char* initialize;
    const char* pull;
    const char* readTags;
    const char* fillProps;
    const char* fillInfo;
    const char* prepare;
    const char* read;
    const char* decode;
    const char* seek;
    const char* close;
    const char* initExternal;
    const char* externalDecode;
  };

  WaveEngine(const Names& names, const TraceContext& log) : names_(names), log_(log) {}
  virtual ~WaveEngine() = default;
  WaveEngine(const WaveEngine&) = delete;
  WaveEngine& operator=(const WaveEngine&) = delete;

  // Finds the format and the audio and builds the on-file and uncompressed formats, once per open.
  virtual bool PullOutFMTnDATA() = 0;
  // Fills the tag list and the summary text; TagBlock() is the flat block.
  // `id3Options` carries the host's TPE2/TIT1 overrides.
  virtual bool ReadIDTags(std::u16string& summary, const ID3v2ReadOptions& id3Options) = 0;
  // Builds the property list as a flat tag block.
  bool FillAudioProps(bool ignoreRegistrySettings);
  // Format, bit rate, length and data size for the host.
  bool FillAudioInfo(OpenRecord& record);
  // Readies decoding; `format` receives the format the host will get.
  bool PrepareToDecodeAudio(std::uint8_t (&format)[40]);
  // Reads the next whole blocks of the decode range into the input buffer.
  bool ReadDataBlock();
  bool DecodeBlock(AudioBlock& block);
  // Moves to a block counted from the start of the decode range.
  bool SetPosition(std::uint64_t block);
  // Releases the source and any sub-decoder (`argument` goes to the sub-decoder's close).
  void Close(std::int64_t argument);
  // Creates and opens the MPEG sub-decoder and feeds it until it reports its output format.
  bool InitializeExternalDecoder();
  // Feeds the sub-decoder packets until it produces output or the data ends.
  bool ExternalDecodeData();

  const TagList& Tags() const { return tags_; }
  const std::u16string& TagSummaryText() const { return summary_; }
  const std::vector<std::uint8_t>& TagBlock() const { return tagBlock_; }
  const std::vector<std::uint8_t>& PropBlock() const { return propBlock_; }
  const WFX& OnFileFormat() const { return onFile_; }
  const WFX& UncompressedFormat() const { return uncompressed_; }
  std::uint32_t FactSampleCount() const { return factSamples_; }

  struct ByteRange {
    std::int64_t start, end, length;
  };
  // The decode range in absolute source positions, whole blocks only.
  ByteRange DecodeRange() const;

 protected:
  // Reads up to count bytes at the source's position; fewer at its end or on failure.
  virtual std::int64_t ReadSource(void* buffer, std::int64_t count) = 0;
  // Moves the source to an absolute position; false when there is no source or it cannot move.
  virtual bool SeekSource(std::int64_t position) = 0;
  // Brings the source to the start of the decode range before decoding; a seek unless the engine knows better.
  virtual bool StartSource(std::int64_t position) { return SeekSource(position); }
  // Refuses a format the engine cannot decode (the file engine checks channels and bit depth).
  virtual bool CheckDecodable(const TraceScope&) { return true; }
  // True when a short read is the end of audio of unknown length rather than damage.
  virtual bool ShortReadEndsData() const { return false; }
  // What only the engine knows of the property text: the 'fmt ' chunk's size, the chunk map.
  virtual void DescribeSource(AudioPropertyInputs& in) = 0;
  // Releases what the engine itself holds of the source.
  virtual void CloseSource() = 0;

  // Forgets the previous open: the format, the positions, the buffers and the blocks.
  void Restart(const TraceContext& log, std::int64_t rangeStart, std::int64_t rangeEnd);
  // The on-file and uncompressed formats from the bytes of a 'fmt ' chunk, which are kept.
  void AssignFormat(std::vector<std::uint8_t>&& fmt);
  bool HasFormat() const { return !fmtBuffer_.empty(); }
  // The flat blocks of the tag list and summary, after they were read.
  void PublishTags();
  // Forgets the tags of the last read and finds the format and data chunks; false when they cannot be found.
  bool BeginTagRead(std::u16string& summary);

  const Names& names_;
  TraceContext log_{};
  std::uint64_t rangeStart_ = 0;
  std::uint64_t rangeEnd_ = ~std::uint64_t{0};

  WFX onFile_;
  WFX uncompressed_;
  std::int64_t dataStart_ = 0;
  std::int64_t dataEnd_ = 0;
  std::uint32_t factSamples_ = 0;

  TagList tags_;
  std::u16string summary_;
  std::vector<std::uint8_t> tagBlock_;
  std::vector<std::uint8_t> propBlock_;

 private:
  std::int64_t BlockAlign() const { return onFile_.BlockAlign() ? onFile_.BlockAlign() : 1; }
  bool LoadSubDecoder(const TraceScope& scope);
  bool CreateConverter(const TraceScope& scope);

  std::vector<std::uint8_t> fmtBuffer_;
  std::int64_t readPosition_ = 0;
  std::int64_t bytesRemaining_ = 0;
  AudioBuffer input_;
  ACMDecoder converter_;

  // MPEG payloads go to the sibling plug-in; what it produced ahead waits here.
  clQvDecoder subDecoder_;
  bool external_ = false;
  const std::uint8_t* pendingData_ = nullptr;
  std::uint32_t pendingBytes_ = 0;
};
