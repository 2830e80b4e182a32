#include "SQXERExprExtract.h"

#include <algorithm>
#include <array>

#include "SQXERBatchLoops.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/SUXeDataTypeUtility.h"

namespace sqxer {

namespace {

constexpr uint8 kNever = 0;
constexpr uint8 kAlways = 1;

/// Takes a field's bytes for those of a decimal number and writes the nearest double.
void NumberBytesToFloat64(DataConvertParams, const uint8* source, uint32, uint8, uint8* destination,
                          uint32, uint8&, unsigned long&) {
  VelmarNumber number;
  std::memcpy(&number, source, sizeof(number));
  const float64 value = number.asDouble();
  std::memcpy(destination, &value, sizeof(value));
}

/// Puts a stored time into a date-time that holds a day already. The fraction is dropped and the
/// day stays: callers rely on completing a date-time that they have set up.
void PutTimeIntoDateTime(DataConvertParams, const uint8* source, uint32, uint8, uint8* destination,
                         uint32, uint8&, unsigned long&) {
  XeTime time;
  std::memcpy(&time, source, sizeof(time));
  XeDateTime& value = *reinterpret_cast<XeDateTime*>(destination);
  value.SetHour(time.GetHour());
  value.SetMinute(time.GetMinute());
  value.SetSecond(time.GetSecond());
  value.SetNanosecond(0);
}

/// A stored type that readers of a kind accept, and how it becomes their value: null where its
/// bytes are used as they stand.
struct StoredForm {
  RExprType reader;
  XeDataType stored;
  DataConvert_t convert = nullptr;
};

constexpr auto kStoredForms = std::to_array<StoredForm>({
    {kExtractExpression, XeBitData},
    {kExtractBooleanExpression, XeBoolean},
    {kExtractInt8Expression, XeInt1Data},
    {kExtractUInt8Expression, XeUInt1Data},
    {kExtractInt16Expression, XeInt2Data},
    {kExtractUInt16Expression, XeUInt2Data},
    {kExtractInt32Expression, XeInt1Data, &SUDataConvert::ConvertInt8ToInt32},
    {kExtractInt32Expression, XeUInt1Data, &SUDataConvert::ConvertUnsignedInt8ToInt32},
    {kExtractInt32Expression, XeInt2Data, &SUDataConvert::ConvertInt16ToInt32},
    {kExtractInt32Expression, XeUInt2Data, &SUDataConvert::ConvertUnsignedInt16ToInt32},
    {kExtractInt32Expression, XeInt4Data},
    {kExtractUInt32Expression, XeUInt4Data},
    {kExtractFloat32Expression, XeFloatData},
    {kExtractFloat64Expression, XeInt1Data, &SUDataConvert::ConvertInt8ToFloat64},
    {kExtractFloat64Expression, XeUInt1Data, &SUDataConvert::ConvertUnsignedInt8ToFloat64},
    {kExtractFloat64Expression, XeInt2Data, &SUDataConvert::ConvertInt16ToFloat64},
    {kExtractFloat64Expression, XeUInt2Data, &SUDataConvert::ConvertUnsignedInt16ToFloat64},
    {kExtractFloat64Expression, XeInt4Data, &SUDataConvert::ConvertInt32ToFloat64},
    {kExtractFloat64Expression, XeUInt4Data, &SUDataConvert::ConvertUnsignedInt32ToFloat64},
    {kExtractFloat64Expression, XeFloatData, &SUDataConvert::ConvertFloat32ToFloat64},
    {kExtractFloat64Expression, XeDoubleData},
    {kExtractNumberExpression, XeNumericData},
    // Work records of older servers describe a decimal as a double; their readers rely on this.
    {kExtractNumberExpression, XeDoubleData, &NumberBytesToFloat64},
    {kExtractXeCharExpression, XeCharData},
    {kExtractLongVarXeCharExpression, XeCharData},
    {kExtractLongVarXeCharExpression, XeVarCharData},
    {kExtractLongVarXeCharExpression, XeLongVarCharData},
    {kExtractVarXeCharExpression, XeVarCharData},
    {kExtractBinaryExpression, XeBinaryData},
    {kExtractLongVarBinaryExpression, XeBinaryData},
    {kExtractLongVarBinaryExpression, XeVarBinaryData},
    {kExtractLongVarBinaryExpression, XeLongVarBinaryData},
    {kExtractDateExpression, XeDateData},
    {kExtractTimeExpression, XeTimeData},
    {kExtractDateTimeExpression, XeDateData, &SUDataConvert::ConvertDateToDateTime},
    {kExtractDateTimeExpression, XeTimeData, &PutTimeIntoDateTime},
    {kExtractDateTimeExpression, XeDateTimeData},
    {kExtractDateTimeExpression, XeTimeStampData},
    {kExtractExpression, XeIntervalData},
});

using MakeReader = Extract* (*)(int fieldIndex, const XeFieldDescriptorRef& descriptor, uint8* data,
                                uint8* null, XeDataType result);

template <class Reader>
Extract* Make(int fieldIndex, const XeFieldDescriptorRef& descriptor, uint8* data, uint8* null,
              XeDataType result) {
  return new Reader(fieldIndex, descriptor, data, null, result);
}

struct ReaderChoice {
  MakeReader make;
  XeDataType result;
};

/// The readers of a stored type: of an operand, and of a column that is the whole tree.
struct StoredTypeReaders {
  XeDataType stored;
  ReaderChoice operand;
  ReaderChoice root;
};

constexpr StoredTypeReaders Both(XeDataType stored, MakeReader make, XeDataType result) {
  return {stored, {make, result}, {make, result}};
}

constexpr auto kReaders = std::to_array<StoredTypeReaders>({
    Both(XeBitData, &Make<ExtractBit>, XeBitData),
    Both(XeCharData, &Make<ExtractXeChar>, XeCharData),
    Both(XeVarCharData, &Make<ExtractLongVarXeChar>, XeLongVarCharData),
    Both(XeLongVarCharData, &Make<ExtractLongVarXeChar>, XeLongVarCharData),
    {XeBinaryData,
     {&Make<ExtractBinary>, XeLongVarBinaryData},
     {&Make<ExtractBinary>, XeBinaryData}},
    Both(XeVarBinaryData, &Make<ExtractLongVarBinary>, XeLongVarBinaryData),
    Both(XeLongVarBinaryData, &Make<ExtractLongVarBinary>, XeLongVarBinaryData),
    {XeInt1Data, {&Make<ExtractInt32>, XeInt4Data}, {&Make<ExtractInt8>, XeInt1Data}},
    {XeUInt1Data, {&Make<ExtractInt32>, XeInt4Data}, {&Make<ExtractUInt8>, XeUInt1Data}},
    {XeInt2Data, {&Make<ExtractInt32>, XeInt4Data}, {&Make<ExtractInt16>, XeInt2Data}},
    {XeUInt2Data, {&Make<ExtractInt32>, XeInt4Data}, {&Make<ExtractUInt16>, XeUInt2Data}},
    Both(XeInt4Data, &Make<ExtractInt32>, XeInt4Data),
    Both(XeUInt4Data, &Make<ExtractUInt32>, XeUInt4Data),
    {XeFloatData, {&Make<ExtractFloat64>, XeDoubleData}, {&Make<ExtractFloat32>, XeFloatData}},
    Both(XeDoubleData, &Make<ExtractFloat64>, XeDoubleData),
    Both(XeNumericData, &Make<ExtractNumber>, XeNumericData),
    Both(XeDateData, &Make<ExtractDate>, XeDateData),
    Both(XeTimeData, &Make<ExtractTime>, XeTimeData),
    Both(XeDateTimeData, &Make<ExtractDateTime>, XeDateTimeData),
    Both(XeTimeStampData, &Make<ExtractDateTime>, XeDateTimeData),
    Both(XeIntervalData, &Make<ExtractInterval>, XeIntervalData),
    Both(XeBoolean, &Make<ExtractBoolean>, XeBoolean),
});

/// The position of the first field of that name, or -1.
int FindField(const XeRecordMetaData& layout, const XeString& name) {
  for (int i = 0; i < layout.GetFieldCount(); ++i) {
    if (BaseStringUtil::IsCaseInsensitiveMatch(layout.GetFieldDescriptor(i)->GetFieldName(),
                                               name)) {
      return i;
    }
  }
  return -1;
}

}  // namespace

Extract::Extract(int fieldIndex, bool isGrandTotal)
    : fieldIndex_(fieldIndex), m_bGrandTotal(isGrandTotal) {}

Extract::Extract(XeString fieldName, bool isGrandTotal)
    : fieldIndex_(-1), fieldName_(std::move(fieldName)), m_bGrandTotal(isGrandTotal) {}

Extract::Extract(RExprType kind, int fieldIndex, XeFieldDescriptorRef descriptor,
                 uint8* dataPointer, uint8* nullPointer, XeDataType resultType)
    : fieldIndex_(fieldIndex),
      fieldDescriptor_(std::move(descriptor)),
      dataPointer_(dataPointer),
      nullPointer_(nullPointer),
      m_bGrandTotal(false) {
  resultDataType_ = resultType;
  const XeDataType stored = fieldDescriptor_->GetDataType();
  const auto form = std::find_if(
      kStoredForms.begin(), kStoredForms.end(),
      [&](const StoredForm& entry) { return entry.reader == kind && entry.stored == stored; });
  if (form == kStoredForms.end()) XeLogicError("a typed reader over a stored type not its own");
  convert_ = form->convert;
  guard_ = convert_ != nullptr ? &kAlways : nullPointer_ != nullptr ? nullPointer_ : &kNever;
}

RExprReturn Extract::EvalHeldUp(void* out) {
  if (IsNull()) return kUnknown;
  WidenValue(convert_, dataPointer_, out);
  return kTrue;
}

void Extract::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  replacement = nullptr;
  if (stream == nullptr || stream->GetRecordMetaData() == nullptr) {
    XeLogicError("a column is bound to a stream that is null or has no layout");
  }
  const XeRecordMetaData& layout = *stream->GetRecordMetaData();
  int position = fieldIndex_;
  if (position == -1) {
    position = FindField(layout, fieldName_);
    if (position == -1) RaiseError(59015, {fieldName_});
  } else if (position >= layout.GetFieldCount()) {
    RaiseError(59014, {});
  }
  fieldDescriptor_ = layout.GetFieldDescriptor(position);
  const XeFieldDescriptor& field = layout.GetPlacedField(position);

