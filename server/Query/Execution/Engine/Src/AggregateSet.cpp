#include "AggregateSet.h"

namespace sqxer {

std::vector<ColumnInfo> ResultsOf(const std::vector<PlanAggregate>& plan) {
  std::vector<ColumnInfo> fields;
  for (const PlanAggregate& planned : plan) {
    fields.insert(fields.end(), planned.results.begin(), planned.results.end());
  }
  return fields;
}

std::vector<BoundAggregate> BindAggregates(const std::vector<PlanAggregate>& plan,
                                           WorkRecord& input, WorkRecord& target,
                                           std::size_t firstResult) {
  std::vector<BoundAggregate> bound;
  bound.reserve(plan.size());
  std::size_t field = firstResult;
  for (const PlanAggregate& planned : plan) {
    std::unique_ptr<Aggregate> generic = planned.make();
    generic->SetSourcePosition(planned.position);
    MetaDataInfo info;
    bound.push_back({BindAggregate(std::move(generic), input.GetLayout(), target.GetLayout(),
                                   static_cast<unsigned short>(field), info),
                     planned.position});
    field += planned.results.size();
  }
  return bound;
}

void AggregateSet::Initialize() {
  ForEachAggregate(members_, [](BoundAggregate& member) { member.aggregate->Initialize(true); });
}

void AggregateSet::Compute(uint8* inputRecord, uint32 size) {
  ForEachAggregate(members_, [&](BoundAggregate& member) {
    CheckStatus(member.aggregate->Compute(inputRecord, size));
  });
}

void AggregateSet::Output(uint8* groupRecord) {
  ForEachAggregate(members_, [&](BoundAggregate& member) {
    CheckStatus(member.aggregate->Finalize());
    member.aggregate->Output(groupRecord);
  });
}

}  // namespace sqxer
