#pragma once

#include <vector>

#include "SQXERExprAggregateBase.h"
#include "Utility/HugePages.h"
#include "Utility/XeInterval.h"

namespace sqxer {

/// MEDIAN, PERCENTILE_CONT and PERCENTILE_DISC of intervals, in the order in which they compare,
/// and of equal ones by their parts: the value at a fraction of the way from the first to the last,
/// between two of them part by part as `lower + (upper - lower) * share` is computed; or the first
/// of which at least that fraction of the values is no greater. NULL when there is no value. Error
/// 59050 from Finalize for a result beyond intervals.
///
/// The intervals of the group are held in memory.
class SQXEREXPR_API QuantileInterval final : public SingleResultAggregate {
 public:
  /// Takes over the columns and binds to the layout. `fraction` is from 0 to 1; NaN makes the
  /// result NULL.
  QuantileInterval(const XeRecordMetaData& input, AggregateColumnVectors& columns,
                   bool isCumulativeAggregate, float64 fraction, bool isContinuous);

  void BindDistinctMetaData() override {}
  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  RExprReturn Finalize() override;
  void Output(unsigned char* record) override;
  /// Whatever was asked for, as a median has it.
  bool IsDistinctHandled() override { return true; }
  bool GoesOnAfterOutput() override { return true; }

 private:
  const float64 fraction_;
  const bool isContinuous_;
  std::vector<XeInterval, ScatteredAllocator<XeInterval>> values_;
  XeInterval result_;
  bool nullIndicator_ = true;
};

}  // namespace sqxer
