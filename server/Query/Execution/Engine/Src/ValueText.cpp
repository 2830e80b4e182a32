#include "ValueText.h"

#include <charconv>
#include <cstring>
#include <cwchar>
#include <string_view>

#include "Utility/BaseStringUtil.h"
#include "Utility/DateTimeMetaData.h"
#include "Utility/NumberText.h"
#include "Utility/VelmarNumber.h"

namespace sqxer {
namespace {

template <class T>
T Load(const uint8* value) {
  T loaded;
  std::memcpy(&loaded, value, sizeof loaded);
  return loaded;
}

template <class T>
void AppendNumber(T value, std::string& out) {
  char digits[64];
  const auto end = std::to_chars(digits, digits + sizeof digits, value);
  out.append(digits, end.ptr);
}

std::wstring_view FixedText(const uint8* value, uint32 declared) {
  const wchar_t* characters = reinterpret_cast<const wchar_t*>(value);
  const wchar_t* zero = std::wmemchr(characters, 0, declared);
  return {characters, zero ? static_cast<std::size_t>(zero - characters) : declared};
}

std::wstring_view VaryingText(const uint8* value) {
  return {reinterpret_cast<const wchar_t*>(value + kLongVarPrefix), Load<uint32>(value)};
}

void AppendHexadecimal(const uint8* bytes, uint32 count, std::string& out) {
  constexpr char kDigits[] = "0123456789abcdef";
  for (uint32 i = 0; i < count; ++i) {
    out += kDigits[bytes[i] >> 4];
    out += kDigits[bytes[i] & 15];
  }
}

}  // namespace

bool IsNullField(const XeFieldDescriptor& field, const uint8* record) {
  return field.GetNullOffset() != 0 && record[field.GetNullOffset()] != 0;
}

void AppendValueText(const XeFieldDescriptor& field, const uint8* record, std::string& out) {
  const uint8* value = record + field.GetDataOffset();
  switch (field.GetDataType()) {
    case XeBitData:
      out += *value ? '1' : '0';
      break;
    case XeBoolean:
      out += *value ? "true" : "false";
      break;
    case XeInt1Data:
      AppendNumber(static_cast<int>(Load<int8>(value)), out);
      break;
    case XeUInt1Data:
      AppendNumber(static_cast<int>(*value), out);
      break;
    case XeInt2Data:
      AppendNumber(Load<int16>(value), out);
      break;
    case XeUInt2Data:
      AppendNumber(Load<uint16>(value), out);
      break;
    case XeInt4Data:
      AppendNumber(Load<int32>(value), out);
      break;
    case XeUInt4Data:
      AppendNumber(Load<uint32>(value), out);
      break;
    case XeFloatData:
      out += RealText(Load<float32>(value)).Get();
      break;
    case XeDoubleData:
      out += RealText(Load<float64>(value)).Get();
      break;
    case XeNumericData:
      BaseStringUtil::AppendUtf8(out, Load<VelmarNumber>(value).asString());
      break;
    case XeCharData:
      BaseStringUtil::AppendUtf8(out, FixedText(value, field.GetLength()));
      break;
    case XeVarCharData:
    case XeLongVarCharData:
      BaseStringUtil::AppendUtf8(out, VaryingText(value));
      break;
    case XeDateData:
      BaseStringUtil::AppendUtf8(out, DateText(Load<XeDate>(value)));
      break;
    case XeTimeData:
      BaseStringUtil::AppendUtf8(out, TimeText(Load<XeTime>(value)));
      break;
    case XeDateTimeData:
    case XeTimeStampData:
      BaseStringUtil::AppendUtf8(out, DateTimeText(Load<XeDateTime>(value)));
      break;
    case XeBinaryData:
      AppendHexadecimal(value, field.GetLength(), out);
      break;
    case XeVarBinaryData:
    case XeLongVarBinaryData:
      AppendHexadecimal(value + kLongVarPrefix, Load<uint32>(value), out);
      break;
    default:
      break;  // no result column has another type
  }
}

bool IsNumberField(XeDataType type) {
  return type == XeBitData || SUXeDataTypeUtility::IsXeNumericType(type);
}

}  // namespace sqxer
