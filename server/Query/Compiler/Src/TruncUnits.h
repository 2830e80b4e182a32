#pragma once

#include "SQXEROpsDates.h"
#include "TypedExpression.h"

namespace sqxer {

/// The unit of DATE_TRUNC that a text constant is. Error 58033 for any other argument.
TruncUnit ReadTruncUnit(const TypedExpression& argument);

}  // namespace sqxer
