#pragma once

#include "SQXERAggregateVariant.h"
#include "SQXERBatchFold.h"

namespace sqxer {

/// AVG: the mean of the non-null values in the type of the sum, NULL when there is none. Takes what
/// Sum takes. The running sum of integers wraps without an error, unlike that of Sum: callers rely
/// on AVG never raising an overflow.
class SQXEREXPR_API Avg : public SingleResultAggregate {
 public:
  Avg(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
      UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate);

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;

 protected:
  bool nullIndicator_ = true;
  uint32 count_ = 0;
  InputConverter converter_;
};

/// Error 59008 from Finalize when values were seen and the count is 0.
template <AccumulatorValue T>
class SQXEREXPR_API AvgOf : public NumericAggregate<Avg, T> {
 public:
  using NumericAggregate<Avg, T>::NumericAggregate;

  void Initialize(bool restart) final;
  RExprReturn Compute(unsigned char* record, unsigned int size) final;
  RExprReturn Finalize() final;
  void Output(unsigned char* record) final;
  uint32 TransferState(StateTransfer transfer, uint8* state) final;
  bool TakesBatches() final;
  bool AdmitsInput(const BatchVector* input, const BatchRows& rows) final;
  bool AdmitsStates(const BatchFold& fold) final;
  void FoldBatch(const BatchFold& fold) final;
  bool OutputState(uint8* state, unsigned char* record) final;
  /// As SumOf, but that integers wrap.
  Aggregate::StateMerge GetStateMerge() final {
    if constexpr (std::integral<T>) return Aggregate::StateMerge::kAlways;
    return std::floating_point<T> ? Aggregate::StateMerge::kNone : Aggregate::StateMerge::kOfFolds;
  }
  bool AdmitsMerge(const uint8* state, const uint8* later, uint32 stretches) final;
  void MergeState(uint8* state, const uint8* later) final;
  std::vector<XeDataType> GetStateTypes() const final { return StateTypesOf<T, uint32, uint8>(); }

 protected:
  T sum_{};
  T result_{};

 private:
  SumFold<T, true> fold_;
};

extern template class AvgOf<int32>;
extern template class AvgOf<uint32>;
extern template class AvgOf<float64>;
extern template class AvgOf<VelmarNumber>;

class SQXEREXPR_API AvgInt32 final : public AvgOf<int32> {
 public:
  using AvgOf::AvgOf;
};

class SQXEREXPR_API AvgUInt32 final : public AvgOf<uint32> {
 public:
  using AvgOf::AvgOf;
};

class SQXEREXPR_API AvgFloat64 final : public AvgOf<float64> {
 public:
  using AvgOf::AvgOf;
};

class SQXEREXPR_API AvgNumber final : public AvgOf<VelmarNumber> {
 public:
  using AvgOf::AvgOf;
};

/// AVG_ALL: four results in neighbouring target fields: the count (32-bit unsigned), the mean (in
/// the type of the sum), the standard error and the coefficient of variation (doubles).
class SQXEREXPR_API AvgAll : public Aggregate {
 public:
  AvgAll(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
         UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate);

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  void SetTargetDescriptor(XeRecordMetaData& target, unsigned short fieldIndex) override;
  unsigned int GetTargetFixedLenSize() override { return targetFixedLenSize_; }

 protected:
  uint32 countOffset_ = 0;
  uint32 countNullOffset_ = 0;
  uint32 averageOffset_ = 0;
  uint32 averageNullOffset_ = 0;
  InputConverter converter_;
  uint32 seOffset_ = 0;
  uint32 cofVariationOffset_ = 0;
  bool nullIndicator_ = true;
  uint32 count_ = 0;
  float64 se_ = 0;
  float64 cofVariation_ = 0;
};

/// Sums and squares of integers wrap. Two results are not what their names say, and callers rely on
/// both: what is squared is the running sum and not the value, and the coefficient of variation
/// equals the standard error. Output writes the three indicator bytes that follow one another from
/// the mean's on when no value was seen, and nothing else; else it clears four of them, so the
/// target layout places them side by side. Error 59008 as Avg.
template <AccumulatorValue T>
class SQXEREXPR_API AvgAllOf : public NumericAggregate<AvgAll, T> {
 public:
  using NumericAggregate<AvgAll, T>::NumericAggregate;

  void Initialize(bool restart) final;
  RExprReturn Compute(unsigned char* record, unsigned int size) final;
  RExprReturn Finalize() final;
  void Output(unsigned char* record) final;
  uint32 TransferState(StateTransfer transfer, uint8* state) final;
  bool TakesBatches() final;
  bool AdmitsInput(const BatchVector*, const BatchRows&) final { return true; }
  void FoldBatch(const BatchFold& fold) final;

 protected:
  T sum_{};
  T average_{};
  T squaresSum_{};
};

extern template class AvgAllOf<int32>;
extern template class AvgAllOf<uint32>;
extern template class AvgAllOf<float64>;
extern template class AvgAllOf<VelmarNumber>;

class SQXEREXPR_API AvgAllInt32 final : public AvgAllOf<int32> {
 public:
  using AvgAllOf::AvgAllOf;
};

class SQXEREXPR_API AvgAllUInt32 final : public AvgAllOf<uint32> {
 public:
  using AvgAllOf::AvgAllOf;
};

class SQXEREXPR_API AvgAllFloat64 final : public AvgAllOf<float64> {
 public:
  using AvgAllOf::AvgAllOf;
};

class SQXEREXPR_API AvgAllNumber final : public AvgAllOf<VelmarNumber> {
 public:
  using AvgAllOf::AvgAllOf;
};

}  // namespace sqxer
