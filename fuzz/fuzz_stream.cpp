// Any bytes as a streamed wave file, on a stream that may or may not know its
// length and move: the forward walk, the tags, the audio information and
// properties, a decode to the end and a seek never read outside the input
// and always end.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>

#include "codec/Trace.h"
#include "riff/FormatChunk.h"
#include "wave/WaveStream.h"
#include "wave/clsStreamingwavedecoder_Wave.h"

namespace {
const TraceContext kNoTrace{0, 0, 0};
// Enough for every input libFuzzer makes here (64 KiB) to end, whatever its block size.
constexpr int kMaxBlocks = 70000;

void Require(bool condition) {
  if (!condition) std::abort();
}

// Every failed operation leaves the process-wide trace indentation deeper on purpose; over millions of inputs
// copying it would be all the target does. Exit markers bring it back (no input fails this many scopes).
void ForgetIndentation() {
  for (int i = 0; i < 64; ++i) Trace(kExitMarker, kNoTrace, nullptr, false);
}

// Decodes to the last block, which must come within the bound.
void DecodeToEnd(clsStreamingwavedecoder_Wave& engine) {
  for (int i = 0; i < kMaxBlocks; ++i) {
    AudioBlock block{};
    if (!engine.DecodeBlock(block) || block.LastBlock) return;
  }
  std::abort();
}
}  // namespace

// The first byte chooses the stream's knobs and the seek target; the rest is the stream.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  ForgetIndentation();
  const std::uint8_t knobs = data[0];
  const std::span<const std::uint8_t> bytes(data + 1, size - 1);
  MemoryWaveStream stream(bytes, (knobs & 1) != 0, (knobs & 2) != 0);
  clsStreamingwavedecoder_Wave engine(kNoTrace);
  Require(engine.Initialize(stream, kNoTrace, 0, -1));
  std::u16string summary;
  engine.ReadIDTags(summary, ID3v2ReadOptions{});
  OpenRecord record{};
  const bool described = engine.FillAudioInfo(record);
  engine.FillAudioProps(false);
  // The MPEG sub-decoder is a library of its own, loaded per open: not this target's subject.
  const std::uint16_t type = engine.OnFileFormat().GetFormatType();
  if (!described || type == kWaveFormatMpeg || type == kWaveFormatMpegLayer3) return 0;
  std::uint8_t format[40]{};
  if (engine.PrepareToDecodeAudio(format)) {
    DecodeToEnd(engine);
    if (engine.SetPosition(knobs >> 2)) DecodeToEnd(engine);
  }
  engine.Close(0);
  return 0;
}
