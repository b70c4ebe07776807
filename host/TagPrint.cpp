#include "host/TagPrint.h"

#include <cstdio>

#include "io/Text.h"

std::string JsonString(const std::string& utf8) {
  std::string out = "\"";
  for (unsigned char c : utf8) {
    if (c == '"' || c == '\\') {
      out.push_back('\\');
      out.push_back(char(c));
    } else if (c < 0x20) {
      char buf[8];
      std::snprintf(buf, sizeof buf, "\\u%04x", c);
      out += buf;
    } else {
      out.push_back(char(c));
    }
  }
  return out + "\"";
}

namespace {
// A carriage return separates values; one followed by a line feed is a line break inside a value (a bext
// description or coding history), which stays part of it.
std::vector<std::string> SplitValues(const std::u16string& value) {
  std::vector<std::string> out;
  std::size_t start = 0, from = 0;
  for (;;) {
    const std::size_t cr = value.find(u'\r', from);
    if (cr != std::u16string::npos && cr + 1 < value.size() && value[cr + 1] == u'\n') {
      from = cr + 2;
      continue;
    }
    out.push_back(WideToUtf8(value.substr(start, cr == std::u16string::npos ? std::u16string::npos : cr - start)));
    if (cr == std::u16string::npos) return out;
    start = from = cr + 1;
  }
}

// Characters a terminal gives UTF-8 text (one column each, as names and labels are).
std::size_t Columns(std::string_view utf8) {
  std::size_t n = 0;
  for (unsigned char c : utf8) n += (c & 0xC0) != 0x80;
  return n;
}

// From the signature at the head of the data.
const char* ImageMime(const std::vector<std::uint8_t>& d) {
  if (d.size() >= 8 && d[0] == 0x89 && d[1] == 'P' && d[2] == 'N' && d[3] == 'G') return "image/png";
  if (d.size() >= 3 && d[0] == 0xFF && d[1] == 0xD8 && d[2] == 0xFF) return "image/jpeg";
  if (d.size() >= 6 && d[0] == 'G' && d[1] == 'I' && d[2] == 'F') return "image/gif";
  return "application/octet-stream";
}

bool IsPictureName(const std::u16string& name) {
  return name.size() >= 10 && WideToUtf8(name.substr(0, 10)) == "_albumart_";
}

}  // namespace

void PrintTagsJson(const std::vector<ShownTag>& tags) {
  std::printf("[");
  for (std::size_t i = 0; i < tags.size(); ++i) {
    const ShownTag& t = tags[i];
    std::printf("%s\n  {\"name\": %s", i ? "," : "", JsonString(WideToUtf8(t.name)).c_str());
    if (t.dataSize != 0) {
      std::printf(", \"type\": \"%s\", \"size\": %zu", IsPictureName(t.name) ? "picture" : "binary", t.dataSize);
      if (IsPictureName(t.name)) std::printf(", \"mime\": \"%s\"", ImageMime(t.head));
    } else {
      std::printf(", \"type\": \"text\", \"values\": [");
      const auto values = SplitValues(t.value);
      for (std::size_t k = 0; k < values.size(); ++k) std::printf("%s%s", k ? ", " : "", JsonString(values[k]).c_str());
      std::printf("]");
    }
    std::printf("}");
  }
  std::printf("\n]");
}

void PrintLabelled(const std::string& label, const std::u16string& value) {
  std::string text;
  const auto values = SplitValues(value);
  for (std::size_t k = 0; k < values.size(); ++k) text += (k ? " | " : "") + values[k];
  // Line breaks at the end would only print blank lines.
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  const std::string under = "\n" + std::string(Columns(label), ' ');
  std::string out = label;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') continue;
    out += text[i] == '\n' ? under : std::string(1, text[i]);
  }
  std::printf("%s\n", out.c_str());
}

void PrintTagsText(const std::vector<ShownTag>& tags, const char* indent) {
  for (const ShownTag& t : tags) {
    const std::string label = indent + WideToUtf8(t.name) + ": ";
    if (t.dataSize == 0) {
      PrintLabelled(label, t.value);
    } else if (IsPictureName(t.name)) {
      std::printf("%s[picture, %s, %zu bytes]\n", label.c_str(), ImageMime(t.head), t.dataSize);
    } else {
      std::printf("%s[binary, %zu bytes]\n", label.c_str(), t.dataSize);
    }
  }
}
