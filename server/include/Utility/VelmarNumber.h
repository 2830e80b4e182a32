#pragma once

#include <bit>
#include <cstring>
#include <type_traits>

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
  explicit VelmarNumber(int32 value) : VelmarNumber(int64{value}) {}
  explicit VelmarNumber(uint32 value) : VelmarNumber(int64{value}) {}
  explicit VelmarNumber(int64 value) : VelmarNumber(Pack(value, 0)) {}
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
  static VelmarNumber negate(const VelmarNumber& a) {
    return Pack(-a.GetCoefficient(), a.GetExponent());
  }
  static VelmarNumber absolute(const VelmarNumber& a) { return a.isNegative() ? negate(a) : a; }
  static VelmarNumber ceiling(const VelmarNumber& a);
  static VelmarNumber floor(const VelmarNumber& a);
  /// Correctly rounded to 38 digits. Error 59009 (the argument's text) for a negative argument.
  static VelmarNumber sqrt(const VelmarNumber& a);
  /// -1, 0 or 1.
  static int compare(const VelmarNumber& a, const VelmarNumber& b);

  VelmarNumber& operator+=(const VelmarNumber& b) { return *this = Plus(*this, b); }
  VelmarNumber& operator-=(const VelmarNumber& b) { return *this = Minus(*this, b); }
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

  /// coefficient / 10^scale, for coefficients of at most 38 digits and scales of 0 to 38.
  static VelmarNumber FromScaled(int128 coefficient, int scale) {
    return Pack(coefficient, -scale);
  }
  /// Whether the number times 10^scale (0 to 38) is whole and, without its sign, has 63 bits or 38
  /// digits, and then what it is.
  bool TryScaled(int scale, int64& coefficient) const;
  bool TryScaled(int scale, int128& coefficient) const;
  /// Whether a million numbers like it can be added up without leaving the range.
  bool IsFarWithin() const { return GetExponent() <= kMostSafeExponent - 8; }

  /// A number as coefficient x 10^exponent, the coefficient as the two halves of 128 bits.
  struct Parts {
    int64 high;
    uint64 low;
    int exponent;
  };
  /// Of at most 38 digits, with exponents from -90 to 90.
  static VelmarNumber FromParts(const Parts& parts) {
    return Pack(static_cast<Coefficient>(parts.high) << 64 | parts.low, parts.exponent);
  }
  /// Those of the number with the fewest digits; zero has the exponent 0.
  Parts GetParts() const;

  /// The nearest double.
  float64 asDouble() const;
  /// Truncated toward zero; outside 32 bits the nearest limit.
  int32 asInt4() const;
  /// Plain notation with the shortest exact digits and a leading zero before the point ("0.5",
  /// "-12", "1200"); beyond 64 characters exponent form ("1.5E+100").
  XeString asString() const;
  /// Reads digits with optional sign, point and exponent, blanks around them ignored; the text ends
  /// at its first zero character if that comes before `length`. What does not read as a number
  /// gives zero and false in `success`; a magnitude of 1e128 and more likewise.
  static VelmarNumber stringAsNumber(const wchar_t* text, uint32 length, bool* success = nullptr);

  /// A hash that is equal for equal values.
  uint64 hash() const;
  bool isZero() const { return GetCoefficient() == 0; }
  bool isNegative() const { return GetCoefficient() < 0; }
  /// Digits after the decimal point in the shortest form (0 for whole numbers).
  int decimalPlaces() const;

  static const VelmarNumber zero;
  static const VelmarNumber one;
  static const VelmarNumber negativeOne;
  /// The largest and the smallest number: 38 nines at the highest exponent, and its negation.
  static const VelmarNumber velmarnumberMax;
  static const VelmarNumber velmarnumberMin;

 private:
  using Coefficient = int128;

  /// The 24 bytes of an object as three little-endian words: length_ and exponent (16 bits, then 16
  /// spare bits), low and high half of the signed coefficient.
  struct Words {
    uint64 head;
    int64 low;
    int64 high;
  };
  static_assert(std::endian::native == std::endian::little);

  /// A plain number has a coefficient of 64 bits and an exponent within these bounds: the sum of
  /// two plain numbers of one exponent can leave 64 bits but never the range of magnitudes.
  static constexpr int kLeastPlainExponent = -128;
  static constexpr int kMostPlainExponent = 108;
  /// Any coefficient of 38 digits stays below 1e128 with exponents up to here.
  static constexpr int kMostSafeExponent = 90;
  static constexpr int32 kPlainLength = 12;
  static constexpr int32 kWideLength = 20;

  Words GetWords() const {
    Words words;
    std::memcpy(&words.head, this, 8);
    std::memcpy(&words.low, bytes_ + 4, 8);
    std::memcpy(&words.high, bytes_ + 12, 8);
    return words;
  }
  static constexpr VelmarNumber FromWords(const Words& words) {
    if (std::is_constant_evaluated()) return std::bit_cast<VelmarNumber>(words);
    // Copies of an object move its first 16 bytes at once. Written at once too, they are at hand
    // for that; written word by word, the copy would wait for both stores.
    typedef uint64 Pair __attribute__((vector_size(16)));
    const Pair first = {words.head, static_cast<uint64>(words.low)};
    VelmarNumber number;
    std::memcpy(static_cast<void*>(&number), &first, 16);
    std::memcpy(number.bytes_ + 12, &words.high, 8);
    return number;
  }
  Coefficient GetCoefficient() const {
    const Words words = GetWords();
    return static_cast<Coefficient>(words.high) << 64 | static_cast<uint64>(words.low);
  }
  int GetExponent() const { return GetExponent(GetWords().head); }
  static constexpr int GetExponent(uint64 head) { return static_cast<int16>(head >> 32); }
  static constexpr bool IsPlain(uint64 head) { return static_cast<uint32>(head) <= kPlainLength; }

  /// The number of these parts; the caller has seen to digits and range.
  static constexpr VelmarNumber Pack(Coefficient coefficient, int exponent) {
    const auto low = static_cast<int64>(coefficient);
    const auto high = static_cast<int64>(coefficient >> 64);
    const bool plain =
        high == low >> 63 && exponent >= kLeastPlainExponent && exponent <= kMostPlainExponent;
    const auto length = static_cast<uint64>(plain ? kPlainLength : kWideLength);
    return FromWords(
        Words{static_cast<uint64>(static_cast<uint16>(exponent)) << 32 | length, low, high});
  }

  static VelmarNumber PlusUnlike(const VelmarNumber& a, const VelmarNumber& b);
  static VelmarNumber MinusUnlike(const VelmarNumber& a, const VelmarNumber& b);
  static VelmarNumber MultiplyWide(const VelmarNumber& a, const VelmarNumber& b);
  static int CompareUnlike(const VelmarNumber& a, const VelmarNumber& b);

  /// Bytes of bytes_ in use: 0 in a default object, kPlainLength in a plain number, else
  /// kWideLength. The bytes beyond repeat the coefficient's sign.
  int32 length_ = 0;
  uint8 bytes_[20] = {};
  friend struct VelmarNumberAccess;
};
static_assert(sizeof(VelmarNumber) == 24);

