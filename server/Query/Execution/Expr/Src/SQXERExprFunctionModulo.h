#pragma once

#include "SQXERExprFunctionBase.h"

namespace sqxer {

/// The remainder of the operand divided by the parameter, with the operand's sign: of doubles, or
/// of decimals when either side is one (error 59001, "Mod", for another divisor). A zero divisor is
/// error 59008.
class SQXEREXPR_API Mod final : public NumericValueFunction {
 public:
  using NumericValueFunction::NumericValueFunction;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override { return (this->*evaluate_)(out); }
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool GivesSameAs(RExpression&) override { return true; }
  bool HasBatchLoop() override { return true; }

 private:
  RExprReturn EvalDouble(void* out);
  RExprReturn EvalNumeric(void* out);
  template <class T>
  RExprReturn EvalOver(T& a, T& b, void* out);

  float64 tempValue_ = 0;
  float64 tempValue1_ = 0;
  RExprReturn (Mod::*evaluate_)(void* out) = &Mod::EvalDouble;
};

/// The signed fractional part of what stands in the result slot divided by the operand, all doubles
/// (error 59001, "Modf"). An operand of zero is error 59008. The parameter is evaluated, and makes
/// the result NULL, but its value takes no part: the caller puts the dividend into the slot.
class SQXEREXPR_API Modf final : public NumericValueFunction {
 public:
  using NumericValueFunction::NumericValueFunction;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;

 private:
  float64 tempValue_ = 0;
  float64 tempValue1_ = 0;
};

/// Over Modf, for callers that put nothing into their result slot: it is evaluated into a slot of
/// 0, and not into one in which some other value or the row before has left something.
class SQXEREXPR_API ModfOfEmptySlot final : public UnaryOperator {
 public:
  explicit ModfOfEmptySlot(Modf* operand) : UnaryOperator(operand) {}
  RExprReturn Eval(void* out) override;
};

}  // namespace sqxer
