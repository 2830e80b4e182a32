#pragma once

#include <compare>

#include "Utility/Export.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Years that dates may hold. 0 is 1 BC, as in ISO 8601.
inline constexpr int kMinYear = -4713;
inline constexpr int kMaxYear = 9999;

class XeDateTime;

/// A calendar day (proleptic Gregorian calendar). Plain bytes; a default object is year 0, month 0,
/// day 0, which is not a day.
class XEUTILITY_API XeDate {
 public:
  XeDate() = default;
  XeDate(int year, int month, int day)
      : year_(static_cast<int16>(year)),
        month_(static_cast<uint16>(month)),
        day_(static_cast<uint16>(day)) {}
  /// The day of a date-time.
  explicit XeDate(const XeDateTime& value) { *this = value; }
  XeDate& operator=(const XeDateTime& value);

  int GetYear() const { return year_; }
  int GetMonth() const { return month_; }
  int GetDay() const { return day_; }
  void SetYear(int year) { year_ = static_cast<int16>(year); }
  void SetMonth(int month) { month_ = static_cast<uint16>(month); }
  void SetDay(int day) { day_ = static_cast<uint16>(day); }

  /// Whether the fields name a day of the calendar within the years that dates may hold.
  bool IsValid() const;

  auto operator<=>(const XeDate&) const = default;
  /// Exactly -1, 0 or 1.
  static int Compare(const XeDate& a, const XeDate& b) { return a == b ? 0 : a < b ? -1 : 1; }

 private:
  int16 year_ = 0;
  uint16 month_ = 0;
  uint16 day_ = 0;
};
static_assert(sizeof(XeDate) == 6);

}  // namespace sqxer
