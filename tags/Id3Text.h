// Text inside ID3v2 frames: the encoding byte that precedes it, strings ended
// by a zero of the encoding's width, and their conversion to UTF-8.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "io/ByteReader.h"

namespace id3parser {

enum class TextEncoding : std::uint8_t { Latin1 = 0, Utf16 = 1, Utf16BE = 2, Utf8 = 3 };

// Reads zero-terminated strings of one encoding from a frame body.
class TextReader {
 public:
  TextReader(ByteReader& reader, TextEncoding encoding) : reader_(reader), encoding_(encoding) {}

  // The next string as UTF-8; it ends at its terminator (which is consumed) or at the end of the body.
  std::string Next();
  // Every string up to the end of the body, empty ones included.
  std::vector<std::string> All();

 private:
  std::string NextUtf16();

  ByteReader& reader_;
  TextEncoding encoding_;
  // A UTF-16 string without a byte order mark follows the one before it;
  // little-endian before any mark, as Windows writers leave it out.
  bool littleEndian_ = true;
};

// Reads the encoding byte; false when it is missing or names no known encoding.
bool ReadEncoding(ByteReader& reader, TextEncoding& encoding);

}  // namespace id3parser
