#include "ui/Window.h"

namespace {
constexpr wchar_t kClassName[] = L"WaveHostWindow";

ATOM RegisterOnce(WNDPROC procedure) {
  static const ATOM atom = [procedure] {
    WNDCLASSEXW wc{};
    wc.cbSize = sizeof wc;
    wc.lpfnWndProc = procedure;
    wc.hInstance = GetModuleHandleW(nullptr);
    wc.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    wc.hIcon = LoadIconW(nullptr, IDI_APPLICATION);
    wc.lpszClassName = kClassName;
    return RegisterClassExW(&wc);
  }();
  return atom;
}
}  // namespace

Window::~Window() {
  if (hwnd_) {
    SetWindowLongPtrW(hwnd_, GWLP_USERDATA, 0);
    DestroyWindow(hwnd_);
  }
}

POINT Window::CentredOn(HWND owner, int w, int h) {
  RECT area{};
  if (owner)
    GetWindowRect(owner, &area);
  else
    SystemParametersInfoW(SPI_GETWORKAREA, 0, &area, 0);
  return {std::max<LONG>(area.left, area.left + (area.right - area.left - w) / 2),
          std::max<LONG>(area.top, area.top + (area.bottom - area.top - h) / 2)};
}

bool Window::Create(const std::wstring& title, int width, int height, HWND owner) {
  RegisterOnce(&Window::Procedure);
  const DWORD style = WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU | WS_MINIMIZEBOX | WS_CLIPCHILDREN;
  RECT r{0, 0, theme_.X(width), theme_.Y(height)};
  AdjustWindowRectEx(&r, style, FALSE, WS_EX_CONTROLPARENT);
  const int w = r.right - r.left, h = r.bottom - r.top;
  const POINT at = CentredOn(owner, w, h);
  hwnd_ = CreateWindowExW(WS_EX_CONTROLPARENT, kClassName, title.c_str(), style, at.x, at.y, w, h, owner, nullptr,
                          GetModuleHandleW(nullptr), this);
  if (hwnd_) theme_.StyleTopLevel(hwnd_);
  return hwnd_ != nullptr;
}

HWND Window::Add(const wchar_t* className, const std::wstring& text, DWORD style, int x, int y, int w, int h, int id,
                 DWORD exStyle) {
  HWND child = CreateWindowExW(exStyle, className, text.c_str(), WS_CHILD | WS_VISIBLE | style, theme_.X(x),
                               theme_.Y(y), theme_.X(w), theme_.Y(h), hwnd_,
                               reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), GetModuleHandleW(nullptr), nullptr);
  SendMessageW(child, WM_SETFONT, reinterpret_cast<WPARAM>(theme_.font()), FALSE);
  return child;
}

HWND Window::Label(const std::wstring& text, int x, int y, int w) {
  // Labels sit two units lower than their fields, so that the text lines up with the field's text.
  return Add(L"STATIC", text, SS_LEFT, x, y + 2, w, 10, -1);
}

LRESULT Window::OnMessage(UINT msg, WPARAM wp, LPARAM lp) {
  switch (msg) {
    case WM_CTLCOLORSTATIC:
    case WM_CTLCOLOREDIT:
    case WM_CTLCOLORLISTBOX:
    case WM_CTLCOLORBTN:
      return theme_.ControlColours(msg, reinterpret_cast<HDC>(wp), reinterpret_cast<HWND>(lp));
    case WM_ERASEBKGND: {
      RECT r;
      GetClientRect(hwnd_, &r);
      FillRect(reinterpret_cast<HDC>(wp), &r, theme_.windowBrush());
      return 1;
    }
    case WM_DRAWITEM: {
      const auto* item = reinterpret_cast<const DRAWITEMSTRUCT*>(lp);
      if (item->CtlType != ODT_BUTTON) break;
      theme_.DrawButton(*item);
      return TRUE;
    }
    default:
      break;
  }
  return DefWindowProcW(hwnd_, msg, wp, lp);
}

void Window::RunModal() {
  MSG msg;
  while (hwnd_ && GetMessageW(&msg, nullptr, 0, 0) > 0) {
    const bool key = msg.message == WM_KEYDOWN || msg.message == WM_SYSKEYDOWN || msg.message == WM_CHAR;
    const bool mine = msg.hwnd == hwnd_ || IsChild(hwnd_, msg.hwnd);
    if (key && mine && PreviewKey(msg)) continue;
    if (msg.message == WM_SYSCHAR && mine && Mnemonic(wchar_t(msg.wParam))) continue;
    if (hwnd_ && IsDialogMessageW(hwnd_, &msg)) continue;
    TranslateMessage(&msg);
    DispatchMessageW(&msg);
  }
}

bool Window::Mnemonic(wchar_t key) {
  const auto upper = [](wchar_t c) {
    wchar_t text[2] = {c, 0};
    CharUpperW(text);
    return text[0];
  };
  const wchar_t wanted = upper(key);
  for (HWND child = GetWindow(hwnd_, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) {
    wchar_t cls[16] = {};
    GetClassNameW(child, cls, 16);
    const bool label = lstrcmpiW(cls, L"Static") == 0, button = lstrcmpiW(cls, L"Button") == 0;
    if (!(label || button) || !IsWindowVisible(child) || !IsWindowEnabled(child)) continue;
    const std::wstring text = [child] {
      wchar_t buffer[128] = {};
      GetWindowTextW(child, buffer, 128);
      return std::wstring(buffer);
    }();
    const auto amp = text.find(L'&');
    if (amp == std::wstring::npos || amp + 1 >= text.size()) continue;
    if (upper(text[amp + 1]) != wanted) continue;
    if (button) {
      SetFocus(child);
      SendMessageW(child, BM_CLICK, 0, 0);
    } else {
      // A label hands the focus to the field that follows it.
      HWND field = GetWindow(child, GW_HWNDNEXT);
      while (field && !(GetWindowLongW(field, GWL_STYLE) & WS_TABSTOP)) field = GetWindow(field, GW_HWNDNEXT);
      if (field) SetFocus(field);
    }
    return true;
  }
  return false;
}

LRESULT CALLBACK Window::Procedure(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp) {
  if (msg == WM_NCCREATE) {
    auto* self = static_cast<Window*>(reinterpret_cast<CREATESTRUCTW*>(lp)->lpCreateParams);
    self->hwnd_ = hwnd;
    SetWindowLongPtrW(hwnd, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(self));
  }
  auto* self = reinterpret_cast<Window*>(GetWindowLongPtrW(hwnd, GWLP_USERDATA));
  if (!self) return DefWindowProcW(hwnd, msg, wp, lp);
  if (msg == WM_NCDESTROY) {
    SetWindowLongPtrW(hwnd, GWLP_USERDATA, 0);
    self->hwnd_ = nullptr;
    return DefWindowProcW(hwnd, msg, wp, lp);
  }
  return self->OnMessage(msg, wp, lp);
}

void Dialog::Close() {
  if (HWND owner = GetWindow(hwnd_, GW_OWNER)) EnableWindow(owner, TRUE);
  DestroyWindow(hwnd_);
}

LRESULT Dialog::OnMessage(UINT msg, WPARAM wp, LPARAM lp) {
  const int id = LOWORD(wp);
  if (msg == WM_COMMAND && (id == IDOK || id == IDCANCEL || id == IDYES || id == IDNO)) {
    Finish(id);
    return 0;
  }
  if (msg == WM_CLOSE) {
    Finish(IDCANCEL);
    return 0;
  }
  return Window::OnMessage(msg, wp, lp);
}
