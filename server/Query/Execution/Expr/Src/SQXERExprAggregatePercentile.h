#pragma once

#include "SQXERExprAggregateWorkRow.h"

namespace sqxer {

/// PERCENTILE: for every row the fraction of the group's other non-null rows whose value comes
/// after the row's own in the sort order (with an ascending one, is greater), as a double. Rows of
/// equal values get the same; the only one of its group gets 1, NULL gets NULL. Takes values of any
/// type with an order; keeps the group in memory.
class SQXEREXPR_API Percentile : public BufferedRowsAggregate {
 public:
  using BufferedRowsAggregate::BufferedRowsAggregate;

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  RExprReturn Finalize() override;
  void Output(unsigned char* record) override;

 protected:
  /// The count of the rows after a row.
  uint32 ngtOffset_ = 0;
  float64 percentileMultiplier_ = 1.0;
};

}  // namespace sqxer
