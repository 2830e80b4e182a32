#pragma once

#include <map>
#include <memory>
#include <span>
#include <vector>

#include "BatchField.h"
#include "GroupTable.h"
#include "RowParts.h"
#include "SQXERBatch.h"

namespace sqxer {

/// Takes batches of rows into a GroupTable whose groups keep bare states. The aggregates that do
/// not take a batch are driven row by row within it.
class GroupBatch {
 public:
  /// The table must outlive it.
  explicit GroupBatch(GroupTable& table);

  /// To be called when the table has been cleared and is to take batches.
  void Start();

  /// Finds the groups of the wanted rows; the first row of the batch has the number `firstRow`.
  /// `searched`: those of the keys that differ among the groups of the table. False when the batch
  /// is for GroupTable::Add, row by row; groups of its rows may have been opened then. An error
  /// means the same.
  bool FindGroups(const BatchRows& rows, std::span<const BatchVector> keys,
                  std::span<const BatchVector> searched, std::span<const BatchVector> inputs,
                  uint64 firstRow);

  /// After FindGroups: whether the states that TakeRows would make can be merged with others.
  bool MakesMergeableStates() const;

  /// After each FindGroups that was true: takes the rows in. An error is that of the first row that
  /// has one.
  void TakeRows(const BatchRows& rows, uint64 firstRow);

  /// The same for a table without aggregates: has the keys of each row that opened a group in the
  /// group record, and calls emit(), until that returns false; returns what it did last.
  template <class Emit>
  bool TakeKeys(uint64 firstRow, Emit&& emit);

 private:
  using Group = GroupTable::Group;

  struct Member {
    Aggregate* aggregate;
    /// Its columns among the inputs.
    std::span<const uint16> columns;
    std::vector<const BatchVector*> inputs = {};
    bool skipsNulls = false;
    uint32 offset;
    std::size_t index;
    int position;
    /// It is driven row by row in this batch.
    bool goesByRows = false;
  };
  /// Which group the rows with a value of the only key, or of all keys, are in.
  struct ValueSlot {
    int64 value = 0;
    Group* group = nullptr;
  };

  /// Puts the group of each wanted row into groups_, null where it would open one too many. False
  /// when the keys do not fit the record.
  bool FindByKeys(const BatchRows& rows, std::span<const BatchVector> keys,
                  std::span<const BatchVector> searched, uint64 firstRow);
  void FindOneGroup(const BatchRows& rows, uint64 firstRow);
  void Put(uint32 row, Group* group) {
    if (group == nullptr) [[unlikely]]
      return leftOver_.push_back(static_cast<uint16>(row));
    rows_[found_] = static_cast<uint16>(row);
    groups_[found_++] = group;
  }
  /// The groups of values that stand for places, and their numbers: kNoGroup where there is none,
  /// or where it is not known yet.
  struct PlaceGroups {
    std::vector<Group*, ScatteredAllocator<Group*>> groups = {};
    std::vector<uint16> numbers = {};
  };
  static PlaceGroups MakePlaces(std::size_t places);
  static void NumberPlaces(PlaceGroups& known);
  /// `places`: of each row that is wanted. open(row): opens the group of a place that has none yet;
  /// null where it cannot.
  template <class Open>
  void FindByPlaces(const BatchRows& rows, const uint32* places, PlaceGroups& known, Open&& open);
  /// The same where there are few groups and all of these rows are known; false otherwise.
  bool FindAmongFew(const BatchRows& rows, const uint32* places, const PlaceGroups& known);
  /// Of a row that has one, by its index among these.
  Group* GroupOf(uint32 index) const {
    return isNumbered_ ? table_.groups_[parts_.GetNumber(index)] : groups_[index];
  }
  /// These are false when the keys are not of the right form.
  bool FindByCodes(const BatchRows& rows, std::span<const BatchVector> keys, uint64 firstRow);
  bool FindByValue(const BatchRows& rows, const BatchVector& key, uint64 firstRow);
  /// By some integers that fit one of 64 bits together.
  bool FindBySeveral(const BatchRows& rows, std::span<const BatchVector> keys, uint64 firstRow);
  /// `groupOfNull`: gives the place of the group of a row with NULL.
  template <class Stored, class ToValue, class OfNull>
  void FindByValues(const BatchRows& rows, const BatchVector& key, uint64 firstRow,
                    ToValue&& toValue, OfNull&& groupOfNull);
  /// Forgets all values.
  void StartValues();
  /// Whether groupsInRange_ has a place for every value of the batch, as which integers that lie
  /// close together are looked up.
  template <class Stored>
  bool CoverRange(const BatchRows& rows, const BatchVector& key);
  /// Looks values up by a search from now on; false.
  bool LeaveRange();
  ValueSlot* FindValue(int64 value);
  /// The group of a row whose value is not known, opened now if need be; null when it cannot be.
  Group* OpenValue(uint32 row, uint64 firstRow);
  void FindByHash(const BatchRows& rows, uint64 firstRow);
  /// The group of the keys of a row, opened now if need be; null when it cannot be.
  Group* FindOrOpen(uint32 row, uint64 firstRow);
  void GrowValues();

