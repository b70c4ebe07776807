// The colours of the light and the dark theme, and how far apart two colours are for the eye.
#pragma once

#include <cstdint>

// 0xRRGGBB.
using Rgb = std::uint32_t;

struct Palette {
  Rgb window;       // dialog background
  Rgb text;         // labels and values
  Rgb field;        // edit, combo and list background
  Rgb fieldBorder;  // frame of fields and buttons
  Rgb button;       // button face
  Rgb buttonHot;    // pressed button face
  Rgb selection;    // selected list item and calendar day background
  Rgb selectionText;
  Rgb problem;  // the line that says why a value is refused
};

const Palette& LightPalette();
const Palette& DarkPalette();

// Relative luminance, 0 (black) to 1 (white), of an sRGB colour.
double Luminance(Rgb colour);
// Contrast ratio of two colours, 1 to 21.
double ContrastRatio(Rgb a, Rgb b);
