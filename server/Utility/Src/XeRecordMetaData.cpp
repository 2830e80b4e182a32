#include "Utility/XeRecordMetaData.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "Utility/ErrorMessage.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeAssert.h"
#include "Utility/XeDateTime.h"
#include "Utility/XeInterval.h"

namespace sqxer {

namespace {

constexpr uint64 kRecordAlignment = 8;

uint64 AlignUp(uint64 offset, uint64 alignment) {
  return (offset + alignment - 1) / alignment * alignment;
}

/// `bytes` as the 32-bit quantity that layouts count in.
uint32 CheckRecordBytes(uint64 bytes) {
  if (bytes > std::numeric_limits<uint32>::max()) {
    SUGThrow(ErrorMessage(59173, {std::to_wstring(bytes)}));
  }
  return static_cast<uint32>(bytes);
}

uint64 CountStoredBytes(XeDataType type, uint64 length, bool unicode) {
  const uint64 characters = unicode ? length * sizeof(wchar_t) : length;
  switch (type) {
    case XeCharData:
      return characters;
    case XeVarCharData:
    case XeLongVarCharData:
      return kLongVarPrefix + characters;
    case XeVarBinaryData:
    case XeLongVarBinaryData:
      return kLongVarPrefix + length;
    default:
      return XeFieldDescriptor::GetObjectLength(type, static_cast<uint32>(length));
  }
}

}  // namespace

XeFieldDescriptor::XeFieldDescriptor(int position, XeDataType type, uint32 length, bool nullable,
                                     int16 scale, int codePage, XeString name, XeString alias,
                                     SUXeDataTypeUtility::ColumnUnicodeProperty unicode,
                                     uint32 occurrence)
    : position_(position),
      type_(type),
      length_(length),
      nullable_(nullable),
      scale_(scale),
      codePage_(codePage),
      name_(std::move(name)),
      alias_(std::move(alias)),
      unicode_(unicode),
      occurrence_(occurrence) {}

bool XeFieldDescriptor::IsUnicode(bool unicodeRecord) const {
  switch (unicode_) {
    case SUXeDataTypeUtility::kOverrideAsUnicode:
      return true;
    case SUXeDataTypeUtility::kOverrideAsNarrowCode:
    case SUXeDataTypeUtility::kOverrideAsNarrowUTF8Code:
      return false;
    case SUXeDataTypeUtility::kAcceptRecordDefault:
      break;
  }
  return unicodeRecord;
}

uint32 XeFieldDescriptor::GetObjectLength(XeDataType type, uint32 length) {
  switch (type) {
    case XeBitData:
    case XeBoolean:
    case XeInt1Data:
    case XeUInt1Data:
      return 1;
    case XeInt2Data:
    case XeUInt2Data:
      return 2;
    case XeInt4Data:
    case XeUInt4Data:
      return 4;
    case XeFloatData:
      return sizeof(float32);
    case XeDoubleData:
      return sizeof(float64);
    case XeMoneyData:
    case XeNumericData:
    case XeDecimalData:
      return sizeof(VelmarNumber);
    case XeDateData:
      return sizeof(XeDate);
    case XeTimeData:
      return sizeof(XeTime);
    case XeDateTimeData:
    case XeTimeStampData:
      return sizeof(XeDateTime);
    case XeIntervalData:
      return sizeof(XeInterval);
    default:
      return length;
  }
}

uint32 XeFieldDescriptor::GetTextLength(XeDataType type, uint32 length,
                                        [[maybe_unused]] int16 scale) {
  switch (type) {
    case XeBitData:
      return 1;
    case XeBoolean:
      return 5;  // false
    case XeInt1Data:
      return 4;
    case XeUInt1Data:
      return 3;
    case XeInt2Data:
      return 6;
    case XeUInt2Data:
      return 5;
    case XeInt4Data:
      return 11;
    case XeUInt4Data:
      return 10;
    case XeFloatData:
      return 15;  // -1.17549435e-38
    case XeDoubleData:
      return 24;  // -2.2250738585072014e-308
    case XeMoneyData:
    case XeNumericData:
    case XeDecimalData:
      return 64;  // longer decimals print in the shorter exponent form
    case XeDateData:
      return 11;  // -4713-01-31
    case XeTimeData:
      return 18;  // 23:59:59.999999999
    case XeDateTimeData:
    case XeTimeStampData:
      return 30;  // the two with a blank between them
    case XeIntervalData:
      return kMostIntervalText;
    case XeBinaryData:
    case XeVarBinaryData:
    case XeLongVarBinaryData:
      return 2 * length;
    default:
      return length;
  }
}

const XeString XeRecordMetaData::exprFieldName_ = L"(Expression)";
const XeString XeRecordMetaData::constantFieldName_ = L"(Constant)";
const XeString XeRecordMetaData::s_kNullString = L"NULL";

XeRecordMetaData::XeRecordMetaData(bool unicodeRecord) : unicodeRecord_(unicodeRecord) {}

void XeRecordMetaData::SetFieldCount(int count) {
  XE_ASSERT(count >= 0);
  fields_.resize(static_cast<std::size_t>(count));
}

void XeRecordMetaData::DescribleField(int position, XeDataType type, uint32 length, bool nullable,
                                      int16 scale, int codePage, const XeString& name,
                                      const XeString& alias,
                                      SUXeDataTypeUtility::ColumnUnicodeProperty unicode,
                                      uint32 occurrence) {
  GetFieldDescriptor(position);
  fields_[static_cast<std::size_t>(position)] = std::make_shared<XeFieldDescriptor>(
      position, type, length, nullable, scale, codePage, name, alias, unicode, occurrence);
}

void XeRecordMetaData::AddField(XeDataType type, uint32 length, bool nullable, const XeString& name,
                                int16 scale, const XeString& alias) {
  const int position = GetFieldCount();
  SetFieldCount(position + 1);
  DescribleField(position, type, length, nullable, scale, 0, name, alias);
}

void XeRecordMetaData::SetFieldDescriptor(int position, XeFieldDescriptorRef field) {
  XE_ASSERT(field != nullptr);
  GetFieldDescriptor(position);
  const uint64 end = field->GetDataOffset() + GetStoredSize(*field);
  recordSize_ = std::max(recordSize_, CheckRecordBytes(AlignUp(end, kRecordAlignment)));
  fields_[static_cast<std::size_t>(position)] = std::move(field);
}

const XeFieldDescriptorRef& XeRecordMetaData::GetFieldDescriptor(int position) const {
  if (position < 0 || position >= GetFieldCount()) {
    SUGThrow(ErrorMessage(46030, {std::to_wstring(position), std::to_wstring(GetFieldCount())}));
  }
  return fields_[static_cast<std::size_t>(position)];
}

const XeFieldDescriptor& XeRecordMetaData::GetPlacedField(int position) const {
  const XeFieldDescriptor& field = *GetFieldDescriptor(position);
  if (!field.HasOffsets()) {
    XeLogicError("a record layout without offsets is read: GenerateAlignedFieldOffset comes first");
  }
  return field;
}

void XeRecordMetaData::GenerateAlignedFieldOffset() {
  uint64 offset = 1;
  std::vector<uint32> nullOffsets;
  nullOffsets.reserve(fields_.size());
  for (const XeFieldDescriptorRef& field : fields_) {
    XE_ASSERT(field != nullptr);
    nullOffsets.push_back(field->IsNullable() ? static_cast<uint32>(offset++) : 0);
  }
  ++offset;
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    XeFieldDescriptor& field = *fields_[i];
    offset = AlignUp(offset, GetAlignmentBoundary(field.GetDataType()));
    field.SetOffsets(CheckRecordBytes(offset), nullOffsets[i]);
    offset += GetStoredSize(field);
  }
  recordSize_ = CheckRecordBytes(AlignUp(offset, kRecordAlignment));
}

