#pragma once

#include "SQXERExprAggregateBase.h"

namespace sqxer {

/// What FIRST and LAST share: one input value of any type, kept as it is stored. A target field
/// shorter than the value receives what fits.
class SQXEREXPR_API KeptValueAggregate : public SingleResultAggregate {
 public:
  KeptValueAggregate(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                     UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate);

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  void Initialize(bool restart) override;
  void Output(unsigned char* record) override;
  uint32 TransferState(StateTransfer transfer, uint8* state) override;
  bool TakesBatches() override;
  bool AdmitsInput(const BatchVector*, const BatchRows&) override { return true; }
  StateMerge GetStateMerge() override { return StateMerge::kAlways; }

 protected:
  /// Calls use(store) with what writes a batch's values as they are stored: store(row, target).
  template <class Use>
  void WithStore(const BatchVector& input, Use&& use) const;
  void Keep(const unsigned char* record);

  uint32 dataSize_ = 0;
  /// Values of fixed width stay off the heap.
  alignas(16) XeAutoBuffer<uint8, 32> tempRow_;
  /// Nothing is kept.
  bool nullIndicator_ = true;
};

/// FIRST: the first of the group's non-null values, NULL when there is none.
class SQXEREXPR_API First : public KeptValueAggregate {
 public:
  using KeptValueAggregate::KeptValueAggregate;

  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  uint32 TransferState(StateTransfer transfer, uint8* state) override;
  void FoldBatch(const BatchFold& fold) override;
  void MergeState(uint8* state, const uint8* later) override;

 protected:
  bool isThisFirst_ = true;
};

/// LAST: the last of the group's non-null values, NULL when there is none.
class SQXEREXPR_API Last : public KeptValueAggregate {
 public:
  using KeptValueAggregate::KeptValueAggregate;

  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  void FoldBatch(const BatchFold& fold) override;
  void MergeState(uint8* state, const uint8* later) override;
};

}  // namespace sqxer
