#include "SQXERExprFunctionModulo.h"

#include "SQXEROpsNumeric.h"

namespace sqxer {

void Mod::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindParameter(ParameterType::kDoubleOrNumeric, L"Mod", stream, replacement, info);
  BindMathFunctionsReturningDoubleOrNumeric(stream, replacement, info);
  const bool isNumeric = operand_->GetResultDataType() == XeNumericData ||
                         params_[0]->GetResultDataType() == XeNumericData;
  if (isNumeric) {
    ConvertIthOperand(0, ParameterType::kNumeric, L"Mod");
    ConvertIthOperand(1, ParameterType::kNumeric, L"Mod");
    SetResult(XeNumericData, info);
  }
  evaluate_ = isNumeric ? &Mod::EvalNumeric : &Mod::EvalDouble;
}

RExprReturn Mod::EvalDouble(void* out) { return EvalOver(tempValue_, tempValue1_, out); }

RExprReturn Mod::EvalNumeric(void* out) {
  VelmarNumber a;
  VelmarNumber b;
  return EvalOver(a, b, out);
}

template <class T>
RExprReturn Mod::EvalOver(T& a, T& b, void* out) {
  static_assert(FallibleBinaryOp<ModOp<T>, T>);
  if (EvalOperands(&a, &b) != kTrue) return retCode_;
  if (!ModOp<T>::Apply(a, b, *static_cast<T*>(out))) [[unlikely]] {
    const OpError error = ModOp<T>::Failure(b);
    RaiseError(error.code, error.Arguments());
  }
  return kTrue;
}

void Modf::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindParameter(ParameterType::kDouble, L"Modf", stream, replacement, info);
  BindMathFunctionsReturningDouble(stream, replacement, info);
}

RExprReturn Modf::Eval(void* out) {
  retCode_ = operand_->Eval(&tempValue_);
  if (retCode_ != kTrue) return retCode_;
  if (tempValue_ == 0.0) RaiseError(kDivisionByZero, {});
  retCode_ = params_[0]->Eval(&tempValue1_);
  if (retCode_ != kTrue) return retCode_;
  // The dividend is what the slot holds, and the parameter's value gives way to the integral part:
  // callers rely on handing the dividend over in the slot.
  float64& result = *static_cast<float64*>(out);
  result = std::modf(result / tempValue_, &tempValue1_);
  return kTrue;
}

RExprReturn ModfOfEmptySlot::Eval(void* out) {
  float64 slot = 0;
  retCode_ = only_->Eval(&slot);
  if (retCode_ == kTrue) *static_cast<float64*>(out) = slot;
  return retCode_;
}

}  // namespace sqxer
