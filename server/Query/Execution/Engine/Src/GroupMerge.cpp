#include "GroupMerge.h"

#include <algorithm>
#include <cstring>

namespace sqxer {

GroupMerge::GroupMerge(GroupTable& groups, uint32 stretches)
    : groups_(groups), stretches_(stretches) {
  AggregateSet& set = groups_.GetTurns().GetSet();
  uint32 offset = 0;
  for (std::size_t i = 0; i < set.GetCount(); ++i) {
    const uint32 bytes = set.TransferState(i, StateTransfer::kMeasure, nullptr);
    const bool isHeld = set.Get(i).GetStateMerge() == Aggregate::StateMerge::kHeld;
    members_.push_back({&set.Get(i), offset, bytes, isHeld});
    offset += bytes;
  }
}

bool GroupMerge::CanMerge(GroupTable& groups) {
  AggregateSet& aggregates = groups.GetTurns().GetSet();
  for (std::size_t i = 0; i < aggregates.GetCount(); ++i) {
    Aggregate& aggregate = aggregates.Get(i);
    if (aggregates.HasObjects(i) || !aggregate.TakesBatches() ||
        aggregate.GetStateMerge() == Aggregate::StateMerge::kNone) {
      return false;
    }
  }
  return true;
}

bool GroupMerge::AdmitsMerge(Group& group, Group& later) const {
  return std::ranges::all_of(members_, [&](const Member& member) {
    return member.isHeld ||
           member.aggregate->AdmitsMerge(group.States() + member.offset,
                                         later.States() + member.offset, stretches_);
  });
}

GroupMerge::Group& GroupMerge::Open(Group& later) {
  groups_.RestoreKeys(later);
  const uint64 hash = groups_.HashKeys();
  Group& opened = groups_.OpenGroupAt(groups_.FindSlot(hash), hash);
  groups_.GetTurns().Settle();
  for (const Member& member : members_) {
    if (member.isHeld) continue;
    std::memcpy(opened.States() + member.offset, later.States() + member.offset, member.bytes);
  }
  return opened;
}

void GroupMerge::MergeStates(Group& group, Group& later) const {
  for (const Member& member : members_) {
    if (member.isHeld) continue;
    member.aggregate->MergeState(group.States() + member.offset, later.States() + member.offset);
  }
}

bool GroupMerge::Take(GroupTable& later) {
  groups_.GetTurns().Settle();
  later.GetTurns().Settle();
  AggregateSet& set = later.GetTurns().GetSet();
  for (std::size_t i = 0; i < members_.size(); ++i) {
    if (members_[i].isHeld && !members_[i].aggregate->AdmitsHeld(set.Get(i))) return false;
  }
  found_.clear();
  uint64 newBytes = 0;
  for (Group* const group : later.groups_) {
    groups_.RestoreKeys(*group);
    Group* const known = groups_.FindSlot(groups_.HashKeys()).group;
    if (known == nullptr) {
      newBytes += groups_.CountBytes(group->keyBytes);
    } else if (!AdmitsMerge(*known, *group)) {
      return false;
    }
    found_.push_back(known);
  }
  if (newBytes != 0 && (groups_.sorter_ || !groups_.memory_.HasRoomFor(newBytes))) return false;

  for (std::size_t i = 0; i < found_.size(); ++i) {
    if (found_[i] != nullptr) {
      MergeStates(*found_[i], *later.groups_[i]);
    } else {
      found_[i] = &Open(*later.groups_[i]);
    }
  }
  for (std::size_t i = 0; i < members_.size(); ++i) {
    const Member& member = members_[i];
    if (!member.isHeld) continue;
    pairs_.clear();
    for (std::size_t group = 0; group < found_.size(); ++group) {
      pairs_.push_back({found_[group]->States() + member.offset,
                        later.groups_[group]->States() + member.offset});
    }
    member.aggregate->MergeHeld(pairs_, set.Get(i));
  }
  return true;
}

}  // namespace sqxer
