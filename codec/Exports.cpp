#include "WavePlugin.h"

extern "C" {
WAVE_EXPORT void* Create(const TraceContext*) { return nullptr; }
WAVE_EXPORT int Destroy(void*) { return 1; }
WAVE_EXPORT int Open(void*, OpenRecord*) { return 0; }
WAVE_EXPORT int Close(void*, std::int64_t) { return 0; }
WAVE_EXPORT int DecodeBlock(void*, AudioBlock*) { return 0; }
WAVE_EXPORT int SetPosition(void*, std::int64_t) { return 0; }
WAVE_EXPORT int Get(void*, const WaveChar*, GetRecord*) { return 0; }
WAVE_EXPORT int Set(void*, const WaveChar*, SetRecord*) { return 0; }
WAVE_EXPORT int DeleteATag(void*, const WaveChar*, const WaveChar*) { return 0; }
}
