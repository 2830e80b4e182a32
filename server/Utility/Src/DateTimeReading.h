#pragma once

#include <string_view>

#include "Utility/XeDateTime.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// What a text said: a day, a time of day, or both. Each is valid where it is said to be there.
struct DateTimeReading {
  bool hasDate = false;
  bool hasTime = false;
  XeDate date;
  XeTime time;
};

/// A text that is read from the front. A read that fails may leave the cursor anywhere.
class DateTimeCursor {
 public:
  explicit DateTimeCursor(std::wstring_view text) : text_(text) {}

  bool AtEnd() const { return text_.empty(); }
  std::wstring_view GetRest() const { return text_; }
  void Skip(std::size_t count) { text_.remove_prefix(count); }

  bool Accept(wchar_t c) {
    if (text_.empty() || text_.front() != c) return false;
    text_.remove_prefix(1);
    return true;
  }

  /// Reads as many digits as there are, up to `most` (at most 9); false for fewer than `least`.
  bool ReadNumber(int least, int most, int& value) {
    int digits = 0;
    value = 0;
    while (digits < most && !text_.empty() && text_.front() >= L'0' && text_.front() <= L'9') {
      value = value * 10 + (text_.front() - L'0');
      text_.remove_prefix(1);
      ++digits;
    }
    return digits >= least;
  }

  /// A year of four digits, with a minus sign before the year 0.
  bool ReadYear(int& year) {
    const bool negative = Accept(L'-');
    if (!ReadNumber(4, 4, year)) return false;
    if (negative) year = -year;
    return true;
  }

  /// One to nine digits after a decimal point, as nanoseconds; `exact`: nine digits.
  bool ReadFraction(bool exact, int& nanosecond) {
    const std::size_t before = text_.size();
    if (!ReadNumber(exact ? 9 : 1, 9, nanosecond)) return false;
    for (std::size_t digits = before - text_.size(); digits < 9; ++digits) nanosecond *= 10;
    return true;
  }

 private:
  std::wstring_view text_;
};

/// Reads an ISO 8601 date, time, or date and time without blanks around it.
bool ReadIsoDateTime(std::wstring_view text, DateTimeReading& out);

}  // namespace sqxer
