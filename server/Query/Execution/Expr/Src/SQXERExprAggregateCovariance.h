#pragma once

#include "SQXERExprAggregatePair.h"

namespace sqxer {

/// COVAR_SAMP: the sample covariance of x and y as a double, over the rows in which neither is
/// NULL. NULL for one row, but 0 for none: callers rely on a covariance of empty groups. No errors.
///
/// The means move with each row, so a large common part of the values costs no digits.
class SQXEREXPR_API Covariance : public PairAggregate {
 public:
  using PairAggregate::PairAggregate;

  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  RExprReturn Finalize() override;
  void Output(unsigned char* record) override;
  uint32 TransferState(StateTransfer transfer, uint8* state) override;

 protected:
  /// False when the row does not count.
  bool TakeRow(const unsigned char* record);
  /// What the moments are divided by. Of an empty group it is 4294967295, which makes them zero.
  uint32 GetDivisor() const { return count_ - 1; }

  /// The co-moment: the sum of (x - mean of x)(y - mean of y).
  float64 C = 0;
  float64 covariance_ = 0;
  /// How far the row's value was from the mean before.
  float64 x_delta = 0;
  float64 x_mean = 0;
  float64 y_delta = 0;
  float64 y_mean = 0;
};

/// CORR: the correlation of x and y, as Covariance otherwise. Not a number, and not NULL, when x or
/// y is constant, and for a group without rows.
class SQXEREXPR_API Correlation : public Covariance {
 public:
  using Covariance::Covariance;

  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  RExprReturn Finalize() override;
  void Output(unsigned char* record) override;
  uint32 TransferState(StateTransfer transfer, uint8* state) override;

 protected:
  float64 correlation_ = 0;
  /// The sum of the squared deviations from the mean.
  float64 x_M2 = 0;
  float64 x_sd = 0;
  float64 x_var = 0;
  float64 y_M2 = 0;
  float64 y_sd = 0;
  float64 y_var = 0;
};

}  // namespace sqxer
