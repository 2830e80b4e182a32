#pragma once

#include <algorithm>
#include <cmath>

#include "SQXEROpsDates.h"
#include "SQXEROpsInterval.h"
#include "Utility/XeCalendar.h"

namespace sqxer {

/// The parts of an interval for EXTRACT.
enum class IntervalPart : int32 {
  kMicroseconds,
  kMilliseconds,
  kSecond,
  kMinute,
  kHour,
  kDay,
  kMonth,
  kQuarter,
  kYear,
  kDecade,
  kCentury,
  kMillennium,
  kEpoch,
};

/// A part of an interval, with its sign. Hours, and seconds with their fraction, are decimals, the
/// others integers. The epoch is all of it in seconds, where a year has 365.25 days.
template <IntervalPart part>
struct IntervalPartOp {
  using Operands = std::tuple<XeInterval>;
  static constexpr const wchar_t* kName = L"IntervalPart";
  static constexpr bool kOnBytes = false;
  static auto Apply(const XeInterval& value) {
    const int64 second = value.microseconds % 60'000'000;
    const int32 year = value.months / 12;
    if constexpr (part == IntervalPart::kEpoch) {
      const int128 days =
          int128{year} * 36525 + (int128{value.months % 12} * kDaysOfMonth + value.days) * 100;
      return VelmarNumber::FromScaled(days * (kMicrosecondsOfDay / 100) + value.microseconds, 6);
    } else if constexpr (part == IntervalPart::kMicroseconds) {
      return static_cast<int32>(second);
    } else if constexpr (part == IntervalPart::kMilliseconds) {
      return VelmarNumber::FromScaled(second, 3);
    } else if constexpr (part == IntervalPart::kSecond) {
      return VelmarNumber::FromScaled(second, 6);
    } else if constexpr (part == IntervalPart::kMinute) {
      return static_cast<int32>(value.microseconds / 60'000'000 % 60);
    } else if constexpr (part == IntervalPart::kHour) {
      return VelmarNumber(value.microseconds / 3'600'000'000);
    } else if constexpr (part == IntervalPart::kDay) {
      return value.days;
    } else if constexpr (part == IntervalPart::kMonth) {
      return value.months % 12;
    } else if constexpr (part == IntervalPart::kQuarter) {
      return value.months % 12 / 3 + 1;
    } else {
      constexpr int32 kYears = part == IntervalPart::kYear      ? 1
                               : part == IntervalPart::kDecade  ? 10
                               : part == IntervalPart::kCentury ? 100
                                                                : 1000;
      return year / kYears;
    }
  }
};

/// DATE_TRUNC of an interval: what lies below the unit is cut. Months have no whole weeks, so there
/// is no such unit.
struct IntervalTruncOp {
  static XeInterval Apply(TruncUnit unit, const XeInterval& value) {
    XeInterval cut = value;
    const int32 months = unit == TruncUnit::kQuarter      ? 3
                         : unit == TruncUnit::kYear       ? 12
                         : unit == TruncUnit::kDecade     ? 120
                         : unit == TruncUnit::kCentury    ? 1'200
                         : unit == TruncUnit::kMillennium ? 12'000
                                                          : 1;
    cut.months -= cut.months % months;
    if (unit > TruncUnit::kDay) cut.days = 0;
    if (unit >= TruncUnit::kDay) {
      cut.microseconds = 0;
    } else {
      cut.microseconds -= cut.microseconds % DateTruncOp::MicrosecondsOf(unit);
    }
    return cut;
  }
};

/// How the parts of an interval are carried on: 30 days to a month, 24 hours to a day. Afterwards
/// they have one sign. Error 59050.
struct JustifyInterval {
  static void CarryDays(XeInterval& value) { Carry(value, value.days, kDaysOfMonth, value.months); }
  static void CarryHours(XeInterval& value) {
    Carry(value, value.microseconds, kMicrosecondsOfDay, value.days);
  }
  /// Brings the lower part to the sign of the higher one.
  template <class Low>
  static void Align(Low& low, Low unit, int32& high, bool isBelow, bool isAbove) {
    if (high > 0 && isBelow) {
      low += unit;
      --high;
    } else if (high < 0 && isAbove) {
      low -= unit;
      ++high;
    }
  }

