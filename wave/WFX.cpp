#include "wave/WFX.h"

#include <algorithm>
#include <utility>

#include "io/ByteWriter.h"

namespace {
// The bytes of a 14- to 17-byte chunk: the head as far as the chunk fills it, cbSize 0.
std::vector<std::uint8_t> ShortChunkHead(ByteSpan chunk) {
  std::uint16_t tag = 0, channels = 0, blockAlign = 0, bits = 0;
  std::uint32_t rate = 0, bytesPerSec = 0;
  if (chunk.size() >= kFmtChunkMinSize) {
    ByteReader in(chunk);
    tag = in.U16();
    channels = in.U16();
    rate = in.U32();
    bytesPerSec = in.U32();
    blockAlign = in.U16();
    // Only the exact 14- and 16-byte forms get a bit depth; 15 and 17 bytes
    // leave it 0, as the converter has always done.
    if (chunk.size() == 16) {
      bits = in.U16();
    } else if (chunk.size() == 14) {
      bits = channels == 0 ? 16 : std::uint16_t(std::uint32_t(blockAlign) * 8 / channels);
    }
  }
  std::vector<std::uint8_t> head;
  ByteWriter out(head);
  out.U16(tag);
  out.U16(channels);
  out.U32(rate);
  out.U32(bytesPerSec);
  out.U16(blockAlign);
  out.U16(bits);
  out.U16(0);
  return head;
}
}  // namespace

WfxGuid SubFormatGuid(std::uint16_t formatTag) {
  std::vector<std::uint8_t> bytes;
  // Reserving up front also spares GCC 12 a false buffer-overflow warning.
  bytes.reserve(kWfxGuidSize);
  ByteWriter out(bytes);
  out.U32(formatTag);
  out.Bytes(kSubFormatGuidTail);
  WfxGuid guid{};
  std::copy(bytes.begin(), bytes.end(), guid.begin());
  return guid;
}

void WFX::SetFromChunk(std::span<std::uint8_t> bytes) {
  if (bytes.size() < kWfxHeadSize) {
    std::vector<std::uint8_t> head = ShortChunkHead(bytes);
    Assign(ByteSpan(head));
    return;
  }
  ByteReader in(bytes);
  in.Seek(kWfxCbSizeOffset);
  const std::uint16_t cbSize = in.U16();
  const std::size_t present = bytes.size() - kWfxHeadSize;
  if (cbSize > present) {
    // The clamp is written back into the chunk buffer on purpose: the engine
    // keeps that buffer, and it must agree with the header built from it.
    std::vector<std::uint8_t> field;
    ByteWriter(field).U16(std::uint16_t(present));
    std::copy(field.begin(), field.end(), bytes.begin() + kWfxCbSizeOffset);
  }
  Assign(ByteSpan(bytes));
}

void WFX::Assign(const WFX& other) {
  if (&other == this) return;
  Assign(other.bytes());
}

bool WFX::Assign(ByteSpan header) {
  if (header.data() == data()) return true;
  ByteReader in(header);
  in.Seek(kWfxCbSizeOffset);
  const std::uint16_t cbSize = in.U16();
  if (!in.ok() || cbSize > header.size() - kWfxHeadSize) return false;
  Store(std::vector<std::uint8_t>(header.begin(), header.begin() + kWfxHeadSize + cbSize));
  const std::uint16_t type = GetFormatType();
  if (type == kWaveFormatPcm || type == kWaveFormatIeeeFloat) RecomputeSizes();
  // Every later division by the byte rate or the alignment may then go ahead unguarded.
  if (AvgBytesPerSec() == 0) SetAvgBytesPerSec(1);
  if (BlockAlign() == 0) SetBlockAlign(1);
  return true;
}

std::uint16_t WFX::GetFormatType() const { return FormatTypeOf(bytes()); }

bool WFX::IsValidBitDepth() const {
  const std::uint16_t bits = BitsPerSample();
  switch (GetFormatType()) {
    case kWaveFormatPcm:
      return bits == 8 || bits == 16 || bits == 24 || bits == 32;
    case kWaveFormatIeeeFloat:
      return bits == 32 || bits == 64;
    default:
      return true;
  }
}

void WFX::SetBitsPerSample(std::uint16_t bits) {
  const std::uint16_t type = GetFormatType();
  if (IsExtensible() && (type == kWaveFormatPcm || type == kWaveFormatIeeeFloat) && bits != BitsPerSample()) {
    SetValidBitsPerSample(bits);
  }
  PutU16(kWfxBitsPerSampleOffset, bits);
  RecomputeSizes();
}

