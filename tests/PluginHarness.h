// The real plug-in, loaded once by path like a host does, and small helpers
// that drive it the way hosts do.
#pragma once

#include <string>
#include <vector>

#include "TraceCapture.h"
#include "WavBuilder.h"
#include "host/Plugin.h"

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
  std::vector<std::int64_t> positions;
  std::uint8_t format[40]{};
  bool decodeFailed = false;
};

// Opens with the given flags and a decode range, then decodes to the last block.
Decoded DecodeFile(const std::u16string& name, const TraceContext& context, std::int64_t rangeStart = 0,
                   std::int64_t rangeEnd = -1, std::uint32_t flags = kOpenPrepareDecode);
