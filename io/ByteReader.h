// Bounds-checked cursor over a byte span: the one way every parser reads
// on-disk integers, identifiers and text. It never moves past the end; the
// first read that does not fit sets a sticky failure flag, and every later
// read yields zeros, so a record can be read whole and checked once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

using ByteSpan = std::span<const std::uint8_t>;

// A RIFF identifier as it lies in the file: first character in the low byte.
constexpr std::uint32_t MakeFourCC(std::string_view id) {
  return std::uint32_t(std::uint8_t(id[0])) | std::uint32_t(std::uint8_t(id[1])) << 8 |
         std::uint32_t(std::uint8_t(id[2])) << 16 | std::uint32_t(std::uint8_t(id[3])) << 24;
}

class ByteReader {
 public:
  explicit ByteReader(ByteSpan bytes) : bytes_(bytes) {}

  std::uint8_t U8() { return std::uint8_t(Little(1)); }
  std::uint16_t U16() { return std::uint16_t(Little(2)); }
  std::uint32_t U32() { return std::uint32_t(Little(4)); }
  std::uint64_t U64() { return Little(8); }
  std::uint16_t U16BE() { return std::uint16_t(Big(2)); }
  std::uint32_t U24BE() { return std::uint32_t(Big(3)); }
  std::uint32_t U32BE() { return std::uint32_t(Big(4)); }
  std::uint32_t FourCC() { return U32(); }

  // The next n bytes as a sub-span; empty (and failed) when they are not there.
  ByteSpan Bytes(std::size_t n) {
    if (!Fits(n)) return {};
    ByteSpan out = bytes_.subspan(pos_, n);
    pos_ += n;
    return out;
  }
  // Fixed-width text field: the bytes up to the first zero, at most n.
  std::string_view FixedText(std::size_t n) {
    ByteSpan field = Bytes(n);
    std::size_t len = 0;
    while (len < field.size() && field[len] != 0) ++len;
    return {reinterpret_cast<const char*>(field.data()), len};
  }
  bool Skip(std::size_t n) { return !Bytes(n).empty() || n == 0; }
  bool Seek(std::size_t pos) {
    if (pos > bytes_.size()) return failed_ = true, false;
    pos_ = pos;
    return true;
  }
  ByteSpan Rest() { return Bytes(remaining()); }

  bool ok() const { return !failed_; }
  std::size_t position() const { return pos_; }
  std::size_t remaining() const { return bytes_.size() - pos_; }
  std::size_t size() const { return bytes_.size(); }

 private:
  bool Fits(std::size_t n) {
    if (failed_ || n > bytes_.size() - pos_) {
      failed_ = true;
      return false;
    }
    return true;
  }
  std::uint64_t Little(std::size_t n) {
    if (!Fits(n)) return 0;
    std::uint64_t v = 0;
    for (std::size_t i = 0; i < n; ++i) v |= std::uint64_t(bytes_[pos_ + i]) << (8 * i);
    pos_ += n;
    return v;
  }
  std::uint64_t Big(std::size_t n) {
    if (!Fits(n)) return 0;
    std::uint64_t v = 0;
    for (std::size_t i = 0; i < n; ++i) v = v << 8 | bytes_[pos_ + i];
    pos_ += n;
    return v;
  }

  ByteSpan bytes_;
  std::size_t pos_ = 0;
  bool failed_ = false;
};
