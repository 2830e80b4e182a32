#include "GroupRun.h"

#include <algorithm>
#include <exception>

#include "ChunkBuilder.h"
#include "ErrorInputs.h"
#include "GroupParts.h"
#include "Utility/StatementBudget.h"

namespace sqxer {
namespace {

using GroupSets = std::vector<std::unique_ptr<GroupSet>>;

/// The groups of the sets as chunks.
class GroupRows final : public ChunkSource {
 public:
  GroupRows(GroupSets& sets, uint64 mostRows, ProgressMeter& meter, RunPhase next)
      : sets_(sets),
        mostRows_(mostRows),
        meter_(meter),
        next_(next),
        builder_(GetLayout(), static_cast<std::size_t>(GetLayout().GetFieldCount())) {
    for (const auto& set : sets_) set->GetTable().BeginResults();
  }

  const TableChunk* Next() override {
    if (error_) std::rethrow_exception(error_);
    try {
      while (builder_.GetRows() < mostRows_ && Append()) {
      }
    } catch (...) {
      error_ = std::current_exception();
      if (builder_.GetRows() == 0) throw;
    }
    if (builder_.GetRows() == 0) return nullptr;
    chunk_ = builder_.Take();
    return &chunk_;
  }

 private:
  const XeRecordMetaData& GetLayout() const { return sets_.front()->GetRecord().GetLayout(); }

  /// Some groups; false behind the last one.
  bool Append() {
    for (; set_ < sets_.size(); ++set_) {
      if (AppendOf(*sets_[set_])) return true;
    }
    return false;
  }
  bool AppendOf(GroupSet& set) {
    GroupTable& groups = set.GetTable();
    if (groups.AppendLive(static_cast<uint32>(mostRows_ - builder_.GetRows()), builder_) != 0) {
      return true;
    }
    const bool hasNext = groups.NextLive() || groups.NextSorted(meter_, next_);
    if (hasNext) builder_.Append(set.GetRecord().GetData());
    return hasNext;
  }

