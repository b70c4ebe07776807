#include "host/OptionsDialog.h"

#include <string>
#include <vector>

#include "io/Text.h"
#include "riff/TagSettings.h"
#include "ui/Controls.h"
#include "ui/Window.h"

namespace {
constexpr int kFirstCombo = 200;

struct Option {
  std::u16string name;   // Text1
  std::u16string value;  // the registry value, from Text2 "Tagging\Value"
  std::vector<std::u16string> choices;
  HWND combo = nullptr;
};

std::vector<Option> QueryOptions(Session& s) {
  std::vector<Option> options;
  bool ok = false;
  for (int i = 0;; ++i) {
    Option o;
    o.name = s.GetText(u"ID Tag Options", i, 0, 0, ok);
    if (!ok) break;
    const std::u16string path = s.GetText(u"ID Tag Options", i, 0, 1, ok);
    o.value = path.substr(path.find(u'\\') + 1);
    for (int k = 0;; ++k) {
      std::u16string choice = s.GetText(u"ID Tag Options", i, k, 2, ok);
      if (!ok) break;
      o.choices.push_back(std::move(choice));
    }
    options.push_back(std::move(o));
  }
  return options;
}

class OptionsDialog : public Dialog {
 public:
  OptionsDialog(const Theme& theme, std::vector<Option> options) : Dialog(theme), options_(std::move(options)) {}

  void Run(HWND owner) {
    constexpr int kRow = 17, kLabelW = 84, kComboW = 130;
    const int height = 7 + int(options_.size()) * kRow + 24;
    if (!Create(L"Tagging options", 7 + kLabelW + 4 + kComboW + 7, height, owner)) return;
    for (std::size_t i = 0; i < options_.size(); ++i) {
      Option& o = options_[i];
      const int y = 7 + int(i) * kRow;
      Label(std::wstring(o.name.begin(), o.name.end()), 7, y, kLabelW);
      o.combo = Add(L"COMBOBOX", L"", WS_TABSTOP | WS_VSCROLL | CBS_DROPDOWNLIST | CBS_HASSTRINGS, 7 + kLabelW + 4, y,
                    kComboW, 100, kFirstCombo + int(i));
      MakeCombo(o.combo, theme_);
      for (const auto& c : o.choices)
        SendMessageW(o.combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(std::wstring(c.begin(), c.end()).c_str()));
      const std::uint32_t current = ReadTagSetting(o.value);
      SendMessageW(o.combo, CB_SETCURSEL, current < o.choices.size() ? WPARAM(current) : WPARAM(-1), 0);
    }
    const int buttonsY = height - 21;
    Add(L"BUTTON", L"OK", WS_TABSTOP | BS_OWNERDRAW, 7 + kLabelW + 4 + kComboW - 112, buttonsY, 54, 14, IDOK);
    Add(L"BUTTON", L"Cancel", WS_TABSTOP | BS_OWNERDRAW, 7 + kLabelW + 4 + kComboW - 54, buttonsY, 54, 14, IDCANCEL);
    if (owner) EnableWindow(owner, FALSE);
    ShowWindow(hwnd_, SW_SHOW);
    if (!options_.empty()) SetFocus(options_.front().combo);
    RunModal();
    if (owner) SetForegroundWindow(owner);
  }

 protected:
  bool PreviewKey(const MSG& msg) override {
    if (msg.message != WM_KEYDOWN) return false;
    HWND focus = GetFocus();
    wchar_t cls[32] = {};
    GetClassNameW(focus, cls, 32);
    if (lstrcmpiW(cls, L"ComboBox") == 0 && SendMessageW(focus, CB_GETDROPPEDSTATE, 0, 0)) return false;
    if (msg.wParam == VK_RETURN || msg.wParam == VK_ESCAPE) {
      Finish(msg.wParam == VK_RETURN ? IDOK : IDCANCEL);
      return true;
    }
    return false;
  }

 private:
  void Finish(int button) override {
    if (button == IDOK) {
      for (const Option& o : options_) {
        const auto chosen = SendMessageW(o.combo, CB_GETCURSEL, 0, 0);
        if (chosen >= 0 && std::uint32_t(chosen) != ReadTagSetting(o.value))
          WriteTagSetting(o.value, std::uint32_t(chosen));
      }
    }
    Close();
  }

  std::vector<Option> options_;
};
}  // namespace

void ShowOptions(HWND owner, const Theme& theme, Session& session) {
  OptionsDialog dialog(theme, QueryOptions(session));
  dialog.Run(owner);
}
