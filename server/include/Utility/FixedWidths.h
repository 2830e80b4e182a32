#pragma once

#include <type_traits>

#include "Utility/VelmarNumber.h"
#include "Utility/XeAssert.h"
#include "Utility/XeDateTime.h"

namespace sqxer {

/// Calls `use` with the width of a value of fixed width as a constant, so that a copy of that many
/// bytes is a few instructions and no call.
template <class Use>
auto WithFixedWidth(uint32 width, Use use) {
  switch (width) {
    case 1:
      return use(std::integral_constant<std::size_t, 1>());
    case 2:
      return use(std::integral_constant<std::size_t, 2>());
    case 4:
      return use(std::integral_constant<std::size_t, 4>());
    case sizeof(XeDate):
      return use(std::integral_constant<std::size_t, sizeof(XeDate)>());
    case 8:
      return use(std::integral_constant<std::size_t, 8>());
    case sizeof(XeTime):
      return use(std::integral_constant<std::size_t, sizeof(XeTime)>());
    case sizeof(XeDateTime):
      return use(std::integral_constant<std::size_t, sizeof(XeDateTime)>());
    case sizeof(VelmarNumber):
      return use(std::integral_constant<std::size_t, sizeof(VelmarNumber)>());
    default:
      XeLogicError("a column of a type that tables do not have");
  }
}

}  // namespace sqxer
