// The look every window of the toolkit shares: light or dark colours, their brushes, and the dialog font at
// the system's DPI. Include only from *_win32.cpp files.
#pragma once

#include <windows.h>

#include <optional>

#include "ui/Palette.h"

class Theme {
 public:
  // forceDark: from --theme; without it the user's Windows setting decides.
  explicit Theme(std::optional<bool> forceDark);
  ~Theme();
  Theme(const Theme&) = delete;
  Theme& operator=(const Theme&) = delete;

  bool dark() const { return dark_; }
  const Palette& colours() const { return *palette_; }
  HFONT font() const { return font_; }
  HBRUSH windowBrush() const { return window_; }
  HBRUSH fieldBrush() const { return field_; }
  // Dialog units: a quarter of the font's mean character width, an eighth of its height.
  int X(int units) const { return MulDiv(units, baseX_, 4); }
  int Y(int units) const { return MulDiv(units, baseY_, 8); }
  // Width in pixels of a text in the dialog font.
  int TextWidth(const wchar_t* text) const;

  // The title bar follows the theme where the system offers it.
  void StyleTopLevel(HWND hwnd) const;
  // Answers WM_CTLCOLOR*: text and background of labels, edits and lists.
  LRESULT ControlColours(UINT msg, HDC dc, HWND control) const;
  // Paints an owner-drawn push button.
  void DrawButton(const DRAWITEMSTRUCT& item) const;
  // A frame in the border colour inside rect (problem: in the colour that marks a refused value).
  void Frame(HDC dc, const RECT& rect, bool problem) const;

 private:
  bool dark_;
  const Palette* palette_;
  HFONT font_ = nullptr;
  HBRUSH window_ = nullptr, field_ = nullptr;
  int baseX_ = 7, baseY_ = 16;
};

COLORREF ToColorRef(Rgb rgb);
// True when the user's Windows setting asks applications for the dark theme.
bool SystemPrefersDark();