  GroupSets& sets_;
  std::size_t set_ = 0;
  const uint64 mostRows_;
  ProgressMeter& meter_;
  const RunPhase next_;
  ChunkBuilder builder_;
  TableChunk chunk_;
  std::exception_ptr error_;
};

/// One for each grouping set; without these, one. They share the memory for groups.
GroupSets MakeSets(const QueryPlan& plan, WorkRecord& input, uint64 mostRows) {
  GroupSets sets;
  const std::vector<ColumnInfo> fields = GroupRun::FieldsOf(plan);
  const std::size_t count = std::max<std::size_t>(plan.groupingSets.size(), 1);
  const uint64 memory =
      StatementBudget::CapShare(Settings::Current()->GetSwitches().groupMemory_, 4) / count;
  for (std::size_t i = 0; i < count; ++i) {
    const PlanGroupingSet* const set = plan.groupingSets.empty() ? nullptr : &plan.groupingSets[i];
    sets.push_back(std::make_unique<GroupSet>(fields, plan.groupKeys.size(), set, input,
                                              plan.aggregates, memory, mostRows));
  }
  return sets;
}

uint64 CountRowsOf(const Table* table, bool hasRest) {
  if (hasRest) return kUnknownRows;
  return table != nullptr ? table->rowCount : 1;
}

}  // namespace

std::vector<ColumnInfo> GroupRun::FieldsOf(const QueryPlan& plan) {
  std::vector<ColumnInfo> fields = ResultsOf(plan.groupKeys);
  fields.insert(fields.end(), plan.groupings.begin(), plan.groupings.end());
  const std::vector<ColumnInfo> results = ResultsOf(plan.aggregates);
  fields.insert(fields.end(), results.begin(), results.end());
  return fields;
}

GroupRun::GroupRun(QueryPlan& plan, const Table* table, std::unique_ptr<ChunkSource> rest)
    : scanRecord_(plan.scanRecord),
      inputRecord_(ResultsOf(plan.aggregateInputs)),
      scan_(RowScan::TakeReads(plan, table), scanRecord_),
      sets_(MakeSets(plan, inputRecord_, CountRowsOf(table, rest != nullptr))),
      opensEmptySets_(plan.opensEmptySets) {
  if (!plan.groupingSets.empty()) keyRecord_.emplace(FieldsOf(plan));
  WorkRecord& keyRecord = keyRecord_ ? *keyRecord_ : sets_.front()->GetRecord();
  keys_ = BindAll(plan.groupKeys, scanRecord_, keyRecord);
  inputs_ = BindAll(plan.aggregateInputs, scanRecord_, inputRecord_);
  scan_.SetRows(table, std::move(rest));
  if (!AreRepeatable(keys_) || !AreRepeatable(inputs_)) scan_.GiveUpBatches();
  if (scan_.HasBatches()) ShareTrees(scan_, {&keys_, &inputs_});
}

GroupRun::~GroupRun() = default;

bool GroupRun::CanMergeParts() {
  if (!scan_.HasBatches() || sets_.size() > 1) return false;
  GetGroups().KeepBareStates(true);
  GetGroups().Clear();
  return GroupMerge::CanMerge(GetGroups());
}

void GroupRun::SetParts(GroupRuns parts, uint64 memory) {
  for (const auto& part : parts) part->GetGroups().LimitMemory(memory);
  parts_ = std::make_unique<GroupParts>(std::move(parts));
}

void GroupRun::Run(ProgressMeter& meter) {
  const BudgetScope use(MemoryUse::kGroups);
  meter.Start(RunPhase::kGrouping, scan_.CountRows());
  profile_ = RunProfile::Current();
  takesBatches_ = scan_.HasBatches();
  scan_.Start(takesBatches_);
  Start();
  if (parts_) parts_->Start(GetGroups());
  scan_.Scan(*this, meter);
}

void GroupRun::Start() {
  for (const auto& set : sets_) set->Start(takesBatches_, opensEmptySets_);
}

uint64 GroupRun::CountLive() const {
  uint64 live = 0;
  for (const auto& set : sets_) live += set->GetTable().CountLive();
  return live;
}

bool GroupRun::AreAllLive() const {
  return std::ranges::all_of(sets_, [](const auto& set) { return set->GetTable().AreAllLive(); });
}

bool GroupRun::TakeChunk(RowScan& scan, const TableChunk& chunk, uint64 firstRow) {
  if (!parts_ || !scan.IsByBatches()) return scan.ScanRows(0, chunk.rows);
  const uint64 tried = parts_->CountTrialRows(chunk);
  scan.ScanRows(0, tried);
  for (const GroupParts::Part& part : parts_->Group(chunk, firstRow, tried)) {
    if (parts_->Merge(part)) {
      scan.Step(part.end - part.first);
    } else {
      scan.ScanRows(part.first, part.end);
    }
  }
  return true;
}

RowTaker::Outcome GroupRun::TakeBatch(const BatchRows& rows) {
  if (!takesBatches_) return Outcome::kByRows;
  const RunProfile::Scope step(profile_, RunProfile::Step::kGroup);
  if (profile_ != nullptr) profile_->AddRows(RunProfile::Step::kGroup, rows.GetWanted(), 0);
  if (!FindGroups(rows)) return Outcome::kFailed;
  // An error from here on is one.
  TakeRows(rows);
  return Outcome::kTaken;
}

void GroupRun::TakeRows(const BatchRows& rows) {
  std::optional<ErrorMessage> first;
  for (const auto& set : sets_) {
    try {
      set->GetBatch().TakeRows(rows, scan_.GetBatchRow());
    } catch (const ErrorMessage& error) {
      if (!first || error.GetRowNumber() < first->GetRowNumber()) first = error;
    }
  }
  if (first) throw *std::move(first);
}

bool GroupRun::FindGroups(const BatchRows& rows) {
  try {
    return EvaluateTrees(keys_, rows, keyVectors_) && EvaluateTrees(inputs_, rows, inputVectors_) &&
           std::ranges::all_of(sets_, [&](const auto& set) {
             return set->FindGroups(rows, keyVectors_, inputVectors_, scan_.GetBatchRow());
           });
  } catch (const ErrorMessage&) {
    return false;
  }
}

bool GroupRun::TakeRow(uint64 row) {
  return RunProfile::InStep(profile_, RunProfile::Step::kGroup, [&] { return AddRow(row); });
}

bool GroupRun::AddRow(uint64 row) {
  if (profile_ != nullptr && !takesBatches_) [[unlikely]]
    profile_->AddRows(RunProfile::Step::kGroup, 1, 0);
  const auto trees = [this](auto&& use) {
    TreesOf(keys_)(use);
    TreesOf(inputs_)(use);
  };
  AtRow(scan_.ErrorRow(row), scanRecord_, trees, [this] {
    WriteAll(keys_);
    WriteAll(inputs_);
  });
  for (const auto& set : sets_) {
    if (keyRecord_) set->TakeKeys(*keyRecord_);
    set->GetTable().Add(row);
  }
  return true;
}

bool GroupRun::GroupPart(const TableChunk& chunk, uint64 firstRow, uint64 row, uint64 end) {
  const SettingsScope scope(settings_);
  takesBatches_ = true;
  GetGroups().LimitRows(end - row);
  scan_.StartPart();
  Start();
  scan_.EnterPart(chunk, firstRow);
  while (row < end) {
    Cancellation::Check();
    const auto count = static_cast<uint32>(std::min<uint64>(RowScan::GetBatchRows(), end - row));
    BatchRows rows;
    const bool isFiltered = scan_.TakePart(rows, row, count);
    row += count;
    if (!isFiltered) return false;
    if (rows.GetWanted() == 0) continue;
    if (!FindGroups(rows) || !sets_.front()->GetBatch().MakesMergeableStates()) return false;
    try {
      TakeRows(rows);
    } catch (const ErrorMessage&) {
      // Who does the rows again tells it.
      return false;
    }
  }
  return true;
}

std::unique_ptr<ChunkSource> GroupRun::TakeGroups(uint64 mostRows, ProgressMeter& meter,
                                                  RunPhase next) {
  return std::make_unique<GroupRows>(sets_, mostRows, meter, next);
}

}  // namespace sqxer