 private:
  template <class Low, class Unit>
  static void Carry(const XeInterval& value, Low& low, Unit unit, int32& high) {
    const auto whole = static_cast<int32>(low / static_cast<Low>(unit));
    const XeInterval before = value;
    low %= static_cast<Low>(unit);
    if (__builtin_add_overflow(high, whole, &high)) [[unlikely]]
      ThrowIntervalOverflow(IntervalText(before));
  }
};
struct JustifyDaysOp {
  using Operands = std::tuple<XeInterval>;
  static constexpr const wchar_t* kName = L"JustifyDays";
  static constexpr bool kOnBytes = false;
  static XeInterval Apply(XeInterval value) {
    JustifyInterval::CarryDays(value);
    JustifyInterval::Align(value.days, kDaysOfMonth, value.months, value.days<0, value.days> 0);
    return value;
  }
};
struct JustifyHoursOp {
  using Operands = std::tuple<XeInterval>;
  static constexpr const wchar_t* kName = L"JustifyHours";
  static constexpr bool kOnBytes = false;
  static XeInterval Apply(XeInterval value) {
    JustifyInterval::CarryHours(value);
    JustifyInterval::Align(value.microseconds, kMicrosecondsOfDay, value.days,
                           value.microseconds<0, value.microseconds> 0);
    return value;
  }
};
struct JustifyIntervalOp {
  using Operands = std::tuple<XeInterval>;
  static constexpr const wchar_t* kName = L"JustifyInterval";
  static constexpr bool kOnBytes = false;
  static XeInterval Apply(XeInterval value) {
    // Whole months go first where days would overflow by the hours.
    const bool isOneSign =
        (value.days > 0 && value.microseconds > 0) || (value.days < 0 && value.microseconds < 0);
    if (isOneSign) JustifyInterval::CarryDays(value);
    JustifyInterval::CarryHours(value);
    JustifyInterval::CarryDays(value);
    const auto& [months, days, time] = value;
    JustifyInterval::Align(value.days, kDaysOfMonth, value.months,
                           days < 0 || (days == 0 && time < 0),
                           days > 0 || (days == 0 && time > 0));
    JustifyInterval::Align(value.microseconds, kMicrosecondsOfDay, value.days, time<0, time> 0);
    return value;
  }
};

/// The interval of years, months, weeks, days, hours, minutes and seconds with their fraction.
/// Error 59050.
struct MakeIntervalOp {
  using Operands = std::tuple<CountOperand, CountOperand, CountOperand, CountOperand, CountOperand,
                              CountOperand, float64>;
  static constexpr const wchar_t* kName = L"MakeInterval";
  static constexpr bool kOnBytes = false;
  static XeInterval Apply(int32 years, int32 months, int32 weeks, int32 days, int32 hours,
                          int32 minutes, float64 seconds) {
    const int64 allMonths = int64{years} * 12 + months;
    const int64 allDays = int64{weeks} * 7 + days;
    const float64 microseconds = std::rint(seconds * 1e6);
    const int64 minute = (int64{hours} * 60 + minutes) * 60'000'000;
    int64 time = 0;
    const bool isTime = std::abs(microseconds) < 0x1p63 &&
                        !__builtin_add_overflow(minute, static_cast<int64>(microseconds), &time);
    if (!isTime || !std::in_range<int32>(allMonths) || !std::in_range<int32>(allDays)) [[unlikely]]
      ThrowIntervalOverflow(std::to_wstring(allMonths) + L" months " + std::to_wstring(allDays) +
                            L" days " + MultiplyIntervalOp::FactorText(seconds) + L" seconds");
    return {static_cast<int32>(allMonths), static_cast<int32>(allDays), time};
  }
};

/// AGE: the time from the second moment to the first in years, months and days of the calendar and
/// a time, all of one sign.
struct AgeOp {
  using Operands = std::tuple<XeDateTime, XeDateTime>;
  static constexpr const wchar_t* kName = L"Age";
  static constexpr bool kOnBytes = false;
  static XeInterval Apply(const XeDateTime& end, const XeDateTime& start) {
    const bool isNegative = end < start;
    const XeDateTime& later = isNegative ? start : end;
    const XeDateTime& earlier = isNegative ? end : start;
    int32 months =
        (later.GetYear() - earlier.GetYear()) * 12 + later.GetMonth() - earlier.GetMonth();
    int32 days = later.GetDay() - earlier.GetDay();
    int64 time = TimeDifferenceOp::Apply(later.GetTime(), earlier.GetTime()).microseconds;
    if (time < 0) {
      time += kMicrosecondsOfDay;
      --days;
    }
    while (days < 0) {
      // A month is as long as the one in which the time begins.
      days += XeCalendar::DaysInMonth(earlier.GetYear(), earlier.GetMonth());
      --months;
    }
    const XeInterval age{months, days, time};
    return isNegative ? NegateIntervalOp::Apply(age) : age;
  }
};

/// DATE_BIN: the last moment not after `moment` that is a whole number of widths away from the
/// origin. Error 59051 for a width that is not above 0, or has months.
struct DateBinOp {
  using Operands = std::tuple<XeInterval, XeDateTime, XeDateTime>;
  static constexpr const wchar_t* kName = L"DateBin";
  static constexpr bool kOnBytes = false;
  static XeDateTime Apply(const XeInterval& width, const XeDateTime& moment,
                          const XeDateTime& origin) {
    int64 length;
    if (width.months != 0 ||
        __builtin_mul_overflow(int64{width.days}, kMicrosecondsOfDay, &length) ||
        __builtin_add_overflow(length, width.microseconds, &length) || length <= 0) [[unlikely]] {
      SUGThrow(ErrorMessage(59051, {IntervalText(width)}));
    }
    // What is finer than a microsecond lies in the bin that began before it.
    int64 elapsed = XeDateTime::DifferenceInMicroseconds(moment, origin);
    XeDateTime bin = origin;
    bin.AddMicroseconds(DateTruncOp::CutTo(length, elapsed));
    if (moment < bin) bin.AddMicroseconds(-length);
    return bin;
  }
};

}  // namespace sqxer
