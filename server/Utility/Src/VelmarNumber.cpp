#include "Utility/VelmarNumber.h"

#include <algorithm>
#include <boost/multiprecision/cpp_int.hpp>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "Decimal.h"
#include "Utility/ErrorMessage.h"
#include "Utility/HashMix.h"

namespace sqxer {

namespace {

using Access = VelmarNumberAccess;
/// Holds every number of 77 digits: a coefficient times 10^39, and the square of a coefficient.
using uint256 = boost::multiprecision::number<boost::multiprecision::cpp_int_backend<
    256, 256, boost::multiprecision::unsigned_magnitude, boost::multiprecision::unchecked, void>>;

/// Powers of ten of up to this many zeros fit a machine word.
constexpr int kWordDigits = 19;

uint64 WordPowerOfTen(int exponent) {
  return static_cast<uint64>(kPowersOfTen[static_cast<std::size_t>(exponent)]);
}

/// 2^63 times ten to this power, and another 2^63, are below 10^38.
constexpr int kMostShift = 18;

/// 10^0 to 10^77.
uint256 WidePowerOfTen(int exponent) {
  uint256 power = 1;
  for (; exponent > kDecimalDigits; exponent -= kDecimalDigits) power *= kPowersOfTen.back();
  return power * kPowersOfTen[static_cast<std::size_t>(exponent)];
}

int CountDigits(const uint256& value) {
  if (value == 0) return 0;
  // 1233 / 4096 is the logarithm of 2 to base 10, near enough for 256 bits.
  const int digits = (static_cast<int>(msb(value)) + 1) * 1233 >> 12;
  return digits + (value >= WidePowerOfTen(digits) ? 1 : 0);
}

/// Rounds to 38 digits.
Decimal Narrow(uint256 coefficient, int exponent, bool negative) {
  int dropped = CountDigits(coefficient) - kDecimalDigits;
  if (dropped > 0) {
    exponent += dropped;
    // Rounding half away from zero asks for one digit, so those behind it may go first, in steps
    // that divide by one machine word.
    for (; dropped > kWordDigits; dropped -= kWordDigits) {
      coefficient /= WordPowerOfTen(kWordDigits);
    }
    coefficient = (coefficient + WordPowerOfTen(dropped) / 2) / WordPowerOfTen(dropped);
  }
  return {static_cast<uint128>(coefficient), exponent, negative};
}

/// Adds b to a, which has 38 digits and the greater exponent. False, and a as it was, where so many
/// digits cancel out that more of b's count than those that reach up to a's.
bool TryAddShifted(Decimal& a, const Decimal& b) {
  const int distance = a.exponent - b.exponent;
  // Below a tenth of the last place b does not count; nor do digits behind the first that is cut.
  const bool far = distance > kDecimalDigits;
  const uint128 power = kPowersOfTen[static_cast<std::size_t>(far ? kDecimalDigits : distance)];
  const uint128 reaching = far ? 0 : b.coefficient / power;
  const uint128 rest = far ? 0 : b.coefficient - reaching * power;
  if (a.negative == b.negative) {
    a.coefficient += reaching;
    // A sum of 39 digits is rounded one place higher, by its own last digit.
    if (a.coefficient < kPowersOfTen.back() && rest >= power - rest) ++a.coefficient;
    return true;
  }
  const uint128 difference = a.coefficient - reaching - (rest > power - rest ? 1 : 0);
  if (difference <= kPowersOfTen[kDecimalDigits - 1]) return false;
  a.coefficient = difference;
  return true;
}

/// a + b, or a - b. The caller has tried the case of two plain numbers with one exponent.
VelmarNumber AddMagnitudes(Decimal a, Decimal b, const wchar_t* operation) {
  if (a.coefficient == 0) return Access::Pack(b, operation);
  if (b.coefficient == 0) return Access::Pack(a, operation);
  if (a.exponent < b.exponent) std::swap(a, b);

  // Moves a's digits up to the left end of 38 places, or to b's exponent if that comes first.
  const int shift = std::min(a.exponent - b.exponent, kDecimalDigits - CountDigits(a.coefficient));
  a.coefficient *= kPowersOfTen[static_cast<std::size_t>(shift)];
  a.exponent -= shift;

  const int distance = a.exponent - b.exponent;
  if (distance == 0) {
    // Two coefficients of 38 digits fit 128 bits with their sum.
    if (a.negative == b.negative) {
      a.coefficient += b.coefficient;
    } else if (a.coefficient >= b.coefficient) {
      a.coefficient -= b.coefficient;
    } else {
      a.coefficient = b.coefficient - a.coefficient;
      a.negative = b.negative;
    }
    return Access::Pack(a, operation);
  }
  if (TryAddShifted(a, b)) return Access::Pack(a, operation);
  // Cancelled down to 37 digits or fewer. Further away than this, b is below half the last place
  // even of the 38 digits under a power of ten.
  if (distance > kDecimalDigits + 1) return Access::Pack(a, operation);
  const uint256 scaled = uint256(a.coefficient) * WidePowerOfTen(distance);
  return Access::Pack(Narrow(scaled - b.coefficient, b.exponent, a.negative), operation);
}

/// The sum of two coefficients of 64 bits at their smaller exponent, where that takes no more than
/// 128 bits and no rounding. `sign` is -1 to subtract b.
bool TryAddPlain(const VelmarNumber& a, const VelmarNumber& b, int sign, VelmarNumber& sum) {
  if (!Access::ArePlain(a, b)) return false;
  int128 left = Access::GetPlainCoefficient(a);
  int128 right = static_cast<int128>(Access::GetPlainCoefficient(b)) * sign;
  const int leftExponent = Access::GetExponent(a);
  const int rightExponent = Access::GetExponent(b);
  const int shift = leftExponent - rightExponent;
  if (shift > kMostShift || shift < -kMostShift) return false;
  if (shift >= 0) {
    left *= static_cast<int64>(kPowersOfTen[static_cast<std::size_t>(shift)]);
  } else {
    right *= static_cast<int64>(kPowersOfTen[static_cast<std::size_t>(-shift)]);
  }
  sum = Access::PackExact(left + right, std::min(leftExponent, rightExponent));
  return true;
}

/// The sum of two coefficients of one exponent, where that has 38 digits and lies within the range
/// whatever it is. `sign` is -1 to subtract b.
bool TryAddAligned(const VelmarNumber& a, const VelmarNumber& b, int sign, VelmarNumber& sum) {
  constexpr int kMostSafe = 90;
  const int exponent = Access::GetExponent(a);
  if (exponent != Access::GetExponent(b) || std::abs(exponent) > kMostSafe) return false;
  const int128 right = Access::GetCoefficient(b);
  // 128 bits hold the sum of two numbers of 38 digits as long as one has a digit less.
  int128 size;
  if (sign > 0 ? __builtin_add_overflow(Access::GetCoefficient(a), right, &size)
               : __builtin_sub_overflow(Access::GetCoefficient(a), right, &size)) {
    return false;
  }
  if (!HasDecimalDigits(size)) return false;
  sum = Access::PackExact(size, exponent);
  return true;
}

/// The quotient with 38 digits, or with fewer where they are exact.
Decimal DivideByWord(const Decimal& value, uint64 divisor) {
  Decimal quotient = {value.coefficient / divisor, value.exponent, false};
  // By multiplication: a remainder of 128 bits is a library call that divides once more.
  auto rest = static_cast<uint64>(value.coefficient - quotient.coefficient * divisor);
  if (rest == 0) return quotient;
  while (const int missing = kDecimalDigits - CountDigits(quotient.coefficient)) {
    const int digits = std::min(missing, kWordDigits);
    const uint64 power = WordPowerOfTen(digits);
    const uint128 scaled = static_cast<uint128>(rest) * power;
    const uint128 next = scaled / divisor;
    quotient.coefficient = quotient.coefficient * power + next;
    quotient.exponent -= digits;
    rest = static_cast<uint64>(scaled - next * divisor);
    if (rest == 0) {
      StripZeros(quotient);
      return quotient;
    }
  }
  if (rest >= divisor - rest) ++quotient.coefficient;
  return quotient;
}

Decimal DivideByWide(const Decimal& value, uint128 divisor) {
  if (value.coefficient == 0) return {0, 0, false};
  // One digit or two more than a result has: rounding needs no remainder then.
  const int shift = CountDigits(divisor) - CountDigits(value.coefficient) + kDecimalDigits + 1;
  const uint256 scaled = uint256(value.coefficient) * WidePowerOfTen(shift);
  Decimal quotient = Narrow(scaled / divisor, value.exponent - shift, false);
  StripZeros(quotient);
  return quotient;
}

/// -1, 0 or 1 for two magnitudes.
int CompareMagnitudes(Decimal a, Decimal b) {
  const int aDigits = CountDigits(a.coefficient);
  const int bDigits = CountDigits(b.coefficient);
  if (aDigits == 0 || bDigits == 0) return (aDigits > 0) - (bDigits > 0);
  const int aMagnitude = aDigits + a.exponent;
  const int bMagnitude = bDigits + b.exponent;
  if (aMagnitude != bMagnitude) return aMagnitude < bMagnitude ? -1 : 1;
  // Of one magnitude, so the one with fewer digits has room to be scaled.
  const int shift = a.exponent - b.exponent;
  (shift > 0 ? a : b).coefficient *= kPowersOfTen[static_cast<std::size_t>(std::abs(shift))];
  return a.coefficient < b.coefficient ? -1 : a.coefficient > b.coefficient;
}

/// The whole part of a number, and whether that left something out.
Decimal TruncateToWhole(const VelmarNumber& number, bool& isCut) {
  Decimal value = Access::Unpack(number);
  isCut = false;
  if (value.exponent >= 0) return value;
  const bool none = -value.exponent > kDecimalDigits;
  const uint128 power = none ? 0 : kPowersOfTen[static_cast<std::size_t>(-value.exponent)];
  const uint128 whole = none ? 0 : value.coefficient / power;
  isCut = none ? value.coefficient != 0 : whole * power != value.coefficient;
  return {whole, 0, value.negative};
}

VelmarNumber RoundToWhole(const VelmarNumber& number, bool up) {
  bool isCut;
  Decimal whole = TruncateToWhole(number, isCut);
  if (isCut && whole.negative != up) ++whole.coefficient;
  return Access::Pack(whole, up ? L"CeilNumber" : L"FloorNumber");
}

/// The coefficients of two numbers at their smaller exponent, where machine words hold them.
bool TryAlignWords(const VelmarNumber& a, const VelmarNumber& b, int64& left, int64& right) {
  if (!Access::ArePlain(a, b)) return false;
  left = Access::GetPlainCoefficient(a);
  right = Access::GetPlainCoefficient(b);
  const int shift = Access::GetExponent(a) - Access::GetExponent(b);
  if (shift > kMostShift || shift < -kMostShift) return false;
  const auto power = static_cast<int64>(kPowersOfTen[static_cast<std::size_t>(std::abs(shift))]);
  return shift > 0 ? !__builtin_mul_overflow(left, power, &left)
                   : !__builtin_mul_overflow(right, power, &right);
}

/// (value x 10^power) mod divisor, for any power.
uint128 ScaleModulo(uint128 value, int power, uint128 divisor) {
  value %= divisor;
  while (power > 0) {
    const int step = std::min(power, kDecimalDigits);
    value = static_cast<uint128>(uint256(value) * kPowersOfTen[static_cast<std::size_t>(step)] %
                                 divisor);
    power -= step;
  }
  return value;
}

/// The whole part of the square root of a number of 75 or 76 digits.
uint128 WholeSquareRoot(const uint256& square) {
  // A step doubles the 64 bits that a long double knows; no step goes below the root.
  const auto high = static_cast<long double>(static_cast<uint128>(square >> 128));
  uint256 root(static_cast<uint128>(std::sqrt(high) * 0x1p64L));
  do {
    root = (root + square / root) / 2;
  } while (root * root > square);
  return static_cast<uint128>(root);
}

}  // namespace

constexpr uint128 kMostCoefficient = kPowersOfTen[kDecimalDigits] - 1;

constinit const VelmarNumber VelmarNumber::zero = VelmarNumber();
constinit const VelmarNumber VelmarNumber::one = Pack(1, 0);
constinit const VelmarNumber VelmarNumber::negativeOne = Pack(-1, 0);
constinit const VelmarNumber VelmarNumber::velmarnumberMax =
    Pack(static_cast<Coefficient>(kMostCoefficient), kMostSafeExponent);
constinit const VelmarNumber VelmarNumber::velmarnumberMin =
    Pack(-static_cast<Coefficient>(kMostCoefficient), kMostSafeExponent);

VelmarNumber VelmarNumber::PlusUnlike(const VelmarNumber& a, const VelmarNumber& b) {
  VelmarNumber sum;
  if (TryAddPlain(a, b, 1, sum) || TryAddAligned(a, b, 1, sum)) return sum;
  return AddMagnitudes(Access::Unpack(a), Access::Unpack(b), L"AddNumber");
}

VelmarNumber VelmarNumber::MinusUnlike(const VelmarNumber& a, const VelmarNumber& b) {
  VelmarNumber difference;
  if (TryAddPlain(a, b, -1, difference) || TryAddAligned(a, b, -1, difference)) return difference;
  return AddMagnitudes(Access::Unpack(a), Access::Unpack(negate(b)), L"SubtractNumber");
}

VelmarNumber VelmarNumber::MultiplyWide(const VelmarNumber& a, const VelmarNumber& b) {
  const Decimal x = Access::Unpack(a);
  const Decimal y = Access::Unpack(b);
  const int exponent = x.exponent + y.exponent;
  const bool negative = x.negative != y.negative;
  uint128 product;
  if (!__builtin_mul_overflow(x.coefficient, y.coefficient, &product)) {
    return Access::Pack({product, exponent, negative}, L"MultiplyNumber");
  }
  return Access::Pack(Narrow(uint256(x.coefficient) * y.coefficient, exponent, negative),
                      L"MultiplyNumber");
}

VelmarNumber VelmarNumber::Divide(const VelmarNumber& a, const VelmarNumber& b) {
  const Decimal x = Access::Unpack(a);
  const Decimal y = Access::Unpack(b);
  if (y.coefficient == 0) SUGThrow(ErrorMessage(59008));
  const bool isWord = y.coefficient <= std::numeric_limits<uint64>::max();
  Decimal quotient =
      isWord ? DivideByWord(x, static_cast<uint64>(y.coefficient)) : DivideByWide(x, y.coefficient);
  quotient.exponent -= y.exponent;
  quotient.negative = x.negative != y.negative;
  return Access::Pack(quotient, L"DivideNumber");
}

VelmarNumber VelmarNumber::Mod(const VelmarNumber& a, const VelmarNumber& b) {
  int64 left;
  int64 right;
  // The smallest word has no remainder by -1, so -1 goes the long way.
  if (TryAlignWords(a, b, left, right) && right != 0 && right != -1) [[likely]] {
    const int64 rest = left % right;
    if (rest == left) return a;
    return rest == 0 ? VelmarNumber() : Pack(rest, std::min(a.GetExponent(), b.GetExponent()));
  }
  const Decimal x = Access::Unpack(a);
  Decimal y = Access::Unpack(b);
  if (y.coefficient == 0) SUGThrow(ErrorMessage(59008));
  if (CompareMagnitudes(x, y) < 0) return a;
  if (x.exponent < y.exponent) {
    // Not the smaller one although its exponent is less, so y's digits reach down to it in place.
    y.coefficient *= kPowersOfTen[static_cast<std::size_t>(y.exponent - x.exponent)];
    y.exponent = x.exponent;
  }
  const uint128 rest = ScaleModulo(x.coefficient, x.exponent - y.exponent, y.coefficient);
  return Access::Pack({rest, y.exponent, x.negative}, L"ModNumber");
}

VelmarNumber VelmarNumber::ceiling(const VelmarNumber& a) { return RoundToWhole(a, true); }

VelmarNumber VelmarNumber::floor(const VelmarNumber& a) { return RoundToWhole(a, false); }

VelmarNumber VelmarNumber::sqrt(const VelmarNumber& a) {
  const Decimal value = Access::Unpack(a);
  if (value.negative) SUGThrow(ErrorMessage(59009, {a.asString()}));
  if (value.coefficient == 0) return zero;
  // 75 or 76 digits, whichever leaves an even exponent: the root then has 38.
  int shift = 2 * kDecimalDigits - CountDigits(value.coefficient);
  if ((value.exponent - shift) % 2 != 0) --shift;
  const uint256 square = uint256(value.coefficient) * WidePowerOfTen(shift);
  uint128 root = WholeSquareRoot(square);
  // The root of square lies above root + 1/2 where square >= root^2 + root + 1/4.
  if (square - uint256(root) * root > root) ++root;
  Decimal result{root, (value.exponent - shift) / 2, false};
  StripZeros(result);
  return Access::Pack(result, L"SqrtNumber");
}

int VelmarNumber::CompareUnlike(const VelmarNumber& a, const VelmarNumber& b) {
  if (Access::ArePlain(a, b)) {
    const int shift = a.GetExponent() - b.GetExponent();
    if (shift <= kMostShift && shift >= -kMostShift) {
      int128 x = a.GetWords().low;
      int128 y = b.GetWords().low;
      (shift > 0 ? x : y) *=
          static_cast<int64>(kPowersOfTen[static_cast<std::size_t>(std::abs(shift))]);
      return (x > y) - (x < y);
    }
  }
  const Decimal x = Access::Unpack(a);
  const Decimal y = Access::Unpack(b);
  if (x.negative != y.negative) return x.negative ? -1 : 1;
  const int magnitudes = CompareMagnitudes(x, y);
  return x.negative ? -magnitudes : magnitudes;
}

int32 VelmarNumber::asInt4() const {
  constexpr uint128 kBeyond = uint128{1} << 32;
  constexpr int kExponentBeyond = 10;
  bool isCut;
  const Decimal whole = TruncateToWhole(*this, isCut);
  uint128 magnitude = std::min(whole.coefficient, kBeyond);
  if (magnitude != 0) {
    const int exponent = std::min(whole.exponent, kExponentBeyond);
    magnitude *= kPowersOfTen[static_cast<std::size_t>(exponent)];
  }
  const auto value = static_cast<int64>(std::min(magnitude, kBeyond));
  return static_cast<int32>(std::clamp<int64>(whole.negative ? -value : value,
                                              std::numeric_limits<int32>::min(),
                                              std::numeric_limits<int32>::max()));
}

uint64 VelmarNumber::hash() const {
  Decimal value = Access::Unpack(*this);
  StripZeros(value);
  uint64 hash = MixHash(0, static_cast<uint64>(value.coefficient));
  hash = MixHash(hash, static_cast<uint64>(value.coefficient >> 64));
  return MixHash(hash, static_cast<uint64>(value.exponent) * 2 + value.negative);
}

bool VelmarNumber::TryScaled(int scale, int64& coefficient) const {
  constexpr int64 kMost = std::numeric_limits<int64>::max();
  int128 value;
  if (!TryScaled(scale, value) || value > kMost || value < -kMost) return false;
  coefficient = static_cast<int64>(value);
  return true;
}

bool VelmarNumber::TryScaled(int scale, int128& coefficient) const {
  Decimal value = Access::Unpack(*this);
  if (value.exponent + scale < 0) StripZeros(value);
  const int shift = value.exponent + scale;
  if (value.coefficient == 0) {
    coefficient = 0;
    return true;
  }
  if (shift < 0 || shift >= kDecimalDigits) return false;
  if (value.coefficient >= kPowersOfTen[static_cast<std::size_t>(kDecimalDigits - shift)]) {
    return false;
  }
  const auto size =
      static_cast<int128>(value.coefficient * kPowersOfTen[static_cast<std::size_t>(shift)]);
  coefficient = value.negative ? -size : size;
  return true;
}

VelmarNumber::Parts VelmarNumber::GetParts() const {
  Decimal value = Access::Unpack(*this);
  StripZeros(value);
  const auto size = static_cast<int128>(value.coefficient);
  const int128 coefficient = value.negative ? -size : size;
  return {static_cast<int64>(coefficient >> 64), static_cast<uint64>(coefficient), value.exponent};
}

int VelmarNumber::decimalPlaces() const {
  Decimal value = Access::Unpack(*this);
  StripZeros(value);
  return std::max(0, -value.exponent);
}

}  // namespace sqxer