inline VelmarNumber VelmarNumber::Plus(const VelmarNumber& a, const VelmarNumber& b) {
  const Words x = a.GetWords();
  const Words y = b.GetWords();
  int64 sum;
  if (x.head == y.head && IsPlain(x.head) && !__builtin_add_overflow(x.low, y.low, &sum))
      [[likely]] {
    return FromWords(Words{x.head, sum, sum >> 63});
  }
  return PlusUnlike(a, b);
}

inline VelmarNumber VelmarNumber::Minus(const VelmarNumber& a, const VelmarNumber& b) {
  const Words x = a.GetWords();
  const Words y = b.GetWords();
  int64 difference;
  if (x.head == y.head && IsPlain(x.head) && !__builtin_sub_overflow(x.low, y.low, &difference))
      [[likely]] {
    return FromWords(Words{x.head, difference, difference >> 63});
  }
  return MinusUnlike(a, b);
}

inline VelmarNumber VelmarNumber::Multiply(const VelmarNumber& a, const VelmarNumber& b) {
  const Words x = a.GetWords();
  const Words y = b.GetWords();
  const int exponent = GetExponent(x.head) + GetExponent(y.head);
  // The product of two signed 64-bit coefficients has at most 38 digits.
  if (IsPlain(x.head) && IsPlain(y.head) && exponent >= kLeastPlainExponent &&
      exponent <= kMostSafeExponent) [[likely]] {
    return Pack(static_cast<Coefficient>(x.low) * y.low, exponent);
  }
  return MultiplyWide(a, b);
}

inline int VelmarNumber::compare(const VelmarNumber& a, const VelmarNumber& b) {
  const Words x = a.GetWords();
  const Words y = b.GetWords();
  if (x.head == y.head && IsPlain(x.head)) [[likely]] {
    return (x.low > y.low) - (x.low < y.low);
  }
  return CompareUnlike(a, b);
}

}  // namespace sqxer
