// Unsynchronisation: the writer inserted a zero after every 0xFF that could
// be mistaken for an MPEG sync; reading drops those zeros again.
#pragma once

#include <cstdint>
#include <vector>

#include "io/ByteReader.h"

namespace id3parser {

// The bytes with each zero that follows a 0xFF removed.
std::vector<std::uint8_t> RemoveUnsync(ByteSpan bytes);

}  // namespace id3parser
