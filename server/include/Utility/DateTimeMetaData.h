#pragma once

#include <string_view>
#include <vector>

#include "Utility/Export.h"
#include "Utility/XeDateTime.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// The elements of a date/time format.
enum EnDateTimeFormatType {
  IntYear2Type = 0,
  IntYear4Type = 1,
  IntMonthType = 2,
  CharShortMonthType = 3,
  CharLongMonthType = 4,
  IntDayOfYearType = 5,
  IntWeekOfYearType = 6,
  IntMonthDayType = 7,
  CharShortDOWType = 8,
  CharLongDOWType = 9,
  CharAmPmType = 10,
  IntHourType = 11,
  IntMinuteType = 12,
  IntSecondType = 13,
  IntMilliSecondType = 14,
  IntNanoSecondType = 15,
  IntFractionalSecondType = 16,
};

struct DateTimeReading;

/// A date/time format: how a text is read as a date, a time or a date-time.
///
/// Without a format of its own an object reads ISO 8601: `2012-01-31`, `23:59:59.5` (seconds and
/// fraction optional), `2012-01-31 23:59:59.5` or with T between; blanks around the text are
/// ignored. The format language is in docs/formats.md.
class XEUTILITY_API DateTimeMetaData {
 public:
  DateTimeMetaData() = default;
  /// Installs a format, whose weeks start as the thread's current settings say; the empty text
  /// restores the default. Error 59170 (format, position from 1)
  /// where it holds an unknown element or an open quotation; the format then stays as it was.
  void SetDateTimeFormat(const XeString& format);
  const XeString& GetDateTimeFormat() const { return format_; }

  /// Reads the whole text. Error 59172 (text, type name) when it does not follow the format or
  /// names no day of the calendar or time of day. The date of a text with a time, and the time of a
  /// text with a date, are accepted and the other half is dropped; a date-time from a bare date is
  /// at 00:00:00, from a bare time on 1900-01-01.
  void Convert(const XeString& text, XeDate& out) const;
  void Convert(const XeString& text, XeTime& out) const;
  void Convert(const XeString& text, XeDateTime& out) const;
  /// The same without the throw: false when the text does not read.
  bool TryConvert(std::wstring_view text, XeDate& out) const;
  bool TryConvert(std::wstring_view text, XeTime& out) const;
  bool TryConvert(std::wstring_view text, XeDateTime& out) const;

 private:
  /// One step of a format: an EnDateTimeFormatType, or a literal character when `element` is
  /// negative. `exact`: a number follows without a literal between, so this one has all its digits.
  struct Step {
    int element;
    wchar_t literal;
    bool exact;
  };
  bool Read(std::wstring_view text, DateTimeReading& out) const;

  XeString format_;
  std::vector<Step> steps_;
  int firstDayOfWeek_ = 1;
};

/// ISO 8601 texts, the fraction of the second without trailing zeros: `2012-01-31`, `23:59:59.5`,
/// `2012-01-31 23:59:59.5`. Years before 0 carry a minus sign, years have at least four digits.
XEUTILITY_API XeString DateText(const XeDate& value);
XEUTILITY_API XeString TimeText(const XeTime& value);
XEUTILITY_API XeString DateTimeText(const XeDateTime& value);

/// Characters that such a text takes at most.
inline constexpr std::size_t kMostDateTimeText = 32;

/// Write such a text at `out`, which has room for kMostDateTimeText characters, and return how many
/// it has. No zero character follows.
XEUTILITY_API uint32 WriteText(const XeDate& value, wchar_t* out);
XEUTILITY_API uint32 WriteText(const XeTime& value, wchar_t* out);
XEUTILITY_API uint32 WriteText(const XeDateTime& value, wchar_t* out);

}  // namespace sqxer
