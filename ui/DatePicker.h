// The date-picker dialog: a month calendar on which the user picks a full date. Include only from
// *_win32.cpp files.
#pragma once

#include <windows.h>

#include "ui/FieldRules.h"
#include "ui/Theme.h"

// Shows the calendar at `date` (today when its year is 0; the first month or day when the text named none);
// true and the chosen full date when the user accepts it (Enter or OK), false on Esc or Cancel.
bool ChooseDate(HWND owner, const Theme& theme, CalendarDate& date);
