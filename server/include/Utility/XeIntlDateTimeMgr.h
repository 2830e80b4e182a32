#pragma once

#include "Utility/Export.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// What calendars say in the configured locale (switch Locale): the names of months and days, and
/// the day on which weeks start. Without a locale names are English and weeks start on Sunday.
///
/// The locale is taken over when trees are bound; from then on all calls are plain reads, which any
/// thread may do. Names stay where they are until the process ends.
class XEUTILITY_API XeIntlDateTimeMgr {
 public:
  /// Takes over the configured locale. What reads names or first days calls it when it is bound.
  static void UseConfiguredLocale();

  /// 1 (Sunday) to 7: the switch FirstDayOfWeek, or what the locale says.
  static int GetFirstDayOfWeek();
  /// Characters of the longest of the names.
  static uint32 GetMaxDayMonthNameLength();

  /// Names as they stand alone, not as part of a date. Months count from 1, days from 1, Sunday;
  /// others are broken invariants.
  static const XeString& GetLongMonthName(int month);
  static const XeString& GetShortMonthName(int month);
  static const XeString& GetLongDayName(int dayOfWeek);
  static const XeString& GetShortDayName(int dayOfWeek);
};

}  // namespace sqxer
