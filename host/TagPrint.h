// How wavehost shows tags and texts: as lines for a person or as JSON.
#pragma once

#include <string>
#include <vector>

#include "host/TagBlock.h"

// A JSON string literal of UTF-8 text.
std::string JsonString(const std::string& utf8);
// The tags as a JSON array: text tags with their values, binary ones with type, size and MIME type.
void PrintTagsJson(const std::vector<ShownTag>& tags);
// One line a tag; several values joined by " | ".
void PrintTagsText(const std::vector<ShownTag>& tags, const char* indent);
