#pragma once

#include <vector>

#include "Engine/DistributedPlan.h"
#include "QueryPlan.h"

namespace sqxer::engine {

/// How the plan of a statement is taken apart into steps, each again a plan. What a step hands on
/// are its outputs, the fields of states first.
class PlanSplit {
 public:
  using Kind = DistributedPlan::Kind;

  PlanSplit() = default;
  explicit PlanSplit(const QueryPlan& plan);

  Kind GetKind() const { return kind_; }
  /// Whether states that do not belong together are told apart.
  bool HasExchange() const { return !exchange_.empty(); }
  /// The fields of states, as far as they are known without rows: texts may have to be longer.
  std::vector<ColumnInfo> GetFields(const QueryPlan& plan) const;

  /// Whether there is a group though no row comes: one without keys.
  static bool HasGroupOfNoRows(const QueryPlan& plan);

  // Each makes a plan of the whole statement that of a step, and returns the outputs by which
  // states are told apart.
  std::vector<std::size_t> MakePartial(QueryPlan& plan) const;
  /// Of kSplit and kDistinct. It reads the table of states, as those below do.
  std::vector<std::size_t> MakeCombine(QueryPlan& plan, const TableSchema& states) const;
  void MakeFinish(QueryPlan& plan, const TableSchema& states) const;

 private:
  void FindExchange(const QueryPlan& plan);
  /// Has the groups be those of states; with `givesStates` their results are states again.
  void GroupStates(QueryPlan& plan, const TableSchema& states, bool givesStates) const;

  Kind kind_ = Kind::kRows;
  /// Of kWhole: rows that a part has twice need not travel twice.
  bool travelsOnce_ = false;
  /// Group keys, outputs of kDistinct, or partition keys of the first window.
  std::vector<std::size_t> exchange_;
};

}  // namespace sqxer::engine
