// The wave format header in memory, in the WAVEFORMATEX / WAVEFORMATEXTENSIBLE
// layout: an 18-byte head plus cbSize extra bytes. Decoded from bytes only, so
// it can be tested and fuzzed without a file.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "io/ByteReader.h"
#include "riff/FormatChunk.h"

using WfxGuid = std::array<std::uint8_t, kWfxGuidSize>;

// The standard SubFormat GUID of a format tag.
WfxGuid SubFormatGuid(std::uint16_t formatTag);

class WFX {
 public:
  // An all-zero 18-byte header.
  WFX() = default;

  // Builds the header from a "fmt " chunk. A cbSize that claims more than the
  // chunk holds is lowered in the chunk bytes themselves; chunks under 18 bytes
  // fill the head as far as they go.
  void SetFromChunk(std::span<std::uint8_t> bytes);
  // Copies another header, then makes PCM/float sizes consistent and no rate or alignment zero.
  void Assign(const WFX& other);
  // The same from raw header bytes; false (nothing changed) when they hold fewer than 18 + cbSize bytes.
  bool Assign(ByteSpan header);

  // The format tag, or for the extensible form the tag its SubFormat stands for (0xFFFE when unknown).
  std::uint16_t GetFormatType() const;
  // Whether the container size is one the PCM (8/16/24/32) or float (32/64) path can deliver.
  bool IsValidBitDepth() const;
  // Sets the bits (and valid bits of extensible PCM/float) and recomputes block alignment and byte rate.
  void SetBitsPerSample(std::uint16_t bits);
  // Turns an extensible header with a known SubFormat into the plain form; false when it is not one.
  bool ExtensibleToPlain();
  // Tag 0xFFFE with room for the extensible block.
  bool IsExtensible() const;

  std::uint16_t FormatTag() const { return U16At(kWfxFormatTagOffset); }
  std::uint16_t Channels() const { return U16At(kWfxChannelsOffset); }
  std::uint32_t SamplesPerSec() const { return U32At(kWfxSamplesPerSecOffset); }
  std::uint32_t AvgBytesPerSec() const { return U32At(kWfxAvgBytesPerSecOffset); }
  std::uint16_t BlockAlign() const { return U16At(kWfxBlockAlignOffset); }
  std::uint16_t BitsPerSample() const { return U16At(kWfxBitsPerSampleOffset); }
  std::uint16_t CbSize() const { return U16At(kWfxCbSizeOffset); }
  // The extensible fields; 0 (or an all-zero GUID) when cbSize is below 22.
  std::uint16_t ValidBitsPerSample() const;
  std::uint32_t ChannelMask() const;
  WfxGuid SubFormat() const;

  void SetFormatTag(std::uint16_t tag) { PutU16(kWfxFormatTagOffset, tag); }
  void SetChannels(std::uint16_t channels) { PutU16(kWfxChannelsOffset, channels); }
  void SetSamplesPerSec(std::uint32_t rate) { PutU32(kWfxSamplesPerSecOffset, rate); }
  void SetAvgBytesPerSec(std::uint32_t bytesPerSec) { PutU32(kWfxAvgBytesPerSecOffset, bytesPerSec); }
  void SetBlockAlign(std::uint16_t blockAlign) { PutU16(kWfxBlockAlignOffset, blockAlign); }
  // Resizes the storage to 18 + cbSize: kept bytes stay, new ones are zero.
  void SetCbSize(std::uint16_t cbSize);
  // The extensible fields; false (nothing changed) when cbSize is below 22.
  bool SetValidBitsPerSample(std::uint16_t bits);
  bool SetChannelMask(std::uint32_t mask);
  bool SetSubFormat(const WfxGuid& guid);

  // The header bytes: 18 + cbSize of them.
  const std::uint8_t* data() const { return Storage(); }
  std::size_t size() const { return heap_.empty() ? inline_.size() : heap_.size(); }
  ByteSpan bytes() const { return {data(), size()}; }
  // The host's format field: 40 bytes when extensible, else the 18-byte head; the rest is left alone.
  void CopyTo(std::uint8_t (&format)[kWfxExtensibleSize]) const;

 private:
  std::uint8_t* Storage() { return heap_.empty() ? inline_.data() : heap_.data(); }
  const std::uint8_t* Storage() const { return heap_.empty() ? inline_.data() : heap_.data(); }
  std::uint16_t U16At(std::size_t offset) const;
  std::uint32_t U32At(std::size_t offset) const;
  void PutU16(std::size_t offset, std::uint16_t value);
  void PutU32(std::size_t offset, std::uint32_t value);
  void PutBytes(std::size_t offset, ByteSpan field);
  // Takes a whole header (18 + cbSize bytes) into the storage its size calls for.
  void Store(std::vector<std::uint8_t>&& header);
  // Block alignment and byte rate from bits, channels and rate.
  void RecomputeSizes();

  // A header without extra bytes lives inline; one with extra bytes in a heap
  // block of exactly 18 + cbSize bytes, and heap_ is then never empty.
  std::array<std::uint8_t, kWfxHeadSize> inline_{};
  std::vector<std::uint8_t> heap_;
};

// The header of the PCM (or float) that decoding the on-file format delivers:
// compressed formats become PCM of at least 8 bits, and no extra bytes beyond
// the extensible block are passed on.
WFX UncompressedFrom(const WFX& onFile);
