// The one argument parser of wavehost: positional words, flags and options
// with a value, as each command declares them.
#pragma once

#include <initializer_list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

class Arguments {
 public:
  // Splits args by the command's flags and valued options; any other word
  // that starts with '-' (but "-" alone), or an option without its value, is
  // an error.
  Arguments(const std::vector<std::string>& args, std::initializer_list<std::string_view> flags,
            std::initializer_list<std::string_view> valued);

  bool ok() const { return ok_; }
  bool Has(std::string_view flag) const { return flags_.count(std::string(flag)) != 0; }
  std::optional<std::string> Value(std::string_view option) const;
  // An option's value as a number; `fallback` when absent, nothing when it is not a number.
  std::optional<long long> Number(std::string_view option, long long fallback) const;
  const std::vector<std::string>& positional() const { return positional_; }
  // The first positional word (the file), or empty.
  std::string First() const { return positional_.empty() ? std::string() : positional_.front(); }

 private:
  bool ok_ = true;
  std::vector<std::string> positional_;
  std::set<std::string> flags_;
  std::map<std::string, std::string> values_;
};
