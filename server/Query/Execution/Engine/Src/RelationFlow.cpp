#include "RelationFlow.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "EngineError.h"
#include "QuietProgress.h"
#include "RelationSource.h"
#include "RunProfile.h"
#include "Session.h"
#include "SqlNames.h"
#include "TableReads.h"
#include "Utility/Instead.h"

namespace sqxer {

FlowRules RelationRun::FindFlowRules(const SqlSelect& select, const FlowRules& around) const {
  const TableRequest reads = FindTableReads(select);
  const bool isSorted = !select.orderBy.empty() || !select.distinctOn.empty();
  FlowRules rules;
  rules.files = around.files && !isDry_ && reads.onePass;
  // Rows in memory are sorted by their numbers, which is faster.
  rules.tables = around.tables && rules.files && (!isSorted || MakesGroups(select));
  rules.canStartAgain = around.canStartAgain || reads.canStartAgain;
  return rules;
}

uint64 RelationRun::CountFirstRows() {
  // Where tables are hardly kept, rows are not either.
  constexpr uint64 kMost = uint64{1} << 17;
  return std::min(kMost, Settings::Current()->GetSwitches().tableMemory_);
}

void RelationRun::Buffer(Flow& flow, uint64 most) {
  if (!flow.rest || flow.rows->rowCount > most) return;
  auto rows = std::make_shared<Table>(*flow.rows);
  while (flow.rest && rows->rowCount <= most) {
    if (const TableChunk* const chunk = flow.rest->Next()) {
      rows->chunks.push_back(*chunk);
      rows->rowCount += chunk->rows;
    } else {
      flow.rest = nullptr;
    }
  }
  flow.rows = rows;
}

bool RelationRun::FitsMemory(Flow& flow, uint64 bytes) {
  const StatementBudget* const budget = StatementBudget::OfThread().budget;
  if (budget == nullptr) Buffer(flow, std::numeric_limits<uint64>::max());
  const uint64 before = flow.rest ? budget->GetUsed() : 0;
  while (flow.rest && budget->GetUsed() <= before + bytes) Buffer(flow, flow.rows->rowCount);
  return flow.rest == nullptr;
}

TableRef RelationRun::TakeAll(Flow flow) {
  Buffer(flow, std::numeric_limits<uint64>::max());
  return flow.rows;
}

XeString RelationRun::Register(Flow flow) {
  Buffer(flow, CountFirstRows());
  const XeString name = Register(flow.rows);
  if (flow.rest) rests_[name] = std::move(flow.rest);
  return name;
}

std::shared_ptr<LazyTable> RelationRun::TakeMade(const XeString& name, bool withRest) {
  const TableRef rows = FindMade(name);
  if (!rows) return nullptr;
  const auto rest = rests_.find(name);
  if (rest == rests_.end()) return std::make_shared<LoadedTable>(rows);
  return std::make_shared<FlowingTable>(rows, withRest ? std::move(rest->second) : nullptr);
}

void RelationRun::DrainRests() {
  for (auto& [name, rest] : rests_) {
    while (rest && rest->Next() != nullptr) {
    }
    rest = nullptr;
  }
}

TableRef RelationRun::MakeRows(Source& source, const TableRequest& wanted, Conditions& conditions) {
  return TakeAll(OpenRows(source, wanted, conditions, FlowRules()));
}

TableRef RelationRun::MakeJoin(Source& join, const TableRequest& wanted, Conditions& conditions) {
  return TakeAll(OpenJoin(join, wanted, conditions, FlowRules()));
}

RelationRun::Flow RelationRun::OpenFilter(Flow input, const TableRequest& wanted,
                                          Conditions& conditions) {
  Conditions mine = TakeConditionsOf(input.rows->schema, conditions);
  if (mine.empty()) return input;
  if (!input.rest) {
    return {KeepTrue(input.rows, WithReads(wanted, conditions), mine), nullptr};
  }
  return OpenMap(std::move(input),
                 [this, mine, reads = WithReads(wanted, conditions)](const TableRef& rows) {
                   return KeepTrue(rows, reads, mine);
                 });
}

bool RelationRun::OpenJoinFlow(JoinSteps steps, Flow& flow) {
  const TableRef rows = WithoutRows(steps.schema);
  auto join = std::make_unique<JoinFlow>(*this, std::move(steps), std::move(flow));
  if (!join->Start()) {
    flow = join->TakeLeft();
    return false;
  }
  flow = {rows, std::move(join)};
  return true;
}

RelationRun::JoinFlow::JoinFlow(RelationRun& run, JoinSteps steps, Flow left)
    : run_(run),
      steps_(std::move(steps)),
      left_(std::move(left)),
      types_(TypesOfKeys(steps_.equalities)),
      rightKeys_(run.MakeKeys(steps_.right, steps_.equalities.right, types_)),
      probe_({rightKeys_.table.get(), rightKeys_.columns}, steps_.kind),
      gatherRight_(std::make_unique<ColumnGather>(*steps_.right, steps_.rightColumns,
                                                  std::numeric_limits<uint32>::max())),
      note_(run.notes_.size()) {
  run.notes_.emplace_back();
}

RelationRun::JoinFlow::~JoinFlow() { Note(); }

bool RelationRun::JoinFlow::Start() {
  const BudgetScope use(MemoryUse::kJoin);
  meter_.SetProgress(run_.session_.runProgress_);
  const uint64 right = steps_.right->rowCount;
  meter_.Start(RunPhase::kJoining, left_.rest ? kUnknownRows : left_.rows->rowCount + right);
  const bool isWithinMemory = EnterLeft(left_.rows, true);
  meter_.Step(right);
  return isWithinMemory;
}

bool RelationRun::JoinFlow::EnterLeft(TableRef rows, bool isFirst) {
  current_ = std::move(rows);
  leftKeys_ = run_.Beside(leftBefore_,
                          [&] { return run_.MakeKeys(current_, steps_.equalities.left, types_); });
  JoinSide left{leftKeys_.table.get(), leftKeys_.columns};
  PairFilter admits = run_.MakePairFilter(current_, steps_.right, steps_.gathered, steps_.others,
                                          steps_.leftColumns, steps_.rightColumns);
  gatherLeft_ = std::make_unique<ColumnGather>(*current_, steps_.leftColumns, current_->rowCount);
  if (isFirst) return probe_.EnterWithinMemory(std::move(left), std::move(admits));
  probe_.Enter(std::move(left), std::move(admits));
  return true;
}

bool RelationRun::JoinFlow::NextLeft() {
  leftBefore_ += current_->rowCount;
  const TableChunk* const chunk = left_.rest ? left_.rest->Next() : nullptr;
  if (chunk == nullptr) return false;
  EnterLeft(TableOfChunk(current_->schema, *chunk), false);
  return true;
}

const TableChunk* RelationRun::JoinFlow::Next() {
  const RunProfile::Scope step(RunProfile::Current(), RunProfile::Step::kJoin);
  const BudgetScope use(MemoryUse::kJoin);
  // Of a chunk that nobody has any more.
  chunk_ = {};
  do {
    const uint64 read = probe_.GetRead();
    // What decides about pairs is a query.
    while (!run_.Beside(0, [this] { return probe_.Next(rows_); })) {
      if (NextLeft()) continue;
      Note();
      return nullptr;
    }
    if (probe_.GetRead() > read) meter_.Step(probe_.GetRead() - read);
  } while (rows_.left.empty());
  TableChunk gathered;
  gatherLeft_->Append(rows_.left, gathered);
  if (!steps_.rightColumns.empty()) gatherRight_->Append(rows_.right, gathered);
  chunk_.rows = gathered.rows;
  for (const std::size_t place : steps_.places) chunk_.columns.push_back(gathered.columns[place]);
  joined_ += chunk_.rows;
  return &chunk_;
}

void RelationRun::JoinFlow::Note() {
  if (std::exchange(isNoted_, true) || steps_.name.empty()) return;
  // Where EXPLAIN has been given its lines, all rows had been taken before.
  run_.Note(note_, steps_.name, steps_.equalities.left.size(), leftBefore_, steps_.right->rowCount,
            joined_);
}

RelationRun::MapFlow::MapFlow(RelationRun& run, Flow input, MakeRowsOf make)
    : run_(run),
      input_(std::move(input)),
      make_(std::move(make)),
      schema_(make_(WithoutRows(input_.rows->schema))->schema) {}

void RelationRun::MapFlow::Make(const TableRef& rows) {
  found_ = run_.Beside(before_, [&] { return make_(rows)->chunks; });
  next_ = 0;
  before_ += rows->rowCount;
}

const TableChunk* RelationRun::MapFlow::Next() {
  if (!std::exchange(hasBegun_, true)) Make(input_.rows);
  while (next_ == found_.size()) {
    const TableChunk* const chunk = input_.rest->Next();
    if (chunk == nullptr) return nullptr;
    Make(TableOfChunk(input_.rows->schema, *chunk));
  }
  return &found_[next_++];
}

RelationRun::Flow RelationRun::OpenMap(Flow input, MakeRowsOf make) {
  auto map = std::make_unique<MapFlow>(*this, std::move(input), std::move(make));
  const TableRef rows = WithoutRows(map->GetSchema());
  return {rows, std::move(map)};
}

bool RelationRun::PassesRowsOn(const SqlQuery& query) {
  const SqlSelect& select = query.select;
  return query.IsSelect() && query.from && query.with.empty() && !MakesGroups(select) &&
         !HasWindow(select) && !select.distinct && select.distinctOn.empty() &&
         select.orderBy.empty() && !select.limit && !select.offset && !HasSubquery(select);
}

RelationRun::Flow RelationRun::Open(const SqlQuery& query, const FlowRules& rules) {
  if (!rules.files || !PassesRowsOn(query)) return {};
  SqlSelect select = Settle(query, rules, true);
  const TableRef rows = FindMade(select.table);
  auto rest = rests_.extract(select.table);
  made_.erase(select.table);
  if (!rest.empty()) {
    // What it looks values up in is named as the query does.
    const auto make = [this, select, scope = scope_](const TableRef& some) {
      const Instead named(scope_, scope);
      return SelectFrom(sql_, some, select);
    };
    return OpenMap({rows, std::move(rest.mapped())}, make);
  }
  // What errors say of a table of the session is known by its name.
  if (query.from->kind == SqlRelation::Kind::kTable) return {};
  return {SelectFrom(sql_, rows, select), nullptr};
}

RelationRun::Flow RelationRun::OpenLeaf(const SqlRelation& relation, const TableRequest& wanted,
                                        const FlowRules& rules) {
  if (relation.kind != SqlRelation::Kind::kQuery || leaves_.contains(&relation))
    return {MakeLeaf(relation), nullptr};
  Flow flow = OpenChosen(*relation.query, WantedOf(wanted, relation.columns), rules);
  const bool isChosen = flow.rows != nullptr;
  if (!isChosen) flow = Open(*relation.query, rules);
  if (!flow.rows) return {MakeLeaf(relation), nullptr};
  flow.rows = WithLeafNames(*flow.rows, relation);
  if (!flow.rest && !isChosen) leaves_[&relation] = flow.rows;
  return flow;
}

}  // namespace sqxer
