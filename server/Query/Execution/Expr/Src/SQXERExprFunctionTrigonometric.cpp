#include "SQXERExprFunctionTrigonometric.h"

namespace sqxer {

void Atan2::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindParameter(ParameterType::kDouble, Atan2Op::kName, stream, replacement, info);
  BindMathFunctionsReturningDouble(stream, replacement, info);
}

RExprReturn Atan2::Eval(void* out) {
  float64 y = 0;
  if (EvalOperands(&y, &xValue_) != kTrue) return retCode_;
  const MathOutcome outcome = Atan2Op::Apply(y, xValue_, *static_cast<float64*>(out));
  if (outcome != MathOutcome::kDone) [[unlikely]] {
    AtSourcePosition([&] { RaiseMathError(outcome, Atan2Op::kName, y); });
  }
  return kTrue;
}

}  // namespace sqxer
