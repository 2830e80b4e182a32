#include "SQXERExprCastNumber.h"

namespace sqxer {

void CastToFloat32::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  static constexpr OperandForm kForms[] = {
      {XeCharData, &Move},
      {XeLongVarCharData, &Move},
      FormOf<CastAlways<PlainConversion<int32, float32, XeFloatData>>>(XeInt4Data),
      FormOf<CastAlways<PlainConversion<uint32, float32, XeFloatData>>>(XeUInt4Data),
      FormOf<CastFloat64ToFloat32>(XeDoubleData),
      FormOf<CastNumberToFloat32>(XeNumericData),
      FormOf<CastAlways<PlainConversion<uint8, float32, XeFloatData>>>(XeBitData),
      FormOf<CastAlways<PlainConversion<uint8, float32, XeFloatData>>>(XeBoolean),
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
      FormOf<CastAlways<Int32ToFloat64>>(XeInt4Data),
      FormOf<CastAlways<UInt32ToFloat64>>(XeUInt4Data),
      FormOf<CastToItself<float64>>(XeDoubleData),
      FormOf<CastAlways<NumberToFloat64>>(XeNumericData),
      FormOf<CastAlways<BitToFloat64>>(XeBitData),
      FormOf<CastAlways<BitToFloat64>>(XeBoolean),
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
      FormOf<CastAlways<Int32ToNumber>>(XeInt4Data),
      FormOf<CastAlways<UInt32ToNumber>>(XeUInt4Data),
      FormOf<CastFloat64ToNumber>(XeDoubleData),
      FormOf<CastToItself<VelmarNumber>>(XeNumericData),
  };
  BindTyped(stream, replacement, info, kForms);
  castValue_ = &number_;
}

RExprReturn CastToNumeric::Eval(void* out) {
  if (EvalOperand() == kTrue) *static_cast<VelmarNumber*>(out) = number_;
  return retCode_;
}

}  // namespace sqxer
