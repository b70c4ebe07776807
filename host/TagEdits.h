// The tag reads and writes that `wavehost tags`, `tag`, `untag` and the tag editor window share.
#pragma once

#include <string>
#include <vector>

#include "host/Session.h"
#include "host/TagBlock.h"

// The file's tags as the host receives them (Open with tags), binary data whole; false when the plug-in
// refuses the file.
bool ReadTags(Session& s, const std::u16string& file, std::vector<HostTag>& tags);
// Writes tags through Set "IDTags"; the file's other tags stay. True when the plug-in accepted them.
bool WriteTags(Session& s, const std::u16string& file, const std::vector<HostTag>& tags);
// Deletes the named tags through DeleteATag, or every tag when names is empty.
bool DeleteTags(Session& s, const std::u16string& file, const std::vector<std::u16string>& names);
// Appends the picture tag of an image file, named as the plug-in names pictures (ordinal, type,
// description); false when the file cannot be read or is empty.
bool AddPicture(std::vector<HostTag>& tags, const std::string& path, long long type, const std::string& description);
