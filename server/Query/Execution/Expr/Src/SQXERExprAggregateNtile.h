#pragma once

#include "SQXERAggregateVariant.h"
#include "SQXERExprAggregateWorkRow.h"

namespace sqxer {

/// NTILE: for every row the number of its tile, from 1 to N, as an unsigned 32-bit integer. The
/// tiles are parted by the quantiles of the group's non-null values, so equal values share a tile;
/// NULL gets NULL. Takes numbers; keeps the group in memory.
class SQXEREXPR_API Ntile : public BufferedRowsAggregate {
 public:
  /// Takes ownership of `nValueExpr`, which gives N and reads no column. See WorkRowAggregate for
  /// the rest.
  Ntile(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
        UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate, RExpression* nValueExpr,
        std::vector<SortOrder_t> sortOrders);
  Ntile(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
        UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
        std::unique_ptr<RExpression> nValueExpr, std::vector<SortOrder_t> sortOrders);

  using Aggregate::Bind;
  /// Binds N, too: see BindPositiveExpression.
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  /// Error 59028 unless N is above 0.
  void Initialize(bool restart) override;
  RExprReturn Finalize() override;
  void Output(unsigned char* record) override;

 protected:
  float64 ReadValue(const uint8* row) { return input_.Read(row + dataOffset_); }

  uint32 numTiles_ = 0;
  std::unique_ptr<RExpression> nValueExpr_;
  Float64Input input_;
  uint32 ntileOffset_ = 0;
};

}  // namespace sqxer
