// wavehost edit FILE: the tags of one file in a window, written back as `wavehost tag` and `untag` write them.
#include <windows.h>

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/Commands.h"
#include "host/OptionsDialog.h"
#include "host/TagEdits.h"
#include "io/Text.h"
#include "tags/TagList.h"
#include "ui/Controls.h"
#include "ui/DatePicker.h"
#include "ui/ImageInfo.h"
#include "ui/Question.h"
#include "ui/Window.h"

namespace {
// The plug-in's reports hold its information lines too; the reason for a
// failure is the last line, and a status line has room for one.
std::u16string LastLine(std::u16string text) {
  while (!text.empty() && (text.back() == u'\n' || text.back() == u'\r')) text.pop_back();
  const std::size_t start = text.find_last_of(u"\r\n");
  return start == std::u16string::npos ? text : text.substr(start + 1);
}

std::wstring W(std::u16string_view s) { return std::wstring(s.begin(), s.end()); }
std::u16string U(const std::wstring& s) { return std::u16string(s.begin(), s.end()); }

struct FieldSpec {
  std::u16string_view tag;  // the name the plug-in gives the tag
  const wchar_t* label;
  FieldKind kind;
};
constexpr std::array<FieldSpec, 10> kFields = {{
    {u"Title", L"&Title", FieldKind::Text},
    {u"Artist", L"&Artist", FieldKind::Text},
    {u"Album", L"Al&bum", FieldKind::Text},
    {u"Album Artist", L"Album a&rtist", FieldKind::Text},
    {u"Track", L"Trac&k", FieldKind::Number},
    {u"Disc", L"D&isc", FieldKind::Number},
    {u"Year", L"&Date", FieldKind::Date},
    {u"Genre", L"&Genre", FieldKind::Text},
    {u"Composer", L"C&omposer", FieldKind::Text},
    {u"Comment", L"Co&mment", FieldKind::Text},
}};
constexpr std::size_t kDateField = 6;
constexpr int kFrontCover = 3;

enum : int {
  kFieldId = 1000,  // + the field's index
  kDateButton = 1100,
  kPicture,
  kCoverSize,
  kCoverPath,
  kReplaceCover,
  kRemoveCover,
  kOtherList,
  kTagName,
  kTagValue,
  kApplyTag,
  kRemoveTag,
  kStatus,
  kOptions,
  kSave,
  kClose,
};

bool IsFrontCover(const HostTag& t) {
  if (!IsAlbumArtName(t.name)) return false;
  std::u16string type, description;
  SplitAlbumArtName(t.name, type, description);
  return PictureTypeFromName(type) == kFrontCover;
}

std::u16string Describe(const HostTag& t) {
  if (t.data.empty()) return t.value;
  if (IsAlbumArtName(t.name)) return DescribeImage(ByteSpan(t.data.data(), t.data.size()));
  return u"Binary, " + ToText(std::int64_t(t.data.size())) + u" bytes";
}

class EditorWindow : public Window {
 public:
  EditorWindow(const Theme& theme, Session& session, std::u16string file)
      : Window(theme), session_(session), file_(std::move(file)) {}

  bool Open() {
    const std::size_t slash = file_.find_last_of(u"\\/");
    const std::u16string shortName = slash == std::u16string::npos ? file_ : file_.substr(slash + 1);
    title_ = W(shortName) + L" \u2013 Tags";
    if (!Create(title_, 330, 322, nullptr)) return false;
    Build();
    Load();
    ShowWindow(hwnd_, SW_SHOW);
    SetForegroundWindow(hwnd_);
    SetFocus(fields_[0]->hwnd());
    return true;
  }

 protected:
  LRESULT OnMessage(UINT msg, WPARAM wp, LPARAM lp) override {
    switch (msg) {
      case WM_COMMAND:
        OnCommand(LOWORD(wp), HIWORD(wp));
        return 0;
      case WM_CLOSE:
        RequestClose();
        return 0;
      case WM_DESTROY:
        PostQuitMessage(0);
        return 0;
      case WM_MEASUREITEM: {
        auto* item = reinterpret_cast<MEASUREITEMSTRUCT*>(lp);
        item->itemHeight = UINT(theme_.Y(10));
        return TRUE;
      }
      case WM_DRAWITEM: {
        const auto* item = reinterpret_cast<const DRAWITEMSTRUCT*>(lp);
        if (item->CtlType == ODT_LISTBOX) {
          DrawTagItem(*item);
          return TRUE;
        }
        break;
      }
      default:
        break;
    }
    return Window::OnMessage(msg, wp, lp);
  }

