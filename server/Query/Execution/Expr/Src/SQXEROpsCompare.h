#pragma once

#include <concepts>
#include <string>
#include <type_traits>

#include "Utility/ExecutionUtility.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeDateTime.h"
#include "Utility/XeInterval.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// -1, 0 or 1, for the types whose order is one call.
inline int ThreeWay(const VelmarNumber& a, const VelmarNumber& b) {
  return VelmarNumber::compare(a, b);
}
inline int ThreeWay(const XeDate& a, const XeDate& b) { return XeDate::Compare(a, b); }
inline int ThreeWay(const XeTime& a, const XeTime& b) { return XeTime::Compare(a, b); }
inline int ThreeWay(const XeDateTime& a, const XeDateTime& b) { return XeDateTime::Compare(a, b); }
inline int ThreeWay(const XeInterval& a, const XeInterval& b) { return XeInterval::Compare(a, b); }

/// A long binary as the comparisons take it.
struct BinaryValue : RefLongVarBinary {};
inline int ThreeWay(const BinaryValue& a, const BinaryValue& b) { return CompareBinaries(a, b); }
inline bool operator==(const BinaryValue& a, const BinaryValue& b) { return ThreeWay(a, b) == 0; }
inline bool operator<(const BinaryValue& a, const BinaryValue& b) { return ThreeWay(a, b) < 0; }
inline bool operator<=(const BinaryValue& a, const BinaryValue& b) { return ThreeWay(a, b) <= 0; }

template <class T>
concept ThreeWayComparable = requires(const T& a, const T& b) {
  { ThreeWay(a, b) } -> std::same_as<int>;
};

/// What the comparisons need of a type; they are all derived from these.
template <class T>
concept Comparable = requires(const T& a, const T& b) {
  { a == b } -> std::convertible_to<bool>;
  { a < b } -> std::convertible_to<bool>;
  { a <= b } -> std::convertible_to<bool>;
};

/// A stateless comparison of two values of a type.
template <class Op, class T>
concept CompareOp = requires(const T& a, const T& b) {
  { Op::Apply(a, b) } -> std::same_as<bool>;
};

// One policy for NaN follows from the derivation: it is equal to nothing and on no side of
// anything, so that every comparison with it is false but the negation of equality.

struct EqualToOp {
  template <Comparable T>
  static bool Apply(const T& a, const T& b) {
    return a == b;
  }
};

struct NotEqualToOp {
  template <Comparable T>
  static bool Apply(const T& a, const T& b) {
    return !EqualToOp::Apply(a, b);
  }
};

struct LessThanOp {
  template <Comparable T>
  static bool Apply(const T& a, const T& b) {
    return a < b;
  }
};

struct LessThanEqualToOp {
  template <Comparable T>
  static bool Apply(const T& a, const T& b) {
    if constexpr (ThreeWayComparable<T>) {
      return ThreeWay(a, b) <= 0;
    } else {
      return a <= b;
    }
  }
};

struct GreaterThanOp {
  template <Comparable T>
  static bool Apply(const T& a, const T& b) {
    return LessThanOp::Apply(b, a);
  }
};

struct GreaterThanEqualToOp {
  template <Comparable T>
  static bool Apply(const T& a, const T& b) {
    return LessThanEqualToOp::Apply(b, a);
  }
};

/// low <= value <= high. A reversed range holds nothing.
struct BetweenOp {
  template <Comparable T>
  static bool Apply(const T& value, const T& low, const T& high) {
    const bool reachesLow = LessThanEqualToOp::Apply(low, value);
    // Values come in no order: a second comparison of machine numbers costs less than a guess at
    // the outcome of the first.
    if constexpr (std::is_arithmetic_v<T>) {
      return reachesLow & LessThanEqualToOp::Apply(value, high);
    } else {
      return reachesLow && LessThanEqualToOp::Apply(value, high);
    }
  }
};

/// The same comparisons over text: the sign of a character comparison against that of equal texts.
template <class Op>
requires CompareOp<Op, int>
bool CompareText(CharCompareFunc_t compare, const RefLongVarChar& a, const RefLongVarChar& b) {
  return Op::Apply(compare(nullptr, a, b), 0);
}

inline bool TextBetween(CharCompareFunc_t compare, const RefLongVarChar& value,
                        const RefLongVarChar& low, const RefLongVarChar& high) {
  return CompareText<LessThanEqualToOp>(compare, low, value) &&
         CompareText<LessThanEqualToOp>(compare, value, high);
}

/// A text value as the comparisons take it. A fixed text goes up to its zero character, blanks
/// included; what blanks mean is the comparison function's business.
inline RefLongVarChar AsText(const RefLongVarChar& text) { return text; }
inline RefLongVarChar AsText(wchar_t* text) {
  return {static_cast<uint32>(std::char_traits<wchar_t>::length(text)), text};
}

/// Whether two values of one type are equal. Texts are compared by `compare`, which the other types
/// do not look at.
template <class T>
bool EqualValues([[maybe_unused]] CharCompareFunc_t compare, const T& a, const T& b) {
  if constexpr (requires { AsText(a); }) {
    return CompareText<EqualToOp>(compare, AsText(a), AsText(b));
  } else {
    return EqualToOp::Apply(a, b);
  }
}

}  // namespace sqxer
