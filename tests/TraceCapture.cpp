#include "TraceCapture.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "io/Text.h"

std::u16string TraceCapture::Read(int which) const {
  std::ifstream in(paths_[which], std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::u16string out(bytes.size() / 2, u'\0');
  for (std::size_t i = 0; i < out.size(); ++i)
    out[i] = char16_t(std::uint8_t(bytes[2 * i]) | std::uint8_t(bytes[2 * i + 1]) << 8);
  return out;
}

std::string TraceCapture::TraceUtf8() const { return WideToUtf8(Trace()); }

bool TraceCapture::HasLine(std::u16string_view line) const {
  const std::u16string all = u"\r\n" + Trace();
  std::u16string needle = u"\n";
  needle.append(line).append(u"\r\n");
  return all.find(needle) != std::u16string::npos;
}

bool TraceCapture::NoErrors() const { return Trace().find(u"*** Error: ") == std::u16string::npos; }