  bool PreviewKey(const MSG& msg) override {
    if (msg.message != WM_KEYDOWN) return false;
    if (msg.wParam == 'S' && (GetKeyState(VK_CONTROL) & 0x8000)) {
      Save();
      return true;
    }
    if (msg.wParam == VK_ESCAPE) {
      HWND focus = GetFocus();
      wchar_t cls[32] = {};
      GetClassNameW(focus, cls, 32);
      if (lstrcmpiW(cls, L"ComboBox") == 0 && SendMessageW(focus, CB_GETDROPPEDSTATE, 0, 0)) return false;
      RequestClose();
      return true;
    }
    return false;
  }

 private:
  void Build() {
    constexpr int kLabelX = 7, kLabelW = 50, kFieldX = 60, kFieldW = 170, kRow = 16;
    for (std::size_t i = 0; i < kFields.size(); ++i) {
      const int y = 7 + int(i) * kRow;
      Label(kFields[i].label, kLabelX, y, kLabelW);
      const bool date = i == kDateField;
      HWND edit = Add(L"EDIT", L"", WS_TABSTOP | WS_BORDER | ES_AUTOHSCROLL, kFieldX, y, date ? kFieldW - 20 : kFieldW,
                      12, kFieldId + int(i));
      fields_.push_back(std::make_unique<CheckedEdit>(edit, theme_, kFields[i].kind,
                                                      [this](const std::u16string& why) { ShowProblem(why); }));
      if (date) {
        fields_.back()->onDropDown = [this] { PickDate(); };
        Add(L"BUTTON", L"\u2026", WS_TABSTOP | BS_OWNERDRAW, kFieldX + kFieldW - 18, y, 18, 12, kDateButton);
      }
    }
    constexpr int kCoverX = 240, kCoverW = 83;
    picture_ = std::make_unique<PictureBox>(Add(L"STATIC", L"", SS_NOTIFY, kCoverX, 7, kCoverW, 83, kPicture), theme_);
    coverSize_ = Add(L"EDIT", L"", ES_AUTOHSCROLL | ES_CENTER, kCoverX, 93, kCoverW, 11, kCoverSize);
    MakeReadOnlyText(coverSize_, theme_);
    Label(L"Cover image &file", kCoverX, 108, kCoverW);
    coverPath_ = Add(L"EDIT", L"", WS_TABSTOP | WS_BORDER | ES_AUTOHSCROLL, kCoverX, 120, kCoverW, 12, kCoverPath);
    MakeFramed(coverPath_, theme_);
    Add(L"BUTTON", L"Replace &cover", WS_TABSTOP | BS_OWNERDRAW, kCoverX, 136, kCoverW, 14, kReplaceCover);
    Add(L"BUTTON", L"Remo&ve cover", WS_TABSTOP | BS_OWNERDRAW, kCoverX, 153, kCoverW, 14, kRemoveCover);

    Label(L"Ot&her tags", kLabelX, 168, 100);
    list_ = Add(
        L"LISTBOX", L"",
        WS_TABSTOP | WS_BORDER | WS_VSCROLL | LBS_NOTIFY | LBS_OWNERDRAWFIXED | LBS_HASSTRINGS | LBS_NOINTEGRALHEIGHT,
        kLabelX, 180, 316, 66, kOtherList);
    MakeFramed(list_, theme_);
    Label(L"&Name", kLabelX, 252, 24);
    tagName_ = Add(L"EDIT", L"", WS_TABSTOP | WS_BORDER | ES_AUTOHSCROLL, 32, 252, 82, 12, kTagName);
    MakeFramed(tagName_, theme_);
    Label(L"Val&ue", 120, 252, 24);
    tagValue_ = Add(L"EDIT", L"", WS_TABSTOP | WS_BORDER | ES_AUTOHSCROLL, 145, 252, 98, 12, kTagValue);
    MakeFramed(tagValue_, theme_);
    Add(L"BUTTON", L"Appl&y", WS_TABSTOP | BS_OWNERDRAW, 247, 251, 36, 14, kApplyTag);
    Add(L"BUTTON", L"R&emove", WS_TABSTOP | BS_OWNERDRAW, 287, 251, 36, 14, kRemoveTag);

    status_ = Add(L"EDIT", L"", ES_MULTILINE | ES_AUTOVSCROLL, kLabelX, 272, 316, 22, kStatus);
    MakeReadOnlyText(status_, theme_);
    Add(L"BUTTON", L"O&ptions\u2026", WS_TABSTOP | BS_OWNERDRAW, kLabelX, 301, 60, 14, kOptions);
    save_ = Add(L"BUTTON", L"&Save", WS_TABSTOP | BS_OWNERDRAW, 203, 301, 58, 14, kSave);
    Add(L"BUTTON", L"Close", WS_TABSTOP | BS_OWNERDRAW, 265, 301, 58, 14, kClose);
  }

