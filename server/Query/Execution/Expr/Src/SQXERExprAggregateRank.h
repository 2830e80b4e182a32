#pragma once

#include "SQXERExprAggregateWorkRow.h"
#include "SQXEROpsRanking.h"

namespace sqxer {

/// RANK: for every row its rank in the group's sort order, as an unsigned 32-bit integer. Rows that
/// tie share a rank, and the row after a tie has its rank plus the rows of the tie. The value is
/// made of all aggregate columns, any types with an order; it is NULL when one of them is.
///
/// A group may be larger than memory: its rows go to one sorter in ranking order and from there,
/// ranked, to another one in input order. Both are kept from group to group. Output is called once
/// for each row, in input order, counting from every Initialize; a call for which there was no
/// Compute repeats the rank before. Rows that come in ranking order need no sorter: see
/// TakeRowsInOrder.
class SQXEREXPR_API Rank : public WorkRowAggregate {
 public:
  /// `isNullRankNull`: a NULL value has a NULL rank. Without it the NULLs of a group share one
  /// rank. `filtersNulls`: the owner takes the rows of NULL values out before Compute, unless their
  /// rank is NULL.
  Rank(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
       UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
       std::vector<SortOrder_t> sortOrders, bool isNullRankNull, bool filtersNulls);

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  RExprReturn Finalize() override;
  void Output(unsigned char* record) override;
  bool NeedNullFiltering() override { return !isNullRankNull_ && filtersNulls_; }
  bool IsDistinctHandled() override { return false; }

  /// A key of the ranking order: an input column.
  struct Key {
    uint16 column;
    SortOrder_t order;
  };
  /// All of them, NULL last; none where further columns tell rows apart that tie, or a rank may be
  /// NULL. Known before Bind.
  std::vector<Key> GetRankingOrder() const;
  /// For an owner that hands in the rows of each group in ranking order: no row waits for others,
  /// and the rank is cumulative. To be called once, after Bind.
  void TakeRowsInOrder() { isCumulativeAggregate_ = takesRowsInOrder_ = true; }
  /// Compute of such a row for an owner that knows whether its keys equal those of the row before
  /// it. For one key, or keys that are never NULL.
  void ComputeInOrder(bool isTie) { RankRow(tempRow_, false, isTie); }

 protected:
  uint32 rankOffset_ = 0;
  /// 0 where no rank is NULL.
  uint32 rankNullOffset_ = 0;
  uint32 count_ = 0;
  /// The row that is filled, ranked or output. Output exchanges it with the look-ahead.
  XeAutoBuffer<uint8, 1> tempRowStorage_;
  uint8* tempRow_ = nullptr;
  uint8* initialTempRow_ = nullptr;
  /// The next ranked row in input order.
  XeAutoBuffer<uint8, 1> nextTempRowStorage_;
  uint8* nextTempRow_ = nullptr;
  bool bHasMoreRecords_ = false;
  /// The row before in ranking order.
  XeAutoBuffer<uint8, 1> previousRowStorage_;
  uint8* previousRow_ = nullptr;
  /// The rows of the group that were output.
  uint32 outputPosition_ = 0;
  /// The id of the look-ahead row.
  uint32 nextBreakStart_ = 0;
  std::unique_ptr<SqrtSorter> initialOrderSorter_;
  std::unique_ptr<SqrtSorter> rankOrderSorter_;
  bool isNullRankNull_;
  bool filtersNulls_;

 private:
  void MakeSorters();
  void ReadAhead();
  /// Writes the rank of the next row in ranking order into it; `isTie`: with the row before it.
  void RankRow(uint8* row, bool isNull, bool isTie);
  void WriteRank(uint8* record);

  bool takesRowsInOrder_ = false;
  TieRun run_{1};
  /// The rank of the rows that are NULL, 0 before the first one.
  uint32 nullRank_ = 0;
};

}  // namespace sqxer
