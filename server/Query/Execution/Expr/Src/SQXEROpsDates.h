#pragma once

#include <cmath>

#include "SQXERBatchCalendar.h"
#include "SQXEROpFunction.h"
#include "Utility/XeCalendar.h"
#include "Utility/XeDateTime.h"

namespace sqxer {

/// The units that moments are cut to.
enum class TruncUnit : int32 {
  kMicrosecond,
  kMillisecond,
  kSecond,
  kMinute,
  kHour,
  kDay,
  /// From Monday on, as in all that follow the ISO calendar.
  kWeek,
  kMonth,
  kQuarter,
  kYear,
  kDecade,
  kCentury,
  kMillennium,
};

/// The first year of a span of years, of which decades count from year 0 and the others from
/// year 1. Centuries and millennia before year 1 are mirrored, since there was no year 0.
constexpr int FirstYearOf(TruncUnit unit, int year) {
  const auto floorDiv = [](int a, int b) { return a / b - (a % b < 0 ? 1 : 0); };
  switch (unit) {
    case TruncUnit::kDecade:
      return floorDiv(year, 10) * 10;
    case TruncUnit::kCentury:
      return floorDiv(year - 1, 100) * 100 + 1;
    case TruncUnit::kMillennium:
      return floorDiv(year - 1, 1000) * 1000 + 1;
    default:
      return year;
  }
}

/// DATE_TRUNC: the moment at which a moment's unit began.
struct DateTruncOp {
  static XeDate OfDay(TruncUnit unit, const XeDate& day) {
    switch (unit) {
      case TruncUnit::kWeek:
        // 1 is Sunday, which ends a week.
        return XeCalendar::AddDays(day, -((XeCalendar::DayOfWeek(day) + 5) % 7));
      case TruncUnit::kMonth:
        return XeDate(day.GetYear(), day.GetMonth(), 1);
      case TruncUnit::kQuarter:
        return XeDate(day.GetYear(), (day.GetMonth() - 1) / 3 * 3 + 1, 1);
      case TruncUnit::kYear:
      case TruncUnit::kDecade:
      case TruncUnit::kCentury:
      case TruncUnit::kMillennium: {
        const XeDate first(FirstYearOf(unit, day.GetYear()), 1, 1);
        XeCalendar::RequireDay(first);
        return first;
      }
      default:
        return day;
    }
  }
  static XeDateTime Apply(TruncUnit unit, const XeDateTime& moment) {
    if (unit >= TruncUnit::kDay) return XeDateTime(OfDay(unit, moment.GetDate()));
    XeDateTime cut = moment;
    const uint32 step = unit == TruncUnit::kMicrosecond   ? 1'000
                        : unit == TruncUnit::kMillisecond ? 1'000'000
                                                          : 1'000'000'000;
    cut.SetNanosecond(moment.GetNanosecond() / step * step);
    if (unit >= TruncUnit::kMinute) cut.SetSecond(0);
    if (unit >= TruncUnit::kHour) cut.SetMinute(0);
    return cut;
  }
  /// Of units of a fixed length, which days are made of: how many microseconds.
  static constexpr int64 MicrosecondsOf(TruncUnit unit) {
    switch (unit) {
      case TruncUnit::kMicrosecond:
        return 1;
      case TruncUnit::kMillisecond:
        return 1'000;
      case TruncUnit::kSecond:
        return 1'000'000;
      case TruncUnit::kMinute:
        return 60'000'000;
      case TruncUnit::kHour:
        return 3'600'000'000;
      default:
        return kMicrosecondsPerDay;
    }
  }
  /// The last multiple of a length that is not above the value. Of the least values, which no
  /// moment has but rows of a batch that do not count may, it is any number.
  static constexpr int64 CutTo(int64 length, int64 value) {
    const int64 rest = value % length;
    const int64 below = rest + (rest < 0 ? length : 0);
    return static_cast<int64>(static_cast<uint64>(value) - static_cast<uint64>(below));
  }
};

// Parts of a moment that the calendar of EXTRACT has not. Of BC years they count without a year 0.

/// The year that people say: 0 is 1 BC, which is -1.
constexpr int SaidYear(int year) { return year > 0 ? year : year - 1; }

struct IsoCalendar {
  /// Its Thursday decides to which year a week belongs.
  static XeDate ThursdayOf(const XeDateTime& moment) {
    return XeCalendar::AddDays(DateTruncOp::OfDay(TruncUnit::kWeek, moment.GetDate()), 3);
  }
};
/// The number of the Thursday in the week of a day; day 0 is one.
constexpr int32 ThursdayOfDay(int32 day) {
  constexpr auto kFirst = static_cast<int32>(DateTruncOp::CutTo(7, kCalendarDays.least) - 7);
  const auto since = static_cast<uint32>(WithinCalendar(day) + 3 - kFirst);
  return static_cast<int32>(since - since % 7) + kFirst;
}
inline int YearOfDay(int32 day) { return static_cast<int>(ReadCalendarDay(day).year()); }

// OfDay gives the same of a day's number.
struct IsoYearOp {
  using Operands = std::tuple<XeDateTime>;
  static constexpr const wchar_t* kName = L"IsoYear";
  static constexpr bool kOnBytes = false;
  static int32 Apply(const XeDateTime& moment) {
    return SaidYear(IsoCalendar::ThursdayOf(moment).GetYear());
  }
  static int32 OfDay(int32 day) { return SaidYear(YearOfDay(ThursdayOfDay(day))); }
};
struct IsoWeekOp {
  using Operands = std::tuple<XeDateTime>;
  static constexpr const wchar_t* kName = L"IsoWeek";
  static constexpr bool kOnBytes = false;
  static int32 Apply(const XeDateTime& moment) {
    return (XeCalendar::DayOfYear(IsoCalendar::ThursdayOf(moment)) - 1) / 7 + 1;
  }
  static int32 OfDay(int32 day) {
    const int32 thursday = ThursdayOfDay(day);
    return static_cast<int32>((thursday - FirstDayOfYear(YearOfDay(thursday))) / 7) + 1;
  }
};
/// 1 is Monday.
struct IsoDayOfWeekOp {
  using Operands = std::tuple<XeDateTime>;
  static constexpr const wchar_t* kName = L"IsoDayOfWeek";
  static constexpr bool kOnBytes = false;
  static int32 Apply(const XeDateTime& moment) {
    return (XeCalendar::DayOfWeek(moment.GetDate()) + 5) % 7 + 1;
  }
  static int32 OfDay(int32 day) { return WithinCalendar(day) - ThursdayOfDay(day) + 4; }
};
struct DecadeOp {
  using Operands = std::tuple<XeDateTime>;
  static constexpr const wchar_t* kName = L"Decade";
  static constexpr bool kOnBytes = false;
  static int32 Apply(const XeDateTime& moment) { return OfYear(moment.GetYear()); }
  static int32 OfDay(int32 day) { return OfYear(YearOfDay(day)); }

