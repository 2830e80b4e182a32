#include "Decimal.h"

#include <bit>

#include "Utility/ErrorMessage.h"

namespace sqxer {

namespace {

int CountBits(uint128 value) {
  const auto high = static_cast<uint64>(value >> 64);
  const auto low = static_cast<uint64>(value);
  return static_cast<int>(high != 0 ? 64 + std::bit_width(high) : std::bit_width(low));
}

int CountTrailingZeroBits(uint128 value) {
  const auto low = static_cast<uint64>(value);
  return low != 0 ? std::countr_zero(low) : 64 + std::countr_zero(static_cast<uint64>(value >> 64));
}

uint128 DivideRounding(uint128 value, int droppedDigits) {
  const uint128 power = kPowersOfTen[static_cast<std::size_t>(droppedDigits)];
  const uint128 kept = value / power;
  return kept + (value - kept * power >= power / 2 ? 1 : 0);
}

}  // namespace

int CountDigits(uint128 value) {
  // 1233 / 4096 is the logarithm of 2 to base 10, near enough for 128 bits.
  const int digits = CountBits(value) * 1233 >> 12;
  return digits + (value >= kPowersOfTen[static_cast<std::size_t>(digits)] ? 1 : 0);
}

void StripZeros(Decimal& value) {
  if (value.coefficient == 0) {
    value.exponent = 0;
    return;
  }
  // Ten to the n divides only what two to the n divides: most numbers are done after one look.
  for (int zeros = 32; zeros > 0; zeros /= 2) {
    if (CountTrailingZeroBits(value.coefficient) < zeros) continue;
    const uint128 power = kPowersOfTen[static_cast<std::size_t>(zeros)];
    if (value.coefficient % power != 0) continue;
    value.coefficient /= power;
    value.exponent += zeros;
  }
}

Decimal VelmarNumberAccess::Unpack(const VelmarNumber& number) {
  const int128 coefficient = number.GetCoefficient();
  const bool negative = coefficient < 0;
  return {negative ? -static_cast<uint128>(coefficient) : static_cast<uint128>(coefficient),
          number.GetExponent(), negative};
}

bool VelmarNumberAccess::TryPack(Decimal value, VelmarNumber& number) {
  int digits = CountDigits(value.coefficient);
  if (digits > kDecimalDigits) {
    value.coefficient = DivideRounding(value.coefficient, digits - kDecimalDigits);
    value.exponent += digits - kDecimalDigits;
    digits = CountDigits(value.coefficient);
    if (digits > kDecimalDigits) {  // 99...9.5 became a one with 38 zeros.
      value.coefficient /= 10;
      ++value.exponent;
      --digits;
    }
  }
  const int magnitude = digits - 1 + value.exponent;
  if (value.coefficient == 0 || magnitude < kLeastMagnitude) {
    number = VelmarNumber();
    return true;
  }
  if (magnitude > kMostMagnitude) return false;
  const auto coefficient = static_cast<int128>(value.coefficient);
  number = VelmarNumber::Pack(value.negative ? -coefficient : coefficient, value.exponent);
  return true;
}

VelmarNumber VelmarNumberAccess::Pack(const Decimal& value, const wchar_t* operation) {
  VelmarNumber number;
  if (!TryPack(value, number)) RaiseNumberOverflow(operation);
  return number;
}

void RaiseNumberOverflow(const wchar_t* operation) {
  SUGThrow(ErrorMessage(59161, {operation, VelmarNumber::velmarnumberMax.asString()}));
}

}  // namespace sqxer
