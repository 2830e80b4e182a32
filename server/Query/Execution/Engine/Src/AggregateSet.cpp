#include "AggregateSet.h"

#include "EngineError.h"

namespace sqxer {

AggregateSet::AggregateSet(const std::vector<PlanAggregate>& plan, WorkRecord& input,
                           WorkRecord& group, std::size_t firstResult) {
  members_.reserve(plan.size());
  std::size_t field = firstResult;
  for (const PlanAggregate& planned : plan) {
    std::unique_ptr<Aggregate> generic = planned.make();
    generic->SetSourcePosition(planned.position);
    MetaDataInfo info;
    members_.push_back({BindAggregate(std::move(generic), input.GetLayout(), group.GetLayout(),
                                      static_cast<unsigned short>(field), info),
                        planned.position});
    field += planned.results.size();
  }
}

template <class Action>
void AggregateSet::ForEach(Action&& action) {
  int position = ErrorMessage::kNoPosition;
  try {
    for (Member& member : members_) {
      position = member.position;
      action(*member.aggregate);
    }
  } catch (ErrorMessage& error) {
    error.SetSourcePosition(position);
    throw;
  }
}

void AggregateSet::Initialize() {
  ForEach([](Aggregate& aggregate) { aggregate.Initialize(true); });
}

void AggregateSet::Compute(uint8* inputRecord, uint32 size) {
  ForEach([&](Aggregate& aggregate) {
    const RExprReturn status = aggregate.Compute(inputRecord, size);
    if (status != kTrue) ThrowEngineError(kBadStatus, {std::to_wstring(status)});
  });
}

void AggregateSet::Output(uint8* groupRecord) {
  ForEach([&](Aggregate& aggregate) {
    const RExprReturn status = aggregate.Finalize();
    if (status != kTrue) ThrowEngineError(kBadStatus, {std::to_wstring(status)});
    aggregate.Output(groupRecord);
  });
}

}  // namespace sqxer
