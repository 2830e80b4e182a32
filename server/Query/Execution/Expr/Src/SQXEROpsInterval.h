#pragma once

#include <cmath>
#include <cstdlib>
#include <tuple>
#include <utility>

#include "Utility/ErrorMessage.h"
#include "Utility/NumberText.h"
#include "Utility/XeDateTime.h"
#include "Utility/XeInterval.h"

namespace sqxer {

/// Error 59050: an interval beyond its parts (the computation in words).
inline constexpr int kIntervalOverflow = 59050;
inline constexpr int64 kMicrosecondsOfDay = 86'400'000'000;
inline constexpr int kDaysOfMonth = 30;

[[noreturn]] inline void ThrowIntervalOverflow(XeString computation) {
  SUGThrow(ErrorMessage(kIntervalOverflow, {std::move(computation)}));
}

/// A moment later by an interval: by its months first, where a day that the month does not have
/// becomes its last one, then by its days, then by its time. Error 59171 (the sum in words) where
/// one of the three leaves the calendar.
struct AddIntervalOp {
  using Operands = std::tuple<XeDateTime, XeInterval>;
  static constexpr const wchar_t* kName = L"AddInterval";
  static constexpr bool kOnBytes = false;
  static constexpr int64 kSign = 1;
  static XeDateTime Apply(const XeDateTime& moment, const XeInterval& interval) {
    XeDateTime sum = moment;
    if (interval.months != 0) sum.AddMonths(interval.months);
    if (interval.days != 0) sum.AddDays(interval.days);
    if (interval.microseconds != 0) sum.AddMicroseconds(interval.microseconds);
    return sum;
  }
};

/// -interval. Error 59050 for the least value of a part, which has no negation.
struct NegateIntervalOp {
  using Operands = std::tuple<XeInterval>;
  static constexpr const wchar_t* kName = L"NegateInterval";
  static constexpr bool kOnBytes = false;
  static XeInterval Apply(const XeInterval& value) {
    XeInterval negated;
    if (__builtin_sub_overflow(0, value.months, &negated.months) ||
        __builtin_sub_overflow(0, value.days, &negated.days) ||
        __builtin_sub_overflow(0, value.microseconds, &negated.microseconds)) [[unlikely]] {
      ThrowIntervalOverflow(L"-(" + IntervalText(value) + L")");
    }
    return negated;
  }
};

/// A moment earlier by an interval.
struct SubtractIntervalOp {
  using Operands = std::tuple<XeDateTime, XeInterval>;
  static constexpr const wchar_t* kName = L"SubtractInterval";
  static constexpr bool kOnBytes = false;
  static constexpr int64 kSign = -1;
  static XeDateTime Apply(const XeDateTime& moment, const XeInterval& interval) {
    return AddIntervalOp::Apply(moment, NegateIntervalOp::Apply(interval));
  }
};

/// A time of day later by the time of an interval, past midnight round and round.
struct AddIntervalToTimeOp {
  using Operands = std::tuple<XeTime, XeInterval>;
  static constexpr const wchar_t* kName = L"AddIntervalToTime";
  static constexpr bool kOnBytes = false;
  static XeTime Apply(const XeTime& time, const XeInterval& interval) {
    return Add(time, interval.microseconds % kMicrosecondsOfDay);
  }
  /// Less than a day.
  static XeTime Add(const XeTime& time, int64 microseconds) {
    XeDateTime moment(2000, 1, 2, time.GetHour(), time.GetMinute(), time.GetSecond(),
                      time.GetNanosecond());
    moment.AddMicroseconds(microseconds);
    return moment.GetTime();
  }
};
struct SubtractIntervalFromTimeOp {
  using Operands = std::tuple<XeTime, XeInterval>;
  static constexpr const wchar_t* kName = L"SubtractIntervalFromTime";
  static constexpr bool kOnBytes = false;
  static XeTime Apply(const XeTime& time, const XeInterval& interval) {
    return AddIntervalToTimeOp::Add(time, -(interval.microseconds % kMicrosecondsOfDay));
  }
};

struct AddIntervalsOp {
  using Operands = std::tuple<XeInterval, XeInterval>;
  static constexpr const wchar_t* kName = L"AddIntervals";
  static constexpr bool kOnBytes = false;
  /// False where a part leaves its type.
  static bool TryAdd(const XeInterval& a, const XeInterval& b, XeInterval& sum) {
    return !__builtin_add_overflow(a.months, b.months, &sum.months) &&
           !__builtin_add_overflow(a.days, b.days, &sum.days) &&
           !__builtin_add_overflow(a.microseconds, b.microseconds, &sum.microseconds);
  }
  /// Error 59050.
  static XeInterval Apply(const XeInterval& a, const XeInterval& b) {
    XeInterval sum;
    if (!TryAdd(a, b, sum)) [[unlikely]] {
      ThrowIntervalOverflow(IntervalText(a) + L" + " + IntervalText(b));
    }
    return sum;
  }
};
struct SubtractIntervalsOp {
  using Operands = std::tuple<XeInterval, XeInterval>;
  static constexpr const wchar_t* kName = L"SubtractIntervals";
  static constexpr bool kOnBytes = false;
  /// Error 59050.
  static XeInterval Apply(const XeInterval& a, const XeInterval& b) {
    XeInterval difference;
    if (__builtin_sub_overflow(a.months, b.months, &difference.months) ||
        __builtin_sub_overflow(a.days, b.days, &difference.days) ||
        __builtin_sub_overflow(a.microseconds, b.microseconds, &difference.microseconds))
        [[unlikely]] {
      ThrowIntervalOverflow(IntervalText(a) + L" - " + IntervalText(b));
    }
    return difference;
  }
};

/// An interval of which each part is scaled. What is no whole number of months goes on into the
/// days, and of days into the time.
struct ScaleInterval {
  /// Scale(double) gives a part scaled. False where a part leaves its type, or is no number.
  template <class Scale>
  static bool Try(const XeInterval& value, Scale&& scale, XeInterval& out) {
    const float64 months = scale(static_cast<float64>(value.months));
    const float64 days = scale(static_cast<float64>(value.days));
    if (!HasInt32(months) || !HasInt32(days)) return false;
    out.months = static_cast<int32>(months);
    out.days = static_cast<int32>(days);
    const float64 restOfMonths = InMicroseconds((months - out.months) * kDaysOfMonth);
    const auto wholeDays = static_cast<int32>(restOfMonths);
    float64 seconds = InMicroseconds((days - out.days + restOfMonths - wholeDays) * kSecondsOfDay);
    int64 allDays = int64{out.days} + wholeDays;
    if (std::abs(seconds) >= kSecondsOfDay) {
      const auto more = static_cast<int32>(seconds / kSecondsOfDay);
      allDays += more;
      seconds -= more * kSecondsOfDay;
    }
    if (!std::in_range<int32>(allDays)) return false;
    out.days = static_cast<int32>(allDays);
    const float64 time = std::rint(scale(static_cast<float64>(value.microseconds)) + seconds * 1e6);
    if (!(time >= -0x1p63 && time < 0x1p63)) return false;
    out.microseconds = static_cast<int64>(time);
    return true;
  }

