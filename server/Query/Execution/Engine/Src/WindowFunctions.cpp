#include "WindowFunctions.h"

#include <cstring>

#include "Utility/XeAssert.h"

namespace sqxer {

WindowFunctions::WindowFunctions(const std::vector<PlanAggregate>& plan, WorkRecord& input,
                                 WorkRecord& result)
    : inputSize_(input.GetSize()), resultSize_(result.GetSize()) {
  std::vector<BoundAggregate> bound = BindAggregates(plan, input, result, 0);
  std::size_t field = 0;
  for (std::size_t i = 0; i < plan.size(); ++i) {
    Aggregate& aggregate = *bound[i].aggregate;
    const std::size_t nextField = field + plan[i].results.size();
    Function function{std::move(bound[i]), false, 0, 0};
    // A running minimum says that it is not functional: cumulative has to be asked first.
    if (aggregate.IsCumulativeAggregate()) {
      cumulative_.push_back(std::move(function));
    } else if (aggregate.IsFunctionalAggr()) {
      if (aggregate.NeedNullFiltering()) {
        XE_ASSERT(plan[i].results.size() == 1 && result.GetField(field).IsNullable());
        function.leavesNullsOut = leaveNullsOut_ = true;
        function.inputNull = input.GetField(aggregate.GetAggregateColumns()->at(0)).GetNullOffset();
        function.resultNull = result.GetField(field).GetNullOffset();
      }
      perRow_.push_back(std::move(function));
    } else {
      for (std::size_t own = field; own < nextField; ++own) {
        groupFields_.push_back(static_cast<uint16>(own));
      }
      perGroup_.push_back(std::move(function));
    }
    field = nextField;
  }
}

void WindowFunctions::StartGroup(uint8* result) {
  if (!cumulative_.empty()) std::memset(result, 0, resultSize_);
  const auto restart = [](Function& function) { function.aggregate->Initialize(true); };
  ForEachAggregate(cumulative_, restart);
  ForEachAggregate(perRow_, restart);
  // Not a restart, which would keep what a group holds that an error has left open.
  ForEachAggregate(perGroup_, [](Function& function) { function.aggregate->Initialize(false); });
}

void WindowFunctions::Take(uint8* input, uint8* result) {
  ForEachAggregate(cumulative_, [&](Function& function) {
    CheckStatus(function.aggregate->Compute(input, inputSize_));
    CheckStatus(function.aggregate->Finalize());
    function.aggregate->Output(result);
  });
  ForEachAggregate(perRow_, [&](Function& function) {
    const bool isLeftOut = input[function.inputNull] != 0;
    if (function.leavesNullsOut) result[function.resultNull] = isLeftOut ? 1 : 0;
    if (!isLeftOut) CheckStatus(function.aggregate->Compute(input, inputSize_));
  });
  ForEachAggregate(perGroup_, [&](Function& function) {
    CheckStatus(function.aggregate->Compute(input, inputSize_));
  });
}

void WindowFunctions::EndGroup(uint8* result) {
  if (!perGroup_.empty()) std::memset(result, 0, resultSize_);
  ForEachAggregate(perRow_,
                   [](Function& function) { CheckStatus(function.aggregate->Finalize()); });
  ForEachAggregate(perGroup_, [&](Function& function) {
    CheckStatus(function.aggregate->Finalize());
    function.aggregate->Output(result);
  });
}

void WindowFunctions::OutputRows(uint8* result) {
  ForEachAggregate(perRow_, [&](Function& function) {
    if (function.leavesNullsOut && result[function.resultNull] != 0) return;
    function.aggregate->Output(result);
  });
}

}  // namespace sqxer
