// One built-in decoder as the engine drives it: a hostile 'fmt ' chunk
// (its format tag forced to one the decoder serves) becomes the header, the
// converter opens its codec stream, and the audio goes through in reads of a
// size the input chooses, the last one flushing. Whatever the reads, the
// output is that of a single read of everything; no conversion gives more
// than the stream's Size promised, and every output holds whole frames.
//
// Input: the chunk's size (16 bits), the chunk, the read size (16 bits, in whole blocks; 0 reads all at once), the
// audio.
#pragma once

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <vector>

#include "fuzz/FuzzSupport.h"
#include "wave/ACMDecoder.h"

namespace codec_fuzz {
// Converts through buffers of the exact sizes the converter gives, so that
// the sanitizer sees any access past them.
class CheckedStream final : public AcmStream {
 public:
  explicit CheckedStream(std::unique_ptr<AcmStream> inner) : inner_(std::move(inner)) {}
  bool Size(std::uint32_t sourceBytes, std::uint32_t& destinationBytes) override {
    return inner_->Size(sourceBytes, destinationBytes);
  }
  bool Convert(AcmConversion& c, unsigned flags) override {
    std::uint32_t promised = 0;
    Require(inner_->Size(c.sourceLength, promised));
    std::vector<std::uint8_t> source(c.source, c.source + c.sourceLength);
    std::vector<std::uint8_t> destination(c.destinationLength);
    AcmConversion exact = c;
    exact.source = source.data();
    exact.destination = destination.data();
    if (!inner_->Convert(exact, flags)) return false;
    Require(exact.sourceUsed <= c.sourceLength && exact.destinationUsed <= std::min(c.destinationLength, promised));
    std::copy_n(destination.begin(), exact.destinationUsed, c.destination);
    c.sourceUsed = exact.sourceUsed;
    c.destinationUsed = exact.destinationUsed;
    return true;
  }

 private:
  std::unique_ptr<AcmStream> inner_;
};

inline std::unique_ptr<AcmStream> OpenChecked(const WFX& source, const WFX& target) {
  auto stream = OpenAcmStream(source, target);
  return stream ? std::make_unique<CheckedStream>(std::move(stream)) : nullptr;
}

// Everything the converter gives for the audio read `step` bytes at a time
// into one reused buffer, as the engine reads; false when no stream opens.
inline bool Decode(const WFX& onFile, ByteSpan audio, std::size_t step, std::vector<std::uint8_t>& out) {
  ACMDecoder converter(OpenChecked);
  if (!converter.CreateNewConverter(onFile)) return false;
  AudioBuffer read;
  read.format.Assign(onFile);
  std::size_t at = 0;
  do {
    const std::size_t n = std::min(step, audio.size() - at);
    Require(read.Reserve(n));
    std::copy_n(audio.begin() + std::ptrdiff_t(at), n, read.writable());
    read.valid = n;
    at += n;
    Require(converter.Convert(read, at == audio.size()));
    const AudioBuffer& pcm = converter.Output();
    Require(pcm.valid % converter.OutputFormat().BlockAlign() == 0);
    out.insert(out.end(), pcm.data, pcm.data + pcm.valid);
  } while (at < audio.size());
  return true;
}

inline int Run(std::initializer_list<std::uint16_t> tags, ByteSpan input) {
  ByteReader in(input);
  const ByteSpan given = in.Bytes(std::min<std::size_t>(in.U16(), in.remaining()));
  const std::size_t step = in.U16();
  if (!in.ok() || given.size() < kFmtChunkMinSize) return 0;
  std::vector<std::uint8_t> chunk(given.begin(), given.end());
  const std::uint16_t tag = ByteReader(chunk).U16();
  if (tag != kWaveFormatExtensible && std::find(tags.begin(), tags.end(), tag) == tags.end()) {
    chunk[0] = std::uint8_t(*tags.begin());
    chunk[1] = std::uint8_t(*tags.begin() >> 8);
  }
  WFX onFile;
  onFile.SetFromChunk(chunk);
  if (onFile.Channels() == 0) return 0;  // the engine refuses such a file before decoding

  // The engine reads whole blocks of the stored format and never a trailing part-block (a format that
  // passes through unconverted hands its reads on as they are).
  const std::size_t align = std::max<std::size_t>(onFile.BlockAlign(), 1);
  ByteSpan audio = in.Rest();
  audio = audio.first(audio.size() - audio.size() % align);
  std::vector<std::uint8_t> pieces, whole;
  // At most 64 reads: each converter call costs header copies, which the engine pays once per 64 KiB.
  const std::size_t minStep = std::max<std::size_t>((audio.size() + 63) / 64, 1);
  std::size_t pieceSize = step == 0 ? audio.size() : std::max(step, minStep);
  pieceSize = std::max(align, pieceSize - pieceSize % align);
  if (!Decode(onFile, audio, pieceSize, pieces)) return 0;
  Require(Decode(onFile, audio, std::max<std::size_t>(audio.size(), 1), whole));
  Require(pieces == whole);
  return 0;
}
}  // namespace codec_fuzz
