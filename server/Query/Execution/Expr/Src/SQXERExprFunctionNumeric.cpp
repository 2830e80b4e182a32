#include "SQXERExprFunctionNumeric.h"

#include "SQXEROpsCast.h"
#include "SQXEROpsConvert.h"
#include "SQXEROpsTrigonometric.h"
#include "Utility/SystemUtility.h"

namespace sqxer {

void ExpDouble(float64& value) {
  const float64 exponent = value;
  ApplyMath<ExpOp>(exponent, value);
}

void PowAsDouble(float64& base, float64 exponent) {
  const MathOutcome outcome = PowOp::Apply(base, exponent, base);
  if (outcome != MathOutcome::kDone) [[unlikely]]
    RaiseMathError(outcome, PowOp::kName, base);
}

void Pow::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindParameter(ParameterType::kDouble, PowOp::kName, stream, replacement, info);
  BindMathFunctionsReturningDoubleOrNumeric(stream, replacement, info);
  evaluate_ = resultDataType_ == XeNumericData ? &Pow::EvalNumeric : &Pow::EvalDouble;
}

RExprReturn Pow::EvalDouble(void* out) {
  float64 power = 0;
  if (EvalOperands(&power, &tempValue_) != kTrue) return retCode_;
  AtSourcePosition([&] { PowAsDouble(power, tempValue_); });
  *static_cast<float64*>(out) = power;
  return kTrue;
}

RExprReturn Pow::EvalNumeric(void* out) {
  VelmarNumber base;
  if (EvalOperands(&base, &tempValue_) != kTrue) return retCode_;
  AtSourcePosition([&] {
    float64 power = base.asDouble();
    PowAsDouble(power, tempValue_);
    // Decimals end long before doubles do.
    if (!CastFloat64ToNumber::Apply(power, *static_cast<VelmarNumber*>(out))) [[unlikely]]
      SUGThrow(ErrorMessage(kOverflow, {PowOp::kName, VelmarNumber::velmarnumberMax.asString()}));
  });
  return kTrue;
}

void Sign::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindMathFunctionsReturningDouble(stream, replacement, info);
  SetResult(XeInt4Data, info);
}

RExprReturn Sign::Eval(void* out) {
  retCode_ = operand_->Eval(&tempValue_);
  if (retCode_ == kTrue) *static_cast<int32*>(out) = SignOp::Apply(tempValue_);
  return retCode_;
}

void Pi::Bind(XeAListStream*, RExpression*& replacement, MetaDataInfo& info) {
  BindWithoutOperand(replacement, info);
}

RExprReturn Pi::Eval(void* out) {
  *static_cast<float64*>(out) = kPi;
  return retCode_ = kTrue;
}

void Rand::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  if (operand_ == nullptr) return BindWithoutOperand(replacement, info);
  BindMathFunctionsReturningDouble(stream, replacement, info);
}

RExprReturn Rand::Eval(void* out) {
  constexpr float64 kMostRandom = 2147483647.0;
  retCode_ = kTrue;
  if (operand_ != nullptr) {
    float64 seed = 0;
    retCode_ = operand_->Eval(&seed);
    if (retCode_ != kTrue) return retCode_;
    // Otherwise the seed is set again at every row: callers rely on RAND of a column being a
    // function of its value.
    if (!seedCompatible_ || !seedSet_) {
      SystemUtility::SetSeedValue(Float64ToInt32::Apply(seed));
      seedSet_ = true;
    }
  }
  *static_cast<float64*>(out) = SystemUtility::XeRand_to_rand_r() / kMostRandom;
  return kTrue;
}

void ExtractBitFromInt::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindIthOperand(0, stream, replacement, info);
  BindParameter(ParameterType::kInt32, L"ExtractBit", stream, replacement, info);
  BindMathFunctionsReturningDouble(stream, replacement, info, true);
}

RExprReturn ExtractBitFromInt::Eval(void* out) {
  if (EvalOperands(&tempValue_, &ithBit_) != kTrue) return retCode_;
  if (!ExtractBitOp::Apply(tempValue_, ithBit_, *static_cast<float64*>(out))) [[unlikely]] {
    constexpr OpError kError = ExtractBitOp::Failure();
    RaiseError(kError.code, kError.Arguments());
  }
  return kTrue;
}

}  // namespace sqxer
