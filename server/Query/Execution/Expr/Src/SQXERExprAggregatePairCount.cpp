#include "SQXERExprAggregatePairCount.h"

namespace sqxer {
namespace {

class PairCountState {
 public:
  void Load(const uint8* state) { count_ = LoadValue<uint32>(state); }
  void Add(float64, float64) { ++count_; }
  void Store(uint8* state) const { StoreValue(state, count_); }

 private:
  uint32 count_ = 0;
};

}  // namespace

void PairCount::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  PairAggregate::Bind(input, result, info);
  resultDataType_ = XeUInt4Data;
  DescribeResult(info, resultDataType_, 0, false);
}

void PairCount::SetTargetDescriptor(XeRecordMetaData& target, unsigned short fieldIndex) {
  PlaceFirstResult(target, fieldIndex, XeUInt4Data);
}

RExprReturn PairCount::Compute(unsigned char* record, unsigned int) {
  count_ += !IsXNull(record) && !IsYNull(record);
  return kTrue;
}

void PairCount::Output(unsigned char* record) {
  OutputNull(record, false);
  StoreValue(record + targetOffset_, count_);
}

uint32 PairCount::TransferState(StateTransfer transfer, uint8* state) {
  return TransferFields(transfer, state, count_);
}

void PairCount::FoldBatch(const BatchFold& fold) { FoldPairs(fold, PairCountState()); }

void PairCount::MergeState(uint8* state, const uint8* later) {
  StoreValue(state, LoadValue<uint32>(state) + LoadValue<uint32>(later));
}

}  // namespace sqxer
