#pragma once

#include <optional>

#include "SQXERExprAggregateWorkRow.h"

namespace sqxer {

/// The rows of a group that can be among the first N in an order: a buffer of bounded size. Each
/// time it is full, the rows after the N-th (those that tie with it apart) make room for others;
/// where there are none, it doubles.
class SQXEREXPR_API PreferredRows {
 public:
  /// Rows with their ids and the room for their ranks at those offsets, unsigned 32-bit integers
  /// that stand at the same places in packed rows. `rowIdKeys` must outlive the object.
  PreferredRows(std::unique_ptr<KeySet> keys, const KeySet& rowIdKeys, const RecordPacker& packer,
                uint32 rowIdOffset, uint32 rankOffset);

  /// Starts a group of which `n` > 0 rows are wanted.
  void Begin(uint32 n);
  /// Copies a row, unless it cannot be wanted.
  void Add(const uint8* row);
  /// Ranks the wanted rows and puts them in the order of their ids.
  void Finalize();
  /// The wanted row of this id, packed, or null. Ids are asked for in ascending order.
  const uint8* Find(uint32 rowId);

 private:
  void Compact();
  /// Puts the buffered rows in ranking order, ranks them, and keeps those of ranks up to N.
  void RankRows();

  uint32 nValue_ = 0;
  uint32 rowIdOffset_;
  uint32 rankOffset_;
  std::span<uint8*> arrayOfRowPointers_;
  /// The last row that the buffer kept (not packed), once it has been full.
  bool hasLastWanted_ = false;
  XeAutoBuffer<uint8, 1> lastWanted_;
  /// The next wanted row.
  uint32 rowPointersIndex_ = 0;
  /// The buffer's capacity, and the rows in it.
  uint32 maxRecordsInMemory_ = 0;
  uint32 inMemoryRecordCount_ = 0;
  /// The buffer grows; otherwise rows that are not wanted are written over.
  bool appendMode_ = true;
  ArrayRowSet arrayRowSet_;
  std::unique_ptr<KeySet> aggrKeySet_;
  /// The same of stored rows.
  KeySet storedKeySet_;
  const KeySet& rowIdKeySet_;
};

/// TOP_N, BOTTOM_N: for every row among the first N of its group its rank, as an unsigned 32-bit
/// integer, else NULL. Rows of equal values share a rank, those at the N-th place are among the
/// first. NULL gets NULL. Takes values of any type with an order; keeps 64 KiB or 10 N rows of a
/// group. Rows have the ids that BufferedRowsAggregate gives them.
class SQXEREXPR_API PreferredN : public WorkRowAggregate {
 public:
  enum Preference {
    /// The greatest values first.
    TopN = 1,
    /// The smallest values first.
    BottomN = 2,
    /// Both ends: each row is ranked from the one where it is among the first N, the top before
    /// the bottom.
    TopAndBottomN = 3,
  };

  /// Takes ownership of `n`, which gives N and reads no column. `sortOrders`: the directions of the
  /// keys when they are not those of the preference; of the top, where there are both ends.
  PreferredN(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
             UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate, Preference preference,
             RExpression* n, std::vector<SortOrder_t> sortOrders = {});
  PreferredN(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
             UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate, Preference preference,
             std::unique_ptr<RExpression> n, std::vector<SortOrder_t> sortOrders);

  using Aggregate::Bind;
  /// Binds N, too: see BindPositiveExpression.
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  /// Error 59028 unless N is above 0.
  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  RExprReturn Finalize() override;
  void Output(unsigned char* record) override;
  bool NeedNullFiltering() override { return true; }
  bool IsDistinctHandled() override { return true; }

 protected:
  std::unique_ptr<RExpression> nValueExpr_;
  uint32 nValue_ = 0;
  Preference preference_;
  uint32 rankOffset_ = 0;
  /// The rows of the group, NULLs included.
  uint32 count_ = 0;
  uint32 outputRecordIndex_ = 0;
  XeAutoBuffer<uint8, 1> tempRow_;
  /// From the preferred end and, where both are, from the other one.
  std::optional<PreferredRows> rows_;
  std::optional<PreferredRows> otherRows_;
};

}  // namespace sqxer
