#pragma once

#include "SQXERExpression.h"

namespace sqxer {

/// What an operand told the node that bound it.
struct OperandShape {
  uint32 length = 0;
  bool nullable = false;
};

/// Binds an operand in a context of its own, for nodes that look at each operand apart: only the
/// query parameters that it met go on into `info`.
inline OperandShape BindOperand(RExpression*& slot, XeAListStream* stream,
                                RExpression*& replacement, MetaDataInfo& info) {
  MetaDataInfo operandInfo;
  operandInfo.Initialize();
  BindInPlace(slot, stream, replacement, operandInfo);
  info.paramDescriptorArray_.insert(info.paramDescriptorArray_.end(),
                                    operandInfo.paramDescriptorArray_.begin(),
                                    operandInfo.paramDescriptorArray_.end());
  info.paramExpressions_.insert(info.paramExpressions_.end(), operandInfo.paramExpressions_.begin(),
                                operandInfo.paramExpressions_.end());
  return {operandInfo.objectLength_, operandInfo.isNullable_};
}

}  // namespace sqxer
