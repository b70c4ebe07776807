// A top-level window whose messages go to a C++ object, child controls placed in dialog units, and the
// modal message loop of the toolkit's dialogs. Include only from *_win32.cpp files.
#pragma once

#include <windows.h>

#include <string>

#include "ui/Theme.h"

class Window {
 public:
  explicit Window(const Theme& theme) : theme_(theme) {}
  virtual ~Window();
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;
  HWND hwnd() const { return hwnd_; }

  // Runs the message loop until the window is gone: Tab, Shift+Tab and mnemonics move the focus, and
  // every key first goes to PreviewKey.
  void RunModal();

 protected:
  // Where a window of w x h pixels stands centred on the owner, or on the work area without one; never above or
  // left of it.
  static POINT CentredOn(HWND owner, int w, int h);
  // Creates the window with a client area of width x height dialog units, centred on the owner or screen.
  bool Create(const std::wstring& title, int width, int height, HWND owner);
  // A child control at (x, y, w, h) dialog units, in the dialog font; the creation order is the Tab order.
  HWND Add(const wchar_t* className, const std::wstring& text, DWORD style, int x, int y, int w, int h, int id,
           DWORD exStyle = 0);
  // A label followed by its field: the label's mnemonic moves the focus to the field.
  HWND Label(const std::wstring& text, int x, int y, int w);

  virtual LRESULT OnMessage(UINT msg, WPARAM wp, LPARAM lp);
  // A key about to be dispatched; true when it was handled.
  virtual bool PreviewKey(const MSG&) { return false; }

  const Theme& theme_;
  HWND hwnd_ = nullptr;

 private:
  // Alt and a letter: the label or button marked with it; true when one was found.
  bool Mnemonic(wchar_t key);
  static LRESULT CALLBACK Procedure(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp);
};

// A dialog of the toolkit: its buttons (IDOK, IDCANCEL, IDYES, IDNO) and closing the window end it through Finish.
class Dialog : public Window {
 public:
  using Window::Window;

 protected:
  // Ends the dialog for `button`: IDCANCEL when the window was closed.
  virtual void Finish(int button) = 0;
  // Gives the owner back its input, so that the focus returns to it and not elsewhere, and destroys the window.
  void Close();
  LRESULT OnMessage(UINT msg, WPARAM wp, LPARAM lp) override;
};
