#include "SQXERExprFunctionSortKey.h"

#include "SQXERExprConstant.h"
#include "SQXERTypedVariant.h"

namespace sqxer {

void NLSSort::BindLocale(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindTextOperand(1, L"NLSSort", stream, replacement, info);
  // Under the conversion that a fixed text is put in.
  RExpression* literal = params_[0];
  if (literal->GetExpressionType() == kUnaryExpression) literal = literal->GetIthOperand(0);
  RefLongVarChar locale{};
  if (dynamic_cast<Constant*>(literal) == nullptr || params_[0]->Eval(&locale) != kTrue) {
    throwExecutionError(kTypeNotSupported, L"NLSSort", params_[0]->GetResultDataType(), XeUnknown);
  }
  const int position = literal->GetSourcePosition();
  try {
    keys_.emplace(XeString(locale.buffer_, locale.length_));
  } catch (ErrorMessage& error) {
    error.SetSourcePosition(position);
    throw;
  }
}

void NLSSort::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  const OperandShape text = BindTextOperand(0, L"NLSSort", stream, replacement, info);
  if (params_.empty()) {
    keys_.emplace();
  } else {
    BindLocale(stream, replacement, info);
  }
  SetResult(XeLongVarBinaryData, info, CollationKeyMaker::GetKeyLength(text.length));
  info.isNullable_ = text.nullable;
}

RExprReturn NLSSort::Eval(void* out) {
  retCode_ = operand_->Eval(&varCharOperand_);
  if (retCode_ == kTrue) *static_cast<RefLongVarBinary*>(out) = keys_->MakeKey(varCharOperand_);
  return retCode_;
}

}  // namespace sqxer
