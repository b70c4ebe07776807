#include "net/HttpHead.h"

#include <limits>

#include "io/Text.h"

namespace {
std::string_view Trim(std::string_view text) {
  const auto space = [](char c) { return c == ' ' || c == '\t'; };
  while (!text.empty() && space(text.front())) text.remove_prefix(1);
  while (!text.empty() && space(text.back())) text.remove_suffix(1);
  return text;
}

// A decimal number that fills the whole text and fits; a server's sizes are never trusted further.
std::optional<std::int64_t> Number(std::string_view text) {
  if (text.empty()) return std::nullopt;
  std::int64_t value = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return std::nullopt;
    const int digit = c - '0';
    if (value > (std::numeric_limits<std::int64_t>::max() - digit) / 10) return std::nullopt;
    value = value * 10 + digit;
  }
  return value;
}

// The lines of a head, without their CR LF (a bare LF also ends a line).
template <typename Visit>
void ForEachLine(std::string_view head, Visit visit) {
  while (!head.empty()) {
    const std::size_t end = head.find('\n');
    std::string_view line = head.substr(0, end);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (!visit(line)) return;
    head.remove_prefix(end == std::string_view::npos ? head.size() : end + 1);
  }
}

// A comma-separated list holds token (ASCII case-insensitive).
bool HasToken(std::string_view list, std::string_view token) {
  while (!list.empty()) {
    const std::size_t comma = list.find(',');
    if (LowerAscii(Trim(list.substr(0, comma))) == token) return true;
    list.remove_prefix(comma == std::string_view::npos ? list.size() : comma + 1);
  }
  return false;
}

void ParseStatusLine(std::string_view line, HttpHead& head) {
  if (!line.starts_with("HTTP/")) return;
  const std::size_t space = line.find(' ');
  if (space == std::string_view::npos) return;
  const std::string_view rest = line.substr(space + 1);
  const std::size_t next = rest.find(' ');
  const auto code = Number(rest.substr(0, next));
  if (!code || *code < 100 || *code > 999) return;
  head.status = int(*code);
  if (next != std::string_view::npos) head.reason = Trim(rest.substr(next + 1));
}

// "bytes first-last/total" or "bytes */total" (the latter with 416).
void ParseContentRange(std::string_view value, HttpHead& head) {
  if (!LowerAscii(value.substr(0, 6)).starts_with("bytes ")) return;
  value = Trim(value.substr(6));
  const std::size_t slash = value.find('/');
  if (slash == std::string_view::npos) return;
  head.rangeTotal = Number(value.substr(slash + 1));
  const std::string_view span = value.substr(0, slash);
  head.rangeFirst = Number(span.substr(0, span.find('-')));
}
}  // namespace

std::optional<std::string_view> HttpHead::Field(std::string_view head, std::string_view name) {
  std::optional<std::string_view> found;
  const std::string wanted = LowerAscii(name);
  ForEachLine(head, [&](std::string_view line) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || LowerAscii(Trim(line.substr(0, colon))) != wanted) return true;
    found = Trim(line.substr(colon + 1));
    return false;
  });
  return found;
}

HttpHead HttpHead::Parse(std::string_view head) {
  HttpHead result;
  ForEachLine(head, [&](std::string_view line) {
    ParseStatusLine(line, result);
    return false;
  });
  const auto encoding = Field(head, "transfer-encoding");
  const bool chunked = encoding && HasToken(*encoding, "chunked");
  if (const auto length = Field(head, "content-length"); length && !chunked) result.contentLength = Number(*length);
  if (const auto ranges = Field(head, "accept-ranges")) result.acceptsRanges = HasToken(*ranges, "bytes");
  if (const auto range = Field(head, "content-range")) ParseContentRange(*range, result);
  return result;
}
