#include "SQXERExprLogicalBetween.h"

#include <algorithm>
#include <iterator>

#include "SQXERExprConstant.h"
#include "SQXERExprConvert.h"
#include "SQXEROperandBinding.h"
#include "SQXERTypedVariant.h"

namespace sqxer {
namespace {

constexpr std::span<const TypedVariant> kBetweenVariants =
    kVariants<BetweenXeChar, BetweenLongVarXeChar, BetweenInt32, BetweenUInt32, BetweenFloat64,
              BetweenNumber, BetweenDate, BetweenTime, BetweenDateTime, BetweenInterval>;

// Short names keep the tables below readable as tables.
constexpr XeDataType kBit = XeBitData;
constexpr XeDataType kChar = XeCharData;
constexpr XeDataType kLong = XeLongVarCharData;
constexpr XeDataType kI4 = XeInt4Data;
constexpr XeDataType kU4 = XeUInt4Data;
constexpr XeDataType kF8 = XeDoubleData;
constexpr XeDataType kNum = XeNumericData;
constexpr XeDataType kDay = XeDateData;
constexpr XeDataType kTime = XeTimeData;
constexpr XeDataType kStamp = XeDateTimeData;
constexpr XeDataType kSpan = XeIntervalData;
constexpr XeDataType kNone = XeUnknown;

constexpr XeDataType kFoldOrder[] = {kBit, kChar, kLong, kI4,    kU4,  kF8,
                                     kNum, kDay,  kTime, kStamp, kSpan};
constexpr int kFoldTypes = std::size(kFoldOrder);

/// The common type of what came so far (row) and one more operand (column), in kFoldOrder.
// clang-format off
constexpr XeDataType kFold[kFoldTypes][kFoldTypes] = {
    /* Bit   */ {kBit,  kNone,  kNone,  kI4,   kU4,   kF8,   kNum,  kNone,  kNone,  kNone, kNone},
    /* Char  */ {kNone, kChar,  kLong,  kNone, kNone, kNone, kNone, kDay,   kNone,  kStamp, kNone},
    /* Long  */ {kNone, kLong,  kLong,  kNone, kNone, kNone, kNone, kDay,   kNone,  kStamp, kNone},
    /* I4    */ {kI4,   kNone,  kNone,  kI4,   kU4,   kF8,   kNum,  kNone,  kNone,  kNone, kNone},
    /* U4    */ {kU4,   kNone,  kNone,  kU4,   kU4,   kF8,   kNum,  kNone,  kNone,  kNone, kNone},
    /* F8    */ {kF8,   kNone,  kNone,  kF8,   kF8,   kF8,   kF8,   kNone,  kNone,  kNone, kNone},
    /* Num   */ {kNum,  kNone,  kNone,  kNum,  kNum,  kF8,   kNum,  kNone,  kNone,  kNone, kNone},
    /* Day   */ {kNone, kDay,   kDay,   kNone, kNone, kNone, kNone, kDay,   kNone,  kStamp, kNone},
    /* Time  */ {kNone, kTime,  kTime,  kNone, kNone, kNone, kNone, kNone,  kTime,  kStamp, kNone},
    /* Stamp */ {kNone, kStamp, kStamp, kNone, kNone, kNone, kNone, kStamp, kStamp, kStamp, kNone},
    /* Span  */ {kNone, kNone,  kNone,  kNone, kNone, kNone, kNone, kNone,  kNone,  kNone,  kSpan},
};
// clang-format on

XeDataType FoldType(XeDataType soFar, XeDataType operand) {
  const auto row = std::ranges::find(kFoldOrder, soFar);
  const auto column = std::ranges::find(kFoldOrder, operand);
  const bool known = row != std::end(kFoldOrder) && column != std::end(kFoldOrder);
  const XeDataType folded =
      known ? kFold[row - std::begin(kFoldOrder)][column - std::begin(kFoldOrder)] : kNone;
  if (folded == kNone) {
    RExpression::throwExecutionError(kTypeNotSupported, L"Binary Logical", soFar, operand);
  }
  return folded;
}

struct ConversionRow {
  XeDataType from;
  XeDataType to;
  RExpression* (*make)(RExpression* operand, XeDataType to, uint32 length);
};

template <class Conversion>
constexpr ConversionRow ConvertBy(XeDataType from, XeDataType to) {
  return {from, to, [](RExpression* operand, XeDataType type, uint32 length) -> RExpression* {
            return new Conversion(operand, type, length);
          }};
}

/// Every way from an operand's type to a different common type that folding can produce.
constexpr ConversionRow kConversions[] = {
    ConvertBy<ConvertBittoInt32>(kBit, kI4),
    ConvertBy<ConvertBittoUInt32>(kBit, kU4),
    ConvertBy<ConvertBittoFloat64>(kBit, kF8),
    ConvertBy<ConvertBittoNumber>(kBit, kNum),
    ConvertBy<ConvertInt32toUInt32>(kI4, kU4),
    ConvertBy<ConvertInt32toFloat64>(kI4, kF8),
    ConvertBy<ConvertInt32toNumber>(kI4, kNum),
    ConvertBy<ConvertUInt32toFloat64>(kU4, kF8),
    ConvertBy<ConvertUInt32toNumber>(kU4, kNum),
    ConvertBy<ConvertNumbertoFloat64>(kNum, kF8),
    ConvertBy<ConvertXeChartoLongVarXeChar>(kChar, kLong),
    ConvertBy<ConvertXeChartoXeDate>(kChar, kDay),
    ConvertBy<ConvertXeChartoXeTime>(kChar, kTime),
    ConvertBy<ConvertXeChartoXeDateTime>(kChar, kStamp),
    ConvertBy<ConvertXeLongVarChartoXeDate>(kLong, kDay),
    ConvertBy<ConvertXeLongVarChartoXeTime>(kLong, kTime),
    ConvertBy<ConvertXeLongVarChartoXeDateTime>(kLong, kStamp),
    ConvertBy<ConvertXeDatetoXeDateTime>(kDay, kStamp),
    ConvertBy<ConvertXeTimetoXeDateTime>(kTime, kStamp),
};

/// The constant that a conversion of a text literal gives, or null for a text that does not read.
template <class TypedConstant, class Value>
RExpression* ReadLiteral(RExpression& conversion) {
  try {
    Value value;
    return conversion.Eval(&value) == kTrue ? new TypedConstant(value) : nullptr;
  } catch (const ErrorMessage&) {
    return nullptr;
  }
}

/// Replaces the conversion of a text literal into a day or time by a constant, so that the text is
/// read once. One that does not read is left: it is an error of the row that needs it.
void FoldLiteral(RExpression*& slot, XeDataType to) {
  if (slot->GetIthOperand(0)->GetExpressionType() != kConstantExpression) return;
  RExpression* constant = nullptr;
  if (to == XeDateData) constant = ReadLiteral<ConstantDate, XeDate>(*slot);
  if (to == XeTimeData) constant = ReadLiteral<ConstantTime, XeTime>(*slot);
  if (to == XeDateTimeData) constant = ReadLiteral<ConstantDateTime, XeDateTime>(*slot);
  if (constant == nullptr) return;
  constant->SetSourcePosition(slot->GetSourcePosition());
  delete slot;
  slot = constant;
}

void ConvertOperand(RExpression*& slot, XeDataType to, uint32 length) {
  const XeDataType from = slot->GetResultDataType();
  if (from == to) return;
  for (const ConversionRow& row : kConversions) {
    if (row.from == from && row.to == to) {
      slot = row.make(slot, to, length);
      if (SUXeDataTypeUtility::IsXeTextType(from)) FoldLiteral(slot, to);
      return;
    }
  }
  XeLogicError("a folded type that no conversion yields");
}

}  // namespace

Between::Between(RExpression* compare, RExpression* low, RExpression* high)
    : RExpression(3), compareOp_(compare), lowOp_(low), highOp_(high) {}

Between::~Between() {
  delete compareOp_;
  delete lowOp_;
  delete highOp_;
}

RExpression*& Between::Slot(int index) {
  switch (index) {
    case 0:
      return compareOp_;
    case 1:
      return lowOp_;
    case 2:
      return highOp_;
    default:
      XeLogicError("Between has three operands");
  }
}

RExpression* Between::GetIthOperand(int index) { return Slot(index); }

void Between::SetIthOperand(int index, RExpression* operand) { Slot(index) = operand; }

RExprReturn Between::Eval(void*) { XeLogicError("a Between that was not bound is evaluated"); }

void Between::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  replacement = nullptr;
  uint32 lengths[3] = {};
  for (int i = 0; i < 3; ++i) {
    const OperandShape shape = BindOperand(Slot(i), stream, replacement, info, skipReBindChildren_);
    lengths[i] = shape.length;
    info.isNullable_ |= shape.nullable;
  }
  resultDataType_ = XeBoolean;
  info.objectLength_ = 1;
  info.fieldName_ = XeRecordMetaData::exprFieldName_;

  XeDataType common = compareOp_->GetResultDataType();
  for (RExpression** slot : {&lowOp_, &highOp_}) {
    if (RExpression* constant = BinaryOperator::ConstStringToTypedConst(*slot, common)) {
      delete *slot;
      *slot = constant;
    }
    common = FoldType(common, (*slot)->GetResultDataType());
  }
  for (int i = 0; i < 3; ++i) ConvertOperand(Slot(i), common, lengths[i]);

  const TypedVariant* variant = FindVariant(kBetweenVariants, common);
  if (variant == nullptr) throwExecutionError(kTypeNotComparable, L"Between", common, XeUnknown);
  ReplaceBy(*this, variant->make(), XeBoolean, replacement);
}

}  // namespace sqxer
