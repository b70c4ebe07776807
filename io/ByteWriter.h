// Appends little-endian (and, for ID3v2, big-endian) fields to a byte vector:
// the writing twin of ByteReader.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

class ByteWriter {
 public:
  explicit ByteWriter(std::vector<std::uint8_t>& out) : out_(out) {}

  void U8(std::uint8_t v) { out_.push_back(v); }
  void U16(std::uint16_t v) { Little(v, 2); }
  void U32(std::uint32_t v) { Little(v, 4); }
  void U64(std::uint64_t v) { Little(v, 8); }
  void U16BE(std::uint16_t v) { Big(v, 2); }
  void U24BE(std::uint32_t v) { Big(v, 3); }
  void U32BE(std::uint32_t v) { Big(v, 4); }
  void FourCC(std::uint32_t id) { U32(id); }
  void Bytes(std::span<const std::uint8_t> bytes) { out_.insert(out_.end(), bytes.begin(), bytes.end()); }
  void Text(std::string_view text) { out_.insert(out_.end(), text.begin(), text.end()); }
  void Zeros(std::size_t n) { out_.insert(out_.end(), n, std::uint8_t{0}); }
  // Overwrites a 32-bit little-endian field written earlier (a size known only later).
  void PatchU32(std::size_t at, std::uint32_t v) {
    for (std::size_t i = 0; i < 4; ++i) out_[at + i] = std::uint8_t(v >> (8 * i));
  }
  std::size_t size() const { return out_.size(); }

 private:
  void Little(std::uint64_t v, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) out_.push_back(std::uint8_t(v >> (8 * i)));
  }
  void Big(std::uint64_t v, std::size_t n) {
    for (std::size_t i = n; i-- > 0;) out_.push_back(std::uint8_t(v >> (8 * i)));
  }
  std::vector<std::uint8_t>& out_;
};
