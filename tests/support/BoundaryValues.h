#pragma once

#include <limits>
#include <type_traits>
#include <vector>

#include "Utility/VelmarNumber.h"
#include "Utility/XeDateTime.h"
#include "Utility/XeInterval.h"
#include "Utility/XeTypes.h"

namespace sqxer::test {

/// The values of a type at which operators break: limits and their neighbours, zero, plus and minus
/// one, the special values of doubles, the ends of the calendar and its leap days. Days and times,
/// and doubles, are in ascending order.
template <class Value>
std::vector<Value> BoundaryValues() {
  using Limits = std::numeric_limits<Value>;
  constexpr Value kLow = Limits::lowest(), kHigh = Limits::max(), kOne{1};
  if constexpr (std::is_integral_v<Value>) {
    // The same as an unsigned type's greatest.
    const Value minusOne = static_cast<Value>(-1);
    return {kLow,  static_cast<Value>(kLow + 1), 0, kOne, minusOne,
            kHigh, static_cast<Value>(kHigh - 1)};
  } else {
    constexpr Value kInfinity = Limits::infinity(), kTiny = Limits::denorm_min();
    return {-kInfinity, kLow, -kOne, -kTiny,    Value{-0.0},        Value{0.0},
            kTiny,      kOne, kHigh, kInfinity, Limits::quiet_NaN()};
  }
}

template <>
inline std::vector<VelmarNumber> BoundaryValues<VelmarNumber>() {
  std::vector<VelmarNumber> values = {VelmarNumber::velmarnumberMin, VelmarNumber::velmarnumberMax};
  for (const XeString text :
       {L"-1", L"0", L"1", L"0.1", L"-0.00000000000000000000000000000000000001",
        L"99999999999999999999999999999999999999", L"2147483648", L"18446744073709551616"}) {
    values.push_back(VelmarNumber::stringAsNumber(text.c_str(), static_cast<uint32>(text.size())));
  }
  return values;
}

template <>
inline std::vector<XeDate> BoundaryValues<XeDate>() {
  return {XeDate(kMinYear, 1, 1), XeDate(0, 2, 29),   XeDate(1899, 12, 31),
          XeDate(1900, 2, 28),    XeDate(1970, 1, 1), XeDate(2000, 2, 29),
          XeDate(2011, 12, 31),   XeDate(2012, 1, 1), XeDate(kMaxYear, 12, 31)};
}

template <>
inline std::vector<XeTime> BoundaryValues<XeTime>() {
  return {XeTime(0, 0, 0), XeTime(0, 0, 0, 1), XeTime(12, 0, 0), XeTime(23, 59, 59),
          XeTime(23, 59, 59, 999999999)};
}

template <>
inline std::vector<XeDateTime> BoundaryValues<XeDateTime>() {
  std::vector<XeDateTime> values;
  for (const XeDate& date : BoundaryValues<XeDate>()) {
    values.emplace_back(date.GetYear(), date.GetMonth(), date.GetDay());
    values.emplace_back(date.GetYear(), date.GetMonth(), date.GetDay(), 23, 59, 59, 999999999);
  }
  return values;
}

template <>
inline std::vector<XeInterval> BoundaryValues<XeInterval>() {
  return {{INT32_MIN, INT32_MIN, INT64_MIN}, {-1, 0, 0}, {0, 0, -1}, {}, {0, 0, 1}, {0, 1, 0},
          {INT32_MAX, INT32_MAX, INT64_MAX}};
}

/// Texts of up to `longest` characters: empty, blank, padded, of digits, beyond the basic plane,
/// and the longest.
inline std::vector<XeString> BoundaryTexts(uint32 longest) {
  return {L"", L" ", L"a", L"a ", L"A", L"0", L"-1", L"\U0001F426", XeString(longest, L'z')};
}

}  // namespace sqxer::test
