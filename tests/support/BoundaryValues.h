#pragma once

#include <limits>
#include <type_traits>
#include <vector>

#include "Utility/VelmarNumber.h"
#include "Utility/XeDateTime.h"
#include "Utility/XeTypes.h"

namespace sqxer::test {

/// The values of a type at which operators break: limits and their neighbours, zero, plus and minus
/// one, the special values of doubles, the ends of the calendar and its leap days.
template <class Value>
std::vector<Value> BoundaryValues() {
  using Limits = std::numeric_limits<Value>;
  if constexpr (std::is_same_v<Value, bool>) {
    return {false, true};
  } else if constexpr (std::is_integral_v<Value>) {
    std::vector<Value> values = {Limits::min(),
                                 static_cast<Value>(Limits::min() + 1),
                                 0,
                                 1,
                                 static_cast<Value>(Limits::max() - 1),
                                 Limits::max()};
    if constexpr (std::is_signed_v<Value>) values.push_back(-1);
    return values;
  } else {
    static_assert(std::is_floating_point_v<Value>);
    return {-Limits::infinity(),   Limits::lowest(),   Value{-1},
            -Limits::denorm_min(), Value{-0.0},        Value{0.0},
            Limits::denorm_min(),  Value{1},           Limits::max(),
            Limits::infinity(),    Limits::quiet_NaN()};
  }
}

template <>
inline std::vector<VelmarNumber> BoundaryValues<VelmarNumber>() {
  const auto number = [](const wchar_t* text) {
    return VelmarNumber::stringAsNumber(text, static_cast<uint32>(XeString(text).size()));
  };
  return {VelmarNumber::velmarnumberMin,
          VelmarNumber::negativeOne,
          VelmarNumber::zero,
          VelmarNumber::one,
          VelmarNumber::velmarnumberMax,
          number(L"0.1"),
          number(L"-0.00000000000000000000000000000000000001"),
          number(L"99999999999999999999999999999999999999"),
          number(L"2147483648"),
          number(L"18446744073709551616")};
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
    for (const XeTime& time : {XeTime(0, 0, 0), XeTime(23, 59, 59, 999999999)}) {
      values.emplace_back(date.GetYear(), date.GetMonth(), date.GetDay(), time.GetHour(),
                          time.GetMinute(), time.GetSecond(), time.GetNanosecond());
    }
  }
  return values;
}

/// Texts of up to `longest` characters: empty, blank, padded, of digits, beyond the basic plane,
/// and the longest.
inline std::vector<XeString> BoundaryTexts(uint32 longest) {
  std::vector<XeString> texts;
  for (const XeString& text :
       {XeString(), XeString(L" "), XeString(L"a"), XeString(L"a "), XeString(L"A"), XeString(L"0"),
        XeString(L"-1"), XeString(L"\U0001F426"), XeString(longest, L'z')}) {
    if (text.size() <= longest) texts.push_back(text);
  }
  return texts;
}

}  // namespace sqxer::test
