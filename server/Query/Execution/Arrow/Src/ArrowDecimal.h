#pragma once

#include <cstring>

#include "Utility/DecimalPowers.h"
#include "Utility/VelmarNumber.h"

namespace sqxer {

inline VelmarNumber::Parts ToNumberParts(int128 coefficient, int exponent) {
  return {static_cast<int64>(coefficient >> 64), static_cast<uint64>(coefficient), exponent};
}
inline int128 CoefficientOf(const VelmarNumber::Parts& parts) {
  return static_cast<int128>(parts.high) << 64 | parts.low;
}

}  // namespace sqxer
