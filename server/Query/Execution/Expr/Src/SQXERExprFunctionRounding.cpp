#include "SQXERExprFunctionRounding.h"

#include "SQXEROpsRounding.h"

namespace sqxer {

void Round::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindParameter(ParameterType::kInt32, L"Round", stream, replacement, info);
  BindMathFunctionsReturningDouble(stream, replacement, info);
}

RExprReturn Round::Eval(void* out) {
  float64 x = 0;
  if (EvalOperands(&x, &roundSpec_) != kTrue) return retCode_;
  *static_cast<float64*>(out) = RoundOp::Apply(x, roundSpec_);
  return kTrue;
}

void Truncate::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindParameter(ParameterType::kInt32, L"Truncate", stream, replacement, info);
  BindMathFunctionsReturningDouble(stream, replacement, info);
}

RExprReturn Truncate::Eval(void* out) {
  float64 x = 0;
  if (EvalOperands(&x, &truncateSpec_) != kTrue) return retCode_;
  *static_cast<float64*>(out) = TruncateOp::Apply(x, truncateSpec_);
  return kTrue;
}

}  // namespace sqxer
