#include "AggregateSet.h"

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
                           WorkRecord& group, std::size_t firstResult) {
  members_.reserve(plan.size());
  for (const PlanAggregate& planned : plan) {
    members_.push_back(BindPlanned(planned, input, group, firstResult));
    firstResult += planned.results.size();
  }
}

void AggregateSet::Initialize() {
  ForEachAggregate(members_, [](BoundAggregate& member) { member.aggregate->Initialize(true); });
}

void AggregateSet::Compute(uint8* inputRecord, uint32 size) {
  ForEachAggregate(members_, [&](BoundAggregate& member) {
    CheckStatus(member.aggregate->Compute(inputRecord, size));
  });
}

std::optional<uint32> AggregateSet::CountStateBytes() {
  uint32 total = 0;
  for (BoundAggregate& member : members_) {
    const uint32 bytes = member.aggregate->TransferState(StateTransfer::kMeasure, nullptr);
    if (bytes == 0) return std::nullopt;
    total += bytes;
  }
  return total;
}

void AggregateSet::TransferStates(StateTransfer transfer, uint8* states) {
  for (BoundAggregate& member : members_) {
    states += member.aggregate->TransferState(transfer, states);
  }
}

void AggregateSet::Output(uint8* groupRecord) {
  ForEachAggregate(members_, [&](BoundAggregate& member) {
    CheckStatus(member.aggregate->Finalize());
    member.aggregate->Output(groupRecord);
  });
}

}  // namespace sqxer
