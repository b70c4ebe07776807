// Subclassed controls of the toolkit, painted in the theme's colours. Include only from *_win32.cpp files.
#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "ui/FieldRules.h"
#include "ui/ImageInfo.h"
#include "ui/Theme.h"

std::wstring ControlText(HWND control);

// An edit that takes only what its field can hold: it refuses characters that cannot belong to a value,
// frames itself in the problem colour while its text is no valid value, and reports the reason (empty when
// the value is fine) to onProblem. Getting the focus selects its text.
class CheckedEdit {
 public:
  CheckedEdit(HWND edit, const Theme& theme, FieldKind kind, std::function<void(const std::u16string&)> onProblem);
  HWND hwnd() const { return hwnd_; }
  // The reason its text is refused, or empty.
  std::u16string Problem() const;
  // Keys that the field handles itself before the dialog sees them (F4 and Alt+Down in a date field).
  std::function<void()> onDropDown;

 private:
  static LRESULT CALLBACK Procedure(HWND, UINT, WPARAM, LPARAM, UINT_PTR, DWORD_PTR);
  HWND hwnd_;
  const Theme& theme_;
  FieldKind kind_;
  std::function<void(const std::u16string&)> onProblem_;
};

// A framed, read-only text that can still be selected and copied.
void MakeReadOnlyText(HWND edit, const Theme& theme);
// A framed list box or edit (the frame in the theme's border colour).
void MakeFramed(HWND control, const Theme& theme);

// A drop-down list painted by the theme, face and arrow included.
void MakeCombo(HWND combo, const Theme& theme);

// Shows an image's bytes drawn to fit (BMP, PNG, JPEG, GIF), or as its kind and pixel size when it cannot be drawn.
class PictureBox {
 public:
  PictureBox(HWND box, const Theme& theme);
  HWND hwnd() const { return hwnd_; }
  void SetImage(std::vector<std::uint8_t> bytes);

 private:
  static LRESULT CALLBACK Procedure(HWND, UINT, WPARAM, LPARAM, UINT_PTR, DWORD_PTR);
  void Paint(HDC dc) const;
  bool DrawBitmap(HDC dc, const RECT& box, const ImageInfo& info) const;
  HWND hwnd_;
  const Theme& theme_;
  std::vector<std::uint8_t> bytes_;
};
