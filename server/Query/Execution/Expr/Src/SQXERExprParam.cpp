#include "SQXERExprParam.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "SQXERExprLike.h"
#include "Utility/SUDataConvert.h"
#include "Utility/SUXeDataTypeUtility.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeDateTime.h"
#include "Utility/XeFieldDataBinder.h"
#include "Utility/XeInterval.h"

namespace sqxer {

namespace {

template <class Value>
Value Load(const uint8* stored) {
  Value value;
  std::memcpy(&value, stored, sizeof(value));
  return value;
}

template <class Value>
void Copy(uint8* stored, void* out) {
  *static_cast<Value*>(out) = Load<Value>(stored);
}

void WriteAddress(uint8* stored, void* out) { *static_cast<uint8**>(out) = stored; }

/// Length and address, for texts and binaries alike.
template <class Reference>
void WriteReference(uint8* stored, void* out) {
  using Element = decltype(Reference::buffer_);
  *static_cast<Reference*>(out) = {Load<uint32>(stored),
                                   reinterpret_cast<Element>(stored + kLongVarPrefix)};
}

template <DataConvert_t convert>
void Widen(uint8* stored, void* out) {
  WidenValue(convert, stored, out);
}

void NumberToInt32(uint8* stored, void* out) {
  *static_cast<int32*>(out) = Load<VelmarNumber>(stored).asInt4();
}

void NumberToFloat64(uint8* stored, void* out) {
  *static_cast<float64*>(out) = Load<VelmarNumber>(stored).asDouble();
}

template <class Value>
void AssignDateTime(uint8* stored, void* out) {
  *static_cast<XeDateTime*>(out) = Load<Value>(stored);
}

/// A result type, a declared type that it is written from, and how.
struct ParameterForm {
  XeDataType result;
  XeDataType declared;
  Param::ValueWriter write;
};

constexpr auto kParameterForms = std::to_array<ParameterForm>({
    {XeCharData, XeCharData, &WriteAddress},
    {XeLongVarCharData, XeVarCharData, &WriteReference<RefLongVarChar>},
    {XeLongVarCharData, XeLongVarCharData, &WriteReference<RefLongVarChar>},
    {XeBinaryData, XeBinaryData, &WriteAddress},
    {XeLongVarBinaryData, XeVarBinaryData, &WriteReference<RefLongVarBinary>},
    {XeLongVarBinaryData, XeLongVarBinaryData, &WriteReference<RefLongVarBinary>},
    {XeInt4Data, XeInt1Data, &Widen<&SUDataConvert::ConvertInt8ToInt32>},
    {XeInt4Data, XeUInt1Data, &Widen<&SUDataConvert::ConvertUnsignedInt8ToInt32>},
    {XeInt4Data, XeInt2Data, &Widen<&SUDataConvert::ConvertInt16ToInt32>},
    {XeInt4Data, XeUInt2Data, &Widen<&SUDataConvert::ConvertUnsignedInt16ToInt32>},
    {XeInt4Data, XeInt4Data, &Copy<int32>},
    {XeInt4Data, XeNumericData, &NumberToInt32},
    {XeUInt4Data, XeUInt4Data, &Copy<uint32>},
    {XeDoubleData, XeDoubleData, &Copy<float64>},
    {XeDoubleData, XeFloatData, &Widen<&SUDataConvert::ConvertFloat32ToFloat64>},
    {XeDoubleData, XeNumericData, &NumberToFloat64},
    {XeNumericData, XeNumericData, &Copy<VelmarNumber>},
    {XeDateTimeData, XeDateData, &AssignDateTime<XeDate>},
    {XeDateTimeData, XeTimeData, &AssignDateTime<XeTime>},
    {XeDateTimeData, XeDateTimeData, &AssignDateTime<XeDateTime>},
    {XeDateTimeData, XeTimeStampData, &AssignDateTime<XeDateTime>},
    {XeIntervalData, XeIntervalData, &Copy<XeInterval>},
    {XeBoolean, XeBoolean, &Copy<uint8>},
});

/// Null when there is no such form.
Param::ValueWriter FindWriter(XeDataType result, XeDataType declared) {
  if (result == XeTimeStampData) result = XeDateTimeData;
  const auto form =
      std::find_if(kParameterForms.begin(), kParameterForms.end(), [&](const ParameterForm& entry) {
        return entry.result == result && entry.declared == declared;
      });
  return form == kParameterForms.end() ? nullptr : form->write;
}

}  // namespace

Param::Param(const ExecutionParameter& parameter)
    : parameter_(parameter),
      paramDataType_(parameter.GetParameterDataTypeInfo().type),
      dataPointer_(parameter.GetDataValuePtr()),
      source_(dataPointer_) {
  resultDataType_ = SUXeDataTypeUtility::GetPromotedDataType(paramDataType_);
  objectLength_ = XeFieldDescriptor::GetObjectLength(resultDataType_,
                                                     parameter.GetParameterDataTypeInfo().length);
  write_ = FindWriter(resultDataType_, paramDataType_);
  if (dataPointer_ != nullptr && SUXeDataTypeUtility::IsXeTextType(resultDataType_)) {
    MakeRoomForText();
    TakeAgain();
  }
}

void Param::MakeRoomForText() {
  const ParameterDataTypeInfo info = parameter_.GetParameterDataTypeInfo();
  unicodeRecordMetaData_.SetFieldCount(1);
  unicodeRecordMetaData_.DescribleField(0, resultDataType_, info.length, info.nullable, 0, 0, {},
                                        {});
  unicodeRecordMetaData_.GenerateAlignedFieldOffset();
  unicodeCharDataRecord_.Reserve(unicodeRecordMetaData_.GetBinaryRecordSize() + sizeof(wchar_t));
  source_ =
      unicodeCharDataRecord_.data() + unicodeRecordMetaData_.GetFieldDescriptor(0)->GetDataOffset();
}

void Param::TakeAgain() {
  if (source_ == dataPointer_) return;
  const ParameterDataTypeInfo info = parameter_.GetParameterDataTypeInfo();
  const XeFieldConverter converter(info.type, info.length, info.narrow, resultDataType_,
                                   info.length);
  converter.Convert(dataPointer_, parameter_.GetNullValue(), source_);
}

void TakeParametersAgain(RExpression& tree) {
  if (auto* parameter = dynamic_cast<Param*>(&tree)) parameter->TakeAgain();
  if (auto* like = dynamic_cast<Like*>(&tree)) like->ForgetPattern();
  for (int i = 0; i < tree.GetOperandCount(); ++i) {
    if (RExpression* operand = tree.GetIthOperand(i)) TakeParametersAgain(*operand);
  }
}

void Param::Bind(XeAListStream*, RExpression*& replacement, MetaDataInfo&) {
  replacement = nullptr;
}

RExprReturn Param::Eval(void* out) {
  if (dataPointer_ == nullptr) XeLogicError("a parameter without a value");
  if (write_ == nullptr) XeLogicError("a parameter of a type without a value form");
  write_(source_, out);
  return kTrue;
}

RExpression* Param::GetIthOperand(int) { XeLogicError("a parameter has no operands"); }

void Param::SetIthOperand(int, RExpression*) { XeLogicError("a parameter has no operands"); }

int Param::GetParamNumber() { XeLogicError("GetParamNumber of a bound parameter"); }

void Param::SetDataPointer(uint8*) { XeLogicError("a parameter's value does not move"); }

}  // namespace sqxer