  uint8* const record = stream->GetRecordBuffer();
  if (record == nullptr) XeLogicError("a column is bound to a stream without a record");
  dataPointer_ = record + field.GetDataOffset();
  nullPointer_ = nullptr;
  if (field.GetNullOffset() != 0) {
    nullPointer_ = record + field.GetNullOffset();
    info.isNullable_ = true;
  }
  info.fieldName_ = field.GetFieldName();
  info.aliasName_ = field.GetAliasName();
  info.scale_ = field.GetScale();

  const XeDataType stored = field.GetDataType();
  const auto readers =
      std::find_if(kReaders.begin(), kReaders.end(),
                   [&](const StoredTypeReaders& entry) { return entry.stored == stored; });
  if (readers == kReaders.end()) {
    RaiseError(59003, {SUXeDataTypeUtility::GetXeDataTypeName(stored)});
  }
  const ReaderChoice& choice = isRootNode_ ? readers->root : readers->operand;
  info.objectLength_ = XeFieldDescriptor::GetObjectLength(choice.result, field.GetLength());
  resultDataType_ = choice.result;
  Extract* reader =
      choice.make(position, fieldDescriptor_, dataPointer_, nullPointer_, choice.result);
  reader->m_bGrandTotal = m_bGrandTotal;
  replacement = reader;
}

