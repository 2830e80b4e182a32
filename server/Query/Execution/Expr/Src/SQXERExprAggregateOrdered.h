#pragma once

#include <memory>
#include <span>
#include <vector>

#include "SQXERDistinctRows.h"
#include "SQXERExprAggregateCount.h"
#include "SQXERExprAggregateRuns.h"
#include "SQXERRepeatedRows.h"
#include "Utility/XeFieldDataBinder.h"

namespace sqxer {

/// Another aggregate, to which it hands the rows of a group in an order, each once where duplicates
/// are to be dropped: f(x ORDER BY y), f(DISTINCT x), and those to which equal values come as
/// neighbours. Results, types and errors are those of the other one. The rows are kept by a sorter,
/// which spills: one for each group, or one of all groups together. In front of the latter, rows
/// that batches bring and that count once, or are counted, stand in a table each once while memory
/// allows; numbers then need no sorter, and what counts rows alone needs no order.
///
/// A row with a NULL in one of the first columns does not count: the other one skips it.
///
/// SetSourceOffset moves the first column.
class SQXEREXPR_API Ordered final : public Aggregate {
 public:
  struct Key {
    /// Its place among the columns.
    uint16 column;
    SortOrder_t order = kAscending;
    NullOrder_t nulls = kNullsLast;
  };

  /// `inner` reads columns by their place among `aggregateColumns`, each of which stands there
  /// once, and writes the results. Rows that are equal in all keys keep the order in which they
  /// come; with `dropsDuplicates` only the first of them counts. Of the first `neededColumns`
  /// columns none is NULL in a row that counts. Takes ownership.
  Ordered(UInt16Vector* aggregateColumns, std::unique_ptr<Aggregate> inner, std::vector<Key> keys,
          bool dropsDuplicates, std::size_t neededColumns);

  using Aggregate::Bind;
  /// Error 59001 ("Sort", type) for a key without order.
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  void SetTargetDescriptor(XeRecordMetaData& target, unsigned short fieldIndex) override;
  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  RExprReturn Finalize() override;
  void Output(unsigned char* record) override { inner_->Output(record); }
  bool IsDistinctHandled() override { return true; }
  unsigned int GetTargetFixedLenSize() override { return inner_->GetTargetFixedLenSize(); }
  unsigned int GetTargetOffset() override { return inner_->GetTargetOffset(); }
  unsigned int GetTargetNullOffset() override { return inner_->GetTargetNullOffset(); }
  void SetSourceOffset(unsigned int offset, unsigned int nullOffset,
                       unsigned int recordSize) override;
  void RestoreSourceOffset() override;
  void SetTargetOffset(unsigned int offset, unsigned int nullOffset) override {
    inner_->SetTargetOffset(offset, nullOffset);
  }
  void RestoreTargetOffset() override { inner_->RestoreTargetOffset(); }
  bool HoldTogether(HeldMemory& memory) override;
  uint32 TransferState(StateTransfer transfer, uint8* state) override;
  bool SkipsNulls() const override { return neededColumns_ > 0; }
  bool TakesBatches() override { return table_ != nullptr; }
  bool AdmitsColumns(std::span<const BatchVector* const> columns, const BatchRows& rows) override;
  void FoldBatch(const BatchFold& fold) override;

 private:
  void MakeSorter();
  /// Hands what the table holds to the sorter.
  void SpillTable();
  /// Ends the input, that of all groups where they are held together.
  void EndInput();
  /// Hands the group's rows on from the table, in order.
  RExprReturn DrainTable();
  RExprReturn DrainSorter();
  /// Hands on the row in row_, which stands for so many.
  RExprReturn HandOn(uint32 times);
  /// Hands a row to the sorter, which stands for so many of which the first has the number.
  void SortRow(uint8* row, uint32 count, uint64 number);
  void SortPacked(const uint8* packed, uint32 count, uint64 number);
  /// Puts the next row of the sorter into row_; false behind the last one.
  bool NextRow();

  std::unique_ptr<Aggregate> inner_;
  /// The same where it counts runs; else null.
  RunsAggregate* runs_ = nullptr;
  const std::vector<Key> keyPlaces_;
  const bool dropsDuplicates_;
  const std::size_t neededColumns_;

  /// The columns, and behind them the number of the row's group; where runs are counted, for how
  /// many rows it stands, and the number of the first of them.
  XeRecordMetaData layout_;
  KeyDesc groupKey_;
  KeySet keys_;
  SettingsRef settings_;
  XeFieldDataBinder binder_;
  std::unique_ptr<uint8[]> row_;
  uint32 groupOffset_ = 0;
  uint32 countOffset_ = 0;
  uint32 numberOffset_ = 0;
  KeyDesc numberKey_;
  RecordPacker packer_;
  /// Of a long group, or of all together, where rows that are equal count once or are counted.
  std::unique_ptr<RepeatedRows> repeated_;
  std::unique_ptr<uint8[]> countedRow_;
  uint64 rows_ = 0;
  /// Of the columns that may not be NULL, but for the first one.
  std::vector<uint32> neededNulls_;
  bool isOpen_ = false;

  /// Of all groups together.
  bool isHeld_ = false;
  uint32 group_ = 0;
  uint32 groups_ = 0;
  bool isDraining_ = false;
  bool hasRow_ = false;
  /// The rows of all groups, each once; null where such rows do not count once.
  std::unique_ptr<DistinctRows> table_;
  /// The inner aggregate where it only counts the rows that are different; else null.
  Count* counted_ = nullptr;
  /// All rows stand in the table.
  bool isSorterEmpty_ = true;
  /// While the table is drained: its rows in order, and which one comes next.
  std::vector<uint32> order_;
  std::size_t next_ = 0;
};

}  // namespace sqxer
