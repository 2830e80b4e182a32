#include "SQXERExprConvert.h"

#include <algorithm>
#include <array>
#include <cwchar>

#include "SQXERBatchCalendar.h"
#include "SQXERExprCast.h"
#include "SQXERExprConstant.h"
#include "SQXEROperandBinding.h"
#include "Utility/SUDataConvert.h"
#include "Utility/SUXeDataTypeUtility.h"

namespace sqxer {

namespace {

template <class Value>
Value Parse(const DateTimeMetaData& format, const XeString& text) {
  Value value;
  format.Convert(text, value);
  return value;
}

struct OfferedConversion {
  XeDataType target;
  XeDataType source;
  RExpression* (*make)(RExpression* operand, XeDataType result, uint32 length);
  /// The type that the node reports.
  XeDataType result;
};

template <class Node>
RExpression* Make(RExpression* operand, XeDataType result, uint32 length) {
  return new Node(operand, result, length);
}

template <class Node>
constexpr OfferedConversion Offer(XeDataType target, XeDataType source) {
  return {target, source, &Make<Node>, target};
}

constexpr auto kOfferedConversions = std::to_array<OfferedConversion>({
    Offer<ConvertXeChartoLongVarXeChar>(XeLongVarCharData, XeCharData),
    // Reports the long character type: callers that move both kinds of long values alike rely on
    // it.
    {XeLongVarBinaryData, XeBinaryData, &Make<ConvertBinarytoLongVarBinary>, XeLongVarCharData},
    Offer<ConvertBittoInt32>(XeInt4Data, XeBitData),
    Offer<ConvertBittoInt32>(XeInt4Data, XeBoolean),
    Offer<ConvertBittoUInt32>(XeUInt4Data, XeBitData),
    Offer<ConvertBittoUInt32>(XeUInt4Data, XeBoolean),
    Offer<ConvertBittoFloat64>(XeDoubleData, XeBitData),
    Offer<ConvertBittoFloat64>(XeDoubleData, XeBoolean),
    Offer<ConvertInt32toFloat64>(XeDoubleData, XeInt4Data),
    Offer<ConvertUInt32toFloat64>(XeDoubleData, XeUInt4Data),
    Offer<ConvertNumbertoFloat64>(XeDoubleData, XeNumericData),
    Offer<ConvertInt32toNumber>(XeNumericData, XeInt4Data),
    Offer<ConvertUInt32toNumber>(XeNumericData, XeUInt4Data),
    Offer<ConvertBittoNumber>(XeNumericData, XeBitData),
    Offer<ConvertBittoNumber>(XeNumericData, XeBoolean),
    Offer<ConvertXeDatetoXeDateTime>(XeDateTimeData, XeDateData),
    Offer<ConvertXeTimetoXeDateTime>(XeDateTimeData, XeTimeData),
});

/// Wraps an operand of a 32-bit integer type; any other stays.
void WrapIntegerInDouble(RExpression*& slot) {
  if (slot->GetResultDataType() == XeInt4Data) {
    slot = new ConvertInt32toFloat64(slot);
  } else if (slot->GetResultDataType() == XeUInt4Data) {
    slot = new ConvertUInt32toFloat64(slot);
  }
}

}  // namespace

XeDate TextToDate::Apply(const XeString& text) {
  return Parse<XeDate>(SUDataConvert::GetDefaultDateMetaData(), text);
}

// By the date format's object, not a time's: the servers that exchange these texts agree on it.
XeTime TextToTime::Apply(const XeString& text) {
  return Parse<XeTime>(SUDataConvert::GetDefaultDateMetaData(), text);
}

XeDateTime TextToDateTime::Apply(const XeString& text) {
  return Parse<XeDateTime>(SUDataConvert::GetDefaultDateTimeMetaData(), text);
}

Convert::Convert(RExpression* operand, XeDataType resultType) : UnaryOperator(operand, resultType) {
  SetSourcePosition(operand->GetSourcePosition());
  TakeShape();
}

void Convert::TakeShape() {
  const OperandShape operand = ShapeOf(*only_);
  SetBoundShape(
      {XeFieldDescriptor::GetObjectLength(resultDataType_, operand.length), operand.nullable});
}

void Convert::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  const XeDataType converted = resultDataType_;
  UnaryOperator::Bind(stream, replacement, info);
  resultDataType_ = converted;
  TakeShape();
  info.objectLength_ = GetBoundShape().length;
}

