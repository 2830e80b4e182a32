#pragma once

#include <limits>

#include "SQXERAggregateVariant.h"
#include "SQXERBatchNumbers.h"
#include "SQXERHeldNumbers.h"
#include "SQXERMovingValues.h"
#include "SQXEROpsSelection.h"
#include "SQXERSpilledNumbers.h"
#include "Utility/ArrayRowSet.h"
#include "Utility/XeFieldDataBinder.h"

namespace sqxer {

/// MEDIAN: the middle one of the non-null values as a double, the mean of the middle two when their
/// count is even, NULL when there is none. Takes what Sum takes; of intervals the result is one,
/// see QuantileInterval. In the order of values a NaN follows every number.
///
/// All values of the group are held in memory, 8 bytes each and 8 more in Finalize; they are not
/// sorted. Of a group that takes more of it than GroupMemory, or than the statement's budget
/// leaves, they are sorted in a temporary file. Of equal zeros those with a sign come first. Given
/// distinct break columns, a row that equals the last row taken in all of these columns does not
/// count: equal rows must be neighbours to count once.
class SQXEREXPR_API Median : public SingleResultAggregate {
 public:
  Median(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
         UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate);

  using Aggregate::Bind;
  /// Error 46030 also for a distinct break column outside the layout, 59001 for one without order.
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  /// With `restart` an open group goes on: its values stay.
  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  RExprReturn Finalize() override;
  void Output(unsigned char* record) override;
  /// Whatever was asked for: nobody else needs to remove duplicates.
  bool IsDistinctHandled() override { return true; }
  /// With another median or quantile of the same column.
  bool ShareHeld(Aggregate& holder) override;
  /// Not with distinct break columns. The values count with the owner, not with `memory`, whose
  /// limit tells when those of the only group are sorted in a file.
  bool HoldTogether(HeldMemory& memory) override;
  uint32 TransferState(StateTransfer transfer, uint8* state) override;
  /// Not with distinct break columns.
  bool HoldMovingRows() override;
  void Remove(unsigned char* record, unsigned int size) override;
  bool TakesBatches() override { return held_ != nullptr || holder_ != nullptr; }
  bool AdmitsInput(const BatchVector* input, const BatchRows& rows) override;
  void FoldBatch(const BatchFold& fold) override;
  StateMerge GetStateMerge() override { return StateMerge::kHeld; }
  bool AdmitsHeld(const Aggregate&) const override { return true; }
  void MergeHeld(std::span<const StatePair> states, Aggregate& later) override;

 protected:
  /// The same over intervals, which takes over the columns.
  virtual std::unique_ptr<Aggregate> MakeOverIntervals(const XeRecordMetaData& input,
                                                       AggregateColumnVectors& columns) const;
  /// The place of the result among so many values, at least one, and the result between two of
  /// them.
  virtual QuantilePlace FindPlace(std::size_t count) const {
    return {(count - 1) / 2, count % 2 == 0 ? 0.5 : 0};
  }
  virtual float64 Between(float64 lower, float64 upper, float64 /*share*/) const {
    // Beyond doubles the sum of two great values is infinite, and so is the result.
    return (lower + upper) * 0.5;
  }

  bool nullIndicator_ = true;
  Float64Input input_;
  /// Null outside a group.
  std::unique_ptr<ArrayRowSet> arrayRowSet_;
  uint32 count_ = 0;
  /// Addresses of the values, only within Finalize.
  uint8** rowArray_ = nullptr;
  float64 result_ = 0;
  const XeRecordMetaData* sourceRecordMetaData_ = nullptr;
  /// The columns by which rows are duplicates.
  UInt16Vector sourceMoveFields_;
  XeRecordMetaData tempRowMetaData_;
  std::unique_ptr<KeySet> aggrKeySet_;
  XeAutoBuffer<uint8, 1> prevRow_;
  XeAutoBuffer<uint8, 1> currRow_;

 private:
  void BindKeyRow();
  /// Outside a group there is no room for values: a broken invariant.
  void RequireRows() const;
  /// Builds the row's key; false when it is that of the last row taken, which it becomes otherwise.
  bool TakeKey(const unsigned char* record);

  float64 ValueAt(uint32 place) const { return LoadValue<float64>(rowArray_[place]); }
  /// The value of rank k (from 1) among all; a zero with the sign of that rank.
  float64 ExactZero(float64 value, uint32 k) const;
  /// The value of rank k (from 1) among the places lo to hi, both included. It then stands at its
  /// place in the order, with none before it that follows it and none behind it that precedes it.
  float64 RandomizedSelect(uint32 lo, uint32 hi, uint32 k);
  /// Returns q, lo <= q < hi: no value of lo to q follows one of q + 1 to hi.
  uint32 RandomizedPartition(uint32 lo, uint32 hi);
  uint32 Partition(uint32 lo, uint32 hi);
  void SwapInVirTable(uint32 a, uint32 b) { std::swap(rowArray_[a], rowArray_[b]); }

  /// What the values of a group may take.
  uint64 GetMostBytes() const;
  /// Has the values of the open group sorted in a file, as those to come.
  void Spill();
  /// The same of the only group whose values are held together, if they are too many.
  void SpillHeldIfLarge(HeldNumbers::List& list);
  void SelectSpilled(SpilledNumbers& numbers);

  /// Fills the key row.
  XeFieldDataBinder keyBinder_;

  /// The values of a group from which some go again.
  std::unique_ptr<MovingRanks> moving_;
  /// Whose values this one goes by; null where it has its own.
  Median* holder_ = nullptr;
  /// The values of all groups, when they are held together, and those of this one.
  std::unique_ptr<HeldNumbers> held_;
  HeldNumbers::List list_;
  HeldNumbers::Numbers values_;
  /// What the values of the only group may take that are held together; any number of several.
  uint64 mostHeldBytes_ = std::numeric_limits<uint64>::max();
  /// The values of a group that are too many for memory, but for those in the list of a group whose
  /// values are held together.
  std::unique_ptr<SpilledNumbers> spilled_;
  SettingsRef settings_;
  RankSelection selection_;
  Float64Column column_;
  /// The batch that was admitted.
  const BatchVector* numbers_ = nullptr;
};

/// PERCENTILE_CONT and PERCENTILE_DISC, and the median in all else: the value at a fraction of the
/// way from the first to the last, between two of them as on a line; or the first of which at least
/// that fraction of the values is no greater.
class SQXEREXPR_API Quantile final : public Median {
 public:
  /// `fraction` is from 0 to 1; NaN makes the result NULL.
  Quantile(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
           UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate, float64 fraction,
           bool isContinuous)
      : Median(aggregateColumns, controlBreakColumns, distinctBreakColumns, isCumulativeAggregate),
        fraction_(fraction),
        isContinuous_(isContinuous) {}

  RExprReturn Finalize() override;

 protected:
  std::unique_ptr<Aggregate> MakeOverIntervals(const XeRecordMetaData& input,
                                               AggregateColumnVectors& columns) const override;
  QuantilePlace FindPlace(std::size_t count) const override;
  float64 Between(float64 lower, float64 upper, float64 share) const override {
    return lower + (upper - lower) * share;
  }

 private:
  const float64 fraction_;
  const bool isContinuous_;
};

}  // namespace sqxer
