// Payloads of the tag chunks, built by hand for tests: an INFO list, a
// version 2.3 ID3 tag and a bext record.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "WavBuilder.h"

// Identifiers with their texts, in order.
using TextFieldList = std::vector<std::pair<std::string, std::string>>;

// 'INFO' and zero-terminated ANSI sub-chunks, padded to even sizes.
Bytes InfoList(const TextFieldList& subChunks);
// A version 2.3 tag of Latin-1 text frames (a TXXX text is "description\0value");
// the header may claim `claimExtra` bytes more than there are.
Bytes Id3v23Tag(const TextFieldList& frames, std::uint32_t claimExtra = 0);
// The 602-byte bext record with a description, a version and a UMID filled with one byte.
Bytes BextRecord(const std::string& description, std::uint16_t version, std::uint8_t umidFill = 0);
