#pragma once

#include <array>
#include <memory>
#include <span>
#include <vector>

#include "ColumnAppender.h"
#include "Utility/CopyRecord.h"
#include "WorkRecord.h"

namespace sqxer {

/// The results of a window's functions for the rows of a batch, made vectors of.
class WindowColumns {
 public:
  /// A result is a field of the row's record or of the group's.
  struct Field {
    bool isOfGroup;
    std::size_t field;
  };

  /// The records must outlive it. `areGroupsAlike`: all rows are of one group.
  WindowColumns(const std::vector<Field>& fields, const WorkRecord& row, const WorkRecord& group,
                bool areGroupsAlike);

  /// A batch begins.
  void Begin() { added_ = 0; }
  /// The results of the next row are those in a record of the row's layout, which must stay until
  /// End, and for results of the group those in the group's record.
  void AddKept(const uint8* record) {
    records_[added_++] = record;
    if (!areTakenLate_) Append(record);
  }
  /// The same with those in the row's record, which need not stay.
  void AddCurrent() {
    const uint8* record = row_.GetData();
    if (isKept_) {
      uint8* const copy = copies_.data() + std::size_t{added_} * row_.GetSize();
      CopyRecord(copy, record, row_.GetSize());
      record = copy;
    }
    AddKept(record);
  }
  /// The rows that were added are the wanted ones of a batch, at least one. A vector for each
  /// result, valid until the next End.
  void End(const BatchRows& rows, std::span<BatchVector> vectors);

 private:
  struct Column {
    std::unique_ptr<ColumnAppender> appender;
    bool isOfGroup;
    /// Of the rows that were added.
    ColumnVector values;
    /// Values of a batch of which not all rows are wanted.
    std::vector<uint64> spread;
    std::vector<BatchText> texts;
    uint64 validity[kMostBatchWords];
  };

  bool IsConstant(const Column& column) const { return column.isOfGroup && areGroupsAlike_; }
  /// The values that are taken row by row.
  void Append(const uint8* record);
  static void Spread(Column& column, const BatchRows& rows, BatchVector& vector);

  const WorkRecord& row_;
  const WorkRecord& group_;
  const bool areGroupsAlike_;
  /// Row records stay until End.
  const bool isKept_;
  /// All values are taken in End.
  bool areTakenLate_ = true;
  std::vector<Column> columns_;
  /// Copies of row records that do not stay by themselves.
  std::vector<uint8> copies_;
  /// Of the rows that were added.
  std::array<const uint8*, kMostBatchRows> records_;
  uint32 added_ = 0;
};

}  // namespace sqxer
