#pragma once

#include "SQXERCompareNode.h"
#include "SQXERExprLogical.h"
#include "SQXEROpsCompare.h"

namespace sqxer {

/// Base of the comparisons of long binaries, such as sort keys. The generic comparisons and IsNull
/// refuse binaries, and callers tell by that error what they compare; who wants them compared
/// builds these. They are what they are from the start, so Bind leaves them in place. Otherwise
/// they are comparisons like the others. Error 59001 ("Binary Logical", types) for any other
/// operand.
class SQXEREXPR_API BinaryComparison : public BinaryOperator {
 public:
  using BinaryOperator::BinaryOperator;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) final;
};

class SQXEREXPR_API EQLongVarBinary final
    : public CompareNode<BinaryComparison, EqualToOp, BinaryValue> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API NELongVarBinary final
    : public CompareNode<BinaryComparison, NotEqualToOp, BinaryValue> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API LTLongVarBinary final
    : public CompareNode<BinaryComparison, LessThanOp, BinaryValue> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API LELongVarBinary final
    : public CompareNode<BinaryComparison, LessThanEqualToOp, BinaryValue> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API GTLongVarBinary final
    : public CompareNode<BinaryComparison, GreaterThanOp, BinaryValue> {
 public:
  using CompareNode::CompareNode;
};
class SQXEREXPR_API GELongVarBinary final
    : public CompareNode<BinaryComparison, GreaterThanEqualToOp, BinaryValue> {
 public:
  using CompareNode::CompareNode;
};

/// Whether a long binary is NULL. Error 59001 ("IsNull", type) for any other operand.
class SQXEREXPR_API IsNullLongVarBinary final : public IsNullNode<BinaryValue> {
 public:
  using IsNullNode::IsNullNode;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
};

}  // namespace sqxer
