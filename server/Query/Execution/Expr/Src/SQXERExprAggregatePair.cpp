#include "SQXERExprAggregatePair.h"

namespace sqxer {

PairAggregate::PairAggregate(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                             UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate)
    : Aggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns, isCumulativeAggregate,
                false) {}

void PairAggregate::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  XE_ASSERT(aggregateColumns_->size() > 1);
  const XeString operatorName = NodeName(*this);
  x_.Bind(GetSourceField(input), operatorName);
  BindSource(input);
  const XeFieldDescriptor& y = input.GetPlacedField((*aggregateColumns_)[1]);
  y_.Bind(y, operatorName);
  yType_ = y.GetDataType();
  yOffset_ = y.GetDataOffset();
  yNullOffset_ = y.GetNullOffset();
  resultDataType_ = XeDoubleData;
  DescribeResult(info, resultDataType_, 0, true);
}

void PairAggregate::SetTargetDescriptor(XeRecordMetaData& target, unsigned short fieldIndex) {
  PlaceFirstResult(target, fieldIndex, XeDoubleData);
}

void PairAggregate::Initialize(bool) {
  count_ = 0;
  nullIndicator_ = true;
}

}  // namespace sqxer
