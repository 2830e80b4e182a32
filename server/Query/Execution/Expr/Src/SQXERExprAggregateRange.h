#pragma once

#include "SQXERAggregateVariant.h"

namespace sqxer {

/// RANGE: two results in neighbouring target fields, the maximum and the minimum of the non-null
/// values, both NULL when there is none. Takes what Sum takes.
class SQXEREXPR_API Range : public Aggregate {
 public:
  Range(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
        UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate);

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  void SetTargetDescriptor(XeRecordMetaData& target, unsigned short fieldIndex) override;
  RExprReturn Finalize() override { return kTrue; }
  unsigned int GetTargetFixedLenSize() override { return targetFixedLenSize_; }

 protected:
  uint32 maxOffset_ = 0;
  uint32 maxNullOffset_ = 0;
  uint32 minOffset_ = 0;
  InputConverter converter_;
  bool nullIndicator_ = true;
};

/// Output writes the minimum's indicator behind the maximum's, so the target layout places them
/// side by side. A NaN is neither.
template <AccumulatorValue T>
class SQXEREXPR_API RangeOf : public NumericAggregate<Range, T> {
 public:
  using NumericAggregate<Range, T>::NumericAggregate;

  void Initialize(bool restart) final;
  RExprReturn Compute(unsigned char* record, unsigned int size) final;
  void Output(unsigned char* record) final;
  uint32 TransferState(StateTransfer transfer, uint8* state) final;
  bool TakesBatches() final { return this->converter_.fieldConvert_ == nullptr; }
  bool AdmitsInput(const BatchVector*, const BatchRows&) final { return true; }
  void FoldBatch(const BatchFold& fold) final;
  void MergeState(uint8* state, const uint8* later) final;
  std::vector<XeDataType> GetStateTypes() const final { return StateTypesOf<T, T, uint8>(); }

 protected:
  T value_{};
  T max_{};
  T min_{};
};

extern template class RangeOf<int32>;
extern template class RangeOf<uint32>;
extern template class RangeOf<float64>;
extern template class RangeOf<VelmarNumber>;

class SQXEREXPR_API RangeInt32 final : public RangeOf<int32> {
 public:
  using RangeOf::RangeOf;
};

class SQXEREXPR_API RangeUInt32 final : public RangeOf<uint32> {
 public:
  using RangeOf::RangeOf;
};

class SQXEREXPR_API RangeFloat64 final : public RangeOf<float64> {
 public:
  using RangeOf::RangeOf;
};

class SQXEREXPR_API RangeNumber final : public RangeOf<VelmarNumber> {
 public:
  using RangeOf::RangeOf;
};

}  // namespace sqxer
