#include "PlanSplit.h"

#include <algorithm>
#include <iterator>
#include <numeric>

#include "GroupRun.h"
#include "SQXERExprAggregateCount.h"
#include "SQXERExprAggregateExtreme.h"
#include "SQXERExprAggregateFirst.h"
#include "SQXERExprAggregateRange.h"
#include "SQXERExprConstant.h"
#include "SQXERExprExtract.h"
#include "SQXERMakeNode.h"
#include "StateAggregates.h"

namespace sqxer::engine {
namespace {

using Kind = DistributedPlan::Kind;

PlanExpression FieldAt(std::size_t field, const ColumnInfo& info) {
  return {std::make_unique<Extract>(static_cast<int>(field)), info, ErrorMessage::kNoPosition};
}

PlanExpression AnyConstant() {
  ColumnInfo info{L"one", XeInt4Data, sizeof(int32), 0, false};
  return {std::make_unique<ConstantInt32>(1), std::move(info), ErrorMessage::kNoPosition};
}

/// The field that a tree is and nothing else; -1 for any other.
int FieldOf(const PlanExpression& expression) {
  const auto* const column = dynamic_cast<const Extract*>(expression.tree.get());
  return column == nullptr ? -1 : column->GetFieldIndex();
}

bool CountsRows(const PlanAggregate& planned) {
  return dynamic_cast<const CountStar*>(planned.make().get()) != nullptr;
}

/// COUNT over an input.
std::unique_ptr<Aggregate> MakeCountOf(std::size_t input) {
  auto columns = std::make_unique<UInt16Vector>(1, static_cast<uint16>(input));
  return MakeNodeOf<Count>(columns, nullptr, nullptr, false, false, false);
}

/// Makes a partial result of rows, where MakeCombiner combines them. `one`: an input that every row
/// has.
std::unique_ptr<Aggregate> MakeSource(const PlanAggregate& planned, std::size_t one) {
  // COUNT(*) has no partial results; the count of a value that every row has is the same.
  if (CountsRows(planned)) return MakeCountOf(one);
  std::unique_ptr<Aggregate> whole = planned.make();
  Aggregate* const source = whole->GetSourceAggregator();
  return source == nullptr ? std::move(whole) : std::unique_ptr<Aggregate>(source);
}

/// Combines partial results, an input; null where an aggregate has none.
std::unique_ptr<Aggregate> MakeCombiner(const PlanAggregate& planned, std::size_t input) {
  const std::unique_ptr<Aggregate> whole = CountsRows(planned) ? MakeCountOf(0) : planned.make();
  auto columns = std::make_unique<UInt16Vector>(1, static_cast<uint16>(input));
  // What they pick of parts they pick again.
  if (dynamic_cast<const First*>(whole.get()) != nullptr) {
    return MakeNodeOf<First>(columns, nullptr, nullptr, false);
  }
  if (dynamic_cast<const Last*>(whole.get()) != nullptr) {
    return MakeNodeOf<Last>(columns, nullptr, nullptr, false);
  }
  std::unique_ptr<Aggregate> made(whole->GetPartialsAggregator(columns.get()));
  if (made != nullptr) columns.release();
  return made;
}

bool HasPartials(const PlanAggregate& planned) { return MakeCombiner(planned, 0) != nullptr; }

/// Whether it gives the same however often a row of a group comes.
bool IgnoresRepeats(const PlanAggregate& planned) {
  const std::unique_ptr<Aggregate> whole = planned.make();
  return planned.distinct || dynamic_cast<const ExtremeAggregate*>(whole.get()) != nullptr ||
         dynamic_cast<const KeptValueAggregate*>(whole.get()) != nullptr ||
         dynamic_cast<const Range*>(whole.get()) != nullptr;
}

/// The fields of what an aggregate makes of a part of its rows: its partial result, or its state;
/// none where it needs the rows.
std::vector<ColumnInfo> PartialFieldsOf(const PlanAggregate& planned,
                                        const std::vector<ColumnInfo>& inputs) {
  if (planned.distinct) return {};
  return HasPartials(planned) ? planned.results : StateFieldsOf(planned, inputs);
}

bool AreSplit(const QueryPlan& plan) {
  const std::vector<ColumnInfo> inputs = ResultsOf(plan.aggregateInputs);
  return std::ranges::all_of(plan.aggregates, [&](const PlanAggregate& planned) {
    return !PartialFieldsOf(planned, inputs).empty();
  });
}

void MakeSources(QueryPlan& plan) {
  const std::vector<ColumnInfo> inputs = ResultsOf(plan.aggregateInputs);
  const std::size_t one = inputs.size();
  for (PlanAggregate& aggregate : plan.aggregates) {
    if (CountsRows(aggregate) && one == plan.aggregateInputs.size()) {
      plan.aggregateInputs.push_back(AnyConstant());
    }
    if (HasPartials(aggregate)) {
      aggregate.make = [whole = aggregate, one] { return MakeSource(whole, one); };
    } else {
      aggregate.results = StateFieldsOf(aggregate, inputs);
      aggregate.make = [make = aggregate.make] { return MakeStateSource(make()); };
    }
  }
}

/// Has the aggregates combine what those of MakeSources have made, fields of the inputs, to their
/// results, or with `givesPartials` to the same again. `inputs`: those of the whole statement.
void MakeCombiners(QueryPlan& plan, const std::vector<ColumnInfo>& inputs, bool givesPartials) {
  const auto rows = std::make_shared<WorkRecord>(inputs);
  std::size_t first = 0;
  for (PlanAggregate& aggregate : plan.aggregates) {
    const std::vector<ColumnInfo> fields = PartialFieldsOf(aggregate, inputs);
    if (HasPartials(aggregate)) {
      aggregate.make = [whole = aggregate, first] { return MakeCombiner(whole, first); };
      // Where no state has come a sum of counts is NULL.
      aggregate.results[0].nullable = true;
    } else {
      if (givesPartials) aggregate.results = fields;
      aggregate.make = [make = aggregate.make, rows, first, givesPartials] {
        return MakeStateMerger(make(), rows, first, givesPartials);
      };
    }
    first += fields.size();
  }
}

/// Outputs that are the fields of the record that outputs read.
void OutputFields(QueryPlan& plan, const std::vector<ColumnInfo>& fields, std::size_t first = 0) {
  plan.outputs.clear();
  for (std::size_t i = first; i < fields.size(); ++i) {
    plan.outputs.push_back(FieldAt(i, fields[i]));
  }
}

/// The keys of states: those of the groups, and what tells grouping sets apart. Rows that travel
/// whole are put into the groups of all sets afterwards.
std::size_t CountKeyFields(const QueryPlan& plan, Kind kind) {
  return plan.groupKeys.size() + (kind == Kind::kSplit ? plan.groupings.size() : 0);
}

bool IsInAllSets(const QueryPlan& plan, std::size_t key) {
  return std::ranges::all_of(plan.groupingSets, [key](const PlanGroupingSet& set) {
    return std::ranges::binary_search(set.keys, key);
  });
}

/// What comes behind the rows or groups of a step, but for the outputs, is left to a later one.
void DropLaterSteps(QueryPlan& plan) {
  plan.having = nullptr;
  plan.windows.clear();
  plan.windowResults.clear();
  plan.order.clear();
  plan.limit.reset();
  plan.offset = 0;
}

void ShowAllOutputs(QueryPlan& plan) {
  // A result has columns.
  if (plan.outputs.empty()) plan.outputs.push_back(AnyConstant());
  plan.visibleOutputs = static_cast<int>(plan.outputs.size());
}

void ReadStates(QueryPlan& plan, const TableSchema& states) {
  plan.scanRecord = states.columns;
  plan.scanColumns.resize(states.columns.size());
  std::iota(plan.scanColumns.begin(), plan.scanColumns.end(), uint16{0});
  plan.filter = nullptr;
}

/// Without keys there is a group though there be no row. Where there is to be none, all rows have
/// a key in common.
bool AddCommonKey(QueryPlan& plan) {
  if (!plan.groupKeys.empty() || !plan.groupings.empty()) return false;
  plan.groupKeys.push_back(AnyConstant());
  return true;
}

void Append(std::vector<ColumnInfo>& fields, const std::vector<ColumnInfo>& more) {
  fields.insert(fields.end(), more.begin(), more.end());
}

}  // namespace

PlanSplit::PlanSplit(const QueryPlan& plan) {
  if (plan.grouped) {
    kind_ = AreSplit(plan) ? Kind::kSplit : Kind::kWhole;
    travelsOnce_ = kind_ == Kind::kWhole && std::ranges::all_of(plan.aggregates, IgnoresRepeats);
  } else if (!plan.windows.empty()) {
    kind_ = Kind::kWindows;
  } else if (plan.distinct) {
    kind_ = Kind::kDistinct;
  }
  FindExchange(plan);
}

bool PlanSplit::HasGroupOfNoRows(const QueryPlan& plan) {
  const auto isEmpty = [](const PlanGroupingSet& set) { return set.keys.empty(); };
  if (!plan.groupingSets.empty()) return std::ranges::any_of(plan.groupingSets, isEmpty);
  return plan.grouped && plan.groupKeys.empty();
}

void PlanSplit::FindExchange(const QueryPlan& plan) {
  // Rows that are to meet anywhere agree in these: the keys of groups, windows and DISTINCT that
  // are common to all of them.
  const bool isOneWindow = kind_ == Kind::kWindows && plan.windows.size() == 1 && !plan.distinct;
  std::size_t keys = CountKeyFields(plan, kind_);
  if (kind_ == Kind::kRows) return;
  if (kind_ == Kind::kDistinct) keys = plan.outputs.size();
  if (kind_ == Kind::kWindows) keys = static_cast<std::size_t>(plan.windows[0].partitionKeys);
  for (std::size_t key = 0; key < keys; ++key) {
    // As the field of the record that windows and outputs read.
    const int field =
        kind_ == Kind::kWindows ? FieldOf(plan.windows[0].inputs[key]) : static_cast<int>(key);
    const auto isField = [field](const PlanExpression& tree) { return FieldOf(tree) == field; };
    const bool isInWindows = std::ranges::all_of(plan.windows, [&](const PlanWindow& window) {
      const auto end = window.inputs.begin() + window.partitionKeys;
      return std::find_if(window.inputs.begin(), end, isField) != end;
    });
    const bool isInOutputs = !plan.distinct || std::ranges::any_of(plan.outputs, isField);
    const bool isInSets = kind_ != Kind::kWhole || IsInAllSets(plan, key);
    const bool isCommon = field >= 0 && isInWindows && isInOutputs && isInSets;
    if (kind_ == Kind::kDistinct || isOneWindow || isCommon) exchange_.push_back(key);
  }
}

std::vector<ColumnInfo> PlanSplit::GetFields(const QueryPlan& plan) const {
  std::vector<ColumnInfo> fields;
  switch (kind_) {
    case Kind::kRows:
      break;
    case Kind::kSplit:
      fields = ResultsOf(plan.groupKeys);
      Append(fields, plan.groupings);
      for (const PlanAggregate& planned : plan.aggregates) {
        Append(fields, PartialFieldsOf(planned, ResultsOf(plan.aggregateInputs)));
      }
      break;
    case Kind::kWhole:
      fields = ResultsOf(plan.groupKeys);
      Append(fields, ResultsOf(plan.aggregateInputs));
      break;
    case Kind::kDistinct:
      fields = ResultsOf(plan.outputs);
      break;
    case Kind::kWindows:
      fields = plan.scanRecord;
      break;
  }
  return fields;
}

std::vector<std::size_t> PlanSplit::MakePartial(QueryPlan& plan) const {
  std::vector<std::size_t> exchange = exchange_;
  const std::vector<ColumnInfo> fields = GetFields(plan);
  std::vector<PlanWindow> windows = std::move(plan.windows);
  DropLaterSteps(plan);
  if (kind_ == Kind::kSplit) {
    MakeSources(plan);
    plan.opensEmptySets = false;
    const bool hasCommonKey = AddCommonKey(plan);
    OutputFields(plan, GroupRun::FieldsOf(plan), hasCommonKey ? 1 : 0);
    plan.distinct = false;
  } else if (kind_ == Kind::kWhole) {
    plan.outputs = std::move(plan.groupKeys);
    std::ranges::move(plan.aggregateInputs, std::back_inserter(plan.outputs));
    plan.groupKeys.clear();
    plan.groupingSets.clear();
    plan.groupings.clear();
    plan.aggregateInputs.clear();
    plan.aggregates.clear();
    plan.grouped = false;
    plan.distinct = travelsOnce_;
  } else if (kind_ == Kind::kWindows) {
    OutputFields(plan, fields);
    for (std::size_t& key : exchange) {
      plan.outputs.push_back(std::move(windows[0].inputs[key]));
      key = plan.outputs.size() - 1;
    }
    plan.distinct = false;
  }
  ShowAllOutputs(plan);
  return exchange;
}

void PlanSplit::GroupStates(QueryPlan& plan, const TableSchema& states, bool givesStates) const {
  const std::size_t keys = CountKeyFields(plan, kind_);
  for (std::size_t i = 0; i < plan.groupKeys.size(); ++i) {
    plan.groupKeys[i].tree = std::make_unique<Extract>(static_cast<int>(i));
  }
  if (kind_ == Kind::kSplit) {
    // States of all sets are groups of one: what tells sets apart is a key of them.
    for (std::size_t i = plan.groupKeys.size(); i < keys; ++i) {
      plan.groupKeys.push_back(FieldAt(i, states.columns[i]));
    }
    plan.groupings.clear();
    plan.groupingSets.clear();
  }
  if (kind_ == Kind::kSplit) MakeCombiners(plan, ResultsOf(plan.aggregateInputs), givesStates);
  plan.aggregateInputs.clear();
  for (std::size_t i = keys; i < states.columns.size(); ++i) {
    plan.aggregateInputs.push_back(FieldAt(i, states.columns[i]));
  }
}

std::vector<std::size_t> PlanSplit::MakeCombine(QueryPlan& plan, const TableSchema& states) const {
  ReadStates(plan, states);
  DropLaterSteps(plan);
  if (kind_ == Kind::kDistinct) {
    OutputFields(plan, states.columns);
  } else {
    GroupStates(plan, states, true);
    const bool hasCommonKey = AddCommonKey(plan);
    OutputFields(plan, GroupRun::FieldsOf(plan), hasCommonKey ? 1 : 0);
    plan.distinct = false;
  }
  ShowAllOutputs(plan);
  return exchange_;
}

void PlanSplit::MakeFinish(QueryPlan& plan, const TableSchema& states) const {
  ReadStates(plan, states);
  if (plan.grouped) {
    GroupStates(plan, states, false);
  } else if (kind_ == Kind::kDistinct) {
    for (std::size_t i = 0; i < plan.outputs.size(); ++i) {
      plan.outputs[i].tree = std::make_unique<Extract>(static_cast<int>(i));
    }
  }
}

}  // namespace sqxer::engine
