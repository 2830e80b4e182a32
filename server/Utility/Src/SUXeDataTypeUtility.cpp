#include "Utility/SUXeDataTypeUtility.h"

#include <array>

namespace sqxer {

namespace {

enum class TypeClass { kTruth, kInteger, kRealNumber, kText, kBinary, kDateTime, kOther };

struct TypeRow {
  const wchar_t* name;
  TypeClass typeClass;
  XeDataType promoted;
};

/// By the number of the type.
constexpr std::array<TypeRow, XeMaxType> kTypes = {{
    {L"BIT", TypeClass::kTruth, XeBitData},
    {L"CHAR", TypeClass::kText, XeCharData},
    {L"VARCHAR", TypeClass::kText, XeLongVarCharData},
    {L"LONG VARCHAR", TypeClass::kText, XeLongVarCharData},
    {L"BINARY", TypeClass::kBinary, XeBinaryData},
    {L"VARBINARY", TypeClass::kBinary, XeLongVarBinaryData},
    {L"LONG VARBINARY", TypeClass::kBinary, XeLongVarBinaryData},
    {L"TINYINT", TypeClass::kInteger, XeInt4Data},
    {L"UNSIGNED TINYINT", TypeClass::kInteger, XeInt4Data},
    {L"SMALLINT", TypeClass::kInteger, XeInt4Data},
    {L"UNSIGNED SMALLINT", TypeClass::kInteger, XeInt4Data},
    {L"INTEGER", TypeClass::kInteger, XeInt4Data},
    {L"UNSIGNED INTEGER", TypeClass::kInteger, XeUInt4Data},
    {L"FLOAT", TypeClass::kRealNumber, XeDoubleData},
    {L"DOUBLE", TypeClass::kRealNumber, XeDoubleData},
    {L"MONEY", TypeClass::kRealNumber, XeNumericData},
    {L"NUMERIC", TypeClass::kRealNumber, XeNumericData},
    {L"DECIMAL", TypeClass::kRealNumber, XeNumericData},
    {L"DATE", TypeClass::kDateTime, XeDateTimeData},
    {L"TIME", TypeClass::kDateTime, XeDateTimeData},
    {L"DATETIME", TypeClass::kDateTime, XeDateTimeData},
    {L"TIMESTAMP", TypeClass::kDateTime, XeDateTimeData},
    {L"INTERVAL", TypeClass::kOther, XeIntervalData},
    {L"OBJECT", TypeClass::kOther, XeObjectData},
    {L"BOOLEAN", TypeClass::kTruth, XeBoolean},
    {L"UNKNOWN", TypeClass::kOther, XeUnknown},
}};

const TypeRow& RowOf(XeDataType type) {
  return kTypes[static_cast<std::size_t>(type >= 0 && type < XeMaxType ? type : XeUnknown)];
}

bool IsOf(XeDataType type, TypeClass typeClass) { return RowOf(type).typeClass == typeClass; }

bool IsNumberOrTruth(XeDataType type) {
  return SUXeDataTypeUtility::IsXeNumericType(type) || IsOf(type, TypeClass::kTruth);
}

/// The common type of two promoted numbers or truth values of different types.
XeDataType UnionOfNumbers(XeDataType a, XeDataType b) {
  if (a == XeDoubleData || b == XeDoubleData) return XeDoubleData;
  if (a == XeNumericData || b == XeNumericData) return XeNumericData;
  if (IsOf(a, TypeClass::kTruth)) {
    // A bit and a boolean become neither each other, but both become integers.
    return IsOf(b, TypeClass::kTruth) ? XeInt4Data : b;
  }
  if (IsOf(b, TypeClass::kTruth)) return a;
  // The signed and the unsigned integer: only a decimal takes in the values of both.
  return XeNumericData;
}

}  // namespace

void SUXeDataTypeUtility::GetXeDataTypeName(XeDataType type, XeString& name) {
  name = RowOf(type).name;
}

XeString SUXeDataTypeUtility::GetXeDataTypeName(XeDataType type) { return RowOf(type).name; }

XeDataType SUXeDataTypeUtility::GetPromotedDataType(XeDataType type) {
  return RowOf(type).promoted;
}

bool SUXeDataTypeUtility::AreUnionCompatible(XeDataType a, XeDataType b) {
  return a == b || (IsNumberOrTruth(a) && IsNumberOrTruth(b)) ||
         (RowOf(a).typeClass == RowOf(b).typeClass && !IsOf(a, TypeClass::kOther));
}

XeDataType SUXeDataTypeUtility::GetUnionDataType(XeDataType a, XeDataType b) {
  if (a == b || !AreUnionCompatible(a, b)) return b;
  switch (RowOf(a).typeClass) {
    case TypeClass::kText:
      return XeLongVarCharData;
    case TypeClass::kBinary:
      return XeLongVarBinaryData;
    case TypeClass::kDateTime:
      return XeDateTimeData;
    default:
      break;
  }
  const XeDataType promotedA = GetPromotedDataType(a);
  const XeDataType promotedB = GetPromotedDataType(b);
  return promotedA == promotedB ? promotedA : UnionOfNumbers(promotedA, promotedB);
}

bool SUXeDataTypeUtility::IsXeIntegerType(XeDataType type) {
  return IsOf(type, TypeClass::kInteger);
}

bool SUXeDataTypeUtility::IsXeNumericType(XeDataType type) {
  return IsOf(type, TypeClass::kInteger) || IsOf(type, TypeClass::kRealNumber);
}

bool SUXeDataTypeUtility::IsXeTextType(XeDataType type) { return IsOf(type, TypeClass::kText); }

bool SUXeDataTypeUtility::IsXeBinaryType(XeDataType type) { return IsOf(type, TypeClass::kBinary); }

bool SUXeDataTypeUtility::IsXeDateTimeDerivedType(XeDataType type) {
  return IsOf(type, TypeClass::kDateTime);
}

}  // namespace sqxer
