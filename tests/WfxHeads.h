// Format headers as "fmt " chunks hold them, built field by field for tests.
#pragma once

#include <cstdint>
#include <vector>

#include "WavBuilder.h"
#include "io/ByteWriter.h"
#include "wave/WFX.h"

struct Head {
  std::uint16_t tag;
  std::uint16_t channels;
  std::uint32_t rate;
  std::uint32_t bytesPerSec;
  std::uint16_t blockAlign;
  std::uint16_t bits;
};

// A plain header: the head, cbSize (whatever `extra` holds), then `extra`.
inline std::vector<std::uint8_t> Plain(const Head& h, std::uint16_t cbSize,
                                       const std::vector<std::uint8_t>& extra = {}) {
  std::vector<std::uint8_t> bytes = FormatEx(h.tag, h.channels, h.rate, h.bytesPerSec, h.blockAlign, h.bits, extra);
  bytes[kWfxCbSizeOffset] = std::uint8_t(cbSize), bytes[kWfxCbSizeOffset + 1] = std::uint8_t(cbSize >> 8);
  return bytes;
}

// An extensible header (tag 0xFFFE) whose SubFormat is the standard GUID of `subTag`.
inline std::vector<std::uint8_t> Extensible(Head h, std::uint16_t validBits, std::uint32_t mask, std::uint16_t subTag,
                                            const std::vector<std::uint8_t>& more = {}) {
  std::vector<std::uint8_t> extra;
  ByteWriter out(extra);
  out.U16(validBits);
  out.U32(mask);
  out.Bytes(SubFormatGuid(subTag));
  out.Bytes(more);
  h.tag = kWaveFormatExtensible;
  return Plain(h, std::uint16_t(extra.size()), extra);
}
