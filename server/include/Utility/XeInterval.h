#pragma once

#include <compare>
#include <optional>
#include <string_view>

#include "Utility/Export.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// A span of time: months, days and microseconds, which are kept apart because months and days
/// differ in length. Each has a sign of its own.
struct XEUTILITY_API XeInterval {
  int32 months = 0;
  int32 days = 0;
  int64 microseconds = 0;

  /// In microseconds, where a month counts as 30 days and a day as 24 hours: what is compared.
  constexpr int128 GetSpan() const {
    return (int128{months} * 30 + days) * 86'400'000'000 + microseconds;
  }
  /// Exactly -1, 0 or 1. Values that differ in their parts can be equal: 1 month and 30 days.
  static constexpr int Compare(const XeInterval& a, const XeInterval& b) {
    const int128 spanA = a.GetSpan();
    const int128 spanB = b.GetSpan();
    return (spanA > spanB) - (spanA < spanB);
  }
  friend constexpr bool operator==(const XeInterval& a, const XeInterval& b) {
    return Compare(a, b) == 0;
  }
  friend constexpr auto operator<=>(const XeInterval& a, const XeInterval& b) {
    return Compare(a, b) <=> 0;
  }
  /// The same value, part by part.
  constexpr bool IsSame(const XeInterval& other) const {
    return months == other.months && days == other.days && microseconds == other.microseconds;
  }
};
static_assert(sizeof(XeInterval) == 16);

/// The fields that INTERVAL 'text' YEAR TO MONTH and its like name: what a number without a unit
/// counts, and below which field the value is cut.
struct IntervalFields {
  enum Field : uint8 { kYear, kMonth, kDay, kHour, kMinute, kSecond };
  Field first;
  Field last;
};

/// What a text was as an interval.
enum class IntervalReading { kRead, kUnreadable, kOutOfRange };

/// Reads the whole text, blanks around it ignored: numbers with units (`1 year 2 mons -3 days`), a
/// time (`04:05:06.7`), `1-2` for years and months, a number alone for seconds, `ago` behind all to
/// negate it, and ISO 8601 (`P1Y2M3DT4H5M6S`, `P0001-02-03T04:05:06`). A fraction goes on into the
/// smaller units. `out` changes only for kRead.
XEUTILITY_API IntervalReading ReadInterval(std::wstring_view text, XeInterval& out);
/// The same, read and cut as the fields say. `digits` of the fraction of a second are kept.
XEUTILITY_API IntervalReading ReadInterval(std::wstring_view text,
                                           const std::optional<IntervalFields>& fields,
                                           const std::optional<int>& digits, XeInterval& out);

/// Characters that the text of an interval takes at most.
inline constexpr std::size_t kMostIntervalText = 72;

/// `1 year 2 mons -3 days +04:05:06.7`, which reads back as the same value. Writes it at `out`,
/// which has room for kMostIntervalText characters, and returns how many it has.
XEUTILITY_API uint32 WriteText(const XeInterval& value, wchar_t* out);
XEUTILITY_API XeString IntervalText(const XeInterval& value);

}  // namespace sqxer
