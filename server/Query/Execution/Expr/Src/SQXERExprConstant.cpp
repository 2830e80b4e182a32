#include "SQXERExprConstant.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <cwchar>

#include "Utility/SUDataConvert.h"
#include "Utility/SUXeDataTypeUtility.h"

namespace sqxer {

namespace {

// A bit is no literal that a query can write: it arises only from a text literal compared with a
// bit column, after the comparison was bound.
constexpr std::array kLiteralTypes = {
    XeCharData,  XeLongVarCharData, XeLongVarBinaryData, XeInt4Data,
    XeUInt4Data, XeDoubleData,      XeNumericData,       XeDateData,
    XeTimeData,  XeDateTimeData,    XeIntervalData,      XeBoolean,
};

/// Reads a number at the beginning of a text; zero when there is none. Success is what the scan's
/// callers have always taken for one: only a text that begins with something else fails, so that
/// the empty text, at which the scan reports its end instead, reads as zero.
template <class Value>
Value Scan(const XeString& text, const wchar_t* format, bool* success) {
  Value value{};
  const bool scanned = std::swscanf(text.c_str(), format, &value) != 0;
  if (success != nullptr) *success = scanned;
  return value;
}

/// The low byte of an unsigned short.
uint8 ScanByte(const XeString& text, bool* success) {
  return static_cast<uint8>(Scan<unsigned short>(text, L"%hu", success));
}

VelmarNumber ReadNumber(const XeString& text, bool* success) {
  if (success != nullptr) *success = true;
  return VelmarNumber::stringAsNumber(text.c_str(), static_cast<uint32>(text.size()));
}

}  // namespace

const XeString ConstantNull::g_constantNullFieldName = L"(Constant Null)";

void Constant::Bind(XeAListStream*, RExpression*& replacement, MetaDataInfo& info) {
  replacement = nullptr;
  info.isNullable_ = GetExpressionType() == kConstantNullExpression;
  const XeString& name = info.isNullable_ ? ConstantNull::g_constantNullFieldName
                                          : XeRecordMetaData::constantFieldName_;
  info.fieldName_ = name;
  info.aliasName_ = name;
  if (std::find(kLiteralTypes.begin(), kLiteralTypes.end(), resultDataType_) ==
      kLiteralTypes.end()) {
    RaiseError(59003, {SUXeDataTypeUtility::GetXeDataTypeName(resultDataType_)});
  }
  info.objectLength_ = objectLength_;
}

RExprReturn Constant::Eval(void*) { XeLogicError("Eval of a constant without a value"); }

RExpression* Constant::GetIthOperand(int) { XeLogicError("a constant has no operands"); }

void Constant::SetIthOperand(int, RExpression*) { XeLogicError("a constant has no operands"); }

ConstantInt32::ConstantInt32(const XeString& text, bool* success)
    : ConstantValue(Scan<int32>(text, L"%d", success)) {}

ConstantUInt32::ConstantUInt32(const XeString& text, bool* success)
    : ConstantValue(Scan<uint32>(text, L"%u", success)) {}

ConstantFloat64::ConstantFloat64(const XeString& text, bool* success)
    : ConstantValue(Scan<float64>(text, L"%lf", success)) {}

ConstantBit::ConstantBit(const XeString& text, bool* success)
    : ConstantValue(ScanByte(text, success)) {}

ConstantBoolean::ConstantBoolean(const XeString& text, bool* success)
    : ConstantValue(ScanByte(text, success)) {}

ConstantNumber::ConstantNumber(const XeString& text, bool* success)
    : ConstantValue(ReadNumber(text, success)) {}

ConstantXeChar::ConstantXeChar(const XeString& text)
    : Constant(XeCharData, static_cast<uint32>(text.size())) {
  value_.Reserve(text.size() + 1);
  uint8 result = 0;
  unsigned long produced = 0;
  SUDataConvert::ConvertXeCharToXeChar({}, reinterpret_cast<const uint8*>(text.data()),
                                       objectLength_, 0, reinterpret_cast<uint8*>(value_.data()),
                                       objectLength_, result, produced);
  value_.data()[objectLength_] = 0;
}

RExprReturn ConstantXeChar::Eval(void* out) {
  *static_cast<wchar_t**>(out) = value_.data();
  return kTrue;
}

ConstantLongVarXeChar::ConstantLongVarXeChar(const XeString& text, uint32 declared, bool isLiteral)
    : Constant(XeLongVarCharData, static_cast<uint32>(text.size())),
      declared_(declared),
      isLiteral_(isLiteral) {
  const std::size_t bytes = std::max<std::size_t>(64, text.size() * sizeof(wchar_t) + 8);
  value_.reset(
      static_cast<uint8*>(MemoryGateway::Allocate(bytes, std::source_location::current())));
  std::memcpy(value_.get(), &objectLength_, sizeof(objectLength_));
  std::memcpy(value_.get() + kLongVarPrefix, text.data(), text.size() * sizeof(wchar_t));
}

void ConstantLongVarXeChar::Bind(XeAListStream* stream, RExpression*& replacement,
                                 MetaDataInfo& info) {
  Constant::Bind(stream, replacement, info);
  info.objectLength_ = std::max(objectLength_, declared_);
}

RExprReturn ConstantLongVarXeChar::Eval(void* out) {
  auto* const characters = reinterpret_cast<wchar_t*>(value_.get() + kLongVarPrefix);
  *static_cast<RefLongVarChar*>(out) = {objectLength_, characters};
  characters[objectLength_] = 0;
  return kTrue;
}

ConstantNull::ConstantNull()
    : Constant(XeBoolean, XeFieldDescriptor::GetObjectLength(XeBoolean, 0)) {}

RExprReturn ConstantNull::Eval(void*) { return kUnknown; }

// Not the base's: a column of a type without literals can be NULL as well.
void ConstantTypedNull::Bind(XeAListStream*, RExpression*& replacement, MetaDataInfo& info) {
  replacement = nullptr;
  info.isNullable_ = true;
  info.objectLength_ = objectLength_;
  info.fieldName_ = XeRecordMetaData::constantFieldName_;
  info.aliasName_ = XeRecordMetaData::constantFieldName_;
}

RExprReturn ConstantTypedNull::Eval(void*) { return kUnknown; }

}  // namespace sqxer
