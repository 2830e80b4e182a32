#pragma once

#include "SQXERBatchFold.h"
#include "SQXERExprAggregateAvg.h"
#include "SQXERExprAggregateSum.h"
#include "SQXEROpsInterval.h"

namespace sqxer {

/// Intervals added up, part by part, in more room than their parts take: sums cannot fail on their
/// way, and their order does not matter.
struct IntervalTotal {
  int64 months = 0;
  int64 days = 0;
  int128 microseconds = 0;
  uint32 count = 0;

  static constexpr uint32 kStateBytes =
      sizeof months + sizeof days + sizeof microseconds + sizeof count;

  void Add(const XeInterval& value) {
    months += value.months;
    days += value.days;
    microseconds += value.microseconds;
    ++count;
  }
  void Merge(const IntervalTotal& other) {
    months += other.months;
    days += other.days;
    microseconds += other.microseconds;
    count += other.count;
  }
  /// Error 59050 where the sum is none.
  XeInterval GetSum() const;
  void Load(const uint8* state);
  void Store(uint8* state) const;
};

/// SUM and AVG over intervals. Error 59050 from Finalize for a sum beyond intervals; AVG divides it
/// as intervals are divided. DISTINCT is judged as intervals compare.
template <class Generic>
class SQXEREXPR_API IntervalAggregate : public Generic {
 public:
  /// Takes over the columns and binds to the layout; `flags` are those of Generic.
  template <class... Flags>
  IntervalAggregate(const XeRecordMetaData& input, AggregateColumnVectors& columns, Flags... flags)
      : Generic(columns.aggregate_.release(), columns.controlBreak_.release(),
                columns.distinctBreak_.release(), flags...) {
    this->BindSource(input);
    this->resultDataType_ = XeIntervalData;
  }

  void BindDistinctMetaData() override {
    if (this->isDistinctHandled_) this->DescribeDistinctValue(XeIntervalData, sizeof(XeInterval));
  }
  void Initialize(bool restart) final;
  RExprReturn Compute(unsigned char* record, unsigned int size) final;
  RExprReturn Finalize() final;
  void Output(unsigned char* record) final;
  uint32 TransferState(StateTransfer transfer, uint8* state) final;
  bool HoldTogether(HeldMemory& memory) final {
    return this->isDistinctHandled_ && this->HoldDistinctTogether(memory);
  }
  bool TakesBatches() final { return !this->isDistinctHandled_; }
  bool AdmitsInput(const BatchVector*, const BatchRows&) final { return true; }
  void FoldBatch(const BatchFold& fold) final;
  Aggregate::StateMerge GetStateMerge() final {
    return this->isDistinctHandled_ ? Aggregate::StateMerge::kNone : Aggregate::StateMerge::kAlways;
  }
  void MergeState(uint8* state, const uint8* later) final;

 protected:
  virtual XeInterval GetResult() const = 0;

  IntervalTotal total_;
  XeInterval result_;
};

extern template class IntervalAggregate<Sum>;
extern template class IntervalAggregate<Avg>;

class SQXEREXPR_API SumInterval final : public IntervalAggregate<Sum> {
 public:
  using IntervalAggregate::IntervalAggregate;

 protected:
  XeInterval GetResult() const override { return total_.GetSum(); }
};

class SQXEREXPR_API AvgInterval final : public IntervalAggregate<Avg> {
 public:
  using IntervalAggregate::IntervalAggregate;

 protected:
  XeInterval GetResult() const override {
    return DivideIntervalOp::Apply(total_.GetSum(), total_.count);
  }
};

}  // namespace sqxer
