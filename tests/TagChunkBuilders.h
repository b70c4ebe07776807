// Payloads of the tag chunks, built by hand for tests: an INFO list, a
// version 2.3 ID3 tag and a bext record.
#pragma once

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "WavBuilder.h"

using TextFields = std::initializer_list<std::pair<const char*, std::string>>;
// The same built in a loop (many tags).
using TextFieldList = std::vector<std::pair<std::string, std::string>>;

// 'INFO' and zero-terminated ANSI sub-chunks, padded to even sizes.
Bytes InfoList(TextFields subChunks);
Bytes InfoList(const TextFieldList& subChunks);
// A version 2.3 tag of Latin-1 text frames (a TXXX text is "description\0value");
// the header may claim `claimExtra` bytes more than there are.
Bytes Id3v23Tag(TextFields frames, std::uint32_t claimExtra = 0);
Bytes Id3v23Tag(const TextFieldList& frames, std::uint32_t claimExtra = 0);
// The 602-byte bext record with a description, a version and a UMID filled with one byte.
Bytes BextRecord(const std::string& description, std::uint16_t version, std::uint8_t umidFill = 0);
