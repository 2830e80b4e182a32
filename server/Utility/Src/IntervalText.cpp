#include <array>
#include <charconv>

#include "Utility/XeInterval.h"

namespace sqxer {

namespace {

constexpr int64 kPerSecond = 1'000'000;
constexpr int64 kPerMinute = 60 * kPerSecond;
constexpr int64 kPerHour = 60 * kPerMinute;

/// Puts the parts of an interval one behind the other.
class IntervalWriter {
 public:
  explicit IntervalWriter(wchar_t* out) : start_(out), at_(out) {}

  /// A part counted in whole numbers; none where it is 0.
  void PutPart(int64 value, std::wstring_view unit) {
    if (value == 0) return;
    if (at_ != start_) *at_++ = L' ';
    // A positive part behind a negative one has its sign.
    if (isAfterNegative_ && value > 0) *at_++ = L'+';
    if (value < 0) *at_++ = L'-';
    PutNumber(Magnitude(value), 1);
    *at_++ = L' ';
    Put(unit);
    if (value != 1) *at_++ = L's';
    isAfterNegative_ = value < 0;
  }
  /// The time; one of 0 where nothing stands before it.
  void PutTime(int64 microseconds) {
    if (microseconds == 0 && at_ != start_) return;
    if (at_ != start_) *at_++ = L' ';
    if (microseconds < 0) {
      *at_++ = L'-';
    } else if (isAfterNegative_) {
      *at_++ = L'+';
    }
    const uint64 size = Magnitude(microseconds);
    PutNumber(size / kPerHour, 2);
    *at_++ = L':';
    PutNumber(size % kPerHour / kPerMinute, 2);
    *at_++ = L':';
    PutNumber(size % kPerMinute / kPerSecond, 2);
    uint64 fraction = size % kPerSecond;
    if (fraction == 0) return;
    *at_++ = L'.';
    for (uint64 place = kPerSecond / 10; fraction != 0; fraction %= place, place /= 10) {
      *at_++ = static_cast<wchar_t>(L'0' + fraction / place);
      if (place == 1) break;
    }
  }
  uint32 GetLength() const { return static_cast<uint32>(at_ - start_); }

 private:
  static uint64 Magnitude(int64 value) {
    return value < 0 ? 0 - static_cast<uint64>(value) : static_cast<uint64>(value);
  }
  void Put(std::wstring_view text) {
    for (const wchar_t c : text) *at_++ = c;
  }
  void PutNumber(uint64 value, int leastDigits) {
    std::array<char, 20> digits;
    const char* const end = std::to_chars(digits.data(), digits.data() + 20, value).ptr;
    for (auto count = end - digits.data(); count < leastDigits; ++count) *at_++ = L'0';
    for (const char* digit = digits.data(); digit != end; ++digit) {
      *at_++ = static_cast<wchar_t>(*digit);
    }
  }

  wchar_t* const start_;
  wchar_t* at_;
  bool isAfterNegative_ = false;
};

}  // namespace

uint32 WriteText(const XeInterval& value, wchar_t* out) {
  IntervalWriter writer(out);
  writer.PutPart(value.months / 12, L"year");
  writer.PutPart(value.months % 12, L"mon");
  writer.PutPart(value.days, L"day");
  writer.PutTime(value.microseconds);
  return writer.GetLength();
}

XeString IntervalText(const XeInterval& value) {
  std::array<wchar_t, kMostIntervalText> text;
  return XeString(text.data(), WriteText(value, text.data()));
}

}  // namespace sqxer
