#include "SQXERAggregateVariant.h"

namespace sqxer {

namespace {

constexpr NumericInput kNumericInputs[] = {
    {XeInt1Data, XeInt4Data, &SUDataConvert::ConvertInt8ToInt32},
    {XeUInt1Data, XeInt4Data, &SUDataConvert::ConvertUnsignedInt8ToInt32},
    {XeInt2Data, XeInt4Data, &SUDataConvert::ConvertInt16ToInt32},
    {XeUInt2Data, XeInt4Data, &SUDataConvert::ConvertUnsignedInt16ToInt32},
    {XeInt4Data, XeInt4Data, nullptr},
    {XeUInt4Data, XeUInt4Data, nullptr},
    {XeFloatData, XeDoubleData, &SUDataConvert::ConvertFloat32ToFloat64},
    {XeDoubleData, XeDoubleData, nullptr},
    {XeNumericData, XeNumericData, nullptr},
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
