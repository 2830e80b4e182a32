#pragma once

#include "SQXERExpression.h"

namespace sqxer {

/// Whether a bound tree reads nothing that differs from row to row: a batch evaluates it once.
bool IsSameInEveryRow(RExpression& tree);

/// Whether `out` now has the values of a tree for the rows, because there are few of them.
bool EvaluateFewValues(RExpression& tree, const BatchRows& rows, BatchVector& out);

}  // namespace sqxer
