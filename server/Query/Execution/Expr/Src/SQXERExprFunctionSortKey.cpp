#include "SQXERExprFunctionSortKey.h"

#include "SQXERExprConstant.h"
#include "SQXERTypedVariant.h"
#include "Utility/BaseStringUtil.h"

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
  keyLength_ = keys_->GetKeyLength(text.length);
  SetResult(XeLongVarBinaryData, info, keyLength_);
  info.isNullable_ = text.nullable;
}

RExprReturn NLSSort::Eval(void* out) {
  retCode_ = operand_->Eval(&varCharOperand_);
  if (retCode_ != kTrue) return retCode_;
  const RefLongVarBinary key = keys_->MakeKey(varCharOperand_);
  if (key.length_ > keyLength_) [[unlikely]] {
    const std::wstring_view text(varCharOperand_.buffer_, varCharOperand_.length_);
    RaiseError(59013, {L"NLSSort", SUXeDataTypeUtility::GetXeDataTypeName(XeLongVarCharData)},
               BaseStringUtil::QuotedValue(BaseStringUtil::StringToUtf8(text)));
  }
  *static_cast<RefLongVarBinary*>(out) = key;
  return kTrue;
}

}  // namespace sqxer
