// Any bytes as a 'fmt ' chunk: the header built from it never divides by
// zero, agrees with the chunk on its extra bytes, and always becomes PCM or
// float when decoded; every text and the property list can be made from it.
//
// Input: a control byte (low nibble: chunk records; high bits: which tags the
// file has), the records (FourCC, size), the 'fact' count, the decode length,
// a bit depth to set, then the chunk.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz/FuzzSupport.h"
#include "io/ByteWriter.h"
#include "riff/clRIFFHandler.h"
#include "wave/AudioProperties.h"
#include "wave/AudioText.h"
#include "wave/WFX.h"

namespace {
void CheckHeader(const WFX& wfx) {
  Require(wfx.size() == kWfxHeadSize + wfx.CbSize());
  Require(wfx.BlockAlign() != 0 && wfx.AvgBytesPerSec() != 0);
}

TagList FileTags(std::uint8_t control) {
  TagList tags;
  if (control & 0x10) tags.AddTag(u"_albumart_1_Front Album Cover<subdesc>x", u"", std::vector<std::uint8_t>(9, 1));
  if (control & 0x20) tags.AddTag(u"_cdtoc", u"", std::vector<std::uint8_t>(4, 0));
  if (control & 0x40) tags.AddTag(u"replaygain_album_gain", u"-6.5 dB");
  return tags;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ByteReader in(std::span<const std::uint8_t>(data, size));
  const std::uint8_t control = in.U8();
  clRIFFHandler riff;
  for (int i = 0; i < (control & 0x0F); ++i) {
    const std::uint32_t id = in.FourCC();
    const std::uint32_t chunkSize = in.U32();
    std::vector<std::uint8_t> header;
    ByteWriter(header).FourCC(id);
    ByteWriter(header).U32(0);
    // No file is open: the write fails once the record is in the list, which is all that is wanted.
    riff.WriteThisCompleteChunk(-1, header, true);
    riff.Chunk(riff.ChunkCount() - 1).DataSize = chunkSize;
  }
  const std::uint32_t factSamples = in.U32();
  const auto decodeBytes = std::int64_t(in.U64());
  const std::uint16_t bits = in.U16();
  if (!in.ok()) return 0;
  const ByteSpan rest = in.Rest();
  std::vector<std::uint8_t> chunk(rest.begin(), rest.end());

  WFX onFile;
  onFile.SetFromChunk(chunk);
  CheckHeader(onFile);
  if (chunk.size() >= kWfxHeadSize) {
    ByteReader field(chunk);
    field.Seek(kWfxCbSizeOffset);
    Require(field.U16() == onFile.CbSize());
  }
  ByteReader original(rest);
  original.Seek(kWfxCbSizeOffset);
  const std::uint16_t cbSize = original.U16();
  const bool whole = original.ok() && cbSize <= rest.size() - kWfxHeadSize;
  WFX raw;
  Require(raw.Assign(rest) == whole);
  if (whole) CheckHeader(raw);

  const WFX pcm = UncompressedFrom(onFile);
  const std::uint16_t type = pcm.GetFormatType();
  Require(type == kWaveFormatPcm || type == kWaveFormatIeeeFloat);
  Require(pcm.size() == (pcm.IsExtensible() ? kWfxExtensibleSize : kWfxHeadSize));
  const std::uint16_t stored = onFile.GetFormatType();
  if (stored != kWaveFormatPcm && stored != kWaveFormatIeeeFloat) Require(pcm.BitsPerSample() >= 8);

  WFX plain;
  plain.Assign(onFile);
  if (plain.ExtensibleToPlain()) {
    Require(plain.FormatTag() != kWaveFormatExtensible && plain.GetFormatType() == onFile.GetFormatType());
    Require(plain.size() == onFile.size() - kWfxExtensibleExtraSize);
    CheckHeader(plain);
  }
  plain.SetBitsPerSample(bits);
  Require(plain.BitsPerSample() == bits);
  onFile.IsValidBitDepth();
  std::uint8_t format[kWfxExtensibleSize] = {};
  onFile.CopyTo(format);

  Require(!QualityName(onFile).empty() && !WfxText(onFile).empty() && !FormatTagName(onFile).empty());
  ChannelLayoutText(onFile);
  const TagList tags = FileTags(control);
  AudioPropertyInputs inputs;
  inputs.onFile = &onFile;
  inputs.uncompressed = &pcm;
  inputs.decodeBytes = decodeBytes;
  inputs.factSamples = factSamples;
  if (control & 0x40) inputs.fmtChunkSize = chunk.size();
  inputs.chunks = &riff;
  inputs.tags = &tags;
  if (control & 0x80) inputs.tagSummary = u"LIST & ID3";
  const TagList props = BuildAudioProperties(inputs, kNoTrace);
  const std::vector<std::uint8_t> block = props.ToBlock();
  TagList reread;
  reread.FromBlock(block);
  Require(reread.size() == props.size() && reread.ToBlock() == block);
  return 0;
}
