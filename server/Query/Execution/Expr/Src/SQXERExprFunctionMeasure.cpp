#include "SQXERExprFunctionMeasure.h"

#include "SQXERBatchText.h"
#include "SQXEROpsMeasure.h"
#include "Utility/ExecutionUtility.h"

namespace sqxer {

void TextMeasureFunction::BindText(const wchar_t* name, XeAListStream* stream,
                                   RExpression*& replacement, MetaDataInfo& info) {
  BindTextOperand(0, name, stream, replacement, info);
  isBits_ = ExecutionUtility::IsBitCharacterString(operand_->GetResultDataType());
  SetResult(XeInt4Data, info);
}

template <class Measure>
bool TextMeasureFunction::MeasureBatch(const BatchRows& rows, BatchVector& out, Measure&& measure) {
  if (isBits_) return RExpression::EvalBatch(rows, out);
  BatchVector texts;
  if (!EvaluateBatch(*operand_, rows, texts)) return false;
  int32* const values = GetBatchBuffers().Values<int32>();
  ForEachText(texts, RowsOf(texts, rows),
              [&](uint32 row, const auto& text) { values[row] = measure(text); });
  out = BatchVector();
  out.form = ColumnForm::kInt32;
  out.values = reinterpret_cast<const uint8*>(values);
  out.isConstant = texts.isConstant;
  out.validity = texts.validity;
  return true;
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

bool Length::EvalBatch(const BatchRows& rows, BatchVector& out) {
  return MeasureBatch(rows, out, [this](const auto& text) {
    return m_bDisableRightTrimOnVarChar ? CharacterLengthOp::Apply(text) : LengthOp::Apply(text);
  });
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

bool CharacterLength::EvalBatch(const BatchRows& rows, BatchVector& out) {
  return MeasureBatch(rows, out, [](const auto& text) { return CharacterLengthOp::Apply(text); });
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

bool OctetLength::EvalBatch(const BatchRows& rows, BatchVector& out) {
  return MeasureBatch(rows, out,
                      [](const auto& text) { return OctetLengthOp::Apply(text, false); });
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

bool BitLength::EvalBatch(const BatchRows& rows, BatchVector& out) {
  return MeasureBatch(rows, out, [](const auto& text) { return BitLengthOp::Apply(text, false); });
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
