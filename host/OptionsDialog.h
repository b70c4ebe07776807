// The tagging options dialog of the tag editor. Include only from *_win32.cpp files.
#pragma once

#include <windows.h>

#include "host/Session.h"
#include "ui/Theme.h"

// The eight tagging settings as drop-downs filled from Get "ID Tag Options"; OK stores the choices as
// `wavehost settings` does.
void ShowOptions(HWND owner, const Theme& theme, Session& session);
