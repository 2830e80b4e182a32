// How the two operands of an operator are brought to one type: the promotion tables.

#include <algorithm>
#include <array>

#include "SQXERExprConstant.h"
#include "SQXERExprConvert.h"
#include "SQXERExprParam.h"
#include "SQXERExpression.h"
#include "SQXEROperandBinding.h"

namespace sqxer {

namespace {

using MakeConversion = RExpression* (*)(RExpression* operand, XeDataType result, uint32 length);

template <class Node>
RExpression* Make(RExpression* operand, XeDataType result, uint32 length) {
  return new Node(operand, result, length);
}

/// A pair of different numeric types: the operand of type `from`, on whichever side it stands, is
/// converted to `to`, the type in which the pair computes.
struct NumericPromotion {
  XeDataType from;
  XeDataType to;
  MakeConversion make;
  /// Whether the length of the result becomes the width of `to`.
  bool setsLength;
};

constexpr auto kNumericPromotions = std::to_array<NumericPromotion>({
    {XeBitData, XeInt4Data, &Make<ConvertBittoInt32>, true},
    {XeBitData, XeUInt4Data, &Make<ConvertBittoUInt32>, true},
    {XeBitData, XeDoubleData, &Make<ConvertBittoFloat64>, true},
    {XeBitData, XeNumericData, &Make<ConvertBittoNumber>, true},
    {XeInt4Data, XeUInt4Data, &Make<ConvertInt32toUInt32>, false},
    {XeInt4Data, XeDoubleData, &Make<ConvertInt32toFloat64>, true},
    {XeInt4Data, XeNumericData, &Make<ConvertInt32toNumber>, true},
    {XeUInt4Data, XeDoubleData, &Make<ConvertUInt32toFloat64>, true},
    {XeUInt4Data, XeNumericData, &Make<ConvertUInt32toNumber>, true},
    {XeNumericData, XeDoubleData, &Make<ConvertNumbertoFloat64>, true},
});

/// Where comparisons differ from arithmetic.
struct PromotionDialect {
  /// The type that a signed integer converted for an unsigned partner reports.
  XeDataType convertedSignedType;
  /// What converts an unsigned integer on the right of a double.
  MakeConversion unsignedRightOfDouble;
};
constexpr PromotionDialect kArithmeticDialect{XeUInt4Data, &Make<ConvertUInt32toFloat64>};
// A comparison's variant follows its left operand's type, and stored filters rely on both oddities:
// a signed operand on the left keeps the comparison signed, and a double compares with the unsigned
// operand on its right as if that were signed.
constexpr PromotionDialect kComparisonDialect{XeInt4Data, &Make<ConvertInt32toFloat64>};

bool IsComputedNumber(XeDataType type) {
  return type == XeBitData || type == XeInt4Data || type == XeUInt4Data || type == XeDoubleData ||
         type == XeNumericData;
}

const NumericPromotion* FindPromotion(XeDataType from, XeDataType to) {
  const auto found = std::find_if(
      kNumericPromotions.begin(), kNumericPromotions.end(),
      [&](const NumericPromotion& entry) { return entry.from == from && entry.to == to; });
  return found == kNumericPromotions.end() ? nullptr : &*found;
}

/// Brings two operands of numeric types to one of the two types. Returns the promotion made, null
/// for equal types.
const NumericPromotion* PromoteNumbers(RExpression*& left, RExpression*& right,
                                       const PromotionDialect& dialect) {
  const XeDataType leftType = left->GetResultDataType();
  const XeDataType rightType = right->GetResultDataType();
  if (leftType == rightType) return nullptr;

  const NumericPromotion* promotion = FindPromotion(leftType, rightType);
  RExpression*& slot = promotion != nullptr ? left : right;
  if (promotion == nullptr) promotion = FindPromotion(rightType, leftType);
  XE_ASSERT(promotion != nullptr);

  const bool signedToUnsigned = promotion->from == XeInt4Data && promotion->to == XeUInt4Data;
  const bool unsignedRightOfDouble =
      &slot == &right && promotion->from == XeUInt4Data && promotion->to == XeDoubleData;
  const MakeConversion make =
      unsignedRightOfDouble ? dialect.unsignedRightOfDouble : promotion->make;
  slot = make(slot, signedToUnsigned ? dialect.convertedSignedType : promotion->to, 0);
  return promotion;
}

enum class Side { kNone, kLeft, kRight };

/// A pair of types that compare, at least one of them not numeric: which side is converted, and
/// into what.
struct ComparablePair {
  XeDataType left;
  XeDataType right;
  Side side = Side::kNone;
  MakeConversion make = nullptr;
  XeDataType result = XeUnknown;
};

constexpr auto kComparablePairs = std::to_array<ComparablePair>({
    {XeCharData, XeCharData},
    {XeCharData, XeLongVarCharData, Side::kLeft, &Make<ConvertXeChartoLongVarXeChar>,
     XeLongVarCharData},
    {XeCharData, XeDateData, Side::kLeft, &Make<ConvertXeChartoXeDate>, XeDateData},
    {XeCharData, XeDateTimeData, Side::kLeft, &Make<ConvertXeChartoXeDateTime>, XeDateTimeData},
    {XeLongVarCharData, XeCharData, Side::kRight, &Make<ConvertXeChartoLongVarXeChar>,
     XeLongVarCharData},
    {XeLongVarCharData, XeVarCharData},
    {XeLongVarCharData, XeLongVarCharData},
    {XeLongVarCharData, XeDateData, Side::kLeft, &Make<ConvertXeLongVarChartoXeDate>, XeDateData},
    {XeLongVarCharData, XeDateTimeData, Side::kLeft, &Make<ConvertXeLongVarChartoXeDateTime>,
     XeDateTimeData},
    {XeBinaryData, XeLongVarBinaryData, Side::kLeft, &Make<ConvertBinarytoLongVarBinary>,
     XeLongVarBinaryData},
    {XeLongVarBinaryData, XeBinaryData, Side::kRight, &Make<ConvertBinarytoLongVarBinary>,
     XeLongVarBinaryData},
    {XeBinaryData, XeBinaryData},
    {XeLongVarBinaryData, XeLongVarBinaryData},
    {XeDateData, XeCharData, Side::kRight, &Make<ConvertXeChartoXeDate>, XeDateData},
    {XeDateData, XeLongVarCharData, Side::kRight, &Make<ConvertXeLongVarChartoXeDate>, XeDateData},
    {XeDateData, XeDateData},
    {XeDateData, XeDateTimeData, Side::kLeft, &Make<ConvertXeDatetoXeDateTime>, XeDateTimeData},
    {XeTimeData, XeTimeData},
    {XeTimeData, XeDateTimeData, Side::kLeft, &Make<ConvertXeTimetoXeDateTime>, XeDateTimeData},
    {XeDateTimeData, XeCharData, Side::kRight, &Make<ConvertXeChartoXeDateTime>, XeDateTimeData},
    {XeDateTimeData, XeLongVarCharData, Side::kRight, &Make<ConvertXeLongVarChartoXeDateTime>,
     XeDateTimeData},
    {XeDateTimeData, XeDateData, Side::kRight, &Make<ConvertXeDatetoXeDateTime>, XeDateTimeData},
    {XeDateTimeData, XeTimeData, Side::kRight, &Make<ConvertXeTimetoXeDateTime>, XeDateTimeData},
    {XeDateTimeData, XeDateTimeData},
    {XeIntervalData, XeIntervalData},
});

template <class TypedConstant>
RExpression* ReadConstant(const XeString& text) {
  bool success = false;
  std::unique_ptr<RExpression> constant(new TypedConstant(text, &success));
  return success ? constant.release() : nullptr;
}

/// Replaces a text constant by one of the partner's type. False when there is nothing to replace.
bool RetypeTextConstant(RExpression*& slot, XeDataType partnerType) {
  RExpression* typed = BinaryOperator::ConstStringToTypedConst(slot, partnerType);
  if (typed == nullptr) return false;
  delete slot;
  slot = typed;
  return true;
}

}  // namespace

OperandShape ShapeOf(const RExpression& bound) {
  const auto* parameter = dynamic_cast<const Param*>(&bound);
  if (parameter != nullptr) return {parameter->GetObjectLength(), false};
  return bound.GetBoundShape();
}

OperandShape BindOperand(RExpression*& slot, XeAListStream* stream, RExpression*& replacement,
                         MetaDataInfo& scratch, MetaDataInfo& info, bool isBound) {
  if (!isBound) {
    scratch.Initialize();
    BindInPlace(slot, stream, replacement, scratch);
    info.AddParametersOf(scratch);
  }
  return ShapeOf(*slot);
}

BinaryOperator::OperandLengths BinaryOperator::BindOperands(XeAListStream* stream,
                                                            RExpression*& replacement,
                                                            MetaDataInfo& info) {
  OperandLengths lengths;
  const auto bind = [&](RExpression*& operand, uint32& length) {
    const OperandShape shape =
        BindOperand(operand, stream, replacement, tempMetaDataInfo_, info, skipReBindChildren_);
    length = shape.length;
    info.isNullable_ |= shape.nullable;
    info.objectLength_ = std::max(info.objectLength_, shape.length);
  };
  bind(left_, lengths.left);
  bind(right_, lengths.right);
  replacement = nullptr;
  info.fieldName_ = XeRecordMetaData::exprFieldName_;
  return lengths;
}

void BinaryOperator::BindArithmeticCommon(XeAListStream* stream, RExpression*& replacement,
                                          MetaDataInfo& info) {
  BindOperands(stream, replacement, info);

  const XeDataType leftType = left_->GetResultDataType();
  const XeDataType rightType = right_->GetResultDataType();
  // Texts and dates: the operator that called decides, or reports.
  if (!IsComputedNumber(leftType)) return;
  if (!IsComputedNumber(rightType)) {
    throwExecutionError(59001, L"Binary Arithematic", leftType, rightType);
  }
  const NumericPromotion* promotion = PromoteNumbers(left_, right_, kArithmeticDialect);
  resultDataType_ = promotion != nullptr ? promotion->to : leftType;
  const bool setsLength =
      promotion != nullptr ? promotion->setsLength : resultDataType_ == XeNumericData;
  if (setsLength) info.objectLength_ = XeFieldDescriptor::GetObjectLength(resultDataType_, 0);
}

void BinaryOperator::BindLogicalCommon(XeAListStream* stream, RExpression*& replacement,
                                       MetaDataInfo& info) {
  OperandLengths lengths = BindOperands(stream, replacement, info);
  // A parameter is compared as a value of its partner's length, whatever its own.
  const OperandLengths own = lengths;
  if (left_->GetExpressionType() == kParamExpression) lengths.left = own.right;
  if (right_->GetExpressionType() == kParamExpression) lengths.right = own.left;

  resultDataType_ = XeBoolean;
  info.objectLength_ = XeFieldDescriptor::GetObjectLength(XeBoolean, 0);

  if (!RetypeTextConstant(left_, right_->GetResultDataType())) {
    RetypeTextConstant(right_, left_->GetResultDataType());
  }

  const XeDataType leftType = left_->GetResultDataType();
  const XeDataType rightType = right_->GetResultDataType();
  if (IsComputedNumber(leftType) && IsComputedNumber(rightType)) {
    PromoteNumbers(left_, right_, kComparisonDialect);
    return;
  }
  const auto pair = std::find_if(kComparablePairs.begin(), kComparablePairs.end(),
                                 [&](const ComparablePair& entry) {
                                   return entry.left == leftType && entry.right == rightType;
                                 });
  if (pair == kComparablePairs.end()) {
    // Objects, booleans and the rest above: the operator that called decides, or reports.
    if (leftType >= XeObjectData) return;
    throwExecutionError(59001, L"Binary Logical", leftType, rightType);
  }
  if (pair->side == Side::kLeft) left_ = pair->make(left_, pair->result, lengths.left);
  if (pair->side == Side::kRight) right_ = pair->make(right_, pair->result, lengths.right);
}

RExpression* BinaryOperator::ConstStringToTypedConst(RExpression* operand, XeDataType target) {
  const XeDataType type = operand->GetResultDataType();
  if (operand->GetExpressionType() != kConstantExpression) return nullptr;
  XeString text;
  if (type == XeCharData) {
    wchar_t* value = nullptr;
    if (operand->Eval(&value) != kTrue) return nullptr;
    text = value;
  } else if (type == XeLongVarCharData) {
    RefLongVarChar value{};
    if (operand->Eval(&value) != kTrue) return nullptr;
    text.assign(value.buffer_, value.length_);
  } else {
    return nullptr;
  }

  RExpression* typed = nullptr;
  switch (target) {
    case XeBitData:
      typed = ReadConstant<ConstantBit>(text);
      break;
    case XeInt4Data:
      typed = ReadConstant<ConstantInt32>(text);
      break;
    case XeUInt4Data:
      typed = ReadConstant<ConstantUInt32>(text);
      break;
    case XeDoubleData:
      typed = ReadConstant<ConstantFloat64>(text);
      break;
    case XeNumericData:
      typed = ReadConstant<ConstantNumber>(text);
      break;
    default:
      break;
  }
  if (typed != nullptr) typed->SetSourcePosition(operand->GetSourcePosition());
  return typed;
}

}  // namespace sqxer
