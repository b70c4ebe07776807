// Deliberately faulty siblings for the tests, one per build definition:
// SIBLING_NO_DELETEATAG lacks an export, SIBLING_SILENT_PACKETS=n answers the
// first n packets with nothing and then hands back every byte received so far
// as 16-bit stereo PCM, SIBLING_NEVER_OUTPUT answers nothing at all.
#include <algorithm>
#include <vector>

#include "WavePlugin.h"

namespace {
#ifndef SIBLING_SILENT_PACKETS
#define SIBLING_SILENT_PACKETS 0
#endif
constexpr int kSilentPackets = SIBLING_SILENT_PACKETS;
// 16-bit stereo, 44100 Hz.
constexpr std::uint8_t kEchoFormat[18] = {1, 0, 2, 0, 0x44, 0xAC, 0, 0, 0x10, 0xB1, 0x02, 0, 4, 0, 16, 0, 0, 0};

struct FakeInstance {
  int packets = 0;
  std::vector<std::uint8_t> held;
  std::vector<std::uint8_t> output;
};
FakeInstance* From(void* decoder) { return static_cast<FakeInstance*>(decoder); }
}  // namespace

extern "C" {
void* Create(const TraceContext*) { return new FakeInstance; }
int Destroy(void* decoder) {
  delete From(decoder);
  return 1;
}
int Open(void* decoder, OpenRecord* record) { return decoder && record && (record->Flags & kOpenExternalPackets); }
int Close(void* decoder, std::int64_t) { return decoder != nullptr; }
int DecodeBlock(void* decoder, AudioBlock* block) {
  FakeInstance& self = *From(decoder);
  self.held.insert(self.held.end(), block->Data, block->Data + block->DataBytes);
  ++self.packets;
  block->Data = nullptr;
  block->DataBytes = 0;
#ifndef SIBLING_NEVER_OUTPUT
  if (self.packets > kSilentPackets || block->LastBlock) {
    self.output.swap(self.held);
    self.held.clear();
    block->Data = self.output.data();
    block->DataBytes = std::uint32_t(self.output.size());
    std::copy(std::begin(kEchoFormat), std::end(kEchoFormat), block->Format);
  }
#endif
  return 1;
}
int SetPosition(void* decoder, std::int64_t) { return decoder != nullptr; }
int Get(void*, const WaveChar*, GetRecord*) { return 0; }
int Set(void*, const WaveChar*, SetRecord*) { return 0; }
#ifndef SIBLING_NO_DELETEATAG
int DeleteATag(void*, const WaveChar*, const WaveChar*) { return 0; }
#endif
}
