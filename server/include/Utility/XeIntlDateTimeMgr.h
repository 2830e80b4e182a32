#pragma once

#include <array>
#include <string>

#include "Utility/Export.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// What calendars say in one locale. Names are those that stand alone, not as part of a date.
struct CalendarNames {
  std::array<XeString, 12> longMonths;
  std::array<XeString, 12> shortMonths;
  /// From Sunday on.
  std::array<XeString, 7> longDays;
  std::array<XeString, 7> shortDays;
  /// 1 (Sunday) to 7.
  int firstDayOfWeek = 1;
  /// Characters of the longest of the names.
  uint32 longest = 0;
};

/// The names of months and days, and the day on which weeks start, in the locale of the thread's
/// current settings (switch Locale). Without a locale names are English and weeks start on Sunday.
/// Nodes take over what they need when they are bound.
class XEUTILITY_API XeIntlDateTimeMgr {
 public:
  /// Those of a locale by ICU's name, the empty one for none; they stay where they are until the
  /// process ends. Any thread may call it. std::bad_alloc where memory does not do.
  static const CalendarNames& GetNames(const std::string& locale);

  /// 1 (Sunday) to 7: the switch FirstDayOfWeek, or what the locale says.
  static int GetFirstDayOfWeek();
  /// Characters of the longest of the names.
  static uint32 GetMaxDayMonthNameLength();

  /// Months count from 1, days from 1, Sunday; others are broken invariants.
  static const XeString& GetLongMonthName(int month);
  static const XeString& GetShortMonthName(int month);
  static const XeString& GetLongDayName(int dayOfWeek);
  static const XeString& GetShortDayName(int dayOfWeek);
};

}  // namespace sqxer
