#pragma once

#include <compare>

#include "Utility/Export.h"
#include "Utility/XeTypes.h"

namespace sqxer {

class XeDateTime;

/// A time of day with nanoseconds.
class XEUTILITY_API XeTime {
 public:
  XeTime() = default;
  XeTime(int hour, int minute, int second, uint32 nanosecond = 0)
      : hour_(static_cast<uint16>(hour)),
        minute_(static_cast<uint16>(minute)),
        second_(static_cast<uint16>(second)),
        nanosecond_(nanosecond) {}
  /// The time of day of a date-time.
  explicit XeTime(const XeDateTime& value) { *this = value; }
  XeTime& operator=(const XeDateTime& value);

  int GetHour() const { return hour_; }
  int GetMinute() const { return minute_; }
  int GetSecond() const { return second_; }
  uint32 GetNanosecond() const { return nanosecond_; }
  void SetHour(int hour) { hour_ = static_cast<uint16>(hour); }
  void SetMinute(int minute) { minute_ = static_cast<uint16>(minute); }
  void SetSecond(int second) { second_ = static_cast<uint16>(second); }
  void SetNanosecond(uint32 nanosecond) { nanosecond_ = nanosecond; }

  /// 00:00:00 to 23:59:59.999999999.
  bool IsValid() const;

  auto operator<=>(const XeTime&) const = default;
  /// Exactly -1, 0 or 1.
  static int Compare(const XeTime& a, const XeTime& b) { return a == b ? 0 : a < b ? -1 : 1; }

 private:
  uint16 hour_ = 0;
  uint16 minute_ = 0;
  uint16 second_ = 0;
  uint32 nanosecond_ = 0;
};
static_assert(sizeof(XeTime) == 12);

}  // namespace sqxer
