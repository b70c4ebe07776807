#include "riff/FormatChunk.h"

#include <algorithm>
#include <initializer_list>

#include "io/XFile.h"
#include "riff/clRIFFHandler.h"

namespace {
// The SubFormat tags the extensible form may stand for, in the order they are tried.
constexpr std::initializer_list<std::uint16_t> kKnownSubFormats = {
    kWaveFormatPcm, kWaveFormatIeeeFloat, kWaveFormatAlaw, kWaveFormatMulaw, kWaveFormatAdpcm, kWaveFormatMpeg};
}  // namespace

std::uint16_t FormatTypeOf(ByteSpan header) {
  ByteReader in(header);
  const std::uint16_t tag = in.U16();
  in.Seek(kWfxCbSizeOffset);
  const std::uint16_t cbSize = in.U16();
  if (tag != kWaveFormatExtensible || !in.ok() || cbSize < kWfxExtensibleExtraSize) return tag;
  in.Seek(kWfxSubFormatOffset);
  const std::uint32_t first = in.U32();
  const ByteSpan tail = in.Bytes(kSubFormatGuidTail.size());
  if (!in.ok() || !std::ranges::equal(tail, kSubFormatGuidTail)) return kWaveFormatExtensible;
  for (std::uint16_t known : kKnownSubFormats) {
    if (first == known) return known;
  }
  return kWaveFormatExtensible;
}

FmtRead ReadFormatChunk(XFile& file, const RIFFChunkInfo& chunk, std::vector<std::uint8_t>& out) {
  out.clear();
  if (chunk.DataSize < kFmtChunkMinSize || chunk.DataSize > kFmtChunkMaxSize) return FmtRead::BadSize;
  if (!file.Seek(std::int64_t(chunk.FileDataPosition))) return FmtRead::SeekFailed;
  out.assign(std::size_t(chunk.DataSize), 0);
  if (file.Read(out.data(), std::int64_t(out.size())) != std::int64_t(out.size())) {
    out.clear();
    return FmtRead::ReadFailed;
  }
  return FmtRead::Ok;
}
