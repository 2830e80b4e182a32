#pragma once

#include "SQXERExprAggregatePair.h"
#include "SQXEROpsStatistics.h"

namespace sqxer {

/// REGR_SLOPE: the slope of the least-squares line of y on x as a double, NULL for a group without
/// rows. For a constant x, and with it for one row, it is infinite or not a number. Takes columns
/// of 32-bit integers, doubles and decimals alone.
///
/// A row is ignored only when both x and y are NULL. With one of them NULL it counts, with what
/// stands in that field: callers store a value there for the row to be taken with. Who cannot say
/// what stands there makes both NULL, or asks RegressionAll.
class SQXEREXPR_API Regression : public PairAggregate, protected LineSums {
 public:
  using PairAggregate::PairAggregate;

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  /// Error 59008 when values were seen and the count is 0.
  RExprReturn Finalize() override;
  void Output(unsigned char* record) override;
  uint32 TransferState(StateTransfer transfer, uint8* state) override;
  bool TakesBatches() override { return true; }
  bool AdmitsPair(const BatchVector& x, const BatchVector& y, const BatchRows& rows) override;
  void FoldBatch(const BatchFold& fold) override;
  void MergeState(uint8* state, const uint8* later) override;
  std::vector<XeDataType> GetStateTypes() const override;

 protected:
  float64 regression_ = 0;
};

}  // namespace sqxer
