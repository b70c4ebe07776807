#include "wave/XDLL.h"

XDLL::~XDLL() { Unload(); }

std::u16string SiblingPath(std::u16string_view fileName) {
  std::u16string path = OwnModulePath();
  const std::size_t cut = path.find_last_of(u"\\/");
  path.erase(cut == std::u16string::npos ? 0 : cut + 1);
  return path + std::u16string(fileName);
}