RExpression* Convert::AddConversionExpression(XeDataType target, XeDataType source,
                                              RExpression* operand, uint32 length) {
  if (target == source) return operand;
  const auto offered = std::find_if(kOfferedConversions.begin(), kOfferedConversions.end(),
                                    [&](const OfferedConversion& entry) {
                                      return entry.target == target && entry.source == source;
                                    });
  if (offered == kOfferedConversions.end()) {
    ErrorMessage error(59030, {SUXeDataTypeUtility::GetXeDataTypeName(source),
                               SUXeDataTypeUtility::GetXeDataTypeName(target)});
    error.SetSourcePosition(operand->GetSourcePosition());
    SUGThrow(std::move(error));
  }
  return offered->make(operand, offered->result, length);
}

void ConvertIntegerToDouble(RExpression*& left, RExpression*& right, MetaDataInfo& info,
                            XeDataType& resultType) {
  if (!SUXeDataTypeUtility::IsXeIntegerType(left->GetResultDataType()) ||
      !SUXeDataTypeUtility::IsXeIntegerType(right->GetResultDataType())) {
    return;
  }
  WrapIntegerInDouble(left);
  WrapIntegerInDouble(right);
  resultType = XeDoubleData;
  info.objectLength_ = XeFieldDescriptor::GetObjectLength(XeDoubleData, 0);
}

ConvertXeChartoLongVarXeChar::ConvertXeChartoLongVarXeChar(RExpression* operand,
                                                           XeDataType resultType, uint32 length)
    : Convert(operand, resultType), objectLength_(length) {
  FindCast();
}

void ConvertXeChartoLongVarXeChar::FindCast() {
  pConstantChar_ = nullptr;
  pCastToCharOperand_ = dynamic_cast<CastToChar*>(only_);
  if (pCastToCharOperand_ == nullptr) return;
  keepsBlanks_ = pCastToCharOperand_->GetCastTarget() == XeCharData;
  RExpression* const text = pCastToCharOperand_->GetIthOperand(0);
  if (text->GetExpressionType() != kConstantExpression) return;
  pConstantChar_ = dynamic_cast<ConstantLongVarXeChar*>(text);
  if (pConstantChar_ != nullptr) trimFloor_ = pConstantChar_->GetObjectLength();
}

void ConvertXeChartoLongVarXeChar::Bind(XeAListStream* stream, RExpression*& replacement,
                                        MetaDataInfo& info) {
  Convert::Bind(stream, replacement, info);
  // Built over a generic cast, it sees only now what that became.
  FindCast();
}

RExprReturn ConvertXeChartoLongVarXeChar::Eval(void* out) {
  RefLongVarChar& value = *static_cast<RefLongVarChar*>(out);
  retCode_ = only_->Eval(&value.buffer_);
  if (retCode_ != kTrue) return retCode_;
  uint32 length = static_cast<uint32>(wcsnlen(value.buffer_, objectLength_));
  // A text that ends before the declared length has no padding: its blanks are its own.
  if (length == objectLength_ && !keepsBlanks_) {
    while (length > trimFloor_ && value.buffer_[length - 1] == L' ') --length;
  }
  value.length_ = length;
  return kTrue;
}

void ConvertVarXeChartoLongVarXeChar::Bind(XeAListStream* stream, RExpression*& replacement,
                                           MetaDataInfo& info) {
  Convert::Bind(stream, replacement, info);
  info.objectLength_ = objectLength_;
}

RExprReturn ConvertVarXeChartoLongVarXeChar::Eval(void* out) {
  retCode_ = only_->Eval(out);
  return retCode_;
}

RExprReturn ConvertBinarytoLongVarBinary::Eval(void* out) {
  RefLongVarBinary& value = *static_cast<RefLongVarBinary*>(out);
  retCode_ = only_->Eval(&value.buffer_);
  if (retCode_ == kTrue) value.length_ = objectLength_;
  return retCode_;
}

bool ConvertXeDatetoXeDateTime::EvalBatch(const BatchRows& rows, BatchVector& out) {
  if (!EvaluateBatch(*only_, rows, out)) return false;
  out.values =
      reinterpret_cast<const uint8*>(MicrosecondsOf(out, rows, GetBatchBuffers().Values<int64>()));
  out.form = ColumnForm::kTimeStamp64;
  out.block = nullptr;
  return true;
}

}  // namespace sqxer