 private:
  static int32 OfYear(int year) { return FirstYearOf(TruncUnit::kDecade, year) / 10; }
};
template <int years>
struct SpanOfYearsOp {
  using Operands = std::tuple<XeDateTime>;
  static constexpr const wchar_t* kName = years == 100 ? L"Century" : L"Millennium";
  static constexpr bool kOnBytes = false;
  static int32 Apply(const XeDateTime& moment) { return OfYear(SaidYear(moment.GetYear())); }
  static int32 OfDay(int32 day) { return OfYear(SaidYear(YearOfDay(day))); }

 private:
  static int32 OfYear(int year) {
    return year > 0 ? (year + years - 1) / years : -((years - 1 - year) / years);
  }
};

/// Microseconds since 1970-01-01 00:00:00.
inline int64 EpochMicroseconds(const XeDateTime& moment) {
  return XeDateTime::DifferenceInMicroseconds(moment, XeDateTime(1970, 1, 1));
}
/// Seconds since then.
struct EpochOp {
  using Operands = std::tuple<XeDateTime>;
  static constexpr const wchar_t* kName = L"Epoch";
  static constexpr bool kOnBytes = false;
  static VelmarNumber Apply(const XeDateTime& moment) {
    return VelmarNumber::FromScaled(EpochMicroseconds(moment), 6);
  }
};
/// Of a time of day: seconds since midnight.
struct EpochOfTimeOp {
  using Operands = std::tuple<XeDateTime>;
  static constexpr const wchar_t* kName = L"EpochOfTime";
  static constexpr bool kOnBytes = false;
  static VelmarNumber Apply(const XeDateTime& moment) {
    const XeDateTime midnight(moment.GetDate());
    return VelmarNumber::FromScaled(XeDateTime::DifferenceInMicroseconds(moment, midnight), 6);
  }
};
/// Days since noon of 1 January 4713 BC, the one of today as a whole.
struct JulianOp {
  using Operands = std::tuple<XeDateTime>;
  static constexpr const wchar_t* kName = L"Julian";
  static constexpr bool kOnBytes = false;
  static int64 DayOf(const XeDateTime& moment) {
    constexpr int64 kEpochDay = 2440588;
    const int64 midnight = DateTruncOp::CutTo(kMicrosecondsPerDay, EpochMicroseconds(moment));
    return kEpochDay + midnight / kMicrosecondsPerDay;
  }
  static VelmarNumber Apply(const XeDateTime& moment) {
    const int64 microseconds = EpochMicroseconds(moment);
    const int64 midnight = DateTruncOp::CutTo(kMicrosecondsPerDay, microseconds);
    return VelmarNumber::Plus(VelmarNumber(DayOf(moment)),
                              VelmarNumber::Divide(VelmarNumber(microseconds - midnight),
                                                   VelmarNumber(kMicrosecondsPerDay)));
  }
};
/// The seconds of the minute in thousandths, and in millionths.
struct MillisecondsOp {
  using Operands = std::tuple<XeDateTime>;
  static constexpr const wchar_t* kName = L"Milliseconds";
  static constexpr bool kOnBytes = false;
  static VelmarNumber Apply(const XeDateTime& moment) {
    return VelmarNumber::FromScaled(
        int64{moment.GetSecond()} * 1'000'000 + moment.GetNanosecond() / 1000, 3);
  }
};
struct MicrosecondsOp {
  using Operands = std::tuple<XeDateTime>;
  static constexpr const wchar_t* kName = L"Microseconds";
  static constexpr bool kOnBytes = false;
  static int32 Apply(const XeDateTime& moment) {
    return static_cast<int32>(int64{moment.GetSecond()} * 1'000'000 +
                              moment.GetNanosecond() / 1000);
  }
};

/// The last day of the moment's month.
struct LastDayOp {
  using Operands = std::tuple<XeDateTime>;
  static constexpr const wchar_t* kName = L"LastDay";
  static constexpr bool kOnBytes = false;
  static XeDate Apply(const XeDateTime& moment) {
    return XeDate(moment.GetYear(), moment.GetMonth(),
                  XeCalendar::DaysInMonth(moment.GetYear(), moment.GetMonth()));
  }
  static int32 OfDay(int32 day) {
    const std::chrono::year_month_day date = ReadCalendarDay(day);
    const auto month = static_cast<unsigned>(date.month());
    // Months of 31 days alternate with shorter ones, and again from August on.
    const unsigned last = month == 2 ? 28 + date.year().is_leap() : 30 + ((month + month / 8) & 1);
    return WithinCalendar(day) + static_cast<int32>(last - static_cast<unsigned>(date.day()));
  }
};

/// The day of a year, month and day; -1 is the year before 1. Error 59171 (the parts) for what is
/// no day, or year 0.
struct MakeDateOp {
  using Operands = std::tuple<CountOperand, CountOperand, CountOperand>;
  static constexpr const wchar_t* kName = L"MakeDate";
  static constexpr bool kOnBytes = false;
  static bool IsDay(int32 year, int32 month, int32 day) {
    if (year < kMinYear || year > kMaxYear || year == 0) return false;
    if (month < 1 || month > 12 || day < 1) return false;
    return day <= 28 || day <= XeCalendar::DaysInMonth(Counted(year), month);
  }
  /// With a year 0.
  static constexpr int32 Counted(int32 year) { return year > 0 ? year : year + 1; }
  static XeDate Apply(int32 year, int32 month, int32 day) {
    if (!IsDay(year, month, day)) [[unlikely]]
      SUGThrow(ErrorMessage(59171, {std::to_wstring(year) + L"-" + std::to_wstring(month) + L"-" +
                                    std::to_wstring(day)}));
    return XeDate(Counted(year), month, day);
  }
};

/// A time of day from hour, minute and seconds with their fraction, rounded to microseconds: 60
/// seconds are the next minute. Error 59171 (the parts) for what is none.
struct MakeTimestampOp {
  using Operands =
      std::tuple<CountOperand, CountOperand, CountOperand, CountOperand, CountOperand, float64>;
  static constexpr const wchar_t* kName = L"MakeTimestamp";
  static constexpr bool kOnBytes = false;
  static XeDateTime Apply(int32 year, int32 month, int32 day, int32 hour, int32 minute,
                          float64 second) {
    XeDateTime moment(MakeDateOp::Apply(year, month, day));
    const bool isEndOfDay = hour == 24 && minute == 0 && second == 0;
    const bool isTime = hour >= 0 && (hour < 24 || isEndOfDay) && minute >= 0 && minute < 60 &&
                        second >= 0 && second <= 60;
    if (!isTime) [[unlikely]]
      SUGThrow(
          ErrorMessage(59171, {std::to_wstring(hour) + L":" + std::to_wstring(minute) + L":" +
                               VelmarNumber(std::isfinite(second) ? second : -1.0).asString()}));
    const auto microseconds = static_cast<int64>(std::llrint(second * 1e6));
    moment.AddMinutes(int64{hour} * 60 + minute);
    moment.AddSeconds(microseconds / 1'000'000);
    moment.SetNanosecond(static_cast<uint32>(microseconds % 1'000'000 * 1000));
    return moment;
  }
};

/// A day so many days later.
struct AddDaysOp {
  using Operands = std::tuple<XeDate, CountOperand>;
  static constexpr const wchar_t* kName = L"AddDays";
  static constexpr bool kOnBytes = false;
  static XeDate Apply(const XeDate& day, int32 days) { return XeCalendar::AddDays(day, days); }
  static constexpr int64 OfDays(int64 day, int64 days) { return day + days; }
};
struct SubtractDaysOp {
  using Operands = std::tuple<XeDate, CountOperand>;
  static constexpr const wchar_t* kName = L"SubtractDays";
  static constexpr bool kOnBytes = false;
  static XeDate Apply(const XeDate& day, int32 days) {
    return XeCalendar::AddDays(day, -int64{days});
  }
  static constexpr int64 OfDays(int64 day, int64 days) { return day - days; }
};
/// The days from the second day to the first.
struct DaysBetweenOp {
  using Operands = std::tuple<XeDate, XeDate>;
  static constexpr const wchar_t* kName = L"DaysBetween";
  static constexpr bool kOnBytes = false;
  static int32 Apply(const XeDate& end, const XeDate& start) {
    return static_cast<int32>(XeCalendar::DayNumber(end) - XeCalendar::DayNumber(start));
  }
  static constexpr int64 OfDays(int64 end, int64 start) { return end - start; }
};

}  // namespace sqxer
