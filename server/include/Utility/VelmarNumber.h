#pragma once

#include "Utility/Export.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// A decimal number: sign, coefficient of up to 38 digits (128 bits) and decimal exponent, held in
/// a byte array and copied byte for byte.
///
/// Results are exact where 38 significant digits hold them, else rounded half away from zero to 38
/// digits. Magnitudes stay below 1e128: a larger result raises error 59161 (operation such as
/// "MultiplyNumber", limit text); smaller than 1e-128 becomes zero. There is no NaN, no infinity
/// and no negative zero. Two objects with the same value may differ in their bytes (1.5 and 1.50):
/// compare them with compare or the operators. A default object is zero, and so is one of all zero
/// bytes.
class XEUTILITY_API VelmarNumber {
 public:
  VelmarNumber() = default;
  explicit VelmarNumber(int32 value);
  explicit VelmarNumber(uint32 value);
  explicit VelmarNumber(int64 value);
  /// The shortest decimal that reads back as the same double. Error 59161 for NaN, an infinity or a
  /// magnitude of 1e128 and more.
  explicit VelmarNumber(float64 value);

  static VelmarNumber Plus(const VelmarNumber& a, const VelmarNumber& b);
  static VelmarNumber Minus(const VelmarNumber& a, const VelmarNumber& b);
  static VelmarNumber Multiply(const VelmarNumber& a, const VelmarNumber& b);
  /// Error 59008 when b is zero; callers that report it themselves test first.
  static VelmarNumber Divide(const VelmarNumber& a, const VelmarNumber& b);
  /// The remainder of the division truncated toward zero: it has the sign of a. Error 59008 for b =
  /// 0.
  static VelmarNumber Mod(const VelmarNumber& a, const VelmarNumber& b);
  static VelmarNumber negate(const VelmarNumber& a);
  static VelmarNumber absolute(const VelmarNumber& a);
  static VelmarNumber ceiling(const VelmarNumber& a);
  static VelmarNumber floor(const VelmarNumber& a);
  /// Correctly rounded to 38 digits. Error 59009 ("Sqrt") for a negative argument.
  static VelmarNumber sqrt(const VelmarNumber& a);
  /// -1, 0 or 1.
  static int compare(const VelmarNumber& a, const VelmarNumber& b);

  VelmarNumber& operator+=(const VelmarNumber& b);
  VelmarNumber& operator-=(const VelmarNumber& b);
  friend bool operator==(const VelmarNumber& a, const VelmarNumber& b) {
    return compare(a, b) == 0;
  }
  friend bool operator<(const VelmarNumber& a, const VelmarNumber& b) { return compare(a, b) < 0; }
  friend bool operator>(const VelmarNumber& a, const VelmarNumber& b) { return compare(a, b) > 0; }
  friend bool operator<=(const VelmarNumber& a, const VelmarNumber& b) {
    return compare(a, b) <= 0;
  }
  friend bool operator>=(const VelmarNumber& a, const VelmarNumber& b) {
    return compare(a, b) >= 0;
  }

  /// The nearest double.
  float64 asDouble() const;
  /// Truncated toward zero; outside 32 bits the nearest limit.
  int32 asInt4() const;
  /// Plain notation with the shortest exact digits and a leading zero before the point ("0.5",
  /// "-12", "1200"); beyond 64 characters exponent form ("1.5E+100").
  XeString asString() const;
  /// Reads digits with optional sign, point and exponent, blanks around them ignored. What does not
  /// read as a number gives zero and false in `success`; a magnitude of 1e128 and more likewise.
  static VelmarNumber stringAsNumber(const wchar_t* text, uint32 length, bool* success = nullptr);

  /// A hash that is equal for equal values.
  uint64 hash() const;
  bool isZero() const;
  bool isNegative() const;
  /// Digits after the decimal point in the shortest form (0 for whole numbers).
  int decimalPlaces() const;

  static const VelmarNumber zero;
  static const VelmarNumber one;
  static const VelmarNumber negativeOne;
  /// The largest and the smallest number: 38 nines at the highest exponent, and its negation.
  static const VelmarNumber velmarnumberMax;
  static const VelmarNumber velmarnumberMin;

 private:
  /// Bytes of bytes_ in use; 0 stands for zero.
  int32 length_ = 0;
  uint8 bytes_[20] = {};
  friend struct VelmarNumberAccess;
};

}  // namespace sqxer
