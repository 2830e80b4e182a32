#pragma once

#include "SQXERFunctionNode.h"

namespace sqxer {

/// The numeric functions, trigonometric and rounding ones apart. Error 59001 ("Numeric function",
/// type) for an operand that is no int4, uint4, double or numeric; 59010 (name) outside the domain,
/// 59161 (name, limit) on overflow. Decimal numbers raise their own overflow.

/// The checked forms of exp and pow, in place: error 59010 or 59161 ("Exp" or "Power"). Zero to a
/// negative power is outside the domain; underflow gives 0.
SQXEREXPR_API void ExpDouble(float64& value);
SQXEREXPR_API void PowAsDouble(float64& base, float64 exponent);

// Of a double a double, of a decimal a decimal, of an integer what the configuration says.

/// |x|.
class SQXEREXPR_API Abs final : public DoubleOrNumericFunction<AbsOp> {
 public:
  using DoubleOrNumericFunction::DoubleOrNumericFunction;
};
/// The least whole number not below x.
class SQXEREXPR_API Ceil final : public DoubleOrNumericFunction<CeilOp> {
 public:
  using DoubleOrNumericFunction::DoubleOrNumericFunction;
};
/// The greatest whole number not above x.
class SQXEREXPR_API Floor final : public DoubleOrNumericFunction<FloorOp> {
 public:
  using DoubleOrNumericFunction::DoubleOrNumericFunction;
};
/// x * x. Overflow: 59161.
class SQXEREXPR_API Square final : public DoubleOrNumericFunction<SquareOp> {
 public:
  using DoubleOrNumericFunction::DoubleOrNumericFunction;
};
/// Error 59009 (x as a double) below zero, 59010 outside the domain.
class SQXEREXPR_API Sqrt final : public DoubleOrNumericFunction<SqrtOp> {
 public:
  using DoubleOrNumericFunction::DoubleOrNumericFunction;
};

// Doubles throughout.

/// e to the power of x. Overflow: 59161; underflow gives 0.
class SQXEREXPR_API Exp final : public DoubleFunction<ExpOp> {
 public:
  using DoubleFunction::DoubleFunction;
};
/// The natural logarithm. Error 59010 below zero, 59161 at zero.
class SQXEREXPR_API Log final : public DoubleFunction<LogOp> {
 public:
  using DoubleFunction::DoubleFunction;
};
/// The logarithm to base 10, with the same errors.
class SQXEREXPR_API Log10 final : public DoubleFunction<Log10Op> {
 public:
  using DoubleFunction::DoubleFunction;
};
/// The logarithm to base 2, with the same errors.
class SQXEREXPR_API Log2 final : public DoubleFunction<Log2Op> {
 public:
  using DoubleFunction::DoubleFunction;
};
/// The cube root.
class SQXEREXPR_API Cbrt final : public DoubleFunction<CbrtOp> {
 public:
  using DoubleFunction::DoubleFunction;
};

/// The operand to the power of the parameter (error 59001, "Power"), computed in doubles. The
/// result has the type that the base makes it: a decimal result is made from the double.
class SQXEREXPR_API Pow final : public NumericValueFunction {
 public:
  using NumericValueFunction::NumericValueFunction;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override { return (this->*evaluate_)(out); }

 private:
  RExprReturn EvalDouble(void* out);
  RExprReturn EvalNumeric(void* out);

  /// The exponent.
  float64 tempValue_ = 0;
  RExprReturn (Pow::*evaluate_)(void* out) = &Pow::EvalDouble;
};

/// -1, 0 or 1 as an int4. A NaN gives 1.
class SQXEREXPR_API Sign final : public NumericValueFunction {
 public:
  using NumericValueFunction::NumericValueFunction;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;

 private:
  float64 tempValue_ = 0;
};

/// 3.14159265358979, of no operand.
class SQXEREXPR_API Pi final : public NumericValueFunction {
 public:
  explicit Pi(RExpression* operand = nullptr, const ExpressionVector& params = {})
      : NumericValueFunction(operand, params) {}
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
};

/// A random double from 0 to 1, both included. The operand, which may be absent, is a seed,
/// truncated to 32 bits. With `seedCompatible` it is set once, at the first row that has one; else
/// at every row.
class SQXEREXPR_API Rand final : public NumericValueFunction {
 public:
  explicit Rand(RExpression* operand, const ExpressionVector& params = {},
                bool seedCompatible = false)
      : NumericValueFunction(operand, params), seedCompatible_(seedCompatible) {}
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  bool IsVolatile() override { return true; }

 private:
  bool seedCompatible_;
  bool seedSet_ = false;
};

/// Bit n of x, where 1 is the lowest, as the double 0 or 1: the parameter is n (error 59001,
/// "ExtractBit"). x is floored and taken as 32-bit two's complement. Error 59162 ("ExtractBit",
/// "1") for n below 1.
class SQXEREXPR_API ExtractBitFromInt final : public NumericValueFunction {
 public:
  using NumericValueFunction::NumericValueFunction;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;

 private:
  float64 tempValue_ = 0;
  int32 ithBit_ = 0;
};

}  // namespace sqxer
