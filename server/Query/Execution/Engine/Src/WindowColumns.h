#pragma once

#include <array>
#include <memory>
#include <span>
#include <vector>

#include "ColumnAppender.h"
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
  /// The results of a row of the batch, behind those that were added, are those in a record of the
  /// row's layout, which must stay until End, and for a result of the group in the group's record.
  void AddKept(uint32 row, const uint8* record) { Add(row, record); }
  /// The same with those in the row's record, which need not stay.
  void AddCurrent(uint32 row);
  /// No further row of the batch, which has `count`, is wanted; some was. One vector for each
  /// result, valid until the next End.
  void End(uint32 count, std::span<BatchVector> vectors);

 private:
  struct Column {
    std::unique_ptr<ColumnAppender> appender;
    bool isOfGroup;
    ColumnVector values;
  };

  /// Whether the values are taken at once, in End.
  bool IsTakenLate(const Column& column) const {
    return column.isOfGroup ? areGroupsAlike_ : isKept_;
  }
  void Add(uint32 row, const uint8* record);

  const WorkRecord& row_;
  const WorkRecord& group_;
  const bool areGroupsAlike_;
  /// Row records stay until End.
  const bool isKept_;
  std::vector<Column> columns_;
  /// Copies of row records that do not stay by themselves.
  std::vector<uint8> copies_;
  uint32 added_ = 0;
  /// For each row of the batch.
  std::array<const uint8*, kMostBatchRows> records_{};
  std::array<const uint8*, kMostBatchRows> groups_{};
};

}  // namespace sqxer
