#pragma once

#include "SQXERExpression.h"

namespace sqxer {

/// Whether a bound tree reads nothing that differs from row to row: a batch evaluates it once.
bool IsSameInEveryRow(RExpression& tree);

}  // namespace sqxer
