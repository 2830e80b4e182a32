#include "SQXERExprCastNumber.h"

#include "SQXERBatchLoops.h"

namespace sqxer {

void CastToFloat32::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  static constexpr OperandForm kForms[] = {
      {XeCharData, &Move},
      {XeLongVarCharData, &Move},
      {XeInt4Data, &Compute<CastAlways<PlainConversion<int32, float32, XeFloatData>>>},
      {XeUInt4Data, &Compute<CastAlways<PlainConversion<uint32, float32, XeFloatData>>>},
      {XeDoubleData, &Compute<CastFloat64ToFloat32>},
      {XeNumericData, &Compute<CastNumberToFloat32>},
      {XeBitData, &Compute<CastAlways<PlainConversion<uint8, float32, XeFloatData>>>},
      {XeBoolean, &Compute<CastAlways<PlainConversion<uint8, float32, XeFloatData>>>},
  };
  BindTyped(stream, replacement, info, kForms);
}

RExprReturn CastToFloat32::Eval(void* out) {
  if (EvalOperand() == kTrue) *static_cast<float32*>(out) = *static_cast<float32*>(castValue_);
  return retCode_;
}

void CastToFloat64::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  static constexpr OperandForm kForms[] = {
      {XeCharData, &Move},
      {XeLongVarCharData, &Move},
      {XeInt4Data, &Compute<CastAlways<Int32ToFloat64>>},
      {XeUInt4Data, &Compute<CastAlways<UInt32ToFloat64>>},
      {XeDoubleData, &Compute<CastToItself<float64>>},
      {XeNumericData, &Compute<CastAlways<NumberToFloat64>>},
      {XeBitData, &Compute<CastAlways<BitToFloat64>>},
      {XeBoolean, &Compute<CastAlways<BitToFloat64>>},
  };
  BindTyped(stream, replacement, info, kForms);
}

RExprReturn CastToFloat64::Eval(void* out) {
  if (EvalOperand() == kTrue) *static_cast<float64*>(out) = *static_cast<float64*>(castValue_);
  return retCode_;
}

void CastToNumeric::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  static constexpr OperandForm kForms[] = {
      {XeCharData, &Move},
      {XeLongVarCharData, &Move},
      {XeInt4Data, &Compute<CastAlways<Int32ToNumber>>},
      {XeUInt4Data, &Compute<CastAlways<UInt32ToNumber>>},
      {XeDoubleData, &Compute<CastFloat64ToNumber>},
      {XeNumericData, &Compute<CastToItself<VelmarNumber>>},
  };
  BindTyped(stream, replacement, info, kForms);
  castValue_ = &number_;
}

RExprReturn CastToNumeric::Eval(void* out) {
  if (EvalOperand() == kTrue) *static_cast<VelmarNumber*>(out) = number_;
  return retCode_;
}

bool CastToNumeric::HasBatchLoop() {
  const XeDataType from = only_->GetResultDataType();
  return from == XeInt4Data || from == XeUInt4Data || from == XeNumericData;
}

bool CastToNumeric::EvalBatch(const BatchRows& rows, BatchVector& out) {
  if (!HasBatchLoop()) return Cast::EvalBatch(rows, out);
  if (!EvaluateBatch(*only_, rows, out)) return false;
  const XeDataType from = only_->GetResultDataType();
  if (from == XeInt4Data) {
    ConvertVector<Int32ToNumber>(RowsOf(out, rows), GetBatchBuffers(), out);
  } else if (from == XeUInt4Data) {
    ConvertVector<UInt32ToNumber>(RowsOf(out, rows), GetBatchBuffers(), out);
  }
  return true;
}

}  // namespace sqxer
