#include "AggregateSet.h"

#include <algorithm>

#include "SQXEROpsAggregate.h"

namespace sqxer {

std::vector<ColumnInfo> ResultsOf(const std::vector<PlanAggregate>& plan) {
  std::vector<ColumnInfo> fields;
  for (const PlanAggregate& planned : plan) {
    fields.insert(fields.end(), planned.results.begin(), planned.results.end());
  }
  return fields;
}

BoundAggregate BindPlanned(const PlanAggregate& planned, WorkRecord& input, WorkRecord& target,
                           std::size_t firstResult) {
  std::unique_ptr<Aggregate> generic = planned.make();
  generic->SetSourcePosition(planned.position);
  MetaDataInfo info;
  return {BindAggregate(std::move(generic), input.GetLayout(), target.GetLayout(),
                        static_cast<unsigned short>(firstResult), info),
          planned.position};
}

AggregateSet::AggregateSet(const std::vector<PlanAggregate>& plan, WorkRecord& input,
                           WorkRecord& group, std::size_t firstResult)
    : plan_(&plan), input_(&input), group_(&group) {
  members_.reserve(plan.size());
  for (std::size_t i = 0; i < plan.size(); ++i) {
    members_.push_back(
        {.aggregate = nullptr, .position = plan[i].position, .firstResult = firstResult});
    members_.back().aggregate = Make(i);
    firstResult += plan[i].results.size();
  }
}

Aggregate* AggregateSet::Make(std::size_t index) {
  made_.push_back(
      BindPlanned((*plan_)[index], *input_, *group_, members_[index].firstResult).aggregate);
  return made_.back().get();
}

void AggregateSet::KeepStates(HeldMemory& memory) {
  // Without keys before the results there is one group.
  const bool isOneGroup = !members_.empty() && members_.front().firstResult == 0;
  for (Member& member : members_) {
    if (isOneGroup) member.aggregate->KeepLongValues();
    const auto shares = [&](const Member& earlier) {
      return &earlier < &member && member.aggregate->ShareHeld(*earlier.aggregate);
    };
    const bool isHeld =
        std::ranges::any_of(members_, shares) || member.aggregate->HoldTogether(memory);
    member.hasObjects = member.aggregate->TransferState(StateTransfer::kMeasure, nullptr) == 0;
    hasOneStart_ = hasOneStart_ && !isHeld && !member.hasObjects;
  }
}

void AggregateSet::Initialize() {
  ForEachAggregate(members_, [this](Member& member) {
    if (member.hasObjects)
      member.aggregate = Make(static_cast<std::size_t>(&member - &members_[0]));
    member.aggregate->Initialize(true);
  });
}

void AggregateSet::Compute(uint8* inputRecord, uint32 size) {
  ForEachAggregate(
      members_, [&](Member& member) { CheckStatus(member.aggregate->Compute(inputRecord, size)); });
}

std::optional<uint32> AggregateSet::CountStateBytes() {
  uint32 total = 0;
  for (std::size_t i = 0; i < members_.size(); ++i) {
    const uint32 bytes = TransferState(i, StateTransfer::kMeasure, nullptr);
    if (bytes == 0) return std::nullopt;
    members_[i].stateBytes = bytes;
    total += bytes;
  }
  return total;
}

uint32 AggregateSet::TransferState(std::size_t index, StateTransfer transfer, uint8* state) {
  Member& member = members_[index];
  if (!member.hasObjects) return member.aggregate->TransferState(transfer, state);
  if (transfer == StateTransfer::kSave) StoreValue(state, member.aggregate);
  if (transfer == StateTransfer::kRestore) member.aggregate = LoadValue<Aggregate*>(state);
  return sizeof(Aggregate*);
}

void AggregateSet::TransferStates(StateTransfer transfer, uint8* states) {
  for (std::size_t i = 0; i < members_.size(); ++i) states += TransferState(i, transfer, states);
}

void AggregateSet::OutputStates(uint8* states, uint8* groupRecord) {
  ForEachAggregate(members_, [&](Member& member) {
    uint8* const state = states;
    states += member.stateBytes;
    if (!member.hasObjects) {
      if (member.aggregate->OutputState(state, groupRecord)) return;
      // What Finalize has left of the group before is not part of a state.
      member.aggregate->Initialize(true);
    }
    TransferState(static_cast<std::size_t>(&member - &members_[0]), StateTransfer::kRestore, state);
    CheckStatus(member.aggregate->Finalize());
    member.aggregate->Output(groupRecord);
  });
}

void AggregateSet::Output(uint8* groupRecord) {
  ForEachAggregate(members_, [&](Member& member) {
    CheckStatus(member.aggregate->Finalize());
    member.aggregate->Output(groupRecord);
  });
}

}  // namespace sqxer
