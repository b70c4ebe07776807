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
std::vector<std::string> SplitValues(const std::u16string& value) {
  std::vector<std::string> out;
  std::size_t start = 0;
  for (;;) {
    const std::size_t cr = value.find(u'\r', start);
    out.push_back(WideToUtf8(value.substr(start, cr == std::u16string::npos ? std::u16string::npos : cr - start)));
    if (cr == std::u16string::npos) return out;
    start = cr + 1;
  }
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

void PrintTagsText(const std::vector<ShownTag>& tags, const char* indent) {
  for (const ShownTag& t : tags) {
    std::printf("%s%s: ", indent, WideToUtf8(t.name).c_str());
    if (t.dataSize != 0) {
      if (IsPictureName(t.name))
        std::printf("[picture, %s, %zu bytes]\n", ImageMime(t.head), t.dataSize);
      else
        std::printf("[binary, %zu bytes]\n", t.dataSize);
      continue;
    }
    const auto values = SplitValues(t.value);
    for (std::size_t k = 0; k < values.size(); ++k) std::printf("%s%s", k ? " | " : "", values[k].c_str());
    std::printf("\n");
  }
}
