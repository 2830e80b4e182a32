#pragma once

#include <vector>

#include "GroupTable.h"

namespace sqxer {

/// Adds the groups of later rows, which another table of the same plan has gathered, to those of a
/// table. Both keep bare states.
class GroupMerge {
 public:
  /// To be called when the table has been cleared; it must outlive the merge. `stretches`: among
  /// how many tables the rows are shared out, this one included.
  GroupMerge(GroupTable& groups, uint32 stretches);

  /// Whether states of all aggregates of a plan can be merged at all.
  static bool CanMerge(GroupTable& groups);

  /// Takes in the groups of rows that come right behind those that the table has. False, and
  /// nothing has changed, when the rows have to be taken in one by one.
  bool Take(GroupTable& later);

 private:
  using Group = GroupTable::Group;
  struct Member {
    Aggregate* aggregate;
    uint32 offset;
    uint32 bytes;
    /// Merged by MergeHeld.
    bool isHeld;
  };

  bool AdmitsMerge(Group& group, Group& later) const;
  /// The group of the keys of a later one, and with its states.
  Group& Open(Group& later);
  void MergeStates(Group& group, Group& later) const;

  GroupTable& groups_;
  const uint32 stretches_;
  std::vector<Member> members_;
  /// The group of each later one, null where it is new and was not opened yet.
  std::vector<Group*> found_;
  std::vector<Aggregate::StatePair> pairs_;
};

}  // namespace sqxer
