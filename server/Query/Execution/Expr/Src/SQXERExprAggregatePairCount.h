#pragma once

#include "SQXERExprAggregatePair.h"

namespace sqxer {

/// REGR_COUNT: how many rows have both x and y, as a 32-bit unsigned number that is never NULL.
class SQXEREXPR_API PairCount final : public PairAggregate {
 public:
  using PairAggregate::PairAggregate;

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  void SetTargetDescriptor(XeRecordMetaData& target, unsigned short fieldIndex) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  RExprReturn Finalize() override { return kTrue; }
  void Output(unsigned char* record) override;
  uint32 TransferState(StateTransfer transfer, uint8* state) override;
  bool TakesBatches() override { return true; }
  void FoldBatch(const BatchFold& fold) override;
  StateMerge GetStateMerge() override { return StateMerge::kAlways; }
  void MergeState(uint8* state, const uint8* later) override;
  std::vector<XeDataType> GetStateTypes() const override { return StateTypesOf<uint32>(); }
};

}  // namespace sqxer
