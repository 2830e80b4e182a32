#pragma once

#include <memory>
#include <vector>

#include "EngineError.h"
#include "QueryPlan.h"
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

/// The aggregates of a grouped query, bound: what one live group needs.
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
  std::vector<BoundAggregate> members_;
};

}  // namespace sqxer
