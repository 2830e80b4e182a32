#include <algorithm>
#include <charconv>

#include "IntervalParts.h"

namespace sqxer {

namespace {

using Number = IntervalParts::Number;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// Reads `P1Y2M3DT4H5M6S` and the alternative forms `P20010203T040506` and `P0001-02-03T04:05:06`.
class IsoReader {
 public:
  IsoReader(std::string_view text, IntervalParts& out) : text_(text), parts_(out) {}

  IntervalReading Read() {
    if (text_.size() < 2 || text_[0] != 'P') return IntervalReading::kUnreadable;
    at_ = 1;
    return ReadParts()                                ? reading_
           : reading_ == IntervalReading::kOutOfRange ? reading_
                                                      : IntervalReading::kUnreadable;
  }

 private:
  bool ReadParts() {
    while (at_ < text_.size()) {
      if (Accept('T')) {
        isTime_ = true;
        isFirst_ = true;
        continue;
      }
      const std::size_t start = at_;
      Number number;
      if (!ReadNumber(number)) return false;
      const char unit = at_ < text_.size() ? text_[at_] : '\0';
      if (unit == '\0' || unit == '-' || unit == ':' || unit == 'T') {
        if (!isFirst_) return false;
        const bool isRead = isTime_ ? ReadClock(number, start) : ReadDate(number, start);
        if (!isRead) return false;
        continue;
      }
      ++at_;
      if (!AddUnit(number, unit)) return false;
      isFirst_ = false;
    }
    return true;
  }
  bool AddUnit(const Number& number, char unit) {
    if (!isTime_) {
      switch (unit) {
        case 'Y':
          return InRange(parts_.AddYears(number, 1));
        case 'M':
          return InRange(parts_.AddMonths(number));
        case 'W':
          return InRange(parts_.AddDays(number, 7));
        case 'D':
          return InRange(parts_.AddDays(number, 1));
        default:
          return false;
      }
    }
    switch (unit) {
      case 'H':
        return InRange(parts_.AddTime(number, IntervalParts::kPerHour));
      case 'M':
        return InRange(parts_.AddTime(number, IntervalParts::kPerMinute));
      case 'S':
        return InRange(parts_.AddTime(number, IntervalParts::kPerSecond));
      default:
        return false;
    }
  }
  /// Years alone, years-months-days, or these as eight digits; at its end stands T or nothing.
  bool ReadDate(const Number& number, std::size_t start) {
    if (CountDigits(start) == 8 && !IsAt('-')) {
      return InRange(parts_.AddYears({number.whole / 10000, 0}, 1) &&
                     parts_.AddMonths({number.whole / 100 % 100, 0}) &&
                     parts_.AddDays({number.whole % 100, number.fraction}, 1));
    }
    if (IsAt(':') || !InRange(parts_.AddYears(number, 1))) return false;
    if (AtPartEnd()) return true;
    Number next;
    ++at_;
    if (!ReadNumber(next) || !InRange(parts_.AddMonths(next))) return false;
    if (AtPartEnd()) return true;
    if (!Accept('-') || !ReadNumber(next) || !InRange(parts_.AddDays(next, 1))) return false;
    return AtPartEnd();
  }
  /// Hours alone, hours:minutes:seconds, or these as six digits.
  bool ReadClock(const Number& number, std::size_t start) {
    const auto add = [this](const Number& count, int64 unit) {
      return InRange(parts_.AddTime(count, unit));
    };
    if (CountDigits(start) == 6 && at_ == text_.size()) {
      return add({number.whole / 10000, 0}, IntervalParts::kPerHour) &&
             add({number.whole / 100 % 100, 0}, IntervalParts::kPerMinute) &&
             add({number.whole % 100, number.fraction}, IntervalParts::kPerSecond);
    }
    if (!add(number, IntervalParts::kPerHour)) return false;
    if (at_ == text_.size()) return true;
    Number next;
    if (!Accept(':') || !ReadNumber(next) || !add(next, IntervalParts::kPerMinute)) return false;
    if (at_ == text_.size()) return true;
    return Accept(':') && ReadNumber(next) && add(next, IntervalParts::kPerSecond) &&
           at_ == text_.size();
  }

  bool IsAt(char c) const { return at_ < text_.size() && text_[at_] == c; }
  bool Accept(char c) {
    if (!IsAt(c)) return false;
    ++at_;
    return true;
  }
  bool AtPartEnd() const { return at_ == text_.size() || text_[at_] == 'T'; }
  std::size_t CountDigits(std::size_t at) const {
    if (at < text_.size() && text_[at] == '-') ++at;
    std::size_t count = 0;
    while (at + count < text_.size() && IsDigit(text_[at + count])) ++count;
    return count;
  }
  bool ReadNumber(Number& out) {
    const char* const start = text_.data() + at_;
    const char* const end = text_.data() + text_.size();
    if (start == end || !(IsDigit(*start) || *start == '-' || *start == '.')) return false;
    float64 value;
    const auto [stop, error] = std::from_chars(start, end, value, std::chars_format::general);
    if (error == std::errc::invalid_argument) return false;
    at_ = static_cast<std::size_t>(stop - text_.data());
    if (error != std::errc() || !(std::abs(value) < 9.2e18)) return InRange(false);
    out.whole = static_cast<int64>(value);
    out.fraction = value - static_cast<float64>(out.whole);
    return true;
  }
  bool InRange(bool isInRange) {
    if (!isInRange) reading_ = IntervalReading::kOutOfRange;
    return isInRange;
  }

  const std::string_view text_;
  IntervalParts& parts_;
  std::size_t at_ = 0;
  bool isTime_ = false;
  /// No part of the date, or of the time, has been read.
  bool isFirst_ = true;
  IntervalReading reading_ = IntervalReading::kRead;
};

}  // namespace

IntervalReading ReadIsoInterval(std::string_view text, IntervalParts& out) {
  return IsoReader(text, out).Read();
}

}  // namespace sqxer
