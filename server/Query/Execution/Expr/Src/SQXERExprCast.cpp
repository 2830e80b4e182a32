#include "SQXERExprCast.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "SQXERExprConstant.h"
#include "SQXERExprConvert.h"
#include "SQXERExprParam.h"

namespace sqxer {

namespace {

/// A target, and how its cast is built over a generic one's operand. `length` is the one asked for
/// or, for a target of fixed width, that width.
struct CastTarget {
  Cast* (*make)(RExpression* operand, XeDataType to, int length, int scale, const XeString& format);
  XeDataType type;
  bool hasUserLength;
};

template <class Node>
Cast* Make(RExpression* operand, XeDataType to, int length, int scale, const XeString& format) {
  if constexpr (std::is_constructible_v<Node, RExpression*, XeDataType, int, int, XeString>) {
    return new Node(operand, to, length, scale, format);
  } else {
    return new Node(operand, to, length, scale);
  }
}

constexpr CastTarget kCastTargets[] = {
    {&Make<CastToBinary>, XeBitData, true},
    {&Make<CastToBinary>, XeBinaryData, true},
    {&Make<CastToBinary>, XeLongVarBinaryData, true},
    {&Make<CastToChar>, XeCharData, true},
    {&Make<CastToChar>, XeLongVarCharData, true},
    {&Make<CastToInt16>, XeInt2Data, false},
    {&Make<CastToInt32>, XeInt4Data, false},
    {&Make<CastToFloat32>, XeFloatData, false},
    {&Make<CastToFloat64>, XeDoubleData, false},
    {&Make<CastToNumeric>, XeNumericData, false},
    {&Make<CastToNumeric>, XeDecimalData, false},
    {&Make<CastToDate>, XeDateData, false},
    {&Make<CastToTime>, XeTimeData, false},
    {&Make<CastToDateTime>, XeDateTimeData, false},
    {&Make<CastToDateTime>, XeTimeStampData, false},
    {&Make<CastToInterval>, XeIntervalData, false},
};

/// Bytes of a value as nodes exchange it: texts and binaries by address.
std::size_t ValueSize(XeDataType type) {
  switch (type) {
    case XeCharData:
    case XeBinaryData:
      return sizeof(void*);
    case XeLongVarCharData:
    case XeLongVarBinaryData:
      return sizeof(RefLongVarChar);
    default:
      return XeFieldDescriptor::GetObjectLength(type, 0);
  }
}

bool IsConstant(RExpression& node) {
  const RExprType kind = node.GetExpressionType();
  return kind > kConstantExpressionBegin && kind < kConstantExpressionEnd;
}

}  // namespace

Cast::Cast(RExpression* operand, XeDataType to, int precision, int scale, const XeString& format)
    : UnaryOperator(operand),
      toDataType_(to),
      precision_(precision),
      scale_(scale),
      dateTimeFormat_(format) {}

bool Cast::IsOperandNullConstant() const {
  // It is asked before the operand is bound.
  if (only_ == nullptr) XeLogicError("a cast without an operand is bound");
  return only_->GetExpressionType() == kConstantNullExpression;
}

void Cast::PromoteNullDataType() {
  if (IsOperandNullConstant()) {
    SetOperandType(SUXeDataTypeUtility::GetPromotedDataType(toDataType_));
  }
}

void Cast::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  replacement = nullptr;
  PromoteNullDataType();
  const auto* target = std::ranges::find(kCastTargets, toDataType_, &CastTarget::type);
  if (target == std::end(kCastTargets)) {
    throwExecutionError(59002, L"Cast", toDataType_, XeUnknown);
  }
  const int length = target->hasUserLength
                         ? precision_
                         : static_cast<int>(XeFieldDescriptor::GetObjectLength(toDataType_, 0));
  Cast* node = target->make(only_, toDataType_, length, scale_, dateTimeFormat_);
  ReleaseExpression();
  node->SetSourcePosition(GetSourcePosition());
  node->SetIsRootNode(isRootNode_);
  node->SetSkipReBindChildren(skipReBindChildren_);
  node->isQuiet_ = isQuiet_;
  replacement = node;
  if (toDataType_ == XeLongVarCharData) {
    replacement = Convert::AddConversionExpression(XeLongVarCharData, XeCharData, node,
                                                   static_cast<uint32>(precision_));
    replacement->SetIsRootNode(isRootNode_);
  }
  RExpression* ignored = nullptr;
  replacement->Bind(stream, ignored, info);
}

void Cast::BindTyped(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info,
                     std::span<const OperandForm> forms) {
  // NULL binds as a boolean: not every type that it is cast to has literals.
  if (IsOperandNullConstant()) SetOperandType(XeBoolean);
  UnaryOperator::Bind(stream, replacement, info);
  PromoteNullDataType();
  operandDataType_ = only_->GetResultDataType();
  if (const auto* parameter = dynamic_cast<const Param*>(only_)) {
    operandLength_ = parameter->GetObjectLength();
  } else if (!skipReBindChildren_ || operandLength_ == 0) {
    operandLength_ = info.objectLength_;
  }

  const auto form = std::ranges::find(forms, operandDataType_, &OperandForm::type);
  if (form == forms.end()) {
    throwExecutionError(59001, GetOperatorName(), operandDataType_, XeUnknown);
  }
  convert_ = form->convert;
  convertBatch_ = form->convertBatch;
  isOperandConstant_ = IsConstant(*only_);
  isEvaluated_ = false;
  resultDataType_ = toDataType_;
  resultLength_ =
      XeFieldDescriptor::GetObjectLength(toDataType_, static_cast<uint32>(std::max(precision_, 0)));
  info.objectLength_ = resultLength_;
  info.scale_ = static_cast<int16>(scale_);
  SetOperandAndResultMetaData();
}

bool Cast::EvalBatch(const BatchRows& rows, BatchVector& out) {
  if (convertBatch_ == nullptr) return RExpression::EvalBatch(rows, out);
  return EvaluateBatch(*only_, rows, out) && convertBatch_(*this, rows, out);
}

void Cast::SetOperandAndResultMetaData() {
  tempResult_.Reserve(ValueSize(operandDataType_));
  operandValue_ = tempResult_.data();
  castValue_ = result_.data();
  if (XeFieldDataBinder::CanMove(operandDataType_, toDataType_)) {
    binder_ = XeFieldDataBinder(operandDataType_, operandLength_, toDataType_, resultLength_);
    if (isQuiet_) binder_.RefuseQuietly();
  }
}

XeString Cast::ValueText() const {
  constexpr uint32 kMostShown = 60;
  alignas(LongVarChar) uint8 field[kLongVarPrefix + kMostShown * sizeof(wchar_t)];
  XeFieldDataBinder(operandDataType_, operandLength_, XeLongVarCharData, kMostShown)
      .MoveDataToIntoField(operandValue_, field);
  uint32 length;
  std::memcpy(&length, field, sizeof length);
  return XeString(reinterpret_cast<const wchar_t*>(field + kLongVarPrefix), length);
}

void Cast::RaiseOutOfRange() const {
  RaiseError(59013, {GetOperatorName(), SUXeDataTypeUtility::GetXeDataTypeName(operandDataType_)},
             ValueText());
}

}  // namespace sqxer
