#pragma once

#include "SQXERBinCalculator.h"
#include "SQXERExprAggregateBase.h"

namespace sqxer {

/// BIN: for every row the number of its bin among those of its group, from 1, as an unsigned 32-bit
/// integer. NULL gets NULL and has no part in the bins. By kind:
///
/// - kRegular, over numbers, days and times: bins of equal width from the least to the greatest
///   value, or between bounds. An edge belongs to the bin above it, the greatest value to the last
///   bin; where all values are equal, they are in bin 1. What lies outside the bounds goes to the
///   first or the last bin, and so do infinities, which do not stretch the width. NaN gets NULL.
/// - kEqualDepth, over all types with an order: of m values in ascending order the one at place i
///   (from 0) gets the bin i * bins / m + 1, truncated, but equal values that of the first of them.
///   A NaN follows every number.
/// - kDateTime, over days and times: each bin is the finest unit among minute, hour, day, week,
///   month, quarter and year, else 2, 5, 10, 20, 50 and so on years, of which there are at most the
///   wanted number from the first to the last value. Edges are those of the calendar; dates have
///   no hours and minutes, and a bare time lies on 1900-01-01.
///
/// Holds its group in memory up to a limit, beyond it in temporary files: error 59180 (folder, the
/// system's reason) when they cannot be written.
class SQXEREXPR_API Bin : public SingleResultAggregate {
 public:
  /// Takes ownership of the column vectors and of `binCount`, which reads no column. Bounds are for
  /// kRegular. Distinct-break columns change nothing: every row has its bin.
  Bin(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
      UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate, RExpression* binCount,
      BinKind kind, std::optional<BinBounds> bounds = std::nullopt);
  Bin(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
      UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
      std::unique_ptr<RExpression> binCount, BinKind kind, std::optional<BinBounds> bounds);

  using Aggregate::Bind;
  /// Error 59001 ("Bin", type) for values that the kind does not take. Binds the count, too: see
  /// BindPositiveExpression.
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  /// Error 59028 unless the count is above 0.
  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  RExprReturn Finalize() override;
  /// Writes the bin of the next row, in the order of Compute.
  void Output(unsigned char* record) override;
  bool IsDistinctHandled() override { return true; }
  bool IsFunctionalAggr() override { return true; }

  /// The limit: the environment's ZEPH_BIN_BUFFER_SIZE in bytes, read once at load, 4 MiB by
  /// default.
  static std::size_t GetBufferBytes();
  /// Changes it for aggregates bound from now on (tests, tools).
  static void SetBufferBytes(std::size_t bytes);

 protected:
  uint32 binCount_ = 0;
  BinKind kind_;
  std::unique_ptr<RExpression> binCountExpr_;
  std::optional<BinBounds> bounds_;
  std::unique_ptr<BinCalculator> calculator_;
};

}  // namespace sqxer
