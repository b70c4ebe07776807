#include "tags/Id3Unsync.h"

namespace id3parser {

std::vector<std::uint8_t> RemoveUnsync(ByteSpan bytes) {
  std::vector<std::uint8_t> out;
  out.reserve(bytes.size());
  bool afterFF = false;
  for (const std::uint8_t b : bytes) {
    if (!(afterFF && b == 0)) out.push_back(b);
    afterFF = b == 0xFF;
  }
  return out;
}

}  // namespace id3parser
