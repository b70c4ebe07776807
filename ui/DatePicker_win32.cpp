#include "ui/DatePicker.h"

#include <commctrl.h>
#include <uxtheme.h>

#include "ui/Window.h"

namespace {
constexpr int kCalendar = 100;

class DatePickerDialog : public Dialog {
 public:
  DatePickerDialog(const Theme& theme, const CalendarDate& date) : Dialog(theme), date_(date) {}

  bool Run(HWND owner) {
    if (!Create(L"Choose a date", 10, 10, owner)) return false;
    calendar_ = Add(MONTHCAL_CLASSW, L"", WS_TABSTOP | WS_BORDER, 6, 6, 10, 10, kCalendar);
    {
      // The platform draws a calendar in given colours only while visual styles are off for it. Both themes
      // give them: the stock title is white on a light blue, well below 7:1.
      SetWindowTheme(calendar_, L"", L"");
      const Palette& p = theme_.colours();
      SendMessageW(calendar_, MCM_SETCOLOR, MCSC_BACKGROUND, ToColorRef(p.window));
      SendMessageW(calendar_, MCM_SETCOLOR, MCSC_MONTHBK, ToColorRef(p.field));
      SendMessageW(calendar_, MCM_SETCOLOR, MCSC_TEXT, ToColorRef(p.text));
      SendMessageW(calendar_, MCM_SETCOLOR, MCSC_TITLEBK, ToColorRef(p.selection));
      SendMessageW(calendar_, MCM_SETCOLOR, MCSC_TITLETEXT, ToColorRef(p.selectionText));
      SendMessageW(calendar_, MCM_SETCOLOR, MCSC_TRAILINGTEXT, ToColorRef(p.fieldBorder));
    }
    SYSTEMTIME start{};
    if (date_.year > 0) {
      start.wYear = WORD(date_.year);
      start.wMonth = WORD(date_.month > 0 ? date_.month : 1);
      start.wDay = WORD(date_.day > 0 ? date_.day : 1);
      SendMessageW(calendar_, MCM_SETCURSEL, 0, reinterpret_cast<LPARAM>(&start));
    }
    // The calendar says how much room it needs; the dialog grows around it and the two buttons below.
    RECT need{};
    SendMessageW(calendar_, MCM_GETMINREQRECT, 0, reinterpret_cast<LPARAM>(&need));
    const int margin = theme_.X(6), gap = theme_.Y(6), buttonW = theme_.X(50), buttonH = theme_.Y(14);
    const int width = std::max<int>(need.right + 2, 2 * buttonW + theme_.X(4));
    SetWindowPos(calendar_, nullptr, margin, margin, width, need.bottom + 2, SWP_NOZORDER);
    const int buttonsY = margin + need.bottom + 2 + gap;
    HWND ok = Add(L"BUTTON", L"OK", WS_TABSTOP | BS_OWNERDRAW, 0, 0, 50, 14, IDOK);
    HWND cancel = Add(L"BUTTON", L"Cancel", WS_TABSTOP | BS_OWNERDRAW, 0, 0, 50, 14, IDCANCEL);
    SetWindowPos(cancel, nullptr, margin + width - buttonW, buttonsY, buttonW, buttonH, SWP_NOZORDER);
    SetWindowPos(ok, nullptr, margin + width - 2 * buttonW - theme_.X(4), buttonsY, buttonW, buttonH, SWP_NOZORDER);
    RECT frame{0, 0, 2 * margin + width, buttonsY + buttonH + margin};
    AdjustWindowRectEx(&frame, GetWindowLongW(hwnd_, GWL_STYLE), FALSE, GetWindowLongW(hwnd_, GWL_EXSTYLE));
    const int w = frame.right - frame.left, h = frame.bottom - frame.top;
    const POINT at = CentredOn(owner, w, h);
    SetWindowPos(hwnd_, nullptr, at.x, at.y, w, h, SWP_NOZORDER);
    if (owner) EnableWindow(owner, FALSE);
    ShowWindow(hwnd_, SW_SHOW);
    SetFocus(calendar_);
    RunModal();
    if (owner) {
      EnableWindow(owner, TRUE);
      SetForegroundWindow(owner);
    }
    return accepted_;
  }

  const CalendarDate& date() const { return date_; }

 protected:
  bool PreviewKey(const MSG& msg) override {
    if (msg.message != WM_KEYDOWN) return false;
    if (msg.wParam == VK_RETURN) {
      Finish(IDOK);
      return true;
    }
    if (msg.wParam == VK_ESCAPE) {
      Finish(IDCANCEL);
      return true;
    }
    return false;
  }

 private:
  void Finish(int button) override {
    SYSTEMTIME chosen{};
    if (button == IDOK && SendMessageW(calendar_, MCM_GETCURSEL, 0, reinterpret_cast<LPARAM>(&chosen))) {
      date_ = {chosen.wYear, chosen.wMonth, chosen.wDay};
      accepted_ = true;
    }
    Close();
  }

  CalendarDate date_;
  HWND calendar_ = nullptr;
  bool accepted_ = false;
};
}  // namespace

bool ChooseDate(HWND owner, const Theme& theme, CalendarDate& date) {
  DatePickerDialog dialog(theme, date);
  if (!dialog.Run(owner)) return false;
  date = dialog.date();
  return true;
}
