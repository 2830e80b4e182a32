#pragma once

#include "SQXERAggregateVariant.h"
#include "SQXERBatchFold.h"

namespace sqxer {

/// SUM: the sum of the non-null values, NULL when there is none. Takes the integers of 8 to 32
/// bits, float, double, numeric and intervals; DISTINCT sums every value once.
class SQXEREXPR_API Sum : public SingleResultAggregate {
 public:
  Sum(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
      UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate, bool isDistinctHandled);

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  Aggregate* GetSourceAggregator() override;
  Aggregate* GetPartialsAggregator(UInt16Vector* partialColumns) override;

 protected:
  /// No value seen yet.
  bool nullIndicator_ = true;
  InputConverter converter_;
};

/// Every addition is checked: error 59161 (class name, limit) when the sum leaves the type. The
/// decimal type raises its own.
template <AccumulatorValue T>
class SQXEREXPR_API SumOf : public NumericAggregate<Sum, T> {
 public:
  using NumericAggregate<Sum, T>::NumericAggregate;

  void Initialize(bool restart) final;
  RExprReturn Compute(unsigned char* record, unsigned int size) final;
  RExprReturn Finalize() final;
  void Output(unsigned char* record) final;
  uint32 TransferState(StateTransfer transfer, uint8* state) final;
  bool HoldTogether(HeldMemory& memory) final;
  bool TakesBatches() final;
  bool AdmitsInput(const BatchVector* input, const BatchRows& rows) final;
  bool AdmitsStates(const BatchFold& fold) final;
  void FoldBatch(const BatchFold& fold) final;
  bool OutputState(uint8* state, unsigned char* record) final;
  /// Sums of doubles depend on the order in which values are added.
  Aggregate::StateMerge GetStateMerge() final {
    if (this->isDistinctHandled_) return Aggregate::StateMerge::kHeld;
    return std::floating_point<T> ? Aggregate::StateMerge::kNone : Aggregate::StateMerge::kOfFolds;
  }
  void ShareStates(uint32 stretches) final { fold_.SetParts(stretches); }
  bool AdmitsMerge(const uint8* state, const uint8* later, uint32 stretches) final;
  void MergeState(uint8* state, const uint8* later) final;
  /// Sums of some integers can leave the type where that of all of them does not.
  bool CanJoinStates() final { return !this->isDistinctHandled_ && !std::integral<T>; }

 private:
  T result_{};
  SumFold<T, false> fold_;
};

extern template class SumOf<int32>;
extern template class SumOf<uint32>;
extern template class SumOf<float64>;
extern template class SumOf<VelmarNumber>;

class SQXEREXPR_API SumInt32 final : public SumOf<int32> {
 public:
  using SumOf::SumOf;
};

class SQXEREXPR_API SumUInt32 final : public SumOf<uint32> {
 public:
  using SumOf::SumOf;
};

class SQXEREXPR_API SumFloat64 final : public SumOf<float64> {
 public:
  using SumOf::SumOf;
};

class SQXEREXPR_API SumNumber final : public SumOf<VelmarNumber> {
 public:
  using SumOf::SumOf;
};

}  // namespace sqxer
