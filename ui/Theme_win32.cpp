#include "ui/Theme.h"

#include <dwmapi.h>

namespace {
// DWMWA_USE_IMMERSIVE_DARK_MODE: 20 since Windows 10 20H1, 19 before it.
constexpr DWORD kDarkTitleBar = 20;
constexpr DWORD kDarkTitleBarBefore20H1 = 19;
}  // namespace

COLORREF ToColorRef(Rgb rgb) { return RGB(rgb >> 16 & 0xFF, rgb >> 8 & 0xFF, rgb & 0xFF); }

bool SystemPrefersDark() {
  DWORD value = 1, size = sizeof value;
  const LSTATUS status =
      RegGetValueW(HKEY_CURRENT_USER, L"Software\\Microsoft\\Windows\\CurrentVersion\\Themes\\Personalize",
                   L"AppsUseLightTheme", RRF_RT_REG_DWORD, nullptr, &value, &size);
  return status == ERROR_SUCCESS && value == 0;
}

Theme::Theme(std::optional<bool> forceDark)
    : dark_(forceDark.value_or(SystemPrefersDark())), palette_(dark_ ? &DarkPalette() : &LightPalette()) {
  NONCLIENTMETRICSW metrics{};
  metrics.cbSize = sizeof metrics;
  SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
  font_ = CreateFontIndirectW(&metrics.lfMessageFont);
  window_ = CreateSolidBrush(ToColorRef(palette_->window));
  field_ = CreateSolidBrush(ToColorRef(palette_->field));
  HDC dc = GetDC(nullptr);
  HGDIOBJ old = SelectObject(dc, font_);
  TEXTMETRICW tm{};
  GetTextMetricsW(dc, &tm);
  SIZE size{};
  GetTextExtentPoint32W(dc, L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz", 52, &size);
  baseX_ = (size.cx / 26 + 1) / 2;
  baseY_ = tm.tmHeight;
  SelectObject(dc, old);
  ReleaseDC(nullptr, dc);
}

Theme::~Theme() {
  DeleteObject(font_);
  DeleteObject(window_);
  DeleteObject(field_);
}

int Theme::TextWidth(const wchar_t* text) const {
  HDC dc = GetDC(nullptr);
  HGDIOBJ old = SelectObject(dc, font_);
  RECT r{0, 0, 0, 0};
  DrawTextW(dc, text, -1, &r, DT_CALCRECT | DT_SINGLELINE);
  SelectObject(dc, old);
  ReleaseDC(nullptr, dc);
  return r.right;
}

void Theme::StyleTopLevel(HWND hwnd) const {
  const BOOL on = dark_;
  if (FAILED(DwmSetWindowAttribute(hwnd, kDarkTitleBar, &on, sizeof on)))
    DwmSetWindowAttribute(hwnd, kDarkTitleBarBefore20H1, &on, sizeof on);
}

LRESULT Theme::ControlColours(UINT msg, HDC dc, HWND) const {
  const bool isField = msg == WM_CTLCOLOREDIT || msg == WM_CTLCOLORLISTBOX;
  SetTextColor(dc, ToColorRef(palette_->text));
  SetBkColor(dc, ToColorRef(isField ? palette_->field : palette_->window));
  return reinterpret_cast<LRESULT>(isField ? field_ : window_);
}

void Theme::Frame(HDC dc, const RECT& rect, bool problem) const {
  HBRUSH brush = CreateSolidBrush(ToColorRef(problem ? palette_->problem : palette_->fieldBorder));
  FrameRect(dc, &rect, brush);
  DeleteObject(brush);
}

void Theme::DrawButton(const DRAWITEMSTRUCT& item) const {
  const bool pressed = item.itemState & ODS_SELECTED;
  const bool disabled = item.itemState & ODS_DISABLED;
  HBRUSH face = CreateSolidBrush(ToColorRef(pressed ? palette_->buttonHot : palette_->button));
  FillRect(item.hDC, &item.rcItem, face);
  DeleteObject(face);
  Frame(item.hDC, item.rcItem, false);
  wchar_t text[128];
  GetWindowTextW(item.hwndItem, text, 128);
  RECT r = item.rcItem;
  SetBkMode(item.hDC, TRANSPARENT);
  SetTextColor(item.hDC, ToColorRef(disabled ? palette_->fieldBorder : palette_->text));
  HGDIOBJ old = SelectObject(item.hDC, font_);
  DrawTextW(item.hDC, text, -1, &r, DT_CENTER | DT_VCENTER | DT_SINGLELINE);
  SelectObject(item.hDC, old);
  if (item.itemState & ODS_FOCUS) {
    RECT focus = item.rcItem;
    InflateRect(&focus, -X(2), -Y(2));
    SetTextColor(item.hDC, ToColorRef(palette_->text));
    DrawFocusRect(item.hDC, &focus);
  }
}
