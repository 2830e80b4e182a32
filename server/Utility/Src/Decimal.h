#pragma once

#include "Utility/DecimalPowers.h"
#include "Utility/VelmarNumber.h"

namespace sqxer {

/// Magnitudes lie within [10^kLeastMagnitude, 10^(kMostMagnitude + 1)).
inline constexpr int kLeastMagnitude = -128;
inline constexpr int kMostMagnitude = 127;

/// A VelmarNumber taken apart: sign, coefficient and exponent, the value being
/// coefficient x 10^exponent. Steps between may hold more than 38 digits.
struct Decimal {
  uint128 coefficient;
  int exponent;
  bool negative;
};

/// Decimal digits of a number, 0 for zero.
int CountDigits(uint128 value);
/// The same number with the fewest digits; zero gets the exponent 0.
void StripZeros(Decimal& value);

/// The way between a VelmarNumber and its parts.
struct VelmarNumberAccess {
  static Decimal Unpack(const VelmarNumber& number);
  /// Rounds to 38 digits; what is too small becomes zero. False beyond the range, `number` is then
  /// left alone.
  static bool TryPack(Decimal value, VelmarNumber& number);
  /// The same, with error 59161 of this operation beyond the range.
  static VelmarNumber Pack(const Decimal& value, const wchar_t* operation);
  /// Packs what is known to have at most 38 digits and to lie within the range.
  static VelmarNumber PackExact(int128 coefficient, int exponent) {
    return VelmarNumber::Pack(coefficient, exponent);
  }
  /// Whether both coefficients have 64 bits and neither exponent is near an end of the range.
  static bool ArePlain(const VelmarNumber& a, const VelmarNumber& b) {
    return VelmarNumber::IsPlain(a.GetWords().head) && VelmarNumber::IsPlain(b.GetWords().head);
  }
  static int128 GetCoefficient(const VelmarNumber& number) { return number.GetCoefficient(); }
  static int64 GetPlainCoefficient(const VelmarNumber& number) { return number.GetWords().low; }
  static int GetExponent(const VelmarNumber& number) { return number.GetExponent(); }
};

/// Error 59161: the result of an operation is beyond the range.
[[noreturn]] void RaiseNumberOverflow(const wchar_t* operation);

}  // namespace sqxer
