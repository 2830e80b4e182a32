#pragma once

#include <deque>
#include <vector>

#include "BatchField.h"
#include "FieldWriter.h"
#include "SortedRows.h"
#include "TableScan.h"

namespace sqxer {

/// Puts rows of a table in memory into the record of its scan, in any order: the fields that some
/// trees read, and no others.
class RowLookup {
 public:
  /// The fields of `target` are the columns of `table` with these indexes. The table and the target
  /// must outlive it; the trees of `readers` are bound to the target.
  RowLookup(const Table& table, const std::vector<uint16>& columns, WorkRecord& target,
            const std::vector<FieldWriter*>& readers);
  RowLookup(const RowLookup&) = delete;
  RowLookup& operator=(const RowLookup&) = delete;

  /// To be called before the first row after others have filled the record.
  void Begin() { rows_ = 0; }
  /// Makes a row, counted from 0, the current one.
  void Fill(uint64 row) {
    if (row - firstRow_ >= rows_) [[unlikely]]
      Enter(row);
    scan_->Fill(row - firstRow_);
  }
  /// For a row that is filled soon, and again when it is filled sooner: see TableScan.
  void PrefetchValues(uint64 row) const {
    const TableScan& scan = FindScan(row);
    scan.PrefetchValues(row);
  }
  void PrefetchTexts(uint64 row) const;
  /// Whether PrefetchTexts does anything.
  bool HasTexts() const { return hasTexts_; }

 private:
  void Enter(uint64 row);
  /// Makes the row's number that in its chunk.
  const TableScan& FindScan(uint64& row) const;

  const Table& table_;
  /// One for each chunk.
  std::deque<TableScan> scans_;
  bool hasTexts_ = false;
  TableScan* scan_ = nullptr;
  /// Of the current chunk.
  uint64 firstRow_ = 0;
  uint64 rows_ = 0;
};

/// Trees that are evaluated when the rows of a table have been sorted by their numbers, not when
/// they come. What a row then would raise is found out before, by batches.
class LateWriters {
 public:
  /// How many rows ahead values are fetched, and texts.
  static constexpr uint64 kValuesAhead = 24;
  static constexpr uint64 kTextsAhead = 12;

  /// The writers are bound to the table's scan record, `source`, and write to `target`.
  /// Of the writers only those are wanted, later, that `isWanted` says.
  template <class IsWanted>
  LateWriters(const Table& table, const std::vector<uint16>& columns, WorkRecord& source,
              std::vector<FieldWriter>& writers, WorkRecord& target, IsWanted isWanted)
      : writers_(Select(writers, isWanted)), lookup_(table, columns, source, writers_) {
    FindDoubtful(writers, target);
  }

  /// Whether the wanted rows of a batch can be written; false, or a throw, where some may not.
  bool Admit(const BatchRows& rows);
  /// Writes the rows of an order, one after the other, and calls use(place) for each, which returns
  /// whether to go on.
  template <class Use>
  void ForEach(const SortedRows& order, Use&& use) {
    ForEach(
        order, [](uint64) {}, use);
  }
  /// fill(place) completes the source record with what is not in the table.
  template <class Fill, class Use>
  void ForEach(const SortedRows& order, Fill&& fill, Use&& use);

 private:
  struct Doubtful {
    RExpression* tree;
    BatchField field;
  };

  template <class IsWanted>
  static std::vector<FieldWriter*> Select(std::vector<FieldWriter>& writers, IsWanted isWanted) {
    std::vector<FieldWriter*> selected;
    for (std::size_t i = 0; i < writers.size(); ++i) {
      if (isWanted(i)) selected.push_back(&writers[i]);
    }
    return selected;
  }
  void FindDoubtful(std::vector<FieldWriter>& writers, WorkRecord& target);

  const std::vector<FieldWriter*> writers_;
  std::vector<Doubtful> doubtful_;
  RowLookup lookup_;
};

template <class Fill, class Use>
void LateWriters::ForEach(const SortedRows& order, Fill&& fill, Use&& use) {
  lookup_.Begin();
  const uint64 count = order.GetCount();
  for (uint64 place = 0; place < count; ++place) {
    if (place + kValuesAhead < count) lookup_.PrefetchValues(order.GetRow(place + kValuesAhead));
    if (lookup_.HasTexts() && place + kTextsAhead < count)
      lookup_.PrefetchTexts(order.GetRow(place + kTextsAhead));
    lookup_.Fill(order.GetRow(place));
    fill(place);
    for (FieldWriter* const writer : writers_) writer->Write();
    if (!use(place)) return;
  }
}

}  // namespace sqxer