  // Reads the file's tags and shows them; true when the plug-in opened it.
  bool Load() {
    std::vector<HostTag> tags;
    const bool ok = ReadTags(session_, file_, tags);
    const std::u16string errors = LastLine(session_.reports.TakeNew());
    loaded_ = tags;
    others_.clear();
    cover_.reset();
    std::array<std::u16string, kFields.size()> values;
    for (const HostTag& t : tags) {
      const auto field = std::find_if(kFields.begin(), kFields.end(), [&](const FieldSpec& f) {
        return t.data.empty() && EqualsFolded(t.name, f.tag);
      });
      if (field != kFields.end())
        values[std::size_t(field - kFields.begin())] = t.value;
      else if (!cover_ && IsFrontCover(t))
        cover_ = t;
      else
        others_.push_back(t);
    }
    loading_ = true;
    for (std::size_t i = 0; i < kFields.size(); ++i) SetWindowTextW(fields_[i]->hwnd(), W(values[i]).c_str());
    loading_ = false;
    ShowCover();
    FillList();
    SetDirty(false);
    EnableWindow(save_, ok);
    if (!ok)
      SetStatus(u"This file cannot be opened: " +
                (errors.empty() ? std::u16string(u"the plug-in refused it.") : errors));
    return ok;
  }

  void ShowCover() {
    picture_->SetImage(cover_ ? cover_->data : std::vector<std::uint8_t>{});
    // The picture box says "No cover" itself; the size line under it then stays empty.
    SetWindowTextW(coverSize_,
                   cover_ ? W(DescribeImage(ByteSpan(cover_->data.data(), cover_->data.size()))).c_str() : L"");
  }

  void FillList() {
    SendMessageW(list_, LB_RESETCONTENT, 0, 0);
    for (const HostTag& t : others_) SendMessageW(list_, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(W(t.name).c_str()));
  }

  void DrawTagItem(const DRAWITEMSTRUCT& item) {
    const Palette& p = theme_.colours();
    const bool selected = item.itemState & ODS_SELECTED;
    HBRUSH back = CreateSolidBrush(ToColorRef(selected ? p.selection : p.field));
    FillRect(item.hDC, &item.rcItem, back);
    DeleteObject(back);
    if (item.itemID < others_.size()) {
      const HostTag& t = others_[item.itemID];
      SetBkMode(item.hDC, TRANSPARENT);
      SetTextColor(item.hDC, ToColorRef(selected ? p.selectionText : p.text));
      HGDIOBJ old = SelectObject(item.hDC, theme_.font());
      RECT name = item.rcItem, value = item.rcItem;
      name.left += theme_.X(3);
      name.right = name.left + theme_.X(110);
      value.left = name.right + theme_.X(4);
      constexpr UINT kFormat = DT_LEFT | DT_VCENTER | DT_SINGLELINE | DT_END_ELLIPSIS | DT_NOPREFIX;
      DrawTextW(item.hDC, W(t.name).c_str(), -1, &name, kFormat);
      DrawTextW(item.hDC, W(Describe(t)).c_str(), -1, &value, kFormat);
      SelectObject(item.hDC, old);
    }
    if (item.itemState & ODS_FOCUS) DrawFocusRect(item.hDC, &item.rcItem);
  }

