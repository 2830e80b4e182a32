#include "SQXERExprFunctionString.h"

#include "SQXERTypedVariant.h"
#include "Utility/SUSystemConfig.h"

namespace sqxer {

void TextVariantFunction::BindText(const wchar_t* name, XeAListStream* stream,
                                   RExpression*& replacement, MetaDataInfo& info) {
  resultMaxLength_ = BindIthOperand(0, stream, replacement, info).length;
  CheckDataTypeAndThrowError(operand_, {XeCharData, XeLongVarCharData}, name);
}

void Upper::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindText(UpperOp::kName, stream, replacement, info);
  ReplaceByVariant<UpperXeChar, UpperLongVarXeChar>(resultMaxLength_, replacement, info);
}

RExprReturn Upper::Compute(const RefLongVarChar& text, RefLongVarChar& result) {
  result = {text.length_, MakeRoom(text.length_)};
  UpperOp::Apply(text, result.buffer_);
  return kTrue;
}

void Lower::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindText(LowerOp::kName, stream, replacement, info);
  ReplaceByVariant<LowerXeChar, LowerLongVarXeChar>(resultMaxLength_, replacement, info);
}

RExprReturn Lower::Compute(const RefLongVarChar& text, RefLongVarChar& result) {
  result = {text.length_, MakeRoom(text.length_)};
  LowerOp::Apply(text, result.buffer_);
  return kTrue;
}

void Trim::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindText(L"Trim", stream, replacement, info);
  BindIthOperand(1, stream, replacement, info);
  const bool isFixed = params_[0]->GetResultDataType() == XeCharData;
  MakeLongText(1, L"Trim");
  if (params_.size() > 1) {
    BindIthOperand(2, stream, replacement, info);
    ConvertIthOperand(2, ParameterType::kInt32, L"Trim");
  }
  ReplaceByVariant<TrimXeChar, TrimLongVarXeChar>(resultMaxLength_, replacement, info);
  static_cast<Trim*>(replacement)->isTrimCharFixed_ = isFixed;
}

RExprReturn Trim::Compute(const RefLongVarChar& text, RefLongVarChar& result) {
  const bool hasStyle = params_.size() > 1;
  if ((hasStyle ? EvalParams(&trimChar_, &trimStyle_) : EvalParams(&trimChar_)) != kTrue) {
    return retCode_;
  }
  if (trimChar_.length_ > 1) RaiseError(59029, {});
  if (trimStyle_ > TrimOp::kEnd) RaiseError(59006, {});
  if (trimChar_.length_ != 0) {
    result = Keep(TrimOp::Apply(text, trimChar_.buffer_[0], trimStyle_));
  } else {
    result = Keep(isTrimCharFixed_ ? TrimOp::Apply(text, L' ', trimStyle_) : text);
  }
  return kTrue;
}

SubString::SubString(RExpression* operand, const ExpressionVector& params)
    : TextVariantFunction(operand, params),
      cut_(SUCompatFlag::GetBool("ZEPH_SUBSTRING_VELMAR_COMPLIANCE") ? &CompliantSubStringOp::Apply
                                                                     : &SubStringOp::Apply) {}

void SubString::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindText(L"SubString", stream, replacement, info);
  const int lastNumber = HasTokens() ? kTokens : HasCount() ? kFor : kFrom;
  for (int i = kFrom; i <= lastNumber; ++i) {
    BindIthOperand(i, stream, replacement, info);
    ReBindAsCastToInt4(i, stream);
  }
  if (HasTokens()) BindTextOperand(kDelimiter, L"SubString", stream, replacement, info);
  ReplaceByVariant<SubStringXeChar, SubStringLongVarXeChar>(
      HasCount() ? LimitLength(kFor, resultMaxLength_) : resultMaxLength_, replacement, info);
}

RExprReturn SubString::EvalPositions(const RefLongVarChar& text) {
  if (HasTokens()) return EvalParams(&from_, &for_, &numLeadingTokens_, &delimiter_);
  if (HasCount()) return EvalParams(&from_, &for_);
  for_ = static_cast<int32>(text.length_);
  return EvalParams(&from_);
}

RExprReturn SubString::Compute(const RefLongVarChar& text, RefLongVarChar& result) {
  if (EvalPositions(text) != kTrue) return retCode_;
  // Without a count, the length of the text is one like any other: callers rely on the error for an
  // empty text, which has no position to start from.
  RequireCount(for_, 1, L"SubString");
  if (!HasTokens()) {
    result = Keep(cut_(text, from_, for_));
    return kTrue;
  }
  RequireCount(numLeadingTokens_, 0, L"SubString");
  result = Keep(cut_(LeadingTokensOp::Apply(text, numLeadingTokens_, delimiter_), from_, for_));
  return kTrue;
}

}  // namespace sqxer
