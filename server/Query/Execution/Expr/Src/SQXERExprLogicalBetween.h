#pragma once

#include "SQXERCompareNode.h"
#include "SQXERExpression.h"
#include "SQXEROpsCompare.h"

namespace sqxer {

/// low <= value <= high, both ends included; a reversed range holds nothing. Built as this generic
/// node and replaced at bind by the variant of the type that all three operands are brought to.
/// Error 59001 ("Binary Logical", the common type so far, the operand's type) when they cannot
/// meet, 59002 ("Between", type) when values of their type cannot be compared.
///
/// A variant writes one byte, 1 or 0. A NULL in any of the three makes the result NULL; evaluation
/// is from left to right and stops at the first operand without a value.
class SQXEREXPR_API Between : public RExpression {
 public:
  Between(RExpression* compare, RExpression* low, RExpression* high);
  ~Between() override;

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  /// A broken invariant: only variants are evaluated.
  RExprReturn Eval(void* out) override;
  RExprType GetExpressionType() override { return kBetweenExpression; }
  RExpression* GetIthOperand(int index) override;
  void SetIthOperand(int index, RExpression* operand) override;

 protected:
  RExpression* compareOp_;
  RExpression* lowOp_;
  RExpression* highOp_;

 private:
  RExpression*& Slot(int index);
};

class SQXEREXPR_API BetweenInt32 final : public BetweenNode<Between, int32> {
 public:
  using BetweenNode::BetweenNode;
};
class SQXEREXPR_API BetweenUInt32 final : public BetweenNode<Between, uint32> {
 public:
  using BetweenNode::BetweenNode;
};
class SQXEREXPR_API BetweenFloat64 final : public BetweenNode<Between, float64> {
 public:
  using BetweenNode::BetweenNode;
};
class SQXEREXPR_API BetweenNumber final : public BetweenNode<Between, VelmarNumber> {
 public:
  using BetweenNode::BetweenNode;
};
class SQXEREXPR_API BetweenDate final : public BetweenNode<Between, XeDate> {
 public:
  using BetweenNode::BetweenNode;
};
class SQXEREXPR_API BetweenTime final : public BetweenNode<Between, XeTime> {
 public:
  using BetweenNode::BetweenNode;
};
class SQXEREXPR_API BetweenDateTime final : public BetweenNode<Between, XeDateTime> {
 public:
  using BetweenNode::BetweenNode;
};
class SQXEREXPR_API BetweenInterval final : public BetweenNode<Between, XeInterval> {
 public:
  using BetweenNode::BetweenNode;
};
class SQXEREXPR_API BetweenXeChar final : public TextBetweenNode<Between, wchar_t*> {
 public:
  using TextBetweenNode::TextBetweenNode;
};
class SQXEREXPR_API BetweenLongVarXeChar final : public TextBetweenNode<Between, RefLongVarChar> {
 public:
  using TextBetweenNode::TextBetweenNode;
};

}  // namespace sqxer
