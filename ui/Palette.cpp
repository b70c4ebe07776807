#include "ui/Palette.h"

#include <algorithm>
#include <cmath>

namespace {
double Linear(unsigned channel) {
  const double c = channel / 255.0;
  return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
}
}  // namespace

const Palette& LightPalette() {
  static constexpr Palette kLight{0xF3F3F3, 0x1A1A1A, 0xFFFFFF, 0x8A8A8A, 0xE1E1E1,
                                  0xC8C8C8, 0x0A4A8C, 0xFFFFFF, 0x8A1010};
  return kLight;
}

const Palette& DarkPalette() {
  static constexpr Palette kDark{0x202020, 0xEDEDED, 0x2D2D2D, 0x6E6E6E, 0x3A3A3A,
                                 0x474747, 0x9CC8F5, 0x101010, 0xFFB4A8};
  return kDark;
}

double Luminance(Rgb colour) {
  return 0.2126 * Linear(colour >> 16 & 0xFF) + 0.7152 * Linear(colour >> 8 & 0xFF) + 0.0722 * Linear(colour & 0xFF);
}

double ContrastRatio(Rgb a, Rgb b) {
  const double la = Luminance(a), lb = Luminance(b);
  return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}
