// The file engine: a seekable wave file's chunks, format, tags and audio.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "WavePlugin.h"
#include "riff/clRIFFHandler.h"

class clWaveDecoder_Wave {
 public:
  // Takes the handle (not owned), the log and the decode range, and scans the file.
  bool Initialize(FileHandle handle, const TraceContext& log, std::int64_t rangeStart, std::int64_t rangeEnd);
  // Fills the tag list and the summary text; TagData/TagDataBytes point at the flat block.
  bool ReadIDTags(std::u16string& summary);
  // Builds the property list as a flat tag block.
  bool FillAudioProps(bool ignoreRegistrySettings);
  // Format, bit rate, length and data size for the host.
  bool FillAudioInfo(OpenRecord& record);
  // Readies decoding; `format` receives the format the host will get.
  bool PrepareToDecodeAudio(std::uint8_t (&format)[40]);
  bool DecodeBlock(AudioBlock& block);
  bool SetPosition(std::uint64_t block);
  // Releases the file and any sub-decoder (`argument` goes to the sub-decoder's close).
  void Close(std::int64_t argument);

  const std::vector<std::uint8_t>& TagBlock() const { return tagBlock_; }
  const std::vector<std::uint8_t>& PropBlock() const { return propBlock_; }
  clRIFFHandler& riff() { return riff_; }

 private:
  TraceContext log_{};
  clRIFFHandler riff_;
  std::int64_t rangeStart_ = 0;
  std::int64_t rangeEnd_ = -1;
  std::vector<std::uint8_t> tagBlock_;
  std::vector<std::uint8_t> propBlock_;
};
