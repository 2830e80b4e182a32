#include "SQXERExprAggregateRank.h"

#include <utility>

#include "SQXERAggregateVariant.h"

namespace sqxer {

Rank::Rank(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
           UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
           std::vector<SortOrder_t> sortOrders, bool isNullRankNull, bool filtersNulls)
    : WorkRowAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                       isCumulativeAggregate, std::move(sortOrders)),
      isNullRankNull_(isNullRankNull),
      filtersNulls_(filtersNulls) {}

void Rank::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  valueColumns_ = aggregateColumns_->size();
  BindWorkRow(input, L"Rank", rankOffset_, isNullRankNull_ ? &rankNullOffset_ : nullptr);
  for (auto* storage : {&tempRowStorage_, &nextTempRowStorage_, &previousRowStorage_}) {
    storage->Reserve(tempRowSize_);
  }
  initialTempRow_ = tempRow_ = tempRowStorage_.data();
  nextTempRow_ = nextTempRowStorage_.data();
  previousRow_ = previousRowStorage_.data();
  MakeSorters();
  resultDataType_ = XeUInt4Data;
  DescribeResult(info, XeUInt4Data, 0, isNullRankNull_);
}

void Rank::MakeSorters() {
  rankOrderSorter_ = std::make_unique<SqrtSorter>(tempRowSize_, opTimer_);
  rankOrderSorter_->SetRowIdSorterMetadata(*placeKeySet_, tempRowMetaData_);
  // What comes back to input order is a row's head: its id and its rank.
  XeRecordMetaData head;
  head.SetFieldCount(kValueField);
  for (int field = 0; field < kValueField; ++field) {
    head.SetFieldDescriptor(field, tempRowMetaData_.GetFieldDescriptor(field));
  }
  initialOrderSorter_ = std::make_unique<SqrtSorter>(head.GetBinaryRecordSize(), opTimer_);
  initialOrderSorter_->SetRowIdSorterMetadata(*rowIdKeySet_, head);
}

void Rank::Initialize(bool) {
  count_ = 0;
  outputPosition_ = 0;
  run_ = TieRun(1);
  nullRank_ = 0;
  if (takesRowsInOrder_) return;
  // An odd number of outputs has exchanged them.
  if (tempRow_ != initialTempRow_) std::swap(tempRow_, nextTempRow_);
  if (rankOrderSorter_ == nullptr) {
    XeAssert::handleAssert(__FILE__, __LINE__, "rankOrderSorter_.Get() != NULL");
  }
  rankOrderSorter_->BeginInput();
  initialOrderSorter_->BeginInput();
}

RExprReturn Rank::Compute(unsigned char* record, unsigned int) {
  if (takesRowsInOrder_) {
    std::swap(tempRow_, previousRow_);
    fieldDataBinder_.MoveInputDataToFieldDataBinder(record, count_++, tempRow_);
    RankRow(tempRow_, IsRowNull(tempRow_), count_ > 1 && IsTie(tempRow_, previousRow_));
    return kTrue;
  }
  fieldDataBinder_.MoveInputDataToFieldDataBinder(record, count_++, tempRow_);
  rankOrderSorter_->SortRecord(tempRow_);
  return kTrue;
}

void Rank::RankRow(uint8* row, bool isNull, bool isTie) {
  uint32 rank;
  if (!isNull) {
    rank = run_.Next(isTie);
  } else {
    if (nullRank_ == 0) nullRank_ = run_.AfterTie();
    rank = nullRank_;
  }
  StoreValue(row + rankOffset_, rank);
  if (rankNullOffset_ != 0) row[rankNullOffset_] = isNull ? 1 : 0;
}

RExprReturn Rank::Finalize() {
  if (takesRowsInOrder_) return kTrue;
  rankOrderSorter_->EndInput();
  uint8* row = tempRow_;
  uint8* previous = previousRow_;
  for (uint32 i = 0; i < count_; ++i) {
    rankOrderSorter_->GetRecord(row);
    RankRow(row, IsRowNull(row), i > 0 && IsTie(row, previous));
    initialOrderSorter_->SortRecord(row);
    std::swap(row, previous);
  }
  initialOrderSorter_->EndInput();
  ReadAhead();
  return kTrue;
}

void Rank::ReadAhead() {
  bHasMoreRecords_ = initialOrderSorter_->GetRecord(nextTempRow_);
  if (bHasMoreRecords_) nextBreakStart_ = LoadValue<uint32>(nextTempRow_ + rowIdOffset_);
}

void Rank::Output(unsigned char* record) {
  if (takesRowsInOrder_) return WriteRank(record);
  if (outputPosition_ == 0 && !bHasMoreRecords_) {
    XeAssert::handleAssert(__FILE__, __LINE__, "outputPosition_>0 || bHasMoreRecords_");
  }
  if (bHasMoreRecords_ && outputPosition_ == nextBreakStart_) {
    std::swap(tempRow_, nextTempRow_);
    ReadAhead();
  }
  WriteRank(record);
  ++outputPosition_;
}

void Rank::WriteRank(uint8* record) {
  StoreValue(record + targetOffset_, LoadValue<uint32>(tempRow_ + rankOffset_));
  OutputNull(record, rankNullOffset_ != 0 && tempRow_[rankNullOffset_] != 0);
}

std::vector<Rank::Key> Rank::GetRankingOrder() const {
  std::vector<Key> order;
  if (isNullRankNull_ || !distinctBreakColumns_->empty()) return order;
  for (const uint16 column : *aggregateColumns_) {
    order.push_back({column, GetSortOrder(order.size())});
  }
  return order;
}

}  // namespace sqxer
