#pragma once

#include <bit>
#include <string_view>

#include "DigitWord.h"

namespace sqxer {

/// A number of a file in its common notation: digits with at most one point, and perhaps a minus
/// sign.
struct PlainNumber {
  /// All digits as one number.
  uint64 digits = 0;
  /// How many stand behind the point.
  int fraction = 0;
  bool negative = false;
  bool hasPoint = false;
  /// No needless zero leads: the whole part is one zero, or does not start with one.
  bool isCanonical = false;

  static constexpr int kMostDigits = 18;
};

namespace plain_number {

constexpr std::size_t kWord = sizeof(uint64);

/// Values of digits, the last at the top, among which a point may be.
class Digits {
 public:
  explicit Digits(uint64 values)
      : values_(values), others_(FindNonDigits(values)), first_(others_ & (0 - others_)) {}

  bool AreAll() const { return others_ == 0; }
  bool AreAllButAPoint() const {
    return others_ == first_ && (values_ >> (std::countr_zero(first_) & 56) & 0xFF) == ('.' ^ '0');
  }
  uint64 Join() const { return JoinDigits(values_); }
  /// Without the point, those before it moved up.
  uint64 JoinAroundPoint() const {
    const uint64 before = (first_ >> 7) - 1;
    const uint64 behind = 0 - (first_ << 1);
    return JoinDigits((values_ & behind) | (values_ & before) << 8);
  }
  int CountBehindPoint() const { return std::countl_zero(first_) / 8; }

 private:
  uint64 values_;
  /// FindNonDigits of them, and the lowest bit of that.
  uint64 others_;
  uint64 first_;
};

/// Digits one after the other; for any length.
[[gnu::noinline]] inline bool ReadByDigit(const char* const first, std::size_t size, uint64& digits,
                                          int& fraction) {
  const char* at = first;
  const char* const end = first + size;
  unsigned digit;
  digits = 0;
  while (at != end && (digit = static_cast<unsigned char>(*at) - unsigned{'0'}) <= 9) {
    digits = digits * 10 + digit;
    ++at;
  }
  std::ptrdiff_t count = at - first;
  fraction = -1;
  if (at != end && *at == '.') {
    const char* const point = at++;
    while (at != end && (digit = static_cast<unsigned char>(*at) - unsigned{'0'}) <= 9) {
      digits = digits * 10 + digit;
      ++at;
    }
    fraction = static_cast<int>(at - point - 1);
    count += fraction;
  }
  return at == end && count > 0 && count <= PlainNumber::kMostDigits;
}

}  // namespace plain_number

/// Reads a whole text as such a number; it can be read 8 bytes beyond its end. False for every
/// other text, and for more than kMostDigits digits: the general readers see to those.
[[gnu::always_inline]] inline bool ReadPlainNumber(std::string_view text, PlainNumber& number) {
  using plain_number::Digits, plain_number::kWord;
  constexpr uint64 kTenToSeven = 10'000'000;
  constexpr uint64 kTenToEight = 100'000'000;
  if (text.empty()) return false;
  number.negative = text.front() == '-';
  const char* const first = text.data() + number.negative;
  const std::size_t size = text.size() - number.negative;
  bool isNumber = true;
  int fraction = -1;
  if (size - 1 < kWord) {
    const Digits digits((LoadWord(first) ^ kZeroDigits) << (kWord - size) * 8);
    if (digits.AreAll()) {
      number.digits = digits.Join();
    } else {
      number.digits = digits.JoinAroundPoint();
      fraction = digits.CountBehindPoint();
      isNumber = digits.AreAllButAPoint() && size > 1;
    }
  } else if (size - 1 < 2 * kWord) {
    const Digits high((LoadWord(first) ^ kZeroDigits) << (2 * kWord - size) * 8);
    const Digits low(LoadWord(first + size - kWord) ^ kZeroDigits);
    if (low.AreAll()) {
      if (high.AreAll()) {
        number.digits = high.Join() * kTenToEight + low.Join();
      } else {
        number.digits = high.JoinAroundPoint() * kTenToEight + low.Join();
        fraction = static_cast<int>(kWord) + high.CountBehindPoint();
        isNumber = high.AreAllButAPoint();
      }
    } else {
      number.digits = high.Join() * kTenToSeven + low.JoinAroundPoint();
      fraction = low.CountBehindPoint();
      isNumber = high.AreAll() && low.AreAllButAPoint();
    }
  } else {
    uint64 digits;
    int behind;
    isNumber = plain_number::ReadByDigit(first, size, digits, behind);
    number.digits = digits;
    fraction = behind;
  }
  number.hasPoint = fraction >= 0;
  number.fraction = number.hasPoint ? fraction : 0;
  const std::ptrdiff_t whole = static_cast<std::ptrdiff_t>(size) - (fraction + 1);
  number.isCanonical = whole <= 1 || *first != '0';
  return isNumber;
}

}  // namespace sqxer
