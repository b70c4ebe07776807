// Public ABI of the wave codec plug-in: the records the host exchanges with
// the nine exported functions. Every record is packed; the offsets below are
// the contract with hosts built by other compilers.
#pragma once

#include <cstddef>
#include <cstdint>

#ifdef _WIN32
using WaveChar = wchar_t;  // UTF-16 on Windows
#define WAVE_EXPORT
#else
using WaveChar = char16_t;
#define WAVE_EXPORT __attribute__((visibility("default")))
#endif

static_assert(sizeof(WaveChar) == 2, "host text is UTF-16");

#pragma pack(push, 1)

// Three handles the host supplies for diagnostics: error copies, information
// copies, the full trace. On Windows they are HANDLE values, on POSIX file
// descriptors. 0 and all-ones are never written to.
struct TraceContext {
  std::uint64_t Error;
  std::uint64_t Information;
  std::uint64_t Trace;
};

enum OpenFlags : std::uint32_t {
  kOpenPrepareDecode = 1,
  kOpenExternalPackets = 2,
  kOpenAudioInfo = 4,
  kOpenReadTags = 8,
  kOpenProperties = 16,
};

struct OpenRecord {
  const WaveChar* FileName;
  std::uint32_t Flags;
  std::uint8_t Format[40];
  std::uint32_t BitRate;
  std::int64_t LengthMs;
  std::int64_t DataBytes;
  std::uint8_t Reserved[8];
  const std::uint8_t* TagData;
  std::uint32_t TagDataBytes;
  const std::uint8_t* PropData;
  std::uint32_t PropDataBytes;
};

struct AudioBlock {
  const std::uint8_t* Data;
  std::uint32_t DataBytes;
  std::uint8_t Format[40];
  std::uint32_t BitRate;
  std::int64_t DurationMs;
  std::uint8_t Reserved[16];
  std::int64_t PositionMs;
  std::uint32_t LastBlock;
};

struct GetRecord {
  std::int32_t Index;
  std::int32_t SubIndex;
  std::uint8_t Reserved[16];
  const WaveChar* Text1;
  const WaveChar* Text2;
  const WaveChar* Text3;
};

struct SetRecord {
  std::uint32_t Reserved0;
  std::int32_t Value;
  std::int64_t RangeStart;
  std::int64_t RangeEnd;
  const WaveChar* FileName;
  std::uint8_t Reserved1[16];
  const std::uint8_t* TagData;
};

#pragma pack(pop)

static_assert(sizeof(void*) == 8, "the ABI is 64-bit");
static_assert(sizeof(TraceContext) == 24);
static_assert(offsetof(TraceContext, Information) == 8);
static_assert(offsetof(TraceContext, Trace) == 16);

static_assert(sizeof(OpenRecord) == 104);
static_assert(offsetof(OpenRecord, FileName) == 0);
static_assert(offsetof(OpenRecord, Flags) == 8);
static_assert(offsetof(OpenRecord, Format) == 12);
static_assert(offsetof(OpenRecord, BitRate) == 52);
static_assert(offsetof(OpenRecord, LengthMs) == 56);
static_assert(offsetof(OpenRecord, DataBytes) == 64);
static_assert(offsetof(OpenRecord, Reserved) == 72);
static_assert(offsetof(OpenRecord, TagData) == 80);
static_assert(offsetof(OpenRecord, TagDataBytes) == 88);
static_assert(offsetof(OpenRecord, PropData) == 92);
static_assert(offsetof(OpenRecord, PropDataBytes) == 100);

static_assert(sizeof(AudioBlock) == 92);
static_assert(offsetof(AudioBlock, Data) == 0);
static_assert(offsetof(AudioBlock, DataBytes) == 8);
static_assert(offsetof(AudioBlock, Format) == 12);
static_assert(offsetof(AudioBlock, BitRate) == 52);
static_assert(offsetof(AudioBlock, DurationMs) == 56);
static_assert(offsetof(AudioBlock, Reserved) == 64);
static_assert(offsetof(AudioBlock, PositionMs) == 80);
static_assert(offsetof(AudioBlock, LastBlock) == 88);

static_assert(sizeof(GetRecord) == 48);
static_assert(offsetof(GetRecord, Index) == 0);
static_assert(offsetof(GetRecord, SubIndex) == 4);
static_assert(offsetof(GetRecord, Reserved) == 8);
static_assert(offsetof(GetRecord, Text1) == 24);
static_assert(offsetof(GetRecord, Text2) == 32);
static_assert(offsetof(GetRecord, Text3) == 40);

static_assert(sizeof(SetRecord) == 56);
static_assert(offsetof(SetRecord, Value) == 4);
static_assert(offsetof(SetRecord, RangeStart) == 8);
static_assert(offsetof(SetRecord, RangeEnd) == 16);
static_assert(offsetof(SetRecord, FileName) == 24);
static_assert(offsetof(SetRecord, Reserved1) == 32);
static_assert(offsetof(SetRecord, TagData) == 48);

extern "C" {
// Builds a decoder object; never fails and does no I/O.
WAVE_EXPORT void* Create(const TraceContext* context);
// Frees a decoder object; 1 also for a null handle.
WAVE_EXPORT int Destroy(void* decoder);
// Opens a file or HTTP(S) address as the record's flags ask.
WAVE_EXPORT int Open(void* decoder, OpenRecord* record);
// Releases the open file; always 1 for a valid handle.
WAVE_EXPORT int Close(void* decoder, std::int64_t argument);
// Fills the block with the next decoded audio.
WAVE_EXPORT int DecodeBlock(void* decoder, AudioBlock* block);
// Moves the decode position to a block of the stored format.
WAVE_EXPORT int SetPosition(void* decoder, std::int64_t block);
// Answers an information or option query.
WAVE_EXPORT int Get(void* decoder, const WaveChar* key, GetRecord* record);
// Sets an option, the decode range, or writes tags.
WAVE_EXPORT int Set(void* decoder, const WaveChar* key, SetRecord* record);
// Removes the named tags (names: zero-terminated strings, ended by an empty one).
WAVE_EXPORT int DeleteATag(void* decoder, const WaveChar* fileName, const WaveChar* names);
}

// Signatures as a host resolves them.
using WaveCreateFn = void* (*)(const TraceContext*);
using WaveDestroyFn = int (*)(void*);
using WaveOpenFn = int (*)(void*, OpenRecord*);
using WaveCloseFn = int (*)(void*, std::int64_t);
using WaveDecodeBlockFn = int (*)(void*, AudioBlock*);
using WaveSetPositionFn = int (*)(void*, std::int64_t);
using WaveGetFn = int (*)(void*, const WaveChar*, GetRecord*);
using WaveSetFn = int (*)(void*, const WaveChar*, SetRecord*);
using WaveDeleteATagFn = int (*)(void*, const WaveChar*, const WaveChar*);
