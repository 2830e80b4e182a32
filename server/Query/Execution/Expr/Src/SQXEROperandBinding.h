#pragma once

#include <algorithm>
#include <limits>

#include "SQXERExpression.h"

namespace sqxer {

/// The number of operands that a node over a list reports. Lists beyond its range hold more, which
/// GetIthOperand reaches as well and CountOperands counts.
inline int OperandCount(std::size_t operands) {
  return static_cast<int>(std::min<std::size_t>(operands, std::numeric_limits<int16>::max()));
}

/// What a bound operand told. A parameter, which tells nothing of itself, has the length that it
/// was declared with.
OperandShape ShapeOf(const RExpression& bound);

/// Binds an operand in `scratch`, a context of its own, for nodes that look at each operand apart:
/// only the query parameters that it met go on into `info`. An operand that is bound already
/// (`isBound`) is only asked for its shape.
OperandShape BindOperand(RExpression*& slot, XeAListStream* stream, RExpression*& replacement,
                         MetaDataInfo& scratch, MetaDataInfo& info, bool isBound);

/// The same for nodes that keep no scratch context.
inline OperandShape BindOperand(RExpression*& slot, XeAListStream* stream,
                                RExpression*& replacement, MetaDataInfo& info, bool isBound) {
  MetaDataInfo scratch;
  return BindOperand(slot, stream, replacement, scratch, info, isBound);
}

}  // namespace sqxer
