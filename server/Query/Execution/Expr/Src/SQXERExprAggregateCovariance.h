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
  void MergeState(uint8* state, const uint8* later) override;
  std::vector<XeDataType> GetStateTypes() const override;

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
  void MergeState(uint8* state, const uint8* later) override;
  std::vector<XeDataType> GetStateTypes() const override;

 protected:
  float64 correlation_ = 0;
  float64 x_sd = 0;
  float64 x_var = 0;
  float64 y_sd = 0;
  float64 y_var = 0;
};

/// COVAR_POP and the REGR_ functions over the rows in which neither is NULL, from the moments that
/// the correlation has, so a large common part of the values costs no digits.
class SQXEREXPR_API PairStatistic final : public Correlation {
 public:
  enum class Kind {
    /// Of all rows; NULL of none.
    kCovariance,
    kAverageX,
    kAverageY,
    /// The sums of squared deviations, and of their products.
    kSumXX,
    kSumYY,
    kSumXY,
    /// The line's y at x = 0; NULL where x is the same in every row.
    kIntercept,
    /// The square of the correlation: 1 where y alone is the same in every row, NULL where x is.
    kDetermination,
  };
  PairStatistic(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate, Kind kind)
      : Correlation(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                    isCumulativeAggregate),
        kind_(kind) {}

  RExprReturn Finalize() override;

 private:
  float64 GetStatistic() const;

  const Kind kind_;
};

}  // namespace sqxer
