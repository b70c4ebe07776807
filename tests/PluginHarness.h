// The real plug-in, loaded once by path like a host does, and small helpers
// that drive it the way hosts do.
#pragma once

#include <string>
#include <vector>

#include "TraceCapture.h"
#include "WavBuilder.h"
#include "host/Plugin.h"
#include "host/TagBlock.h"

Plugin& LoadedPlugin();
inline const WaveChar* W(const std::u16string& s) { return reinterpret_cast<const WaveChar*>(s.c_str()); }
inline bool Contains(const std::u16string& text, const std::u16string& part) {
  return text.find(part) != std::u16string::npos;
}

struct Decoded {
  int openResult = 0;
  OpenRecord record{};
  Bytes audio;
  std::vector<std::uint32_t> blockSizes;
  std::vector<std::int64_t> positions, durations;
  std::uint8_t format[40]{};
  bool decodeFailed = false;
  int seekResult = 0;
  int calls = 0;  // DecodeBlock calls up to the last block
};

// Opens with the given flags and a decode range, seeks to block `seek` unless it is negative, then decodes to the
// last block.
Decoded DecodeFile(Plugin& p, const std::u16string& name, const TraceContext& context, std::int64_t rangeStart = 0,
                   std::int64_t rangeEnd = -1, std::uint32_t flags = kOpenPrepareDecode, std::int64_t seek = -1);
inline Decoded DecodeFile(const std::u16string& name, const TraceContext& context, std::int64_t rangeStart = 0,
                          std::int64_t rangeEnd = -1, std::uint32_t flags = kOpenPrepareDecode,
                          std::int64_t seek = -1) {
  return DecodeFile(LoadedPlugin(), name, context, rangeStart, rangeEnd, flags, seek);
}

// Hands the tags to the plug-in as a host's tag editor does, through Set "IDTags".
int WriteTags(void* decoder, const std::u16string& file, const std::vector<HostTag>& tags);
// The tags Open delivers for the file, read through a decoder of its own; `opened` gets Open's result.
std::vector<HostTag> ReadTags(const std::u16string& file, const TraceContext& context, int* opened = nullptr);