 private:
  static constexpr float64 kSecondsOfDay = 86'400;
  static bool HasInt32(float64 value) { return value >= INT32_MIN && value <= INT32_MAX; }
  /// Rounded to what an interval can tell.
  static float64 InMicroseconds(float64 value) { return std::rint(value * 1e6) / 1e6; }
};

/// interval * factor. Error 59050.
struct MultiplyIntervalOp {
  using Operands = std::tuple<XeInterval, float64>;
  static constexpr const wchar_t* kName = L"MultiplyInterval";
  static constexpr bool kOnBytes = false;
  static XeInterval Apply(const XeInterval& value, float64 factor) {
    XeInterval product;
    if (!ScaleInterval::Try(
            value, [factor](float64 part) { return part * factor; }, product)) [[unlikely]] {
      ThrowIntervalOverflow(IntervalText(value) + L" * " + FactorText(factor));
    }
    return product;
  }
  static XeString FactorText(float64 factor) {
    const RealText text(factor);
    return XeString(text.Get().begin(), text.Get().end());
  }
};
struct MultiplyByIntervalOp {
  using Operands = std::tuple<float64, XeInterval>;
  static constexpr const wchar_t* kName = L"MultiplyByInterval";
  static constexpr bool kOnBytes = false;
  static XeInterval Apply(float64 factor, const XeInterval& value) {
    return MultiplyIntervalOp::Apply(value, factor);
  }
};
/// interval / divisor. Errors 59008 for a divisor of 0, 59050.
struct DivideIntervalOp {
  using Operands = std::tuple<XeInterval, float64>;
  static constexpr const wchar_t* kName = L"DivideInterval";
  static constexpr bool kOnBytes = false;
  static XeInterval Apply(const XeInterval& value, float64 divisor) {
    if (divisor == 0) [[unlikely]]
      SUGThrow(ErrorMessage(59008));
    XeInterval quotient;
    if (!ScaleInterval::Try(
            value, [divisor](float64 part) { return part / divisor; }, quotient)) [[unlikely]] {
      ThrowIntervalOverflow(IntervalText(value) + L" / " + MultiplyIntervalOp::FactorText(divisor));
    }
    return quotient;
  }
};

/// The time from the second moment to the first, as days and a time of the same sign.
struct MomentDifferenceOp {
  using Operands = std::tuple<XeDateTime, XeDateTime>;
  static constexpr const wchar_t* kName = L"MomentDifference";
  static constexpr bool kOnBytes = false;
  static XeInterval Apply(const XeDateTime& end, const XeDateTime& start) {
    return OfMicroseconds(XeDateTime::DifferenceInMicroseconds(end, start));
  }
  static XeInterval OfMicroseconds(int64 elapsed) {
    return {0, static_cast<int32>(elapsed / kMicrosecondsOfDay), elapsed % kMicrosecondsOfDay};
  }
};
/// The time from the second time of day to the first.
struct TimeDifferenceOp {
  using Operands = std::tuple<XeTime, XeTime>;
  static constexpr const wchar_t* kName = L"TimeDifference";
  static constexpr bool kOnBytes = false;
  static XeInterval Apply(const XeTime& end, const XeTime& start) {
    return {0, 0, XeDateTime::DifferenceInMicroseconds(XeDateTime(end), XeDateTime(start))};
  }
};

}  // namespace sqxer
