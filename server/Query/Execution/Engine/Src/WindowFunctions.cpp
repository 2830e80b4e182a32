#include "WindowFunctions.h"

#include <algorithm>
#include <cstring>

#include "Utility/XeAssert.h"

namespace sqxer {
namespace {

/// A function that saw no value may leave a result as it stands: it must not be another group's.
void Clear(const WorkRecord& record) { record.GetPacker().Clear(record.GetData()); }

}  // namespace

FunctionKind KindOf(const PlanAggregate& function) {
  if (function.frame) return FunctionKind::kFramed;
  const std::unique_ptr<Aggregate> aggregate = function.make();
  // A running minimum says that it is not functional: cumulative has to be asked first.
  if (aggregate->IsCumulativeAggregate()) return FunctionKind::kCumulative;
  return aggregate->IsFunctionalAggr() ? FunctionKind::kPerRow : FunctionKind::kPerGroup;
}

WindowFunctions::WindowFunctions(const std::vector<PlanAggregate>& plan, WorkRecord& input,
                                 WorkRecord& row, WorkRecord& group, bool areRanks,
                                 OperatorTimer& timer)
    : inputSize_(input.GetSize()), row_(row), group_(group) {
  std::size_t rowField = 0;
  std::size_t groupField = 0;
  for (const PlanAggregate& planned : plan) {
    const FunctionKind kind = areRanks ? FunctionKind::kCumulative : KindOf(planned);
    const bool isPerGroup = kind == FunctionKind::kPerGroup;
    std::size_t& field = isPerGroup ? groupField : rowField;
    BoundAggregate bound = BindPlanned(planned, input, isPerGroup ? group : row, field);
    Aggregate& aggregate = *bound.aggregate;
    if (kind == FunctionKind::kFramed) {
      if (!partition_) partition_.emplace(input, timer);
      inPlanOrder_.push_back(&aggregate);
      frames_.push_back(&*planned.frame);
      framed_.emplace_back(std::move(bound), planned, input, row, field, *partition_);
      field += planned.results.size();
      continue;
    }
    Function function{std::move(bound)};
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

WindowFunctions::Framed::Framed(BoundAggregate bound, const PlanAggregate& planned,
                                const WorkRecord& input, const WorkRecord& row,
                                std::size_t firstResult, WindowPartition& partition)
    : BoundAggregate(std::move(bound)),
      cursor(*planned.frame, input, partition),
      rows(input, partition),
      function(dynamic_cast<WindowFunction*>(aggregate.get())) {
  if (function == nullptr) aggregator.emplace(*aggregate, input.GetSize(), rows);
  if (planned.results.size() == 1) return;
  for (std::size_t i = 0; i < planned.results.size(); ++i) {
    const XeFieldDescriptor& field = row.GetField(firstResult + i);
    cleared.push_back({field.GetDataOffset(), XeRecordMetaData::GetByteLength(
                                                  field.GetDataType(), field.GetLength(), true)});
  }
}

void WindowFunctions::Framed::Begin() {
  cursor.Begin();
  rows.Begin();
  if (aggregator) aggregator->Begin();
}

void WindowFunctions::Framed::Output(uint8* row) {
  for (const Bytes& bytes : cleared) std::memset(row + bytes.offset, 0, bytes.count);
  const WindowPlace& place = cursor.Next();
  if (function != nullptr) {
    function->OutputAt(place, rows, row);
  } else {
    aggregator->Output(place.frame, row);
  }
}

bool WindowFunctions::Reads(std::size_t field) const {
  const auto isOfFrame = [field](const WindowFrame* frame) {
    return frame->IsRangeOfValues() &&
           (field == frame->key || (frame->from.IsOffset() && field == frame->from.value) ||
            (frame->to.IsOffset() && field == frame->to.value));
  };
  if (std::ranges::any_of(frames_, isOfFrame)) return true;
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
  if (partition_) partition_->Begin();
  const auto restart = [](Function& function) { function.aggregate->Initialize(true); };
  ForEachAggregate(cumulative_, restart);
  ForEachAggregate(perRow_, restart);
  // Not a restart, which would keep what a group holds that an error has left open.
  ForEachAggregate(perGroup_, [](Function& function) { function.aggregate->Initialize(false); });
}

void WindowFunctions::Take(uint8* input, bool startsPeers) {
  if (partition_) partition_->Append(input, startsPeers);
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
  if (partition_) partition_->End();
  ForEachAggregate(framed_, [](Framed& function) { function.Begin(); });
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
  ForEachAggregate(framed_, [row](Framed& function) { function.Output(row); });
}

}  // namespace sqxer
