#pragma once

#include <algorithm>
#include <memory>
#include <span>
#include <vector>

#include "SQXERExprAggregateBase.h"
#include "Utility/ArrayRowSet.h"
#include "Utility/XeFieldDataBinder.h"

namespace sqxer {

/// How the work rows that are kept in memory take it: see ArrayRowSet.
inline constexpr uint32 kFirstWorkRows = 512;
inline constexpr uint32 kMaxWorkRowBlockBytes = 65535;

/// An aggregate that gives each row of a group its place among all of them. What it needs of a row
/// goes to a work row: the row's id, what is computed for it, its value, then the further aggregate
/// columns and the distinct-break columns. Value and further columns are the keys of the ranking
/// order; NULL comes last in it, ascending and descending.
class SQXEREXPR_API WorkRowAggregate : public SingleResultAggregate {
 public:
  /// `sortOrders`: one for each key, in the order of the work row; keys without one ascend.
  WorkRowAggregate(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                   UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
                   std::vector<SortOrder_t> sortOrders);

  bool IsFunctionalAggr() override { return true; }
  /// Moves the value, not the further columns.
  void SetSourceOffset(unsigned int offset, unsigned int nullOffset,
                       unsigned int recordSize) override;
  void RestoreSourceOffset() override;

 protected:
  /// The field behind the row id and what is computed: the first key.
  static constexpr int kValueField = 2;

  /// Lays out the work row, the keys, and how the row is filled. `computedOffset` receives the
  /// place of the unsigned 32-bit field for what is computed, `computedNullOffset` that of its NULL
  /// indicator (not given: it is never NULL). Error 46030 for a column outside the layout, 59001
  /// (operator or "Sort", type) for values without an order.
  void BindWorkRow(const XeRecordMetaData& input, const XeString& operatorName,
                   uint32& computedOffset, uint32* computedNullOffset = nullptr);

  SortOrder_t GetSortOrder(std::size_t key) const {
    return key < sortOrderVector_.size() ? sortOrderVector_[key] : kAscending;
  }
  bool HasFurtherKeys() const { return sourceMoveFields_.size() > 1; }
  /// Whether one of the value's columns is NULL. Their indicators are neighbours.
  bool IsRowNull(const uint8* row) const {
    const uint8* const nulls = row + dataNullOffset_;
    return std::any_of(nulls, nulls + valueColumns_, [](uint8 null) { return null != 0; });
  }
  /// Whether two work rows share a place: their keys are equal, or DISTINCT counts values and only
  /// a key after the value differs.
  /// Rows are as they are kept: packed by aggregates that store them.
  bool IsTie(const uint8* a, const uint8* b) const { return placeKeySet_->Compare(a, b) == 0; }
  /// The first `count` keys of the work row, in the ranking order or in the opposite one.
  std::unique_ptr<KeySet> MakeKeys(std::size_t count, bool opposite) const;

  uint32 tempRowSize_ = 0;
  uint32 rowIdOffset_ = 0;
  uint32 dataOffset_ = 0;
  uint32 dataNullOffset_ = 0;
  /// The leading columns that are the value, set before BindWorkRow.
  std::size_t valueColumns_ = 1;
  XeRecordMetaData tempRowMetaData_;
  /// The ranking order, those of its keys that tell places apart, and the order of the input. What
  /// stands in front of the value is at the same place in packed rows.
  std::unique_ptr<KeySet> aggrKeySet_;
  std::unique_ptr<KeySet> placeKeySet_;
  std::unique_ptr<KeySet> rowIdKeySet_;
  XeFieldDataBinder fieldDataBinder_;
  const XeRecordMetaData* sourceRecordMetaData_ = nullptr;
  UInt16Vector sourceMoveFields_;
  std::vector<SortOrder_t> sortOrderVector_;
};

/// One that keeps the work rows of a group in memory. Subclasses compute in Finalize, between
/// RankRows and RestoreInputOrder, and write in Output what NextOutputRow stands at.
///
/// A row's id is the number of the rows that were output before it since the last Initialize(true).
/// So the owner outputs every row of a group before it starts the next one, or starts with true.
class SQXEREXPR_API BufferedRowsAggregate : public WorkRowAggregate {
 public:
  using WorkRowAggregate::WorkRowAggregate;

  // Callers rely on it to hand in every row: each of them has an output of its own.
  bool IsDistinctHandled() override { return true; }
  void Initialize(bool restart) override;
  /// Where there are further keys, a run of rows with equal keys is kept as its last row.
  RExprReturn Compute(unsigned char* record, unsigned int size) override;

 protected:
  void BindRows(const XeRecordMetaData& input, const XeString& operatorName,
                uint32& computedOffset);
  /// Puts the stored rows in ranking order. False when there is none.
  bool RankRows();
  void RestoreInputOrder() { valueRowSet_->Sort(*rowIdKeySet_); }
  /// The stored row for the next input row, after RestoreInputOrder; null when there is none.
  const uint8* NextOutputRow();

  std::unique_ptr<ArrayRowSet> valueRowSet_;
  /// The ranking order of stored rows.
  KeySet storedKeySet_;
  /// The stored rows, from Finalize on.
  std::span<uint8*> valueArray_;
  /// The stored rows, from Finalize on those whose value is not NULL.
  uint32 count_ = 0;
  uint32 outputRecordIndex_ = 0;
  /// The stored row that is being output.
  uint32 recordIndex_ = 0;
  XeAutoBuffer<uint8, 1> tempRow_;
  XeAutoBuffer<uint8, 1> prevRow_;

 private:
  /// The id of the next row.
  uint32 inputRecordIndex_ = 0;
};

}  // namespace sqxer
