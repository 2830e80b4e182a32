#include "ValueText.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <cwchar>
#include <string_view>

#include "SQXEROpsAggregate.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/DateTimeMetaData.h"
#include "Utility/NumberText.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeInterval.h"

namespace sqxer {
namespace {

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
  return {reinterpret_cast<const wchar_t*>(value + kLongVarPrefix), LoadValue<uint32>(value)};
}

void AppendHexadecimal(const uint8* bytes, uint32 count, std::string& out) {
  constexpr char kDigits[] = "0123456789abcdef";
  for (uint32 i = 0; i < count; ++i) {
    out += kDigits[bytes[i] >> 4];
    out += kDigits[bytes[i] & 15];
  }
}

void AppendDecimal(const VelmarNumber& number, std::string& out) {
  BaseStringUtil::AppendUtf8(out, number.asString());
}

/// One byte a character.
void AppendLatin1(std::string_view text, std::string& out) {
  const bool isAscii =
      std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  if (isAscii) {
    out += text;
    return;
  }
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      out += c;
    } else {
      out += static_cast<char>(0xC0 | byte >> 6);
      out += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
}

void AppendBatchText(const XeFieldDescriptor& field, const BatchVector& vector, uint32 row,
                     std::string& out) {
  const BatchText text = vector.GetText(row);
  uint32 length = text.length;
  uint32 blanks = 0;
  const auto append = [&]<class Character>(const Character* characters, auto&& appendText) {
    if (field.GetDataType() == XeCharData) {
      // As a record holds it: up to a zero, or with blanks where it comes from a column.
      const auto* const zero = std::find(characters, characters + length, Character());
      if (zero != characters + length) {
        length = static_cast<uint32>(zero - characters);
      } else if (vector.texts == nullptr && length < field.GetLength()) {
        blanks = field.GetLength() - length;
      }
    }
    appendText();
    out.append(blanks, ' ');
  };
  if (vector.form == ColumnForm::kText8) {
    append(text.characters, [&] {
      AppendLatin1({reinterpret_cast<const char*>(text.characters), length}, out);
    });
  } else {
    const auto* const characters = reinterpret_cast<const wchar_t*>(text.characters);
    append(characters,
           [&] { BaseStringUtil::AppendUtf8(out, std::wstring_view(characters, length)); });
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
      AppendNumber(static_cast<int>(LoadValue<int8>(value)), out);
      break;
    case XeUInt1Data:
      AppendNumber(static_cast<int>(*value), out);
      break;
    case XeInt2Data:
      AppendNumber(LoadValue<int16>(value), out);
      break;
    case XeUInt2Data:
      AppendNumber(LoadValue<uint16>(value), out);
      break;
    case XeInt4Data:
      AppendNumber(LoadValue<int32>(value), out);
      break;
    case XeUInt4Data:
      AppendNumber(LoadValue<uint32>(value), out);
      break;
    case XeFloatData:
      out += RealText(LoadValue<float32>(value)).Get();
      break;
    case XeDoubleData:
      out += RealText(LoadValue<float64>(value)).Get();
      break;
    case XeNumericData:
      AppendDecimal(LoadValue<VelmarNumber>(value), out);
      break;
    case XeCharData:
      BaseStringUtil::AppendUtf8(out, FixedText(value, field.GetLength()));
      break;
    case XeVarCharData:
    case XeLongVarCharData:
      BaseStringUtil::AppendUtf8(out, VaryingText(value));
      break;
    case XeDateData:
      BaseStringUtil::AppendUtf8(out, DateText(LoadValue<XeDate>(value)));
      break;
    case XeTimeData:
      BaseStringUtil::AppendUtf8(out, TimeText(LoadValue<XeTime>(value)));
      break;
    case XeDateTimeData:
    case XeTimeStampData:
      BaseStringUtil::AppendUtf8(out, DateTimeText(LoadValue<XeDateTime>(value)));
      break;
    case XeIntervalData:
      BaseStringUtil::AppendUtf8(out, IntervalText(LoadValue<XeInterval>(value)));
      break;
    case XeBinaryData:
      AppendHexadecimal(value, field.GetLength(), out);
      break;
    case XeVarBinaryData:
    case XeLongVarBinaryData:
      AppendHexadecimal(value + kLongVarPrefix, LoadValue<uint32>(value), out);
      break;
    default:
      break;  // no result column has another type
  }
}

void AppendValueText(const XeFieldDescriptor& field, const BatchVector& vector, uint32 row,
                     std::string& out) {
  const XeDataType type = field.GetDataType();
  const uint32 at = vector.isConstant ? 0 : row;
  if (IsTextForm(vector.form)) return AppendBatchText(field, vector, row, out);
  switch (vector.form) {
    case ColumnForm::kDay32:
      return BaseStringUtil::AppendUtf8(out, DateText(FromDay32(vector.As<int32>()[at])));
    case ColumnForm::kTime64:
      return BaseStringUtil::AppendUtf8(out, TimeText(FromTime64(vector.As<int64>()[at])));
    case ColumnForm::kTimeStamp64:
      return BaseStringUtil::AppendUtf8(out, DateTimeText(FromTimeStamp64(vector.As<int64>()[at])));
    case ColumnForm::kDateTime:
      return BaseStringUtil::AppendUtf8(out, DateTimeText(vector.As<XeDateTime>()[at]));
    case ColumnForm::kInterval:
      return BaseStringUtil::AppendUtf8(out, IntervalText(vector.As<XeInterval>()[at]));
    case ColumnForm::kDecimal64:
      return AppendDecimal(VelmarNumber::FromScaled(vector.As<int64>()[at], vector.scale), out);
    case ColumnForm::kDecimal128:
      return AppendDecimal(VelmarNumber::FromScaled(vector.As<int128>()[at], vector.scale), out);
    case ColumnForm::kNumber:
      return AppendDecimal(vector.As<VelmarNumber>()[at], out);
    default:
      break;
  }
  if (type == XeBoolean) {
    out += vector.As<uint8>()[at] != 0 ? "true" : "false";
    return;
  }
  WithNumberType(vector.form, [&]<class T>(std::type_identity<T>) {
    const T value = vector.As<T>()[at];
    if constexpr (std::is_floating_point_v<T>) {
      out += RealText(value).Get();
    } else {
      // Integers of a byte are numbers, not characters.
      AppendNumber(int64{value}, out);
    }
  });
}

bool IsNumberField(XeDataType type) {
  return type == XeBitData || SUXeDataTypeUtility::IsXeNumericType(type);
}

}  // namespace sqxer