  void OnCommand(int id, int code) {
    if (id >= kFieldId && id < kFieldId + int(kFields.size())) {
      if (code == EN_CHANGE && !loading_) SetDirty(true);
      return;
    }
    switch (id) {
      case kDateButton:
        PickDate();
        break;
      case kReplaceCover:
        ReplaceCover();
        break;
      case kRemoveCover:
        if (cover_) {
          cover_.reset();
          SetDirty(true);
          ShowCover();
        }
        break;
      case kOtherList:
        if (code == LBN_SELCHANGE) SelectOther();
        break;
      case kApplyTag:
        ApplyOther();
        break;
      case kRemoveTag:
        RemoveOther();
        break;
      case kOptions:
        ShowOptions(hwnd_, theme_, session_);
        break;
      case kSave:
        Save();
        break;
      case kClose:
        RequestClose();
        break;
      default:
        break;
    }
  }

  void PickDate() {
    HWND edit = fields_[kDateField]->hwnd();
    CalendarDate date = ParseDate(U(ControlText(edit)));
    if (ChooseDate(hwnd_, theme_, date)) SetWindowTextW(edit, W(FormatDate(date)).c_str());
    SetFocus(edit);
  }

  void ReplaceCover() {
    const std::wstring path = ControlText(coverPath_);
    std::vector<HostTag> picture;
    if (path.empty() || !AddPicture(picture, WideToUtf8(U(path)), kFrontCover, "")) {
      SetStatus(u"Type the path of an image file to use as the cover.");
      SetFocus(coverPath_);
      return;
    }
    // A cover of another name (a description, another ordinal) is replaced as a whole.
    picture.front().name = cover_ ? cover_->name : picture.front().name;
    cover_ = std::move(picture.front());
    SetDirty(true);
    ShowCover();
  }

  void SelectOther() {
    const auto index = std::size_t(SendMessageW(list_, LB_GETCURSEL, 0, 0));
    if (index >= others_.size()) return;
    SetWindowTextW(tagName_, W(others_[index].name).c_str());
    SetWindowTextW(tagValue_, others_[index].data.empty() ? W(others_[index].value).c_str() : L"");
  }

  void ApplyOther() {
    const std::u16string name = U(ControlText(tagName_)), value = U(ControlText(tagValue_));
    if (name.empty()) {
      SetStatus(u"Type the name of the tag to add or change.");
      SetFocus(tagName_);
      return;
    }
    const auto field =
        std::find_if(kFields.begin(), kFields.end(), [&](const FieldSpec& f) { return EqualsFolded(name, f.tag); });
    if (field != kFields.end()) {
      SetWindowTextW(fields_[std::size_t(field - kFields.begin())]->hwnd(), W(value).c_str());
      return;
    }
    const auto it =
        std::find_if(others_.begin(), others_.end(), [&](const HostTag& t) { return EqualsFolded(t.name, name); });
    if (it != others_.end())
      *it = {it->name, value, {}};
    else
      others_.push_back({name, value, {}});
    SetDirty(true);
    FillList();
  }

  void RemoveOther() {
    const auto index = std::size_t(SendMessageW(list_, LB_GETCURSEL, 0, 0));
    if (index >= others_.size()) {
      SetStatus(u"Choose the tag to remove in the list first.");
      return;
    }
    others_.erase(others_.begin() + std::ptrdiff_t(index));
    SetDirty(true);
    FillList();
  }

  // What the window holds now, as tags.
  std::vector<HostTag> Current() const {
    std::vector<HostTag> tags;
    for (std::size_t i = 0; i < kFields.size(); ++i) {
      const std::wstring text = ControlText(fields_[i]->hwnd());
      if (!text.empty()) tags.push_back({std::u16string(kFields[i].tag), U(text), {}});
    }
    if (cover_) tags.push_back(*cover_);
    tags.insert(tags.end(), others_.begin(), others_.end());
    return tags;
  }

