// The ID3v2 tag header, the optional extended header behind it, and the
// body that holds the frames.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "io/ByteReader.h"

namespace id3parser {

constexpr std::size_t kTagHeaderSize = 10;
constexpr std::size_t kTagFooterSize = 10;

struct TagHeader {
  int major = 0;  // 2, 3 or 4
  int revision = 0;
  bool unsync = false;      // 2.2/2.3: the whole body; 2.4: every frame
  bool extended = false;    // 2.3/2.4: an extended header opens the body
  bool compressed = false;  // 2.2 only: a body nobody can decode
  bool footer = false;      // 2.4 only
  std::int64_t bodySize = 0;

  // Header, body and footer as the header declares them.
  std::int64_t TotalSize() const;
};

// A value stored seven bits per byte, high bits clear.
constexpr bool IsSynchsafe(std::uint32_t raw) { return (raw & 0x80808080u) == 0; }
constexpr std::uint32_t FromSynchsafe(std::uint32_t raw) {
  return (raw & 0x7Fu) | (raw >> 1 & 0x3F80u) | (raw >> 2 & 0x1FC000u) | (raw >> 3 & 0xFE00000u);
}

// Decodes the 10-byte header at the start of bytes; throws parseError when it
// is missing, not synchsafe or of a major version other than 2, 3 and 4.
TagHeader ReadTagHeader(ByteSpan bytes);

// Bytes read in place, or from a buffer of their own where unsynchronisation
// had to be undone. A move keeps the view valid (a vector's move keeps its
// buffer); a copy would not, so there is none. A tag's picture is most of its
// bytes, and it is not copied for nothing.
class HeldBytes {
 public:
  explicit HeldBytes(ByteSpan view) : view_(view) {}
  explicit HeldBytes(std::vector<std::uint8_t>&& own) : own_(std::move(own)), view_(own_) {}
  HeldBytes(HeldBytes&&) = default;
  HeldBytes& operator=(HeldBytes&&) = default;
  HeldBytes(const HeldBytes&) = delete;
  HeldBytes& operator=(const HeldBytes&) = delete;
  ByteSpan bytes() const { return view_; }

 private:
  std::vector<std::uint8_t> own_;
  ByteSpan view_;
};

// The frame area: the body as far as bytes hold it, whole-tag
// unsynchronisation removed and the extended header skipped; a view into
// bytes unless unsynchronisation was undone. Throws parseError when the
// extended header does not fit.
HeldBytes FrameArea(ByteSpan bytes, const TagHeader& header);

}  // namespace id3parser
