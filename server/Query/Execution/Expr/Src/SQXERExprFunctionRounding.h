#pragma once

#include "SQXERBatchLoops.h"
#include "SQXERExprFunctionBase.h"
#include "SQXEROpsRounding.h"

namespace sqxer {

/// Rounding to a number of decimal digits, the parameter: int4, or a double or numeric, truncated
/// (error 59001, "Round" or "Truncate"). Below zero it counts digits before the point. The result
/// is a double, of a decimal operand too. What the two do is told at their ops.
template <class Op>
class RoundingFunction : public NumericValueFunction {
 public:
  using NumericValueFunction::NumericValueFunction;

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) final {
    BindParameter(ParameterType::kInt32, Op::kName, stream, replacement, info);
    BindMathFunctionsReturningDouble(stream, replacement, info);
  }
  RExprReturn Eval(void* out) final {
    float64 x = 0;
    if (EvalOperands(&x, &digits_) != kTrue) return retCode_;
    *static_cast<float64*>(out) = Op::Apply(x, digits_);
    return kTrue;
  }
  bool EvalBatch(const BatchRows& rows, BatchVector& out) final {
    return EvalPairBatch(*operand_, *params_[0], rows, GetBatchBuffers(), out,
                         [this](const BatchVector& x, const BatchVector& digits,
                                const BatchRows& wanted, BatchVector& result) {
                           float64* const values =
                               this->GetBatchBuffers().template Values<float64>();
                           result.form = ColumnForm::kFloat64;
                           result.values = reinterpret_cast<const uint8*>(values);
                           MapRounding(x, digits, wanted, values);
                           return true;
                         });
  }
  bool HasBatchLoop() final { return true; }

 private:
  static void MapRounding(const BatchVector& x, const BatchVector& digits, const BatchRows& rows,
                          float64* values) {
    if (digits.isConstant && rows.IsDense()) {
      if (!digits.IsNull(0)) {
        Op::ApplyToAll(x.As<float64>(), *digits.As<int32>(), values, rows.count);
      }
      return;
    }
    rows.ForEach([&](uint32 row) {
      if (x.IsNull(row) || digits.IsNull(row)) return;
      values[row] = Op::Apply(ReadBatchValue<float64>(x, row), ReadBatchValue<int32>(digits, row));
    });
  }

  int32 digits_ = 0;
};

class SQXEREXPR_API Round final : public RoundingFunction<RoundOp> {
 public:
  using RoundingFunction::RoundingFunction;
};

class SQXEREXPR_API Truncate final : public RoundingFunction<TruncateOp> {
 public:
  using RoundingFunction::RoundingFunction;
};

}  // namespace sqxer
