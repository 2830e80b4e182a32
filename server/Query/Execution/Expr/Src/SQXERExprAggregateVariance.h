#pragma once

#include "SQXERExprAggregateStddev.h"

namespace sqxer {

/// How far values deviate from their mean, which moves with each of them, so that a large common
/// part of the values costs no digits.
struct MovingVariance {
  uint32 count = 0;
  float64 mean = 0;
  /// The sum of the squared deviations.
  float64 squares = 0;
};

/// VAR_SAMP and VAR_POP: the variance of the non-null values as a double. Takes what Sum takes.
/// NULL when there is no value; of one value the sample form is NULL, and the population form 0,
/// NaN where that is not finite. No errors.
class SQXEREXPR_API Variance final : public DoubleStatistic {
 public:
  /// `isSample`: the sample form.
  Variance(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
           UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate, bool isSample)
      : DoubleStatistic(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                        isCumulativeAggregate, false),
        isSample_(isSample) {}

  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  RExprReturn Finalize() override;
  uint32 TransferState(StateTransfer transfer, uint8* state) override;
  void FoldBatch(const BatchFold& fold) override;
  void MergeState(uint8* state, const uint8* later) override;
  std::vector<XeDataType> GetStateTypes() const override;

 private:
  const bool isSample_;
  MovingVariance state_;
};

}  // namespace sqxer
