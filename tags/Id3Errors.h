// The exceptions of the ID3v2 parsing code. They never leave it: the tag
// readers' callers catch them and turn them into a failed read.
#pragma once

#include <exception>

namespace id3parser {

class parseError : public std::exception {
 public:
  const char* what() const noexcept override { return "ID3v2 parse error"; }
};

class notSeekableError : public std::exception {
 public:
  const char* what() const noexcept override { return "Not seekable"; }
};

class writeError : public std::exception {
 public:
  const char* what() const noexcept override { return "ID3v2 write error"; }
};

}  // namespace id3parser
