// The nine exported functions. Each forwards to the decoder object; no
// exception may cross into the host, which only ever sees 1 or 0.
#include <new>

#include "WavePlugin.h"
#include "codec/clDecoder_Wave.h"

namespace {
clDecoder_Wave* Object(void* handle) { return static_cast<clDecoder_Wave*>(handle); }
const char16_t* Text(const WaveChar* text) { return reinterpret_cast<const char16_t*>(text); }

template <typename F>
int Guarded(void* handle, F&& call) {
  if (!handle) return 0;
  try {
    return call(*Object(handle));
  } catch (...) {
    return 0;
  }
}
}  // namespace

extern "C" {
WAVE_EXPORT void* Create(const TraceContext* context) { return new (std::nothrow) clDecoder_Wave(context); }

WAVE_EXPORT int Destroy(void* decoder) {
  delete Object(decoder);
  return 1;
}

WAVE_EXPORT int Open(void* decoder, OpenRecord* record) {
  return Guarded(decoder, [&](clDecoder_Wave& d) { return record ? d.Open(*record) : 0; });
}

WAVE_EXPORT int Close(void* decoder, std::int64_t argument) {
  return Guarded(decoder, [&](clDecoder_Wave& d) { return d.Close(argument); });
}

WAVE_EXPORT int DecodeBlock(void* decoder, AudioBlock* block) {
  return Guarded(decoder, [&](clDecoder_Wave& d) { return block ? d.DecodeBlock(*block) : 0; });
}

WAVE_EXPORT int SetPosition(void* decoder, std::int64_t block) {
  return Guarded(decoder, [&](clDecoder_Wave& d) { return d.SetPosition(block); });
}

WAVE_EXPORT int Get(void* decoder, const WaveChar* key, GetRecord* record) {
  return Guarded(decoder, [&](clDecoder_Wave& d) { return record ? d.Get(Text(key), *record) : 0; });
}

WAVE_EXPORT int Set(void* decoder, const WaveChar* key, SetRecord* record) {
  return Guarded(decoder, [&](clDecoder_Wave& d) { return record ? d.Set(Text(key), *record) : 0; });
}

WAVE_EXPORT int DeleteATag(void* decoder, const WaveChar* fileName, const WaveChar* names) {
  return Guarded(decoder, [&](clDecoder_Wave& d) { return d.DeleteATag(Text(fileName), Text(names)); });
}
}
