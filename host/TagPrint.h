// How wavehost shows tags and texts: as lines for a person or as JSON.
#pragma once

#include <string>
#include <vector>

#include "host/TagBlock.h"

// A JSON string literal of UTF-8 text.
std::string JsonString(const std::string& utf8);
// The tags as a JSON array: text tags with their values, binary ones with type, size and MIME type.
void PrintTagsJson(const std::vector<ShownTag>& tags);
// label and value; several values joined by " | ", each further line of a value indented under the first.
void PrintLabelled(const std::string& label, const std::u16string& value);
// One tag a PrintLabelled line, its name after indent.
void PrintTagsText(const std::vector<ShownTag>& tags, const char* indent);