uint32 XeRecordMetaData::GetByteLength(XeDataType type, uint32 length, bool unicodeRecord) {
  return CheckRecordBytes(CountStoredBytes(type, length, unicodeRecord));
}

uint64 XeRecordMetaData::GetStoredSize(const XeFieldDescriptor& field) const {
  const bool isText = SUXeDataTypeUtility::IsXeTextType(field.GetDataType());
  return CountStoredBytes(field.GetDataType(), uint64{field.GetLength()} + (isText ? 1 : 0),
                          field.IsUnicode(unicodeRecord_));
}

uint32 XeRecordMetaData::GetAlignmentBoundary(XeDataType type) {
  switch (type) {
    case XeCharData:
    case XeVarCharData:
    case XeLongVarCharData:
      return alignof(wchar_t);
    case XeVarBinaryData:
    case XeLongVarBinaryData:
      return alignof(uint32);
    case XeInt2Data:
    case XeUInt2Data:
      return alignof(int16);
    case XeInt4Data:
    case XeUInt4Data:
      return alignof(int32);
    case XeFloatData:
      return alignof(float32);
    case XeDoubleData:
      return alignof(float64);
    case XeIntervalData:
      return alignof(XeInterval);
    case XeMoneyData:
    case XeNumericData:
    case XeDecimalData:
      return alignof(VelmarNumber);
    case XeDateData:
      return alignof(XeDate);
    case XeTimeData:
      return alignof(XeTime);
    case XeDateTimeData:
    case XeTimeStampData:
      return alignof(XeDateTime);
    default:
      return 1;
  }
}

}  // namespace sqxer
