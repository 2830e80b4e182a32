#pragma once

#include <algorithm>
#include <chrono>

#include "SQXERBatchLoops.h"
#include "Utility/XeDateTime.h"

/// How loops read and write days and moments. What stands at rows that do not count need not be a
/// day of the calendar: it is read as one all the same, so that no loop has to ask.

namespace sqxer {

inline constexpr int64 kMicrosecondsPerDay = 86'400'000'000;

constexpr int64 FirstDayOfYear(int year) {
  return std::chrono::sys_days(std::chrono::year(year) / 1 / 1).time_since_epoch().count();
}
/// The days that dates may hold, as ColumnForm::kDay32 counts them.
inline constexpr ColumnBounds<int64> kCalendarDays = {FirstDayOfYear(kMinYear),
                                                      FirstDayOfYear(kMaxYear + 1) - 1};
inline constexpr ColumnBounds<int64> kCalendarMoments = {
    kCalendarDays.least * kMicrosecondsPerDay,
    (kCalendarDays.greatest + 1) * kMicrosecondsPerDay - 1};

/// A day, brought into the calendar. In 32 bits, so that loops over days become loops over vectors.
constexpr int32 WithinCalendar(int32 day) {
  return std::clamp(day, static_cast<int32>(kCalendarDays.least),
                    static_cast<int32>(kCalendarDays.greatest));
}
inline std::chrono::year_month_day ReadCalendarDay(int32 day) {
  return std::chrono::year_month_day{std::chrono::sys_days(std::chrono::days(WithinCalendar(day)))};
}
/// The day of a moment in microseconds.
constexpr int32 DayOfMicroseconds(int64 moment) {
  const int64 rest = moment % kMicrosecondsPerDay;
  return static_cast<int32>(moment / kMicrosecondsPerDay - (rest < 0 ? 1 : 0));
}
inline XeDate ReadAnyDay(int32 day) {
  const std::chrono::year_month_day date = ReadCalendarDay(day);
  return XeDate(static_cast<int>(date.year()),
                static_cast<int>(static_cast<unsigned>(date.month())),
                static_cast<int>(static_cast<unsigned>(date.day())));
}

/// The same of microseconds.
inline XeDateTime ReadAnyMoment(int64 microseconds) {
  const int64 within = std::clamp(microseconds, kCalendarMoments.least, kCalendarMoments.greatest);
  // Of positive numbers, whose division need not look at the sign.
  const auto since = static_cast<uint64>(within - kCalendarMoments.least);
  const auto day = static_cast<int64>(since / kMicrosecondsPerDay) + kCalendarDays.least;
  const uint64 rest = since % kMicrosecondsPerDay;
  const auto second = static_cast<int>(rest / 1'000'000);
  const auto nanosecond = static_cast<uint32>(rest % 1'000'000) * 1000;
  const XeDate date = ReadAnyDay(static_cast<int32>(day));
  return XeDateTime(date.GetYear(), date.GetMonth(), date.GetDay(), second / 3600, second / 60 % 60,
                    second % 60, nanosecond);
}

/// Calls use(row, value) for the rows that a loop has to work on: all of them where values are
/// counted, else those that are not NULL. Dates are at 00:00:00, times on the day that a bare time
/// stands for.
template <class Use>
void ForEachMoment(const BatchVector& vector, const BatchRows& rows, Use&& use) {
  const auto forValid = [&](auto read) {
    rows.ForEach([&](uint32 row) {
      if (!vector.IsNull(row)) use(row, XeDateTime(read(row)));
    });
  };
  switch (vector.form) {
    case ColumnForm::kDay32: {
      const int32* const days = vector.As<int32>();
      rows.ForEach([&](uint32 row) { use(row, XeDateTime(ReadAnyDay(days[row]))); });
      break;
    }
    case ColumnForm::kTimeStamp64: {
      const int64* const moments = vector.As<int64>();
      rows.ForEach([&](uint32 row) { use(row, ReadAnyMoment(moments[row])); });
      break;
    }
    case ColumnForm::kTime64:
      forValid([&](uint32 row) { return ReadBatchValue<XeTime>(vector, row); });
      break;
    default:
      forValid([&](uint32 row) { return ReadBatchValue<XeDateTime>(vector, row); });
      break;
  }
}

/// Of any row that is not NULL.
inline XeDateTime ReadBatchMoment(const BatchVector& vector, uint32 row) {
  switch (vector.form) {
    case ColumnForm::kDay32:
      return XeDateTime(ReadAnyDay(vector.As<int32>()[vector.isConstant ? 0 : row]));
    case ColumnForm::kTimeStamp64:
      return ReadAnyMoment(vector.As<int64>()[vector.isConstant ? 0 : row]);
    case ColumnForm::kTime64:
      return XeDateTime(ReadBatchValue<XeTime>(vector, row));
    default:
      return ReadBatchValue<XeDateTime>(vector, row);
  }
}

/// Whether the vector's values are moments in microseconds, or days, which MicrosecondsOf makes
/// such moments.
inline bool CountsMicroseconds(const BatchVector& vector) {
  return vector.form == ColumnForm::kDay32 || vector.form == ColumnForm::kTimeStamp64;
}
inline const int64* MicrosecondsOf(const BatchVector& vector, const BatchRows& rows, int64* room) {
  if (vector.form == ColumnForm::kTimeStamp64) return vector.As<int64>();
  MapValues(vector.As<int32>(), room, vector.isConstant ? FirstRow(rows) : rows,
            [](int32 day) { return IntegerProduct::Unchecked(int64{day}, kMicrosecondsPerDay); });
  return room;
}

}  // namespace sqxer
