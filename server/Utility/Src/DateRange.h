#pragma once

#include "Utility/XeTypes.h"

namespace sqxer {

/// The error of what lies beyond the years that dates may hold.
inline constexpr int kDateOutOfRange = 59171;

/// Raises it for a sum of a date or date-time and a count of units.
[[noreturn]] void ThrowSumOutOfRange(const XeString& start, int64 count, const wchar_t* unit);

}  // namespace sqxer
