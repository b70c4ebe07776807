// What a reply's head says about its body, read from the raw status and
// header lines as the HTTP library hands them over.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

struct HttpHead {
  int status = 0;
  std::string reason;
  // Content-Length, unless the body is chunked (which makes any length meaningless).
  std::optional<std::int64_t> contentLength;
  bool acceptsRanges = false;
  // Content-Range "bytes first-last/total"; total is absent for "*".
  std::optional<std::int64_t> rangeFirst;
  std::optional<std::int64_t> rangeTotal;

  // Parses "HTTP/1.1 206 Partial Content\r\nName: value\r\n..."; what it cannot read stays unset.
  static HttpHead Parse(std::string_view head);
  // The trimmed value of the first line whose name matches (ASCII case-insensitive).
  static std::optional<std::string_view> Field(std::string_view head, std::string_view name);
};
