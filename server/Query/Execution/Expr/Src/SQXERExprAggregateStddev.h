#pragma once

#include "SQXERAggregateVariant.h"
#include "SQXERBatchNumbers.h"

namespace sqxer {

/// What the statistics of one numeric column share: it takes what Sum takes, read as doubles, and
/// the result is a double.
class SQXEREXPR_API DoubleStatistic : public SingleResultAggregate {
 public:
  using Aggregate::Bind;
  using SingleResultAggregate::SingleResultAggregate;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  void Output(unsigned char* record) override;
  bool TakesBatches() override { return true; }
  bool AdmitsInput(const BatchVector* input, const BatchRows& rows) override;

 protected:
  bool nullIndicator_ = true;
  float64 result_ = 0;
  Float64Input input_;
  /// The batch that was admitted.
  const BatchVector* numbers_ = nullptr;

 private:
  Float64Column column_;
};

/// STDDEV_SAMP and STDDEV_POP: the standard deviation of the non-null values as a double. Takes
/// what Sum takes. NULL when there is no value; of one value the sample form is NULL and the
/// population form 0. No errors: beyond doubles the result is infinite or not a number.
///
/// It comes from the sum of the squares and not from the deviations, and callers rely on the very
/// digits that this gives: the fewer, the larger the values are beside their deviation, and NaN
/// where rounding leaves less than zero. See docs/accuracy.md.
class SQXEREXPR_API Stddev : public DoubleStatistic {
 public:
  /// `isSample`: the sample form.
  Stddev(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
         UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate, bool isSample);

  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  RExprReturn Finalize() override;
  uint32 TransferState(StateTransfer transfer, uint8* state) override;
  void FoldBatch(const BatchFold& fold) override;
  void MergeState(uint8* state, const uint8* later) override;
  std::vector<XeDataType> GetStateTypes() const override;

 protected:
  bool bIsSample_;
  float64 sumSquares_ = 0;
  float64 sumValues_ = 0;
  uint32 count_ = 0;
};

}  // namespace sqxer
