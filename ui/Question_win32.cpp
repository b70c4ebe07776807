#include "ui/Question.h"

#include "ui/Window.h"

namespace {
class QuestionDialog : public Dialog {
 public:
  using Dialog::Dialog;

  int Run(HWND owner, const std::wstring& title, const std::wstring& question) {
    const int textW = std::max(150, MulDiv(theme_.TextWidth(question.c_str()), 4, std::max(1, theme_.X(4))) + 2);
    if (!Create(title, textW + 14, 48, owner)) return IDCANCEL;
    Add(L"STATIC", question, SS_LEFT | SS_NOPREFIX, 7, 9, textW, 10, -1);
    Add(L"BUTTON", L"&Yes", WS_TABSTOP | BS_OWNERDRAW, textW + 7 - 150, 27, 46, 14, IDYES);
    Add(L"BUTTON", L"&No", WS_TABSTOP | BS_OWNERDRAW, textW + 7 - 98, 27, 46, 14, IDNO);
    Add(L"BUTTON", L"Cancel", WS_TABSTOP | BS_OWNERDRAW, textW + 7 - 46, 27, 46, 14, IDCANCEL);
    if (owner) EnableWindow(owner, FALSE);
    ShowWindow(hwnd_, SW_SHOW);
    SetFocus(GetDlgItem(hwnd_, IDYES));
    RunModal();
    if (owner) SetForegroundWindow(owner);
    return answer_;
  }

 protected:
  bool PreviewKey(const MSG& msg) override {
    if (msg.message != WM_KEYDOWN) return false;
    if (msg.wParam == VK_ESCAPE) {
      Finish(IDCANCEL);
      return true;
    }
    if (msg.wParam == VK_RETURN) {
      const int id = GetDlgCtrlID(GetFocus());
      Finish(id == IDYES || id == IDNO ? id : IDCANCEL);
      return true;
    }
    return false;
  }

 private:
  void Finish(int answer) override {
    answer_ = answer;
    Close();
  }

  int answer_ = IDCANCEL;
};
}  // namespace

int AskYesNoCancel(HWND owner, const Theme& theme, const std::wstring& title, const std::wstring& question) {
  QuestionDialog dialog(theme);
  return dialog.Run(owner, title, question);
}
