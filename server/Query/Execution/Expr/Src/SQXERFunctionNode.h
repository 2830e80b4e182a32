#pragma once

#include "SQXERBatchArithmetic.h"
#include "SQXERExprFunctionBase.h"
#include "SQXEROpsNumeric.h"

namespace sqxer {

/// Replaces the values of a vector by those of a function. What it raises goes on.
template <class Op, class T>
void MapMath(const BatchRows& rows, BatchBuffers& buffers, BatchVector& out) {
  if constexpr (requires { Op::Scaled(int64{}); }) return MapDecimals<Op>(rows, buffers, out);
  T* const values = buffers.Values<T>();
  const auto apply = [&](uint32 row) {
    if (!out.IsNull(row)) ApplyMath<Op>(ReadBatchValue<T>(out, row), values[row]);
  };
  if constexpr (std::same_as<T, float64> && LoopMathOp<Op>) {
    const float64* const x = out.As<float64>();
    if (!rows.IsDense()) {
      rows.ForEach(apply);
    } else if (!Op::ApplyToAll(x, values, rows.count)) {
      // What it refuses may stand in rows that do not count.
      rows.ForEach([&](uint32 row) {
        if (Op::Refuses(x[row])) apply(row);
      });
    }
  } else if constexpr (std::same_as<T, float64> && TotalMathOp<Op, float64>) {
    MapValues(out.As<float64>(), values, rows, [](float64 x) { return Op::Apply(x); });
  } else {
    rows.ForEach(apply);
  }
  out.form = std::same_as<T, VelmarNumber> ? ColumnForm::kNumber : ColumnForm::kFloat64;
  out.scale = 0;
  out.values = reinterpret_cast<const uint8*>(values);
  out.block = nullptr;
}

/// A function of one double that gives a double: an op as a node.
template <class Op>
requires MathOp<Op, float64>
class DoubleFunction : public NumericValueFunction {
 public:
  using NumericValueFunction::NumericValueFunction;

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) final {
    BindMathFunctionsReturningDouble(stream, replacement, info);
  }
  RExprReturn Eval(void* out) final {
    float64 x = 0;
    retCode_ = operand_->Eval(&x);
    if (retCode_ == kTrue) {
      AtSourcePosition([&] { ApplyMath<Op>(x, *static_cast<float64*>(out)); });
    }
    return retCode_;
  }
  bool EvalBatch(const BatchRows& rows, BatchVector& out) final {
    if (!EvaluateBatch(*operand_, rows, out)) return false;
    MapMath<Op, float64>(RowsOf(out, rows), GetBatchBuffers(), out);
    return true;
  }
  bool GivesSameAs(RExpression&) final { return true; }
  bool HasBatchLoop() final { return true; }
};

/// A function of one number that gives a double or a decimal number, as binding decides.
template <template <class> class Op>
requires MathOp<Op<float64>, float64> && MathOp<Op<VelmarNumber>, VelmarNumber>
class DoubleOrNumericFunction : public NumericValueFunction {
 public:
  using NumericValueFunction::NumericValueFunction;

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) final {
    BindMathFunctionsReturningDoubleOrNumeric(stream, replacement, info);
    evaluate_ = resultDataType_ == XeNumericData ? &DoubleOrNumericFunction::EvalNumeric
                                                 : &DoubleOrNumericFunction::EvalDouble;
  }
  RExprReturn Eval(void* out) final { return (this->*evaluate_)(out); }
  bool EvalBatch(const BatchRows& rows, BatchVector& out) final {
    if (!EvaluateBatch(*operand_, rows, out)) return false;
    if (resultDataType_ == XeNumericData) {
      MapMath<Op<VelmarNumber>, VelmarNumber>(RowsOf(out, rows), GetBatchBuffers(), out);
    } else {
      MapMath<Op<float64>, float64>(RowsOf(out, rows), GetBatchBuffers(), out);
    }
    return true;
  }
  bool GivesSameAs(RExpression&) final { return true; }
  bool HasBatchLoop() final { return true; }

 protected:
  float64 tempValue_ = 0;

 private:
  RExprReturn EvalDouble(void* out) { return EvalOver(tempValue_, out); }
  RExprReturn EvalNumeric(void* out) {
    VelmarNumber x;
    return EvalOver(x, out);
  }
  template <class T>
  RExprReturn EvalOver(T& x, void* out) {
    retCode_ = operand_->Eval(&x);
    if (retCode_ == kTrue) {
      AtSourcePosition([&] { ApplyMath<Op<T>>(x, *static_cast<T*>(out)); });
    }
    return retCode_;
  }

  RExprReturn (DoubleOrNumericFunction::*evaluate_)(void* out) =
      &DoubleOrNumericFunction::EvalDouble;
};

}  // namespace sqxer
