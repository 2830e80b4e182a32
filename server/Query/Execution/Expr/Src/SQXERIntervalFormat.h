#pragma once

#include "SQXERMomentFormat.h"
#include "Utility/XeInterval.h"

namespace sqxer {

/// A format of intervals as texts: the elements of MomentFormat, as far as an interval has them.
/// Years are its months by 12, hours go beyond 24, and each number has the sign of its part. What
/// tells of ISO weeks and Julian days tells of the day that its years, months and days would name.
class SQXEREXPR_API IntervalFormat : private MomentFormat {
 public:
  /// Error 59062 (the format) for another element that tells of a day of the calendar.
  explicit IntervalFormat(std::wstring_view format);

  /// Appends the interval to `out`.
  void Write(const XeInterval& interval, XeString& out) const;

  /// Characters of a text that a format of so many makes, at most; a Julian day has twelve.
  static constexpr uint32 CountMost(uint32 formatLength) { return formatLength * 12 + 16; }

 private:
  static bool IsOfCalendar(Element element);
  static void WriteElement(const Piece& piece, const XeInterval& interval, XeString& out);
};

}  // namespace sqxer
