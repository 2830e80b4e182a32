#pragma once

#include "SQXERExprLike.h"
#include "SQXERExprLogicalBetween.h"
#include "SQXERExprLogicalCompare.h"
#include "SQXERExpression.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeDateTime.h"

namespace sqxer {

/// Whether the operand is NULL: one byte, 1 or 0, never NULL itself. Built as this generic node and
/// replaced at bind by the variant of the operand's type; error 59002 ("IsNull", type) for a type
/// without one.
class SQXEREXPR_API IsNull : public UnaryOperator {
 public:
  using UnaryOperator::UnaryOperator;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;

 protected:
  /// Binds the operand, without the choice of a variant that Bind makes.
  void BindOperand(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
    UnaryOperator::Bind(stream, replacement, info);
  }
  bool EvalNulls(const BatchRows& rows, BatchVector& out);
};

template <class T>
class IsNullNode : public IsNull {
 public:
  using Value = T;
  using IsNull::IsNull;
  RExprReturn Eval(void* out) final {
    retCode_ = only_->Eval(&localValue_);
    // retCode_ keeps the operand's status: callers ask it later whether the value was NULL.
    if (retCode_ != kTrue && retCode_ != kUnknown) return retCode_;
    *static_cast<uint8*>(out) = retCode_ == kUnknown;
    return kTrue;
  }
  bool EvalBatch(const BatchRows& rows, BatchVector& out) final { return EvalNulls(rows, out); }
  bool HasBatchLoop() final { return true; }
  BatchCost GetBatchCost() final { return only_->GetBatchCost(); }

 protected:
  T localValue_{};
};

class SQXEREXPR_API IsNullInt32 final : public IsNullNode<int32> {
 public:
  using IsNullNode::IsNullNode;
};
class SQXEREXPR_API IsNullUInt32 final : public IsNullNode<uint32> {
 public:
  using IsNullNode::IsNullNode;
};
class SQXEREXPR_API IsNullFloat64 final : public IsNullNode<float64> {
 public:
  using IsNullNode::IsNullNode;
};
class SQXEREXPR_API IsNullNumber final : public IsNullNode<VelmarNumber> {
 public:
  using IsNullNode::IsNullNode;
};
class SQXEREXPR_API IsNullDate final : public IsNullNode<XeDate> {
 public:
  using IsNullNode::IsNullNode;
};
class SQXEREXPR_API IsNullTime final : public IsNullNode<XeTime> {
 public:
  using IsNullNode::IsNullNode;
};
class SQXEREXPR_API IsNullDateTime final : public IsNullNode<XeDateTime> {
 public:
  using IsNullNode::IsNullNode;
};
class SQXEREXPR_API IsNullInterval final : public IsNullNode<XeInterval> {
 public:
  using IsNullNode::IsNullNode;
};
class SQXEREXPR_API IsNullXeChar final : public IsNullNode<wchar_t*> {
 public:
  using IsNullNode::IsNullNode;
};
class SQXEREXPR_API IsNullLongVarXeChar final : public IsNullNode<RefLongVarChar> {
 public:
  using IsNullNode::IsNullNode;
};
class SQXEREXPR_API IsNullBoolean final : public IsNullNode<uint8> {
 public:
  using IsNullNode::IsNullNode;
};

/// In which order a connective evaluates its operands over batches. A left one that cannot fail
/// gives way to a right one that is free, or cannot fail either and decides more rows in its time.
/// What comes out is the same.
class OperandOrder {
 public:
  /// Takes the switch over.
  void UseCurrentSettings();
  /// Called once for each batch.
  bool IsRightFirst(RExpression& left, RExpression& right);
  /// Whether the current batch is one of the few in which operands are measured.
  bool IsMeasured() const { return isMeasured_; }
  /// What evaluating an operand took, and how many rows it decided.
  void Record(bool isRight, uint64 nanoseconds, uint32 decided);

 private:
  struct Past {
    float64 nanoseconds = 0;
    float64 decided = 0;
  };

  bool byCost_ = false;
  bool isMeasured_ = false;
  uint32 batches_ = 0;
  Past left_;
  Past right_;
};

/// AND of three-valued logic over bits or booleans: FALSE on either side wins over NULL. The right
/// operand is not evaluated when the left one is FALSE. Not specialised by type: Bind leaves the
/// node in place. Error 59001 ("Logical And", type) for an operand of another type.
class SQXEREXPR_API LogicalAnd final : public BinaryOperator {
 public:
  using BinaryOperator::BinaryOperator;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool HasBatchLoop() override { return true; }
  BatchCost GetBatchCost() override { return CostOfAll(*left_, *right_); }

 private:
  uint8 value1_ = 0;
  RExprReturn retCode1_ = kUnknown;
  OperandOrder order_;
};

/// OR of three-valued logic over bits or booleans: TRUE on either side wins over NULL. The right
/// operand is not evaluated when the left one is TRUE. Unlike AND, it hands no status upward: an
/// operand that is neither TRUE nor NULL counts as FALSE. Error 59001 ("Logical Or", type).
class SQXEREXPR_API LogicalOr final : public BinaryOperator {
 public:
  using BinaryOperator::BinaryOperator;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool HasBatchLoop() override { return true; }
  BatchCost GetBatchCost() override { return CostOfAll(*left_, *right_); }

 private:
  uint8 value1_ = 0;
  RExprReturn retCode1_ = kUnknown;
  OperandOrder order_;
};

/// NOT of three-valued logic: NOT NULL is NULL. Bind leaves the node in place.
class SQXEREXPR_API LogicalNot final : public UnaryOperator {
 public:
  using UnaryOperator::UnaryOperator;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool HasBatchLoop() override { return true; }
  BatchCost GetBatchCost() override { return only_->GetBatchCost(); }
};

}  // namespace sqxer
