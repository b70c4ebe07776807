// What the tag editor accepts in its checked fields, and why it refuses the rest.
#pragma once

#include <string>
#include <string_view>

enum class FieldKind { Text, Number, Date };

// Empty when text is a valid value of its field (an empty field always is); otherwise the reason, for the user.
std::u16string FieldProblem(FieldKind kind, std::u16string_view text);

struct CalendarDate {
  int year = 0;
  int month = 0;  // 0 when the text names only a year
  int day = 0;    // 0 when it names no day
};
// The date a valid Date text names; year 0 for any other text.
CalendarDate ParseDate(std::u16string_view text);
// "YYYY-MM-DD" of a full date.
std::u16string FormatDate(const CalendarDate& date);
