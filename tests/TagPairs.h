// A tag list's text entries as name/value pairs, comparable in one assertion.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "io/Text.h"
#include "tags/TagList.h"

using Pairs = std::vector<std::pair<std::u16string, std::u16string>>;

inline Pairs TextsOf(const TagList& list) {
  Pairs out;
  for (std::size_t i = 0; i < list.size(); ++i) out.emplace_back(list[i].name, list[i].value);
  return out;
}

// For failure messages.
inline std::string Show(const Pairs& pairs) {
  std::string out;
  for (const auto& [name, value] : pairs) out += WideToUtf8(name) + "=" + WideToUtf8(value) + "; ";
  return out;
}
