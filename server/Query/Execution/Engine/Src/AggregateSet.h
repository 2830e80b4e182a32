#pragma once

#include <memory>
#include <vector>

#include "QueryPlan.h"
#include "WorkRecord.h"

namespace sqxer {

/// The aggregates of a grouped query, bound: what one live group needs. Errors carry the place of
/// their aggregate in the SQL.
class AggregateSet {
 public:
  /// Makes and binds one of each. They read `input`; their results go to the fields of `group` from
  /// `firstResult` on.
  AggregateSet(const std::vector<PlanAggregate>& plan, WorkRecord& input, WorkRecord& group,
               std::size_t firstResult);

  void Initialize();
  void Compute(uint8* inputRecord, uint32 size);
  /// Finalizes, and writes every result into the group record.
  void Output(uint8* groupRecord);

  Aggregate& Get(std::size_t index) { return *members_[index].aggregate; }

 private:
  struct Member {
    std::unique_ptr<Aggregate> aggregate;
    int position;
  };
  template <class Action>
  void ForEach(Action&& action);

  std::vector<Member> members_;
};

}  // namespace sqxer
