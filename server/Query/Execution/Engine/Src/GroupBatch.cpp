#include "GroupBatch.h"

#include <algorithm>

#include "EngineError.h"
#include "SQXERBatchFold.h"

namespace sqxer {

GroupBatch::GroupBatch(GroupTable& table) : table_(table) {
  for (std::size_t i = 0; i < table_.keyCount_; ++i) keyFields_.emplace_back(table_.group_, i);
  const auto inputs = static_cast<std::size_t>(table_.input_.GetLayout().GetFieldCount());
  for (std::size_t i = 0; i < inputs; ++i) inputFields_.emplace_back(table_.input_, i);
}

void GroupBatch::Start() {
  dictionaries_.clear();
  groupsOfCodes_ = {};
  groupsOfValues_.clear();
  groupsInRange_ = {};
  forms_.clear();
  // The table has forgotten what was taken.
  bytesOfValues_ = 0;

  TurnTakingSet& turns = table_.GetTurns();
  members_.clear();
  uint32 offset = 0;
  for (std::size_t i = 0; i < table_.aggregates_.size(); ++i) {
    Aggregate& aggregate = turns.GetSet().Get(i);
    members_.push_back({.aggregate = &aggregate,
                        .columns = *aggregate.GetAggregateColumns(),
                        .skipsNulls = aggregate.SkipsNulls(),
                        .offset = offset,
                        .index = i,
                        .position = turns.GetSet().GetPosition(i)});
    offset += turns.GetSet().TransferState(i, StateTransfer::kMeasure, nullptr);
  }
}

bool GroupBatch::FindByKeys(const BatchRows& rows, std::span<const BatchVector> keys,
                            std::span<const BatchVector> searched, uint64 firstRow) {
  found_ = 0;
  groupsBefore_ = table_.groups_.size();
  leftOver_.clear();
  isOneGroup_ = keys.empty();
  isNumbered_ = false;
  if (isOneGroup_) return true;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (!keyFields_[i].Use(keys[i], rows)) return false;
  }
  rows_.resize(kMostBatchRows);
  groups_.resize(kMostBatchRows);
  if (searched.empty()) {
    FindOneGroup(rows, firstRow);
    return true;
  }
  const bool isFound = FindByCodes(rows, searched, firstRow) ||
                       (searched.size() == 1 ? FindByValue(rows, searched[0], firstRow)
                                             : FindBySeveral(rows, searched, firstRow));
  if (!isFound) FindByHash(rows, firstRow);
  return true;
}

void GroupBatch::FindOneGroup(const BatchRows& rows, uint64 firstRow) {
  Group* const group = FindOrOpen(rows.GetRow(0), firstRow);
  rows.ForEach([&](uint32 row) { Put(row, group); });
}

GroupBatch::Group* GroupBatch::FindOrOpen(uint32 row, uint64 firstRow) {
  WriteKeys(row);
  return AtRow(firstRow + row, [&] { return table_.FindOrOpen(); });
}

void GroupBatch::PartRows() {
  isParted_ = !isOneGroup_ && table_.groups_.size() <= RowParts::kMostGroups;
  if (isOneGroup_ || isNumbered_) return;
  if (isParted_) {
    uint16* const numbers = parts_.Numbers();
    for (uint32 i = 0; i < found_; ++i) numbers[i] = static_cast<uint16>(groups_[i]->index);
    parts_.Part(table_.groups_.size(), rows_.data(), found_);
    return;
  }
  states_.resize(kMostBatchRows);
  for (uint32 i = 0; i < found_; ++i) states_[i] = groups_[i]->States();
}

template <class Use>
bool GroupBatch::ForEachFold(const BatchRows& rows, const Member& member, Use&& use) {
  BatchFold fold;
  fold.input = member.inputs.empty() ? nullptr : member.inputs[0];
  if (isOneGroup_) {
    fold.rows = rows.selected;
    fold.count = rows.GetWanted();
    fold.state = table_.groups_.front()->States() + member.offset;
    return use(fold);
  }
  if (!isParted_) {
    fold.rows = rows_.data();
    fold.count = found_;
    fold.states = states_.data();
    fold.offset = member.offset;
    return use(fold);
  }
  for (Group* const group : table_.groups_) {
    const std::span<const uint16> those = parts_.GetRows(group->index);
    fold.rows = those.data();
    fold.count = static_cast<uint32>(those.size());
    fold.state = group->States() + member.offset;
    if (fold.count != 0 && !use(fold)) return false;
  }
  return true;
}

