#include "WindowFunctions.h"

#include <algorithm>

#include "Utility/XeAssert.h"

namespace sqxer {
namespace {

/// A function that saw no value may leave a result as it stands: it must not be another group's.
void Clear(const WorkRecord& record) { record.GetPacker().Clear(record.GetData()); }

}  // namespace

FunctionKind KindOf(const PlanAggregate& function) {
  const std::unique_ptr<Aggregate> aggregate = function.make();
  // A running minimum says that it is not functional: cumulative has to be asked first.
  if (aggregate->IsCumulativeAggregate()) return FunctionKind::kCumulative;
  return aggregate->IsFunctionalAggr() ? FunctionKind::kPerRow : FunctionKind::kPerGroup;
}

WindowFunctions::WindowFunctions(const std::vector<PlanAggregate>& plan, WorkRecord& input,
                                 WorkRecord& row, WorkRecord& group, bool areRanks)
    : inputSize_(input.GetSize()), row_(row), group_(group) {
  std::size_t rowField = 0;
  std::size_t groupField = 0;
  for (const PlanAggregate& planned : plan) {
    const FunctionKind kind = areRanks ? FunctionKind::kCumulative : KindOf(planned);
    const bool isPerGroup = kind == FunctionKind::kPerGroup;
    std::size_t& field = isPerGroup ? groupField : rowField;
    Function function{BindPlanned(planned, input, isPerGroup ? group : row, field)};
    Aggregate& aggregate = *function.aggregate;
    if (areRanks) static_cast<Rank&>(aggregate).TakeRowsInOrder();
    inPlanOrder_.push_back(&aggregate);
    if (kind == FunctionKind::kPerRow && aggregate.NeedNullFiltering()) {
      XE_ASSERT(planned.results.size() == 1 && row.GetField(field).IsNullable());
      function.leavesNullsOut = leaveNullsOut_ = true;
      function.inputNull = input.GetField(aggregate.GetAggregateColumns()->at(0)).GetNullOffset();
      function.resultNull = row.GetField(field).GetNullOffset();
    }
    field += planned.results.size();
    auto& alike = kind == FunctionKind::kCumulative ? cumulative_
                  : isPerGroup                      ? perGroup_
                                                    : perRow_;
    alike.push_back(std::move(function));
  }
}

bool WindowFunctions::Reads(std::size_t field) const {
  return std::ranges::any_of(inPlanOrder_, [&](const Aggregate* function) {
    const auto isIn = [&](const UInt16Vector* columns) {
      return std::ranges::find(*columns, field) != columns->end();
    };
    return isIn(function->GetAggregateColumns()) || isIn(function->GetControlBreakColumns()) ||
           isIn(function->GetDistinctBreakColumns());
  });
}

void WindowFunctions::StartGroup() {
  if (!cumulative_.empty()) Clear(row_);
  const auto restart = [](Function& function) { function.aggregate->Initialize(true); };
  ForEachAggregate(cumulative_, restart);
  ForEachAggregate(perRow_, restart);
  // Not a restart, which would keep what a group holds that an error has left open.
  ForEachAggregate(perGroup_, [](Function& function) { function.aggregate->Initialize(false); });
}

void WindowFunctions::Take(uint8* input) {
  uint8* const row = row_.GetData();
  const auto compute = [&](Function& function) {
    CheckStatus(function.aggregate->Compute(input, inputSize_));
  };
  ForEachAggregate(cumulative_, [&](Function& function) {
    compute(function);
    CheckStatus(function.aggregate->Finalize());
    function.aggregate->Output(row);
  });
  ForEachAggregate(perRow_, [&](Function& function) {
    const bool isLeftOut = input[function.inputNull] != 0;
    if (function.leavesNullsOut) row[function.resultNull] = isLeftOut ? 1 : 0;
    if (!isLeftOut) compute(function);
  });
  ForEachAggregate(perGroup_, compute);
}

void WindowFunctions::TakeRank(bool isTie) {
  for (Function& function : cumulative_) {
    Rank& rank = static_cast<Rank&>(*function.aggregate);
    rank.ComputeInOrder(isTie);
    rank.Output(row_.GetData());
  }
}

void WindowFunctions::EndGroup() {
  const auto finalize = [](Function& function) { CheckStatus(function.aggregate->Finalize()); };
  ForEachAggregate(perRow_, finalize);
  if (perGroup_.empty()) return;
  Clear(group_);
  ForEachAggregate(perGroup_, [&](Function& function) {
    finalize(function);
    function.aggregate->Output(group_.GetData());
  });
}

void WindowFunctions::OutputRows() {
  uint8* const row = row_.GetData();
  ForEachAggregate(perRow_, [&](Function& function) {
    if (function.leavesNullsOut && row[function.resultNull] != 0) return;
    function.aggregate->Output(row);
  });
}

}  // namespace sqxer
