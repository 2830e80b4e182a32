#include "SQXERExprFunctionMeasure.h"

#include "SQXEROpsMeasure.h"
#include "Utility/ExecutionUtility.h"

namespace sqxer {

void TextMeasureFunction::BindText(const wchar_t* name, XeAListStream* stream,
                                   RExpression*& replacement, MetaDataInfo& info) {
  BindTextOperand(0, name, stream, replacement, info);
  isBits_ = ExecutionUtility::IsBitCharacterString(operand_->GetResultDataType());
  SetResult(XeInt4Data, info);
}

void Length::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindText(L"Length", stream, replacement, info);
}

RExprReturn Length::Eval(void* out) {
  if (EvalText() == kTrue) {
    *static_cast<int32*>(out) = m_bDisableRightTrimOnVarChar
                                    ? CharacterLengthOp::Apply(varCharOperand_)
                                    : LengthOp::Apply(varCharOperand_);
  }
  return retCode_;
}

void CharacterLength::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindText(L"CharacterLength", stream, replacement, info);
}

RExprReturn CharacterLength::Eval(void* out) {
  if (EvalText() == kTrue) {
    *static_cast<int32*>(out) = CharacterLengthOp::Apply(varCharOperand_);
  }
  return retCode_;
}

void OctetLength::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindText(L"OctetLength", stream, replacement, info);
}

RExprReturn OctetLength::Eval(void* out) {
  if (EvalText() == kTrue) {
    *static_cast<int32*>(out) = OctetLengthOp::Apply(varCharOperand_, isBits_);
  }
  return retCode_;
}

void BitLength::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindText(L"BitLength", stream, replacement, info);
}

RExprReturn BitLength::Eval(void* out) {
  if (EvalText() == kTrue) {
    *static_cast<int32*>(out) = BitLengthOp::Apply(varCharOperand_, isBits_);
  }
  return retCode_;
}

void Ascii::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  // Not by its own name: callers match this one.
  BindText(L"Position", stream, replacement, info);
}

RExprReturn Ascii::Eval(void* out) {
  if (EvalText() == kTrue) *static_cast<int32*>(out) = AsciiOp::Apply(varCharOperand_, charData_);
  return retCode_;
}

}  // namespace sqxer
