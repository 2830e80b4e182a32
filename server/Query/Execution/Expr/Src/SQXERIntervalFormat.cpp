#include "SQXERIntervalFormat.h"

#include <algorithm>

#include "Utility/ErrorMessage.h"

namespace sqxer {
namespace {

constexpr int kNoElementOfIntervals = 59062;
constexpr int kMonthsOfYear = 12;
constexpr int64 kDaysOfMonth = 30;

/// A month's number as Roman digits are found by: from the end of the year where it is negative,
/// and by the sign of the years where there is none.
std::size_t FindRomanMonth(int year, int month) {
  const int found = month > 0 ? month : month < 0 ? kMonthsOfYear + 1 + month : year >= 0 ? 12 : 1;
  return static_cast<std::size_t>(found);
}

}  // namespace

bool IntervalFormat::IsOfCalendar(Element element) {
  switch (element) {
    case Element::kEra:
    case Element::kIsoYear4:
    case Element::kIsoYear3:
    case Element::kIsoYear2:
    case Element::kIsoYear1:
    case Element::kMonthName:
    case Element::kMonthShort:
    case Element::kDayName:
    case Element::kDayShort:
    case Element::kIsoDayOfYear:
    case Element::kDayOfWeek:
    case Element::kIsoDayOfWeek:
    case Element::kIsoWeek:
    case Element::kJulianDay:
    case Element::kZone:
    case Element::kZoneHours:
    case Element::kZoneMinutes:
      return true;
    default:
      return false;
  }
}

IntervalFormat::IntervalFormat(std::wstring_view format) : MomentFormat(format) {
  const bool isOfCalendar = std::ranges::any_of(
      GetPieces(), [](const Piece& piece) { return IsOfCalendar(piece.element); });
  if (isOfCalendar) SUGThrow(ErrorMessage(kNoElementOfIntervals, {XeString(format)}));
}

void IntervalFormat::Write(const XeInterval& interval, XeString& out) const {
  for (const Piece& piece : GetPieces()) {
    if (piece.element == Element::kLiteral) {
      out += piece.literal;
    } else {
      WriteElement(piece, interval, out);
    }
  }
}

void IntervalFormat::WriteElement(const Piece& piece, const XeInterval& interval, XeString& out) {
  constexpr int64 kMicrosecondsOfSecond = 1'000'000;
  const int64 seconds = interval.microseconds / kMicrosecondsOfSecond;
  const Clock clock{seconds / 3600, seconds / 60 % 60, seconds % 60,
                    interval.microseconds % kMicrosecondsOfSecond};
  if (WriteClock(piece, clock, out)) return;
  const int year = interval.months / kMonthsOfYear;
  const int month = interval.months % kMonthsOfYear;
  const int64 day = interval.days;
  // About how many days there are.
  const int64 dayOfAll = int64{interval.months} * kDaysOfMonth + day;
  const auto number = [&](int64 value, std::size_t width) {
    WriteNumber(piece, value, width, out);
  };
  switch (piece.element) {
    case Element::kYearWithComma:
      out += std::to_wstring(year / 1000) + L',';
      return WriteAllDigits(piece, year % 1000, 3, out);
    case Element::kYear4:
      return number(year, 4);
    case Element::kYear3:
      return number(year % 1000, 3);
    case Element::kYear2:
      return number(year % 100, 2);
    case Element::kYear1:
      return number(year % 10, 1);
    case Element::kMonth:
      return number(month, 2);
    case Element::kDayOfYear:
      return number(dayOfAll, 3);
    case Element::kDay:
      // The sign is one of the two characters.
      return number(day, day < 0 ? 1 : 2);
    case Element::kWeekOfMonth:
      return number((day - 1) / 7 + 1, 0);
    case Element::kWeek:
      return number((dayOfAll - 1) / 7 + 1, 2);
    case Element::kCentury:
      return number(year / 100, 2);
    case Element::kQuarter:
      if (month != 0) number((month - 1) / 3 + 1, 0);
      return;
    case Element::kRomanMonth:
      if (interval.months != 0)
        WriteName(piece, RomanMonth(FindRomanMonth(year, month)), kLongestRoman, out);
      return;
    default:
      return;
  }
}

}  // namespace sqxer
