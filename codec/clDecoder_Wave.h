// The object behind the nine exports: the media source, the two engines, the
// decode range, the query results and the per-object options.
#pragma once

#include <cstdint>
#include <string>

#include "WavePlugin.h"
#include "codec/NetWaveStream.h"
#include "io/XFile.h"
#include "net/NetStream.h"
#include "wave/clWaveDecoder_Wave.h"
#include "wave/clsStreamingwavedecoder_Wave.h"

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
  // Opens a local file, or an HTTP(S) address as a stream, which selects the streaming engine.
  bool OpenSource(std::u16string_view name);
  void CloseSource();
  // The engine the source selected.
  WaveEngine& Engine();
  // The stream's reply, traced when it could not be opened.
  std::u16string SourceError() const;
  // The host's zero-separated list of tag names; false when it does not end within the bound.
  static bool ReadNameList(const char16_t* names, TagList& out);

  // The media source: a local file, or a network stream with its time-out and user agent.
  XFile file_;
  std::u16string name_;
  NetStream stream_;
  NetWaveStream streamReader_{stream_};
  std::int32_t timeoutSeconds_ = 0;
  std::u16string userAgent_ = u"Quaverlane";
  std::u16string contentType_;
  bool streaming_ = false;

  TraceContext context_{};
  clWaveDecoder_Wave fileEngine_;
  clsStreamingwavedecoder_Wave streamEngine_;
  std::int64_t rangeStart_ = 0;
  std::int64_t rangeEnd_ = -1;
  std::u16string text_[3];  // what Get returned last, per result slot
  bool ignoreRegistrySettings_ = false;
  // The host's TPE2/TIT1 overrides, for reading and writing ID3v2.
  ID3v2ReadOptions id3Overrides_;
};

// Length of a zero-terminated host text; null counts as empty.
std::u16string_view HostText(const char16_t* text);
