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

/// The parts of an interval taken for a day of the calendar, as weeks and Julian days of it are
/// told: any number of days may follow the month, and months run from -11 to 11.
class NominalDay {
 public:
  NominalDay(int64 year, int64 month, int64 day)
      : year_(year), julian_(JulianOf(year, month, day)) {}

  int64 GetJulian() const { return julian_; }
  /// The year whose weeks it is in: those hold at least four of its days.
  int64 GetIsoYear() const {
    if (julian_ < FirstOfIsoYear(year_)) return year_ - 1;
    return julian_ < FirstOfIsoYear(year_ + 1) ? year_ : year_ + 1;
  }
  int64 GetIsoWeek() const { return (GetIsoDayOfYear() - 1) / 7 + 1; }
  int64 GetIsoDayOfYear() const { return julian_ - FirstOfIsoYear(GetIsoYear()) + 1; }

 private:
  /// Years begin in March here, so that the day of leap years is their last one. The days of the
  /// months before a month follow a line of 7834/256.
  static int64 JulianOf(int64 year, int64 month, int64 day) {
    const bool isAfterFebruary = month > 2;
    const int64 place = month + (isAfterFebruary ? 1 : 13);
    const int64 counted = year + (isAfterFebruary ? 4800 : 4799);
    const int64 leapDays = counted / 4 - counted / 100 + counted / 100 / 4;
    return counted * 365 + leapDays + 7834 * place / 256 + day - 32167;
  }
  static int64 FirstOfIsoYear(int64 year) {
    // The fourth of January is in the first week. A Julian day 0 is a Monday.
    const int64 fourth = JulianOf(year, 1, 4);
    const int64 weekday = fourth % 7;
    return fourth - (weekday < 0 ? weekday + 7 : weekday);
  }

  int64 year_;
  int64 julian_;
};

}  // namespace

bool IntervalFormat::IsOfCalendar(Element element) {
  switch (element) {
    case Element::kEra:
    case Element::kMonthName:
    case Element::kMonthShort:
    case Element::kDayName:
    case Element::kDayShort:
    case Element::kDayOfWeek:
    case Element::kIsoDayOfWeek:
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
  const NominalDay nominal(year, month, day);
  const auto number = [&](int64 value, std::size_t width) {
    WriteNumber(piece, value, width, out);
  };
  // The sign is one of the characters.
  const auto signedNumber = [&](int64 value, std::size_t width) {
    number(value, value < 0 ? width - 1 : width);
  };
  // There is room for a sign where the years have one, whether or not it comes.
  const auto isoYear = [&](int64 shown, std::size_t width) {
    signedNumber(shown, year < 0 ? width + 1 : width);
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
    case Element::kIsoYear4:
      return isoYear(nominal.GetIsoYear(), 4);
    case Element::kIsoYear3:
      return isoYear(nominal.GetIsoYear() % 1000, 3);
    case Element::kIsoYear2:
      return isoYear(nominal.GetIsoYear() % 100, 2);
    case Element::kIsoYear1:
      return isoYear(nominal.GetIsoYear() % 10, 1);
    case Element::kMonth:
      return number(month, 2);
    case Element::kDayOfYear:
      return number(dayOfAll, 3);
    case Element::kDay:
      return signedNumber(day, 2);
    case Element::kIsoDayOfYear:
      return signedNumber(nominal.GetIsoDayOfYear(), 3);
    case Element::kIsoWeek:
      return signedNumber(nominal.GetIsoWeek(), 2);
    case Element::kJulianDay:
      return number(nominal.GetJulian(), 0);
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
