#pragma once

#include "SQXERExprAggregatePair.h"
#include "SQXEROpsStatistics.h"

namespace sqxer {

/// COVAR_SAMP: the sample covariance of x and y as a double, over the rows in which neither is
/// NULL. NULL for one row, but 0 for none: callers rely on a covariance of empty groups. No errors.
///
/// The means move with each row, so a large common part of the values costs no digits.
class SQXEREXPR_API Covariance : public PairAggregate, protected CoMoment {
 public:
  using PairAggregate::PairAggregate;

  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  RExprReturn Finalize() override;
  void Output(unsigned char* record) override;
  uint32 TransferState(StateTransfer transfer, uint8* state) override;
  bool TakesBatches() override { return true; }
  void FoldBatch(const BatchFold& fold) override;

 protected:
  /// False when the row does not count.
  bool TakeRow(const unsigned char* record);
  /// What the moments are divided by. Of an empty group it is 4294967295, which makes them zero.
  uint32 GetDivisor() const { return count_ - 1; }

  float64 covariance_ = 0;
};

/// CORR: the correlation of x and y, as Covariance otherwise. Not a number, and not NULL, when x or
/// y is constant, and for a group without rows.
class SQXEREXPR_API Correlation : public Covariance, protected PairMoments {
 public:
  using Covariance::Covariance;

  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  RExprReturn Finalize() override;
  void Output(unsigned char* record) override;
  uint32 TransferState(StateTransfer transfer, uint8* state) override;
  void FoldBatch(const BatchFold& fold) override;

 protected:
  float64 correlation_ = 0;
  float64 x_sd = 0;
  float64 x_var = 0;
  float64 y_sd = 0;
  float64 y_var = 0;
};

}  // namespace sqxer
