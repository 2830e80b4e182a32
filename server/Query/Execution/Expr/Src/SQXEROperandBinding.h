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

/// What an operand told the node that bound it.
struct OperandShape {
  uint32 length = 0;
  bool nullable = false;
};

/// Binds an operand in `scratch`, a context of its own, for nodes that look at each operand apart:
/// only the query parameters that it met go on into `info`. A parameter, which tells nothing of
/// itself, has the length that it was declared with.
OperandShape BindOperand(RExpression*& slot, XeAListStream* stream, RExpression*& replacement,
                         MetaDataInfo& scratch, MetaDataInfo& info);

/// The same for nodes that keep no scratch context.
inline OperandShape BindOperand(RExpression*& slot, XeAListStream* stream,
                                RExpression*& replacement, MetaDataInfo& info) {
  MetaDataInfo scratch;
  return BindOperand(slot, stream, replacement, scratch, info);
}

}  // namespace sqxer