  bool Save() {
    for (std::size_t i = 0; i < kFields.size(); ++i) {
      const std::u16string why = fields_[i]->Problem();
      if (!why.empty()) {
        SetStatus(u"Not saved: " + why);
        SetFocus(fields_[i]->hwnd());
        return false;
      }
    }
    if (!IsWindowEnabled(save_)) return false;
    const std::vector<HostTag> now = Current();
    std::vector<HostTag> changed;
    for (const HostTag& t : now) {
      const bool same = std::any_of(loaded_.begin(), loaded_.end(), [&](const HostTag& o) {
        return o.name == t.name && o.value == t.value && o.data == t.data;
      });
      if (!same) changed.push_back(t);
    }
    std::vector<std::u16string> gone;
    for (const HostTag& o : loaded_) {
      const bool kept =
          std::any_of(now.begin(), now.end(), [&](const HostTag& t) { return EqualsFolded(t.name, o.name); });
      if (!kept && std::find(gone.begin(), gone.end(), o.name) == gone.end()) gone.push_back(o.name);
    }
    if (changed.empty() && gone.empty()) {
      SetStatus(u"Nothing to save: the file already holds these tags.");
      SetDirty(false);
      return true;
    }
    SetCursor(LoadCursorW(nullptr, IDC_WAIT));
    const bool written = changed.empty() || WriteTags(session_, file_, changed);
    const bool deleted = !written || gone.empty() || DeleteTags(session_, file_, gone);
    const std::u16string errors = LastLine(session_.reports.TakeNew());
    SetCursor(LoadCursorW(nullptr, IDC_ARROW));
    if (!written || !deleted) {
      SetStatus(u"Not saved: " + (errors.empty() ? std::u16string(u"the plug-in could not write the tags.") : errors));
      return false;
    }
    if (Load()) SetStatus(u"Saved. The window shows the tags read back from the file.");
    SetFocus(fields_[0]->hwnd());
    return true;
  }

  void RequestClose() {
    if (dirty_) {
      const int answer =
          AskYesNoCancel(hwnd_, theme_, L"Unsaved changes", L"Save the changes to the tags before closing?");
      if (answer == IDCANCEL || (answer == IDYES && !Save())) return;
    }
    DestroyWindow(hwnd_);
  }

  // The title bar marks unsaved changes with a leading "*", as editors do.
  void SetDirty(bool dirty) {
    if (dirty == dirty_) return;
    dirty_ = dirty;
    SetWindowTextW(hwnd_, ((dirty ? L"*" : L"") + title_).c_str());
  }

  void ShowProblem(const std::u16string& why) {
    if (!why.empty() || problemShown_) SetStatus(why);
    problemShown_ = !why.empty();
  }

  void SetStatus(std::u16string text) {
    // The plug-in's error lines end in CR LF; the status shows them as one paragraph.
    while (!text.empty() && (text.back() == u'\n' || text.back() == u'\r')) text.pop_back();
    SetWindowTextW(status_, W(text).c_str());
  }

  Session& session_;
  std::u16string file_;
  std::vector<std::unique_ptr<CheckedEdit>> fields_;
  std::unique_ptr<PictureBox> picture_;
  HWND coverSize_ = nullptr, coverPath_ = nullptr, list_ = nullptr, tagName_ = nullptr, tagValue_ = nullptr;
  HWND status_ = nullptr, save_ = nullptr;
  std::vector<HostTag> loaded_, others_;
  std::optional<HostTag> cover_;
  std::wstring title_;
  bool loading_ = false, dirty_ = false, problemShown_ = false;
};
}  // namespace

int CommandEdit(Session& s, const Words& args) {
  const Arguments a(args, {"--trace"}, {"--theme"});
  const auto theme = a.Value("--theme");
  if (!a.ok() || a.positional().size() != 1 || (theme && *theme != "dark" && *theme != "light")) return UsageError();
  std::optional<bool> forceDark;
  if (theme) forceDark = *theme == "dark";
  const Theme look(forceDark);
  EditorWindow editor(look, s, Utf8ToWide(a.First()));
  if (!editor.Open()) {
    std::fputs("wavehost: cannot create the window\n", stderr);
    return 1;
  }
  editor.RunModal();
  return 0;
}