  /// Sorts the rows by their groups, where these are few.
  void PartRows();
  /// Calls use(fold) for all rows of a member that have a group, until it is false.
  template <class Use>
  bool ForEachFold(const BatchRows& rows, const Member& member, Use&& use);
  /// Drives the members that go by rows.
  void ComputeRows(const BatchRows& rows, uint64 firstRow);
  void WriteKeys(uint32 row) {
    for (BatchField& field : keyFields_) field.Write(row);
  }
  /// Hands the rows to the table that would open one group too many.
  void AddLeftOver(uint64 firstRow);

  GroupTable& table_;
  std::vector<Member> members_;
  std::vector<BatchField> keyFields_;
  std::vector<BatchField> inputFields_;

  /// How many groups there were before this batch.
  std::size_t groupsBefore_ = 0;
  /// The wanted rows that have a group: how many, and of each its number, group and states.
  uint32 found_ = 0;
  std::vector<uint16> rows_;
  std::vector<Group*> groups_;
  std::vector<uint8*> states_;
  /// Those that have none.
  std::vector<uint16> leftOver_;
  /// The rows by groups, where isParted_.
  RowParts parts_;
  bool isParted_ = false;
  /// All wanted rows have groups, which were known, and stand in parts_ alone.
  bool isNumbered_ = false;
  bool isOneGroup_ = false;

  /// The groups of combinations of codes, and the dictionaries that they belong to.
  std::vector<std::shared_ptr<const ColumnVector>> dictionaries_;
  PlaceGroups groupsOfCodes_;
  /// The groups of values of one form and scale, or of several integers side by side.
  std::vector<ColumnForm> forms_;
  int16 scale_ = 0;
  std::vector<ValueSlot, ScatteredAllocator<ValueSlot>> groupsOfValues_;
  Group* groupOfNull_ = nullptr;
  /// Of several keys, by which of them are NULL and what the others are.
  std::map<std::pair<uint64, uint64>, Group*> groupsOfNulls_;
  /// Or, by integers from the least one on, and that of NULL behind them; empty otherwise.
  PlaceGroups groupsInRange_;
  int64 rangeLeast_ = 0;
  /// How many values, NULL among them, have a group here, and what of the tables is counted.
  std::size_t known_ = 0;
  uint64 bytesOfValues_ = 0;
};

template <class Emit>
bool GroupBatch::TakeKeys(uint64 firstRow, Emit&& emit) {
  std::size_t opened = groupsBefore_;
  for (uint32 i = 0; i < found_ && !isNumbered_; ++i) {
    // Groups are numbered in the order of their first rows.
    if (groups_[i]->index != opened) continue;
    ++opened;
    WriteKeys(rows_[i]);
    if (!emit()) return false;
  }
  for (const uint16 row : leftOver_) {
    WriteKeys(row);
    if (table_.Add(firstRow + row) && !emit()) return false;
  }
  return true;
}

}  // namespace sqxer
