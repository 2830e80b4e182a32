#include "SQXERExprIn.h"

#include <algorithm>

#include "SQXERBatchTextCompare.h"
#include "SQXERExprConvert.h"
#include "SQXEROperandBinding.h"
#include "SQXERTypedVariant.h"

namespace sqxer {

In::In(RExpression* operand, std::vector<RExpression*> constants, std::vector<RExpression*> others,
       bool isNegated)
    : RExpression(OperandCount(1 + constants.size() + others.size())),
      operand_(operand),
      constExprInList_(std::move(constants)),
      otherExprInList_(std::move(others)),
      bIsNegated_(isNegated) {}

In::~In() {
  ForEachOperand([](RExpression* operand) { delete operand; });
}

template <class Use>
void In::ForEachOperand(Use use) {
  use(operand_);
  for (RExpression*& constant : constExprInList_) use(constant);
  for (RExpression*& other : otherExprInList_) use(other);
}

RExpression*& In::Slot(int index) {
  if (index == 0) return operand_;
  // A negative index is beyond every list.
  std::size_t member = static_cast<std::size_t>(index) - 1;
  for (std::vector<RExpression*>* list : {&constExprInList_, &otherExprInList_}) {
    if (member < list->size()) return (*list)[member];
    member -= list->size();
  }
  XeLogicError("operand index of an IN list");
}

RExpression* In::GetIthOperand(int index) { return Slot(index); }

void In::SetIthOperand(int index, RExpression* operand) { Slot(index) = operand; }

RExprReturn In::Eval(void*) { XeLogicError("an IN that was not bound is evaluated"); }

BatchCost In::GetBatchCost() {
  return otherExprInList_.empty() ? BatchCost::kSafe | CostOfAll(*operand_) : BatchCost::kDear;
}

template <class Variant>
RExpression* In::MakeVariant() {
  // The node takes memory before its operands are given up, and owns them before it evaluates the
  // constants: they have one owner throughout.
  return new Variant(std::exchange(operand_, nullptr), std::exchange(constExprInList_, {}),
                     std::exchange(otherExprInList_, {}), bIsNegated_);
}

void In::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  replacement = nullptr;
  uint32 length = 0;
  MetaDataInfo scratch;
  ForEachOperand([&](RExpression*& operand) {
    const OperandShape shape =
        BindOperand(operand, stream, replacement, scratch, info, skipReBindChildren_);
    info.isNullable_ |= shape.nullable;
    length = std::max(length, shape.length);
  });
  info.objectLength_ = 1;
  info.fieldName_ = XeRecordMetaData::exprFieldName_;

  // Types that do not meet are left to the conversions, whose error names them.
  XeDataType common = operand_->GetResultDataType();
  ForEachOperand([&](RExpression* operand) {
    common = SUXeDataTypeUtility::GetUnionDataType(common, operand->GetResultDataType());
  });
  ForEachOperand([&](RExpression*& operand) {
    operand =
        Convert::AddConversionExpression(common, operand->GetResultDataType(), operand, length);
  });

  struct Row {
    XeDataType type;
    RExpression* (In::*make)();
  };
  static constexpr Row kVariantOfType[] = {
      {XeCharData, &In::MakeVariant<InChar>},
      {XeLongVarCharData, &In::MakeVariant<InLongVarChar>},
      {XeInt4Data, &In::MakeVariant<InInt32>},
      {XeUInt4Data, &In::MakeVariant<InUInt32>},
      {XeDoubleData, &In::MakeVariant<InFloat64>},
      {XeNumericData, &In::MakeVariant<InNumber>},
      {XeDateData, &In::MakeVariant<InDateTimeDataType<XeDate>>},
      {XeTimeData, &In::MakeVariant<InDateTimeDataType<XeTime>>},
      {XeDateTimeData, &In::MakeVariant<InDateTimeDataType<XeDateTime>>},
      {XeIntervalData, &In::MakeVariant<InDateTimeDataType<XeInterval>>},
  };
  const auto row = std::ranges::find(kVariantOfType, common, &Row::type);
  if (row == std::end(kVariantOfType)) XeLogicError("values of this type are not looked up");
  replacement = (this->*row->make)();
  replacement->SetResultDataType(XeBoolean);
}

bool InLongVarChar::AreAllOthers(const BatchVector& texts, const BatchRows& rows) {
  if (!compareFunc_.IsByCodePoint()) return false;
  const auto known = KnownTextRows(texts, rows);
  BatchBuffers& buffers = GetBatchBuffers();
  return known && !longVarCharSet.HasWithin(buffers.Widen(texts, known->least, 0),
                                            buffers.Widen(texts, known->greatest, 1));
}

bool InLongVarChar::EvalBatch(const BatchRows& rows, BatchVector& out) {
  return FindInBatch(rows, out,
                     [this](const BatchVector& texts, const BatchRows& wanted, uint8* values) {
                       if (AreAllOthers(texts, wanted)) {
                         std::fill_n(values, wanted.count, static_cast<uint8>(bIsNegated_));
                         return;
                       }
                       wanted.ForEach([&](uint32 row) {
                         if (texts.IsNull(row)) return;
                         const RefLongVarChar text = GetBatchBuffers().Widen(texts, row, 0);
                         values[row] = longVarCharSet.Contains(text) != bIsNegated_;
                       });
                     });
}

}  // namespace sqxer
