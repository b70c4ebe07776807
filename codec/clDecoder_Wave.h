// The object behind the nine exports: the media source, the two engines, the
// decode range, the query results and the per-object options.
#pragma once

#include <cstdint>
#include <string>

#include "WavePlugin.h"
#include "io/XFile.h"
#include "wave/clWaveDecoder_Wave.h"

class clDecoder_Wave {
 public:
  explicit clDecoder_Wave(const TraceContext* context);

  int Open(OpenRecord& record);
  int Close(std::int64_t argument);
  int DecodeBlock(AudioBlock& block);
  int SetPosition(std::int64_t block);
  int Get(const char16_t* key, GetRecord& record);
  int Set(const char16_t* key, SetRecord& record);
  int DeleteATag(const char16_t* fileName, const char16_t* names);

  std::int64_t RangeStart() const { return rangeStart_; }
  std::int64_t RangeEnd() const { return rangeEnd_; }
  bool IgnoreRegistrySettings() const { return ignoreRegistrySettings_; }

 private:
  // Opens a local file, or refuses an HTTP(S) address (no network source in this build).
  bool OpenSource(std::u16string_view name);
  void CloseSource();
  // The host's zero-separated list of tag names; false when it does not end within the bound.
  static bool ReadNameList(const char16_t* names, TagList& out);

  // The media source.
  XFile file_;
  std::u16string name_;
  bool streaming_ = false;

  TraceContext context_{};
  clWaveDecoder_Wave fileEngine_;
  std::int64_t rangeStart_ = 0;
  std::int64_t rangeEnd_ = -1;
  std::u16string text_[3];  // what Get returned last, per result slot
  bool ignoreRegistrySettings_ = false;
  // The host's TPE2/TIT1 overrides, for reading and writing ID3v2.
  ID3v2ReadOptions id3Overrides_;
};

// Length of a zero-terminated host text; null counts as empty.
std::u16string_view HostText(const char16_t* text);
