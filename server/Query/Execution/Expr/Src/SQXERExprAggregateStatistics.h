#pragma once

#include "SQXERExprAggregatePair.h"
#include "SQXEROpsStatistics.h"

namespace sqxer {

/// What CORR_ALL and REGR_ALL share: the sums over the rows in which neither x nor y is NULL, and
/// the last five of their results, in consecutive target fields: the averages of x and of y, the
/// count (32-bit unsigned), the standard errors of the averages of x and of y (sample deviation /
/// square root of the count). All but the count are doubles.
///
/// Averages are NULL when there is no row; the other doubles are NULL for fewer than two rows. The
/// count is never NULL. A field that is never NULL then receives 0. No errors: a constant x or y
/// makes infinite results or such as are not a number.
///
/// SetTargetOffset moves none of the fields.
class SQXEREXPR_API PairStatistics : public PairAggregate, protected LineSums {
 public:
  using PairAggregate::PairAggregate;

  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  RExprReturn Finalize() override;
  uint32 TransferState(StateTransfer transfer, uint8* state) override;
  void MergeState(uint8* state, const uint8* later) override;
  std::vector<XeDataType> GetStateTypes() const override;

 protected:
  /// Fixes where the five results go, from that field on.
  void PlaceMoments(const XeRecordMetaData& target, unsigned int fieldIndex);
  void OutputMoments(unsigned char* record) const;
  bool IsPair() const { return count_ > 1; }

  float64 sumYSquares_ = 0;
  float64 averageX_ = 0;
  float64 averageY_ = 0;
  float64 seX_ = 0;
  float64 seY_ = 0;

 private:
  uint32 averageXOffset_ = 0;
  uint32 averageXNullOffset_ = 0;
  uint32 averageYOffset_ = 0;
  uint32 averageYNullOffset_ = 0;
  uint32 countOffset_ = 0;
  uint32 countNullOffset_ = 0;
  uint32 seXOffset_ = 0;
  uint32 seXNullOffset_ = 0;
  uint32 seYOffset_ = 0;
  uint32 seYNullOffset_ = 0;
};

/// CORR_ALL: six results: the correlation of x and y, then those of PairStatistics. It comes from
/// the sums, so that of large values close to each other it has fewer digits than Correlation.
class SQXEREXPR_API CorrelationAll : public PairStatistics {
 public:
  using PairStatistics::PairStatistics;

  void SetTargetDescriptor(XeRecordMetaData& target, unsigned short fieldIndex) override;
  void Initialize(bool restart) override;
  RExprReturn Finalize() override;
  void Output(unsigned char* record) override;

 protected:
  uint32 correlationOffset_ = 0;
  uint32 correlationNullOffset_ = 0;
  float64 correlation_ = 0;
};

/// REGR_ALL: seven results: slope and intercept of the least-squares line of y on x, then those of
/// PairStatistics.
class SQXEREXPR_API RegressionAll : public PairStatistics {
 public:
  using PairStatistics::PairStatistics;

  void SetTargetDescriptor(XeRecordMetaData& target, unsigned short fieldIndex) override;
  void Initialize(bool restart) override;
  RExprReturn Finalize() override;
  void Output(unsigned char* record) override;

 protected:
  uint32 regressionOffset_ = 0;
  uint32 regressionNullOffset_ = 0;
  uint32 interceptOffset_ = 0;
  uint32 interceptNullOffset_ = 0;
  float64 regression_ = 0;
  float64 intercept_ = 0;
};

}  // namespace sqxer