bool WFX::ExtensibleToPlain() {
  if (!IsExtensible()) return false;
  const std::uint16_t type = GetFormatType();
  if (type == kWaveFormatExtensible) return false;
  const ByteSpan current = bytes();
  std::vector<std::uint8_t> plain;
  plain.reserve(current.size());
  ByteWriter out(plain);
  out.U16(type);
  out.Bytes(current.subspan(kWfxChannelsOffset, kWfxCbSizeOffset - kWfxChannelsOffset));
  out.U16(std::uint16_t(CbSize() - kWfxExtensibleExtraSize));
  out.Bytes(current.subspan(kWfxExtensibleSize));
  Assign(ByteSpan(plain));
  return true;
}

bool WFX::IsExtensible() const { return FormatTag() == kWaveFormatExtensible && CbSize() >= kWfxExtensibleExtraSize; }

std::uint16_t WFX::ValidBitsPerSample() const {
  return CbSize() >= kWfxExtensibleExtraSize ? U16At(kWfxValidBitsOffset) : 0;
}

std::uint32_t WFX::ChannelMask() const {
  return CbSize() >= kWfxExtensibleExtraSize ? U32At(kWfxChannelMaskOffset) : 0;
}

WfxGuid WFX::SubFormat() const {
  WfxGuid guid{};
  if (CbSize() < kWfxExtensibleExtraSize) return guid;
  ByteReader in(bytes());
  in.Seek(kWfxSubFormatOffset);
  const ByteSpan field = in.Bytes(guid.size());
  std::copy(field.begin(), field.end(), guid.begin());
  return guid;
}

void WFX::SetCbSize(std::uint16_t cbSize) {
  std::vector<std::uint8_t> resized(kWfxHeadSize + cbSize, 0);
  const ByteSpan current = bytes();
  std::copy_n(current.begin(), std::min(current.size(), resized.size()), resized.begin());
  Store(std::move(resized));
  PutU16(kWfxCbSizeOffset, cbSize);
}

bool WFX::SetValidBitsPerSample(std::uint16_t bits) {
  if (CbSize() < kWfxExtensibleExtraSize) return false;
  PutU16(kWfxValidBitsOffset, bits);
  return true;
}

bool WFX::SetChannelMask(std::uint32_t mask) {
  if (CbSize() < kWfxExtensibleExtraSize) return false;
  PutU32(kWfxChannelMaskOffset, mask);
  return true;
}

bool WFX::SetSubFormat(const WfxGuid& guid) {
  if (CbSize() < kWfxExtensibleExtraSize) return false;
  PutBytes(kWfxSubFormatOffset, guid);
  return true;
}

void WFX::CopyTo(std::uint8_t (&format)[kWfxExtensibleSize]) const {
  std::copy_n(data(), IsExtensible() ? kWfxExtensibleSize : kWfxHeadSize, format);
}

void WFX::Store(std::vector<std::uint8_t>&& header) {
  if (header.size() == kWfxHeadSize) {
    std::copy(header.begin(), header.end(), inline_.begin());
    std::vector<std::uint8_t>().swap(heap_);
  } else {
    heap_ = std::move(header);
  }
}

void WFX::RecomputeSizes() {
  const auto blockAlign = std::uint16_t(std::uint32_t(BitsPerSample()) * Channels() / 8);
  SetBlockAlign(blockAlign);
  SetAvgBytesPerSec(std::uint32_t(std::uint64_t(blockAlign) * SamplesPerSec()));
}

std::uint16_t WFX::U16At(std::size_t offset) const {
  ByteReader in(bytes());
  in.Seek(offset);
  return in.U16();
}

std::uint32_t WFX::U32At(std::size_t offset) const {
  ByteReader in(bytes());
  in.Seek(offset);
  return in.U32();
}

void WFX::PutU16(std::size_t offset, std::uint16_t value) {
  std::vector<std::uint8_t> field;
  ByteWriter(field).U16(value);
  PutBytes(offset, field);
}

void WFX::PutU32(std::size_t offset, std::uint32_t value) {
  std::vector<std::uint8_t> field;
  ByteWriter(field).U32(value);
  PutBytes(offset, field);
}

void WFX::PutBytes(std::size_t offset, ByteSpan field) {
  if (offset > size() || field.size() > size() - offset) return;
  std::copy(field.begin(), field.end(), Storage() + offset);
}

WFX UncompressedFrom(const WFX& onFile) {
  WFX out;
  out.Assign(onFile);
  const std::uint16_t type = out.GetFormatType();
  if (type != kWaveFormatPcm && type != kWaveFormatIeeeFloat) {
    if (out.IsExtensible()) {
      out.SetSubFormat(SubFormatGuid(kWaveFormatPcm));
    } else {
      out.SetFormatTag(kWaveFormatPcm);
    }
    // Sub-byte codecs (4-bit ADPCM and the like) decode to 16-bit samples;
    // either way the sizes become those of the PCM delivered.
    const std::uint16_t bits = out.BitsPerSample();
    out.SetBitsPerSample(bits < 8 ? 16 : bits);
  }
  // The host gets the bare extensible block at most: codec extra bytes mean nothing in PCM.
  out.SetCbSize(out.IsExtensible() ? kWfxExtensibleExtraSize : 0);
  return out;
}
