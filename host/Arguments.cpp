#include "host/Arguments.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

Arguments::Arguments(const std::vector<std::string>& args, std::initializer_list<std::string_view> flags,
                     std::initializer_list<std::string_view> valued) {
  auto known = [](std::initializer_list<std::string_view> list, const std::string& word) {
    return std::find(list.begin(), list.end(), word) != list.end();
  };
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& word = args[i];
    if (known(flags, word)) {
      flags_.insert(word);
    } else if (known(valued, word)) {
      if (i + 1 == args.size())
        ok_ = false;
      else
        values_[word] = args[++i];
    } else if (word.size() > 1 && word[0] == '-') {
      ok_ = false;
    } else {
      positional_.push_back(word);
    }
  }
}

std::optional<std::string> Arguments::Value(std::string_view option) const {
  const auto it = values_.find(std::string(option));
  if (it == values_.end()) return std::nullopt;
  return it->second;
}

std::optional<long long> Arguments::Number(std::string_view option, long long fallback) const {
  const std::optional<std::string> text = Value(option);
  if (!text) return fallback;
  char* end = nullptr;
  errno = 0;
  const long long value = std::strtoll(text->c_str(), &end, 10);
  if (text->empty() || *end != '\0' || errno != 0) return std::nullopt;
  return value;
}
