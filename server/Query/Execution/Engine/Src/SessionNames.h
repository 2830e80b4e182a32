#pragma once

#include <string>
#include <vector>

#include "NearNames.h"
#include "Utility/XeTypes.h"

namespace sqxer {

// What statements of a session make of names and types.

inline XeString NumberedName(std::size_t column) { return L"c" + std::to_wstring(column); }

inline bool IsText(XeDataType type) { return type == XeVarCharData || type == XeLongVarCharData; }

/// What a name may have been meant for, as the end of a sentence.
inline XeString Advice(const XeString& name, const std::vector<XeString>& names) {
  const XeString advice = AdviseNames(name, names);
  return advice.empty() ? advice : L": " + advice;
}

}  // namespace sqxer
