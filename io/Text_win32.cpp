#include <windows.h>

#include "io/Text.h"

std::u16string AnsiToWide(std::string_view ansi) {
  if (ansi.empty()) return {};
  const int n = MultiByteToWideChar(CP_ACP, 0, ansi.data(), int(ansi.size()), nullptr, 0);
  std::u16string out(std::size_t(n > 0 ? n : 0), u'\0');
  if (n > 0) MultiByteToWideChar(CP_ACP, 0, ansi.data(), int(ansi.size()), reinterpret_cast<wchar_t*>(out.data()), n);
  return out;
}

std::string WideToAnsi(std::u16string_view wide) {
  if (wide.empty()) return {};
  const auto* w = reinterpret_cast<const wchar_t*>(wide.data());
  const int n = WideCharToMultiByte(CP_ACP, 0, w, int(wide.size()), nullptr, 0, nullptr, nullptr);
  std::string out(std::size_t(n > 0 ? n : 0), '\0');
  if (n > 0) WideCharToMultiByte(CP_ACP, 0, w, int(wide.size()), out.data(), n, nullptr, nullptr);
  return out;
}