bool GroupBatch::FindGroups(const BatchRows& rows, std::span<const BatchVector> keys,
                            std::span<const BatchVector> searched,
                            std::span<const BatchVector> inputs, uint64 firstRow) {
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    if (!inputFields_[i].Use(inputs[i], rows)) return false;
  }
  for (Member& member : members_) {
    member.inputs.clear();
    for (const uint16 column : member.columns) member.inputs.push_back(&inputs[column]);
  }
  if (!FindByKeys(rows, keys, searched, firstRow)) return false;
  if (members_.empty()) return true;
  // The states are to be read and written where they are.
  table_.GetTurns().Settle();
  PartRows();
  for (Member& member : members_) {
    Aggregate& aggregate = *member.aggregate;
    member.goesByRows =
        table_.GetTurns().GetSet().HasObjects(member.index) || !aggregate.TakesBatches() ||
        !aggregate.AdmitsColumns(member.inputs, rows) ||
        !ForEachFold(rows, member,
                     [&](const BatchFold& fold) { return aggregate.AdmitsStates(fold); });
  }
  return true;
}

bool GroupBatch::MakesMergeableStates() const {
  return leftOver_.empty() && std::ranges::all_of(members_, [](const Member& member) {
           const Aggregate::StateMerge merge = member.aggregate->GetStateMerge();
           return merge != Aggregate::StateMerge::kNone &&
                  (merge != Aggregate::StateMerge::kOfFolds || !member.goesByRows);
         });
}

void GroupBatch::TakeRows(const BatchRows& rows, uint64 firstRow) {
  for (const Member& member : members_) {
    if (member.goesByRows) continue;
    ForEachFold(rows, member, [&](const BatchFold& fold) {
      member.aggregate->FoldBatch(fold);
      return true;
    });
  }
  ComputeRows(rows, firstRow);
  AddLeftOver(firstRow);
}

void GroupBatch::ComputeRows(const BatchRows& rows, uint64 firstRow) {
  std::vector<Member> driven;
  std::vector<bool> isRead(inputFields_.size());
  for (const Member& member : members_) {
    if (!member.goesByRows) continue;
    driven.push_back(member);
    for (const uint16 column : *member.aggregate->GetAggregateColumns()) isRead[column] = true;
  }
  if (driven.empty()) return;
  AggregateSet& set = table_.GetTurns().GetSet();
  const auto transfer = [&](StateTransfer direction, uint8* states) {
    for (Member& member : driven) {
      set.TransferState(member.index, direction, states + member.offset);
      member.aggregate = &set.Get(member.index);
    }
  };
  const auto isSkipped = [&](uint32 row) {
    return std::ranges::all_of(driven, [row](const Member& member) {
      return member.skipsNulls && member.inputs[0]->IsNull(row);
    });
  };
  const bool areAll = isOneGroup_ || isNumbered_;
  const uint32 count = areAll ? rows.GetWanted() : found_;
  uint8* current = nullptr;
  table_.TakeFromGateway([&] {
    for (uint32 i = 0; i < count; ++i) {
      const uint32 row = areAll ? rows.GetRow(i) : rows_[i];
      if (isSkipped(row)) continue;
      uint8* const states = (isOneGroup_ ? table_.groups_.front() : GroupOf(i))->States();
      if (states != current) {
        if (current != nullptr) transfer(StateTransfer::kSave, current);
        transfer(StateTransfer::kRestore, states);
        current = states;
      }
      for (std::size_t field = 0; field < inputFields_.size(); ++field) {
        if (isRead[field]) inputFields_[field].Write(row);
      }
      AtRow(firstRow + row, [&] {
        ForEachAggregate(driven, [&](Member& member) {
          CheckStatus(member.aggregate->Compute(table_.input_.GetData(), table_.input_.GetSize()));
        });
      });
    }
  });
  if (current != nullptr) transfer(StateTransfer::kSave, current);
}

void GroupBatch::AddLeftOver(uint64 firstRow) {
  for (const uint16 row : leftOver_) {
    WriteKeys(row);
    for (BatchField& field : inputFields_) field.Write(row);
    table_.Add(firstRow + row);
  }
}

}  // namespace sqxer
