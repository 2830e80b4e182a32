#pragma once

#include "SQXERBatch.h"
#include "SQXERExprAggregateBase.h"

namespace sqxer {

/// MAX_BY and MIN_BY: the value of x, the first column, in the row in which y, the second one, is
/// greatest or smallest; of several such rows in the first. A row with a NULL in x or y does not
/// count; NULL when none does. x of any type, y of every type that has an order (else 59001).
///
/// SetSourceOffset moves x; y stays where it is.
class SQXEREXPR_API ArgExtreme : public SingleResultAggregate {
 public:
  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  void Output(unsigned char* record) override;
  uint32 TransferState(StateTransfer transfer, uint8* state) override;
  bool TakesBatches() override;
  bool AdmitsPair(const BatchVector& x, const BatchVector& y, const BatchRows& rows) override;
  void FoldBatch(const BatchFold& fold) override;
  StateMerge GetStateMerge() override { return StateMerge::kAlways; }
  void MergeState(uint8* state, const uint8* later) override;

 protected:
  /// `wanted`: how a y compares (-1 or 1) with the one before it that it takes the place of.
  ArgExtreme(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
             UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate, int wanted);
  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;

 private:
  bool Replaces(const uint8* y) const {
    return nullIndicator_ || key_.CompareValues(y, y_.data()) == wanted_;
  }
  /// The first row, and its index, of those whose y none of the fold is wanted before. False, and
  /// `hasPair` true, where that takes more than comparing integers.
  bool FindBest(const BatchFold& pairs, uint32& index, uint32& row, bool& hasPair) const;
  template <class StoreX, class StoreY>
  void Fold(const BatchFold& fold, StoreX storeX, StoreY storeY);

  const int wanted_;
  KeyDesc key_;
  XeDataType yType_ = XeUnknown;
  uint32 yOffset_ = 0;
  uint32 yNullOffset_ = 0;
  uint32 yBytes_ = 0;
  uint32 yUnit_ = 0;
  bool isYNarrow_ = false;
  alignas(16) XeAutoBuffer<uint8, 32> x_;
  alignas(16) XeAutoBuffer<uint8, 32> y_;
  /// The y of a row of a batch, or of another state.
  alignas(16) XeAutoBuffer<uint8, 32> other_;
  /// No row counted yet.
  bool nullIndicator_ = true;

  /// Of the batch that was admitted.
  BatchVector xs_;
  BatchVector ys_;
  BatchVector both_;
  uint64 validity_[kMostBatchWords];
};

class SQXEREXPR_API MaxBy final : public ArgExtreme {
 public:
  MaxBy(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
        UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate)
      : ArgExtreme(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                   isCumulativeAggregate, 1) {}
};

class SQXEREXPR_API MinBy final : public ArgExtreme {
 public:
  MinBy(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
        UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate)
      : ArgExtreme(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                   isCumulativeAggregate, -1) {}
};

}  // namespace sqxer
