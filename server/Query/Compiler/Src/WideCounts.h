#pragma once

#include "TypedExpression.h"

namespace sqxer {

/// Whether a value is a count, which is a NUMERIC in arithmetic unless IntegerAggregates says
/// otherwise: COUNT and its like, what passes one on, and a column that was made of one.
bool IsWideCount(const TypedExpression& argument);

}  // namespace sqxer
