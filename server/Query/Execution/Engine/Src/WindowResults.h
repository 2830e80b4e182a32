#pragma once

#include <optional>
#include <vector>

#include "AggregateSet.h"
#include "Utility/KeySet.h"
#include "Utility/RecordSpool.h"
#include "Utility/XeFieldDataBinder.h"
#include "WindowColumns.h"
#include "WorkRecord.h"

namespace sqxer {

/// Sorters take row numbers as doubles, whose order their leading bytes decide.
using RowNumber = float64;
/// The last field of records that are sorted by row, or carry its number through a sort.
const ColumnInfo& RowNumberField();
inline const XeFieldDescriptor& LastField(const WorkRecord& record) {
  return record.GetField(static_cast<std::size_t>(record.GetLayout().GetFieldCount()) - 1);
}

/// The results of a window's functions on their way to the source record.
///
///   group record  what the per-group functions gave: the same for all rows of a group
///   row record    what the other functions gave, and the row's number. Where row records are
///   sorted
///                 they carry the group's results too: as a copy or, when these are wide, as the
///                 place of the group's record, which is kept once
class WindowResults {
 public:
  /// The results are the fields of `source`, which must outlive this, from `firstResult` on.
  WindowResults(const PlanWindow& plan, bool areSorted, WorkRecord& source, std::size_t firstResult,
                OperatorTimer& timer);

  /// Forgets all groups. To be called before the first one.
  void Begin();
  /// No group follows.
  void EndInput();

  /// Per-group functions write the first fields of the one, the others those of the other.
  WorkRecord& GetGroup() { return *group_; }
  WorkRecord& GetRow() { return *row_; }
  const WorkRecord& GetRow() const { return *row_; }
  /// Where the row's number stands in the row record, and the order of row records by it.
  uint8* GetRowNumber() { return rowNumber_; }
  KeySet GetRowOrder() const;

  /// The group record is complete: the rows that follow, until this is called again, are of that
  /// group.
  void KeepGroup() {
    if (!groups_) return;
    groupPlace_ = groups_->GetNextPlace();
    groups_->Append(group_->GetData());
  }
  /// Makes the row record ready for sorting.
  void AddGroupToRow();

  /// Makes the group record that of the row record's group, which WriteToSource does, too.
  void ReadGroup();
  /// Writes the results in the row record, and those of its group, into the source record.
  void WriteToSource();

  /// Whether the row record holds all results of sorted rows.
  bool StandInRow() const { return place_ == GroupPlace::kRowRecord || !groups_; }
  /// Makes vectors of the results.
  std::unique_ptr<WindowColumns> MakeColumns() const;

 private:
  /// Where rows that are read have the results of their group.
  enum class GroupPlace { kGroupRecord, kRowRecord, kKeptRecord };
  struct Move {
    bool fromGroup;
    XeFieldDataBinder fields;
  };

  /// Where the results stand, in the plan's order.
  static std::vector<WindowColumns::Field> FindFields(const PlanWindow& plan, bool fromGroup,
                                                      std::size_t firstGroupField);
  void BindMoves(std::size_t firstResult);

  WorkRecord& source_;
  GroupPlace place_ = GroupPlace::kGroupRecord;
  std::optional<WorkRecord> group_;
  std::optional<WorkRecord> row_;
  uint8* rowNumber_;
  /// Where the place of the group's record stands in the row record.
  uint8* groupPlaceInRow_ = nullptr;
  XeFieldDataBinder groupToRow_;
  std::vector<WindowColumns::Field> fields_;
  std::vector<Move> moves_;
  /// The records of wide groups.
  std::optional<RecordSpool> groups_;
  /// That of the group kept last, later of the one in the group record.
  uint64 groupPlace_ = 0;
};

}  // namespace sqxer
