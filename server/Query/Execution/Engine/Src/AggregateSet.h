#pragma once

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "EngineError.h"
#include "QueryPlan.h"
#include "SQXERHeldMemory.h"
#include "WorkRecord.h"

namespace sqxer {

/// An aggregate that is bound to its records, with the place of its call in the SQL.
struct BoundAggregate {
  std::unique_ptr<Aggregate> aggregate;
  int position;
};

/// The fields that aggregates give.
std::vector<ColumnInfo> ResultsOf(const std::vector<PlanAggregate>& plan);

/// Makes and binds one. It reads `input`; its results go to the fields of `target` from
/// `firstResult` on. Errors carry its place in the SQL.
BoundAggregate BindPlanned(const PlanAggregate& planned, WorkRecord& input, WorkRecord& target,
                           std::size_t firstResult);

/// Calls `action` for each of a range of bound aggregates. Errors carry the aggregate's place.
template <class Members, class Action>
void ForEachAggregate(Members& members, Action&& action) {
  int position = ErrorMessage::kNoPosition;
  try {
    for (auto& member : members) {
      position = member.position;
      action(member);
    }
  } catch (ErrorMessage& error) {
    error.SetSourcePosition(position);
    throw;
  }
}

/// Compute and Finalize, whose status must be kTrue: error 57100 (status).
inline void CheckStatus(RExprReturn status) {
  if (status != kTrue) ThrowEngineError(kBadStatus, {std::to_wstring(status)});
}

/// The aggregates of a grouped query, bound: those of one group at a time.
class AggregateSet {
 public:
  /// Makes and binds one of each. They read `input`; their results go to the fields of `group` from
  /// `firstResult` on.
  AggregateSet(const std::vector<PlanAggregate>& plan, WorkRecord& input, WorkRecord& group,
               std::size_t firstResult);

  /// Has every aggregate have states: those that hold values do so for all groups together, or
  /// there is an object of the aggregate for each group, and its address is the state. To be called
  /// before the first group; `memory` must outlive the set.
  void KeepStates(HeldMemory& memory);
  /// Whether there is an object of the aggregate for each group.
  bool HasObjects(std::size_t index) const { return members_[index].hasObjects; }

  /// Whether each group starts with the same states.
  bool HasOneStart() const { return hasOneStart_; }

  /// Starts a group. Where there are objects for each group, makes its own.
  void Initialize();
  void Compute(uint8* inputRecord, uint32 size);
  /// Finalizes, and writes every result into the group record.
  void Output(uint8* groupRecord);
  /// The same of a group with these states; no group goes on from then on.
  void OutputStates(uint8* states, uint8* groupRecord);

  /// The bytes of all states of a group; nothing when an aggregate has none. To be called before
  /// states are taken out.
  std::optional<uint32> CountStateBytes();
  /// kSave or kRestore.
  void TransferStates(StateTransfer transfer, uint8* states);
  /// The same of one aggregate, with kMeasure too; returns the bytes of its state.
  uint32 TransferState(std::size_t index, StateTransfer transfer, uint8* state);

  std::size_t GetCount() const { return members_.size(); }
  Aggregate& Get(std::size_t index) { return *members_[index].aggregate; }
  int GetPosition(std::size_t index) const { return members_[index].position; }

 private:
  struct Member {
    /// That of the current group.
    Aggregate* aggregate;
    int position;
    uint32 stateBytes = 0;
    bool hasObjects = false;
    std::size_t firstResult;
  };
  /// Makes and binds one, and returns it.
  Aggregate* Make(std::size_t index);

  const std::vector<PlanAggregate>* plan_;
  WorkRecord* input_;
  WorkRecord* group_;
  std::vector<Member> members_;
  std::vector<std::unique_ptr<Aggregate>> made_;
  bool hasOneStart_ = true;
};

/// One set of aggregates that takes turns among groups, whose states the owner keeps: a group then
/// needs a few bytes and not objects of its own. States are known by their addresses.
class TurnTakingSet {
 public:
  /// With `memory`, which must outlive it, each of the aggregates has states: see KeepStates.
  explicit TurnTakingSet(AggregateSet aggregates, HeldMemory* memory = nullptr)
      : aggregates_(std::move(aggregates)) {
    if (memory != nullptr) aggregates_.KeepStates(*memory);
    stateBytes_ = aggregates_.CountStateBytes();
  }

  /// The room that a group's states take; nothing when these aggregates cannot take turns.
  std::optional<uint32> GetStateBytes() const { return stateBytes_; }

  AggregateSet& GetSet() { return aggregates_; }
  /// Puts the states of the group that was last gone on with where the owner keeps them.
  void Settle() {
    Save();
    turn_ = nullptr;
  }

  /// Starts the group of these states as others have started; false where that takes the
  /// aggregates themselves.
  bool TryOpen(uint8* states) {
    if (!hasStart_) return false;
    std::copy(start_.begin(), start_.end(), states);
    return true;
  }
  /// Starts the group of these states.
  void Open(uint8* states) {
    if (TryOpen(states)) return;
    Save();
    aggregates_.Initialize();
    turn_ = states;
    if (!aggregates_.HasOneStart()) return;
    Save();
    start_.assign(states, states + *stateBytes_);
    hasStart_ = true;
  }
  /// The aggregates, going on with the group of these states.
  AggregateSet& Resume(uint8* states) {
    if (states != turn_) {
      Save();
      aggregates_.TransferStates(StateTransfer::kRestore, states);
      turn_ = states;
    }
    return aggregates_;
  }
  /// Writes the results of the group of these states; no group goes on from then on.
  void Output(uint8* states, uint8* groupRecord) {
    Settle();
    aggregates_.OutputStates(states, groupRecord);
  }

 private:
  void Save() {
    if (turn_ != nullptr) aggregates_.TransferStates(StateTransfer::kSave, turn_);
  }

  AggregateSet aggregates_;
  std::optional<uint32> stateBytes_;
  uint8* turn_ = nullptr;
  /// What every group starts with, if that is one thing, from the first group on.
  std::vector<uint8> start_;
  bool hasStart_ = false;
};

}  // namespace sqxer
