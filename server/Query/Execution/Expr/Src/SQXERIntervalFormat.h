#pragma once

#include "SQXERMomentFormat.h"
#include "Utility/XeInterval.h"

namespace sqxer {

/// A format of intervals as texts: the elements of MomentFormat, as far as an interval has them.
/// Years are its months by 12, hours go beyond 24, and each number has the sign of its part.
class SQXEREXPR_API IntervalFormat : private MomentFormat {
 public:
  /// Error 59062 (the format) for an element that tells of a day of the calendar.
  explicit IntervalFormat(std::wstring_view format);

  /// Appends the interval to `out`.
  void Write(const XeInterval& interval, XeString& out) const;

  using MomentFormat::CountMost;

 private:
  static bool IsOfCalendar(Element element);
  static void WriteElement(const Piece& piece, const XeInterval& interval, XeString& out);
};

}  // namespace sqxer
