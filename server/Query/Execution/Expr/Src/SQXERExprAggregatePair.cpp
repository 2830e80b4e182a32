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

bool PairAggregate::AdmitsPair(const BatchVector& x, const BatchVector& y, const BatchRows& rows) {
  const BatchVector* const xs = xColumn_.Read(x, rows);
  const BatchVector* const ys = yColumn_.Read(y, rows);
  if (xs == nullptr || ys == nullptr) return false;
  both_ = BatchVector();
  IntersectValidity(*xs, *ys, rows, validity_, both_);
  xs_ = xs->As<float64>();
  ys_ = ys->As<float64>();
  isXConstant_ = xs->isConstant;
  isYConstant_ = ys->isConstant;
  hasNulls_ = both_.validity != nullptr;
  return true;
}

void PairAggregate::Initialize(bool) {
  count_ = 0;
  nullIndicator_ = true;
}

}  // namespace sqxer