RExprReturn Extract::Eval(void*) { XeLogicError("Eval of a column that is not bound"); }

namespace {

/// The narrow number of a column as T.
template <class T>
bool WidenBatch(const BatchRows& rows, BatchBuffers& buffers, BatchVector& out) {
  if (WidthOfForm(out.form) > sizeof(int32)) return false;
  T* const values = buffers.Values<T>();
  return WithNumberType(out.form, [&]<class Narrow>(std::type_identity<Narrow>) {
    MapValues(out.As<Narrow>(), values, RowsOf(out, rows),
              [](Narrow value) { return static_cast<T>(value); });
    out.form = BatchFormOf<T>::kForm;
    out.values = reinterpret_cast<const uint8*>(values);
    // What is known of integers is not known of doubles in the form of doubles.
    if (std::integral<Narrow> != std::integral<T>) out.block = nullptr;
  });
}

}  // namespace

bool Extract::HasBatchLoop() {
  if (!ReadsRecord() || fieldDescriptor_ == nullptr) return false;
  // As an operand a fixed text has its blanks, which columns do without.
  return isRootNode_ || fieldDescriptor_->GetDataType() != XeCharData;
}

bool Extract::EvalBatch(const BatchRows& rows, BatchVector& out) {
  if (!Extract::HasBatchLoop()) return RExpression::EvalBatch(rows, out);
  out = rows.source->GetField(static_cast<uint32>(fieldIndex_));
  if (convert_ == nullptr) return true;
  const bool isWidened =
      (resultDataType_ == XeInt4Data && WidenBatch<int32>(rows, GetBatchBuffers(), out)) ||
      (resultDataType_ == XeDoubleData && WidenBatch<float64>(rows, GetBatchBuffers(), out));
  return isWidened || RExpression::EvalBatch(rows, out);
}

RExpression* Extract::GetIthOperand(int) { XeLogicError("a column has no operands"); }

void Extract::SetIthOperand(int, RExpression*) { XeLogicError("a column has no operands"); }

RExprReturn ExtractBinary::Eval(void* out) {
  if (resultDataType_ == XeBinaryData) return ExtractAddress::Eval(out);
  if (IsHeldUp()) return kUnknown;
  *static_cast<RefLongVarBinary*>(out) = {fieldDescriptor_->GetLength(), dataPointer_};
  return kTrue;
}

}  // namespace sqxer
