// The sibling plug-in: the nine exports, decoding MPEG audio packets that a
// caller pushes through DecodeBlock after opening with the external-packet
// flag. Opening a file by name is not offered.
#include <algorithm>
#include <vector>

#include "WavePlugin.h"
#include "io/ByteWriter.h"
#include "sibling/MpegDecoder.h"

namespace {
constexpr std::uint16_t kPcmTag = 1;
constexpr std::uint16_t kPcmBits = 16;

struct Mp3Instance {
  std::unique_ptr<MpegDecoder> decoder;
  std::vector<std::uint8_t> output;
};

// The 18-byte format head of 16-bit PCM.
void PutPcmFormat(std::uint8_t (&format)[40], PcmFormat pcm) {
  std::vector<std::uint8_t> head;
  ByteWriter out(head);
  const auto blockAlign = std::uint16_t(pcm.channels * kPcmBits / 8);
  out.U16(kPcmTag);
  out.U16(pcm.channels);
  out.U32(pcm.rate);
  out.U32(pcm.rate * blockAlign);
  out.U16(blockAlign);
  out.U16(kPcmBits);
  out.U16(0);
  std::fill(std::begin(format), std::end(format), std::uint8_t{0});
  std::copy(head.begin(), head.end(), format);
}

Mp3Instance* From(void* decoder) { return static_cast<Mp3Instance*>(decoder); }
}  // namespace

extern "C" {
void* Create(const TraceContext*) { return new Mp3Instance; }

int Destroy(void* decoder) {
  delete From(decoder);
  return 1;
}

int Open(void* decoder, OpenRecord* record) {
  if (!decoder || !record || !(record->Flags & kOpenExternalPackets)) return 0;
  From(decoder)->decoder = MakeMpegDecoder();
  return From(decoder)->decoder != nullptr;
}

int Close(void* decoder, std::int64_t) {
  if (!decoder) return 0;
  From(decoder)->decoder.reset();
  From(decoder)->output.clear();
  return 1;
}

int DecodeBlock(void* decoder, AudioBlock* block) {
  if (!decoder || !block || !From(decoder)->decoder) return 0;
  Mp3Instance& self = *From(decoder);
  self.output.clear();
  if (!self.decoder->Decode(block->Data, block->DataBytes, block->LastBlock != 0, self.output)) return 0;
  if (self.output.size() > 0xFFFFFFFFu) return 0;
  const PcmFormat pcm = self.decoder->Format();
  block->Data = self.output.empty() ? nullptr : self.output.data();
  block->DataBytes = std::uint32_t(self.output.size());
  if (pcm.rate && pcm.channels) {
    PutPcmFormat(block->Format, pcm);
    block->DurationMs = std::int64_t(block->DataBytes) * 1000 / (std::int64_t(pcm.rate) * pcm.channels * 2);
  }
  return 1;
}

// Packets carry no positions: the caller seeks in its own file and feeds on.
int SetPosition(void* decoder, std::int64_t) { return decoder != nullptr; }
int Get(void*, const WaveChar*, GetRecord*) { return 0; }
int Set(void*, const WaveChar*, SetRecord*) { return 0; }
int DeleteATag(void*, const WaveChar*, const WaveChar*) { return 0; }
}
