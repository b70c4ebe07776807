// A question with Yes, No and Cancel, in the theme's colours. Include only from *_win32.cpp files.
#pragma once

#include <windows.h>

#include <string>

#include "ui/Theme.h"

// IDYES, IDNO or IDCANCEL (also for Esc and the close box).
int AskYesNoCancel(HWND owner, const Theme& theme, const std::wstring& title, const std::wstring& question);
