#pragma once

#include "SQXERExprFunctionBase.h"

namespace sqxer {

/// Rounding to a number of decimal digits, the parameter: int4, or a double or numeric, truncated
/// (error 59001, "Round" or "Truncate"). Below zero it counts digits before the point. The result
/// is a double, of a decimal operand too. What the two do is told at their ops.

class SQXEREXPR_API Round final : public NumericValueFunction {
 public:
  using NumericValueFunction::NumericValueFunction;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;

 private:
  int32 roundSpec_ = 0;
};

class SQXEREXPR_API Truncate final : public NumericValueFunction {
 public:
  using NumericValueFunction::NumericValueFunction;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;

 private:
  int32 truncateSpec_ = 0;
};

}  // namespace sqxer
