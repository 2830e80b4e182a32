#pragma once

#include "SQXERArithmeticNode.h"
#include "SQXERExpression.h"
#include "SQXEROperandBinding.h"
#include "SQXEROpsArithmetic.h"
#include "Utility/XeAutoBuffer.h"

namespace sqxer {

/// The operators of arithmetic and concatenation. Each is built as its generic node, which exists
/// to be bound: Bind brings the operands to one type and hands back the typed variant of that type,
/// which has taken over the operands. Error 59001 (operator name, types) for types that do not fit.
///
/// Arithmetic with a NULL is NULL; the right operand is evaluated only when the left one has a
/// value. Results that leave their type raise 59161 or 59162, a zero divisor 59008.

/// left + right.
class SQXEREXPR_API Add : public BinaryOperator {
 public:
  using BinaryOperator::BinaryOperator;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
};

/// left - right.
class SQXEREXPR_API Subtract : public BinaryOperator {
 public:
  using BinaryOperator::BinaryOperator;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
};

/// left * right.
class SQXEREXPR_API Multiply : public BinaryOperator {
 public:
  using BinaryOperator::BinaryOperator;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
};

/// left / right. Integers divide as integers, truncated, unless the flag asks for doubles.
class SQXEREXPR_API Divide : public BinaryOperator {
 public:
  Divide(RExpression* left, RExpression* right, bool integerDivideProduceDouble = false)
      : BinaryOperator(left, right), m_bIntegerDivideProduceDouble(integerDivideProduceDouble) {}
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;

 protected:
  bool m_bIntegerDivideProduceDouble;
};

/// -operand. Never overflows: integers wrap.
class SQXEREXPR_API UnaryMinus : public UnaryOperator {
 public:
  using UnaryOperator::UnaryOperator;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
};

class SQXEREXPR_API AddInt32 final
    : public ArithmeticNode<Add, AddOp, int32, OperandPlaces::kLeftLocal> {
 public:
  using ArithmeticNode::ArithmeticNode;
};
class SQXEREXPR_API AddUInt32 final
    : public ArithmeticNode<Add, AddOp, uint32, OperandPlaces::kLeftLocal> {
 public:
  using ArithmeticNode::ArithmeticNode;
};
class SQXEREXPR_API AddFloat64 final
    : public ArithmeticNode<Add, AddOp, float64, OperandPlaces::kLeftInOutput> {
 public:
  using ArithmeticNode::ArithmeticNode;
};
class SQXEREXPR_API AddNumber final : public NumberArithmeticNode<Add, AddOp> {
 public:
  using NumberArithmeticNode::NumberArithmeticNode;
};

class SQXEREXPR_API SubtractInt32 final
    : public ArithmeticNode<Subtract, SubtractOp, int32, OperandPlaces::kLeftInField> {
 public:
  using ArithmeticNode::ArithmeticNode;
};
class SQXEREXPR_API SubtractUInt32 final
    : public ArithmeticNode<Subtract, SubtractOp, uint32, OperandPlaces::kLeftInOutput> {
 public:
  using ArithmeticNode::ArithmeticNode;
};
class SQXEREXPR_API SubtractFloat64 final
    : public ArithmeticNode<Subtract, SubtractOp, float64, OperandPlaces::kLeftInOutput> {
 public:
  using ArithmeticNode::ArithmeticNode;
};
class SQXEREXPR_API SubtractNumber final : public NumberArithmeticNode<Subtract, SubtractOp> {
 public:
  using NumberArithmeticNode::NumberArithmeticNode;
};

class SQXEREXPR_API MultiplyInt32 final
    : public ArithmeticNode<Multiply, MultiplyOp, int32, OperandPlaces::kLeftInField> {
 public:
  using ArithmeticNode::ArithmeticNode;
};
class SQXEREXPR_API MultiplyUInt32 final
    : public ArithmeticNode<Multiply, MultiplyOp, uint32, OperandPlaces::kLeftInField> {
 public:
  using ArithmeticNode::ArithmeticNode;
};
class SQXEREXPR_API MultiplyFloat64 final
    : public ArithmeticNode<Multiply, MultiplyOp, float64, OperandPlaces::kLeftInField> {
 public:
  using ArithmeticNode::ArithmeticNode;
};
class SQXEREXPR_API MultiplyNumber final : public NumberArithmeticNode<Multiply, MultiplyOp> {
 public:
  using NumberArithmeticNode::NumberArithmeticNode;
};

class SQXEREXPR_API DivideInt32 final
    : public ArithmeticNode<Divide, DivideOp, int32, OperandPlaces::kLeftInOutput> {
 public:
  using ArithmeticNode::ArithmeticNode;
};
class SQXEREXPR_API DivideUInt32 final
    : public ArithmeticNode<Divide, DivideOp, uint32, OperandPlaces::kLeftInOutput> {
 public:
  using ArithmeticNode::ArithmeticNode;
};
class SQXEREXPR_API DivideFloat64 final
    : public ArithmeticNode<Divide, DivideOp, float64, OperandPlaces::kLeftInOutput> {
 public:
  using ArithmeticNode::ArithmeticNode;
};
class SQXEREXPR_API DivideNumber final : public NumberArithmeticNode<Divide, DivideOp> {
 public:
  using NumberArithmeticNode::NumberArithmeticNode;
};

class SQXEREXPR_API UnaryMinusInt32 final : public NegateNode<UnaryMinus, NegateOp, int32> {
 public:
  using NegateNode::NegateNode;
};
class SQXEREXPR_API UnaryMinusUInt32 final : public NegateNode<UnaryMinus, NegateOp, uint32> {
 public:
  using NegateNode::NegateNode;
};
class SQXEREXPR_API UnaryMinusFloat64 final : public NegateNode<UnaryMinus, NegateOp, float64> {
 public:
  using NegateNode::NegateNode;
};
class SQXEREXPR_API UnaryMinusNumber final : public NegateNode<UnaryMinus, NegateOp, VelmarNumber> {
 public:
  using NegateNode::NegateNode;
};

/// left || right. A NULL operand counts as the empty text; only two NULLs give NULL. The result's
/// length is the sum of the operands' lengths.
class SQXEREXPR_API Concat : public BinaryOperator {
 public:
  using BinaryOperator::BinaryOperator;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;

 protected:
  /// Evaluates both operands. kTrue when at least one has a value, with leftRetCode_ and retCode_
  /// telling which; otherwise the status to hand upward.
  RExprReturn EvalOperands(void* left, void* right);

  /// The last result; what Eval hands out points into it until the next evaluation.
  XeAutoBuffer<wchar_t, 128> result_;
  RExprReturn leftRetCode_ = kUnknown;
};

/// Over two fixed texts: a fixed text of `resultLength` characters, padded with blanks or cut.
class SQXEREXPR_API ConcatXeChar final : public Concat {
 public:
  ConcatXeChar(RExpression* left, RExpression* right, uint32 resultLength);
  RExprReturn Eval(void* out) override;

 private:
  wchar_t* value1_ = nullptr;
  wchar_t* value2_ = nullptr;
  uint32 resultLength_;
};

/// Over two long texts: a long text, with no padding and no terminator. `length` is the room made
/// beforehand.
class SQXEREXPR_API ConcatLongVarXeChar final : public Concat {
 public:
  ConcatLongVarXeChar(RExpression* left, RExpression* right, uint32 length);
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool HasBatchLoop() override { return true; }

 private:
  RefLongVarChar value1_{};
  RefLongVarChar value2_{};
};

}  // namespace sqxer
