#include "SQXERAggregateVariant.h"

namespace sqxer {

namespace {

constexpr NumericInput kNumericInputs[] = {
    {XeInt1Data, XeInt4Data, &SUDataConvert::ConvertInt8ToInt32,
     &SUDataConvert::ConvertInt8ToFloat64},
    {XeUInt1Data, XeInt4Data, &SUDataConvert::ConvertUnsignedInt8ToInt32,
     &SUDataConvert::ConvertUnsignedInt8ToFloat64},
    {XeInt2Data, XeInt4Data, &SUDataConvert::ConvertInt16ToInt32,
     &SUDataConvert::ConvertInt16ToFloat64},
    {XeUInt2Data, XeInt4Data, &SUDataConvert::ConvertUnsignedInt16ToInt32,
     &SUDataConvert::ConvertUnsignedInt16ToFloat64},
    {XeInt4Data, XeInt4Data, nullptr, &SUDataConvert::ConvertInt32ToFloat64},
    {XeUInt4Data, XeUInt4Data, nullptr, &SUDataConvert::ConvertUnsignedInt32ToFloat64},
    {XeFloatData, XeDoubleData, &SUDataConvert::ConvertFloat32ToFloat64,
     &SUDataConvert::ConvertFloat32ToFloat64},
    {XeDoubleData, XeDoubleData, nullptr, nullptr},
    {XeNumericData, XeNumericData, nullptr, &SUDataConvert::ConvertNumericToFloat64},
};

}  // namespace

const NumericInput* FindNumericInput(XeDataType type) {
  for (const NumericInput& row : kNumericInputs) {
    if (row.type == type) return &row;
  }
  return nullptr;
}

const NumericInput& RequireNumericInput(const XeFieldDescriptor& field,
                                        const XeString& operatorName) {
  const NumericInput* row = FindNumericInput(field.GetDataType());
  if (row == nullptr) {
    RExpression::throwExecutionError(kTypeNotSupported, operatorName, field.GetDataType(),
                                     XeUnknown);
  }
  return *row;
}

}  // namespace sqxer
