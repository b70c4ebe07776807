// The file engine: a seekable wave file's chunks, format, tags and audio.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "WavePlugin.h"
#include "riff/WaveTagReader.h"
#include "riff/clRIFFHandler.h"
#include "tags/TagList.h"
#include "wave/ACMDecoder.h"
#include "wave/AudioBuffer.h"
#include "wave/WFX.h"
#include "wave/clQvDecoder.h"

class clWaveDecoder_Wave {
 public:
  // Reads are whole blocks of at most this many bytes.
  static constexpr std::uint32_t kMaxRead = 65536;

  // `log` is where operations before the first Initialize (a seek with no file) report.
  explicit clWaveDecoder_Wave(const TraceContext& log = {}) : log_(log) {}

  // Takes the handle (not owned), the log and the decode range, and scans the file.
  bool Initialize(FileHandle handle, const TraceContext& log, std::int64_t rangeStart, std::int64_t rangeEnd);
  // Finds 'fmt ', 'data' and 'fact' and builds the on-file and uncompressed formats, once per open.
  bool PullOutFMTnDATA();
  // Fills the tag list and the summary text; TagBlock() is the flat block.
  // `id3Options` carries the host's TPE2/TIT1 overrides.
  bool ReadIDTags(std::u16string& summary, const ID3v2ReadOptions& id3Options);
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
  // Releases the file and any sub-decoder (`argument` goes to the sub-decoder's close).
  void Close(std::int64_t argument);
  // Creates and opens the MPEG sub-decoder and feeds it until it reports its output format.
  bool InitializeExternalDecoder();
  // Feeds the sub-decoder packets until it produces output or the data ends.
  bool ExternalDecodeData();

  // Writes the host's flat tag block into a named file (no open needed): bext, then LIST and ID3v2.
  bool WriteIDTags(const char16_t* fileName, const std::uint8_t* tagData, std::int32_t tagBytes,
                   const TraceContext& log, const ID3v2ReadOptions& id3Options);
  // Writes, or deletes (named tags, or all), the LIST/INFO and ID3v2 chunks of a named file.
  bool IDTagWriter(std::u16string_view fileName, const TagList& tags, bool deleteNamed, bool deleteAll,
                   const TraceContext& log, const ID3v2ReadOptions& id3Options);
  // The same for the 'bext' chunk.
  bool BEXTWriter(std::u16string_view fileName, const TagList& tags, bool deleteNamed, bool deleteAll,
                  const TraceContext& log);

  const TagList& Tags() const { return tags_; }
  const std::u16string& TagSummaryText() const { return summary_; }
  const std::vector<std::uint8_t>& TagBlock() const { return tagBlock_; }
  const std::vector<std::uint8_t>& PropBlock() const { return propBlock_; }
  clRIFFHandler& riff() { return riff_; }
  const WFX& OnFileFormat() const { return onFile_; }
  const WFX& UncompressedFormat() const { return uncompressed_; }
  std::uint32_t FactSampleCount() const { return factSamples_; }

  struct ByteRange {
    std::int64_t start, end, length;
  };
  // The decode range in absolute file positions, whole blocks only.
  ByteRange DecodeRange() const;

 private:
  std::int64_t BlockAlign() const { return onFile_.BlockAlign() ? onFile_.BlockAlign() : 1; }

  TraceContext log_{};
  clRIFFHandler riff_;
  std::uint64_t rangeStart_ = 0;
  std::uint64_t rangeEnd_ = ~std::uint64_t{0};

  WFX onFile_;
  WFX uncompressed_;
  std::int64_t dataStart_ = 0;
  std::int64_t dataEnd_ = 0;
  std::uint32_t factSamples_ = 0;
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

  TagList tags_;
  TagChunkInfo tagChunks_;
  std::u16string summary_;
  std::vector<std::uint8_t> tagBlock_;
  std::vector<std::uint8_t> propBlock_;
};
