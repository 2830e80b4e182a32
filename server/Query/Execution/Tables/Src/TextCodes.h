#pragma once

#include "Utility/ColumnVector.h"

namespace sqxer {

/// The same texts as codes into a dictionary, where they are ASCII, many, and few different ones:
/// grouping and comparing then go by codes. Any other vector as it stands.
ColumnVector CodeFewTexts(const ColumnVector& texts);

}  // namespace sqxer
