#include "GroupMerge.h"

#include <algorithm>
#include <cstring>

namespace sqxer {

GroupMerge::GroupMerge(GroupTable& groups, uint32 stretches)
    : groups_(groups), stretches_(stretches) {
  AggregateSet& set = groups_.GetTurns().GetSet();
  uint32 offset = 0;
  for (std::size_t i = 0; i < set.GetCount(); ++i) {
    members_.push_back({&set.Get(i), offset});
    offset += set.TransferState(i, StateTransfer::kMeasure, nullptr);
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
    return member.aggregate->AdmitsMerge(group.States() + member.offset,
                                         later.States() + member.offset, stretches_);
  });
}

bool GroupMerge::Take(GroupTable& later) {
  groups_.GetTurns().Settle();
  later.GetTurns().Settle();
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

  const uint32 stateBytes = *groups_.GetTurns().GetStateBytes();
  for (std::size_t i = 0; i < found_.size(); ++i) {
    Group& from = *later.groups_[i];
    if (found_[i] == nullptr) {
      groups_.RestoreKeys(from);
      const uint64 hash = groups_.HashKeys();
      Group& opened = groups_.OpenGroupAt(groups_.FindSlot(hash), hash);
      groups_.GetTurns().Settle();
      std::memcpy(opened.States(), from.States(), stateBytes);
      continue;
    }
    for (const Member& member : members_) {
      member.aggregate->MergeState(found_[i]->States() + member.offset,
                                   from.States() + member.offset);
    }
  }
  return true;
}

}  // namespace sqxer
