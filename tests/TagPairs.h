// Tag lists as one line of text, "name=value" joined by "; ": tables state
// the tags they give or take in one field, and one assertion compares them.
#pragma once

#include <string>
#include <string_view>

#include "tags/TagList.h"

inline std::u16string Texts(const TagList& list) {
  std::u16string out;
  for (std::size_t i = 0; i < list.size(); ++i) out += (i ? u"; " : u"") + list[i].name + u"=" + list[i].value;
  return out;
}

// The list such a line describes (a name ends at its first '=').
inline TagList TagsFrom(std::u16string_view text) {
  TagList list;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(u"; "), text.size());
    const std::u16string_view entry = text.substr(0, end);
    const std::size_t equals = entry.find(u'=');
    list.AddTag(std::u16string(entry.substr(0, equals)), std::u16string(entry.substr(equals + 1)));
    text.remove_prefix(std::min(end + 2, text.size()));
  }
  return list;
}
