#pragma once

#include <string_view>

#include "Utility/XeTypes.h"

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

/// Reads a whole text as such a number. False for every other text, and for more than kMostDigits
/// digits: the general readers see to those.
inline bool ReadPlainNumber(std::string_view text, PlainNumber& number) {
  const char* at = text.data();
  const char* const end = at + text.size();
  number.negative = at != end && *at == '-';
  if (number.negative) ++at;
  const char* const first = at;
  uint64 digits = 0;
  unsigned digit;
  while (at != end && (digit = static_cast<unsigned char>(*at) - unsigned{'0'}) <= 9) {
    digits = digits * 10 + digit;
    ++at;
  }
  const auto whole = at - first;
  number.isCanonical = whole <= 1 || *first != '0';
  number.hasPoint = at != end && *at == '.';
  number.fraction = 0;
  std::ptrdiff_t count = whole;
  if (number.hasPoint) {
    const char* const point = at++;
    while (at != end && (digit = static_cast<unsigned char>(*at) - unsigned{'0'}) <= 9) {
      digits = digits * 10 + digit;
      ++at;
    }
    number.fraction = static_cast<int>(at - point - 1);
    count += number.fraction;
  }
  number.digits = digits;
  return at == end && count > 0 && count <= PlainNumber::kMostDigits;
}

}  // namespace sqxer
