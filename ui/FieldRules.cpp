#include "ui/FieldRules.h"

#include <optional>

namespace {
// Digits only, at most `maxDigits` of them; nothing for anything else.
std::optional<int> Digits(std::u16string_view text, std::size_t maxDigits) {
  if (text.empty() || text.size() > maxDigits) return std::nullopt;
  int value = 0;
  for (char16_t c : text) {
    if (c < u'0' || c > u'9') return std::nullopt;
    value = value * 10 + (c - u'0');
  }
  return value;
}

bool IsLeapYear(int y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

int DaysInMonth(int year, int month) {
  constexpr int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

std::u16string NumberProblem(std::u16string_view text) {
  const auto slash = text.find(u'/');
  const auto n = Digits(text.substr(0, slash), 4);
  if (!n || *n == 0) return u"Type a number from 1, as \"3\", or with the count, as \"3/12\".";
  if (slash == std::u16string_view::npos) return {};
  const auto of = Digits(text.substr(slash + 1), 4);
  if (!of || *of == 0) return u"After \"/\" comes the count, as in \"3/12\".";
  if (*n > *of) return u"The number cannot be above the count after \"/\".";
  return {};
}

std::u16string DateProblem(std::u16string_view text) {
  constexpr std::u16string_view kForms = u"Type a year, a year and month, or a full date: 2004, 2004-05 or 2004-05-28.";
  if (!(text.size() == 4 || text.size() == 7 || text.size() == 10)) return std::u16string(kForms);
  const auto year = Digits(text.substr(0, 4), 4);
  if (!year || *year == 0) return std::u16string(kForms);
  if (text.size() == 4) return {};
  if (text[4] != u'-') return std::u16string(kForms);
  const auto month = Digits(text.substr(5, 2), 2);
  if (!month || text.substr(5, 2).size() != 2) return std::u16string(kForms);
  if (*month < 1 || *month > 12) return u"The month is 01 to 12.";
  if (text.size() == 7) return {};
  if (text[7] != u'-') return std::u16string(kForms);
  const auto day = Digits(text.substr(8, 2), 2);
  if (!day) return std::u16string(kForms);
  if (*day < 1 || *day > DaysInMonth(*year, *month)) return u"That month has no such day.";
  return {};
}
}  // namespace

std::u16string FieldProblem(FieldKind kind, std::u16string_view text) {
  if (text.empty()) return {};
  switch (kind) {
    case FieldKind::Number:
      return NumberProblem(text);
    case FieldKind::Date:
      return DateProblem(text);
    case FieldKind::Text:
      break;
  }
  return {};
}

CalendarDate ParseDate(std::u16string_view text) {
  if (text.empty() || !FieldProblem(FieldKind::Date, text).empty()) return {};
  CalendarDate d;
  d.year = *Digits(text.substr(0, 4), 4);
  if (text.size() >= 7) d.month = *Digits(text.substr(5, 2), 2);
  if (text.size() == 10) d.day = *Digits(text.substr(8, 2), 2);
  return d;
}

std::u16string FormatDate(const CalendarDate& date) {
  std::u16string out;
  const auto put = [&out](int value, int width) {
    for (int div = width == 4 ? 1000 : 10; div > 0; div /= 10) out.push_back(char16_t(u'0' + value / div % 10));
  };
  put(date.year, 4);
  out.push_back(u'-');
  put(date.month, 2);
  out.push_back(u'-');
  put(date.day, 2);
  return out;
}
