#pragma once

#include "SQXERFunctionNode.h"
#include "SQXEROpsTrigonometric.h"

namespace sqxer {

/// The functions of angles, in radians: doubles throughout, with the errors of the numeric
/// functions.

/// The degrees of an angle in radians, with 22/7 for pi.
class SQXEREXPR_API Degrees final : public DoubleFunction<DegreesOp> {
 public:
  using DoubleFunction::DoubleFunction;
};
/// The radians of an angle in degrees, with 22/7 for pi.
class SQXEREXPR_API Radians final : public DoubleFunction<RadiansOp> {
 public:
  using DoubleFunction::DoubleFunction;
};
/// The sine.
class SQXEREXPR_API Sin final : public DoubleFunction<SinOp> {
 public:
  using DoubleFunction::DoubleFunction;
};
/// The cosine.
class SQXEREXPR_API Cos final : public DoubleFunction<CosOp> {
 public:
  using DoubleFunction::DoubleFunction;
};
/// The tangent.
class SQXEREXPR_API Tan final : public DoubleFunction<TanOp> {
 public:
  using DoubleFunction::DoubleFunction;
};
/// The cotangent; the largest double where the tangent is 0.
class SQXEREXPR_API Cot final : public DoubleFunction<CotOp> {
 public:
  using DoubleFunction::DoubleFunction;
};
/// The arc sine. Error 59010 outside -1 to 1.
class SQXEREXPR_API Asin final : public DoubleFunction<AsinOp> {
 public:
  using DoubleFunction::DoubleFunction;
};
/// The arc cosine. Error 59010 outside -1 to 1.
class SQXEREXPR_API Acos final : public DoubleFunction<AcosOp> {
 public:
  using DoubleFunction::DoubleFunction;
};
/// The arc tangent.
class SQXEREXPR_API Atan final : public DoubleFunction<AtanOp> {
 public:
  using DoubleFunction::DoubleFunction;
};
/// The hyperbolic sine, infinite where it overflows.
class SQXEREXPR_API Sinh final : public DoubleFunction<SinhOp> {
 public:
  using DoubleFunction::DoubleFunction;
};
/// The hyperbolic cosine, infinite where it overflows.
class SQXEREXPR_API Cosh final : public DoubleFunction<CoshOp> {
 public:
  using DoubleFunction::DoubleFunction;
};
/// The hyperbolic tangent.
class SQXEREXPR_API Tanh final : public DoubleFunction<TanhOp> {
 public:
  using DoubleFunction::DoubleFunction;
};

/// The angle of the point whose y is the operand and whose x is the parameter (error 59001,
/// "Atan2").
class SQXEREXPR_API Atan2 final : public NumericValueFunction {
 public:
  using NumericValueFunction::NumericValueFunction;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;

 private:
  float64 xValue_ = 0;
};

}  // namespace sqxer
