#include "GroupRun.h"

#include <algorithm>
#include <exception>

#include "ChunkBuilder.h"
#include "GroupParts.h"

namespace sqxer {
namespace {

/// The groups of a table as chunks.
class GroupRows final : public ChunkSource {
 public:
  GroupRows(GroupTable& groups, WorkRecord& record, uint64 mostRows, ProgressMeter& meter,
            RunPhase next)
      : groups_(groups),
        record_(record),
        mostRows_(mostRows),
        meter_(meter),
        next_(next),
        builder_(record.GetLayout(), static_cast<std::size_t>(record.GetLayout().GetFieldCount())) {
    groups_.BeginResults();
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
  /// Some groups; false behind the last one.
  bool Append() {
    if (groups_.AppendLive(static_cast<uint32>(mostRows_ - builder_.GetRows()), builder_) != 0) {
      return true;
    }
    const bool hasNext = groups_.NextLive() || groups_.NextSorted(meter_, next_);
    if (hasNext) builder_.Append(record_.GetData());
    return hasNext;
  }

  GroupTable& groups_;
  WorkRecord& record_;
  const uint64 mostRows_;
  ProgressMeter& meter_;
  const RunPhase next_;
  ChunkBuilder builder_;
  TableChunk chunk_;
  std::exception_ptr error_;
};

uint64 GetGroupMemory() { return Settings::Current()->GetSwitches().groupMemory_; }

}  // namespace

std::vector<ColumnInfo> GroupRun::FieldsOf(const QueryPlan& plan) {
  std::vector<ColumnInfo> fields = ResultsOf(plan.groupKeys);
  const std::vector<ColumnInfo> results = ResultsOf(plan.aggregates);
  fields.insert(fields.end(), results.begin(), results.end());
  return fields;
}

GroupRun::GroupRun(QueryPlan& plan, const Table* table, std::unique_ptr<ChunkSource> rest)
    : scanRecord_(plan.scanRecord),
      inputRecord_(ResultsOf(plan.aggregateInputs)),
      groupRecord_(FieldsOf(plan)),
      scan_(RowScan::TakeReads(plan, table), scanRecord_),
      keys_(BindAll(plan.groupKeys, scanRecord_, groupRecord_)),
      inputs_(BindAll(plan.aggregateInputs, scanRecord_, inputRecord_)),
      groups_(groupRecord_, keys_.size(), inputRecord_, plan.aggregates, GetGroupMemory(),
              rest               ? kUnknownRows
              : table != nullptr ? table->rowCount
                                 : 1),
      batch_(groups_) {
  scan_.SetRows(table, std::move(rest));
  if (!AreRepeatable(keys_) || !AreRepeatable(inputs_)) scan_.GiveUpBatches();
  if (scan_.HasBatches()) ShareTrees(scan_, {&keys_, &inputs_});
}

GroupRun::~GroupRun() = default;

bool GroupRun::CanMergeParts() {
  if (!scan_.HasBatches()) return false;
  groups_.KeepBareStates(true);
  groups_.Clear();
  return GroupMerge::CanMerge(groups_);
}

void GroupRun::SetParts(GroupRuns parts, uint64 memory) {
  for (const auto& part : parts) part->groups_.LimitMemory(memory);
  parts_ = std::make_unique<GroupParts>(std::move(parts));
}

void GroupRun::Run(ProgressMeter& meter) {
  meter.Start(RunPhase::kGrouping, scan_.CountRows());
  takesBatches_ = scan_.HasBatches();
  scan_.Start(takesBatches_);
  Start();
  if (parts_) parts_->Start(groups_);
  scan_.Scan(*this, meter);
}

void GroupRun::Start() {
  groups_.KeepBareStates(takesBatches_);
  groups_.Clear();
  if (takesBatches_) batch_.Start();
  if (keys_.empty()) groups_.OpenGroup();
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
  if (!FindGroups(rows)) return Outcome::kFailed;
  // An error from here on is one.
  batch_.TakeRows(rows, scan_.GetBatchRow());
  return Outcome::kTaken;
}

bool GroupRun::FindGroups(const BatchRows& rows) {
  try {
    return EvaluateTrees(keys_, rows, keyVectors_) && EvaluateTrees(inputs_, rows, inputVectors_) &&
           batch_.FindGroups(rows, keyVectors_, inputVectors_, scan_.GetBatchRow());
  } catch (const ErrorMessage&) {
    return false;
  }
}

bool GroupRun::TakeRow(uint64 row) {
  AtRow(scan_.ErrorRow(row), [this] {
    WriteAll(keys_);
    WriteAll(inputs_);
  });
  groups_.Add(row);
  return true;
}

bool GroupRun::GroupPart(const TableChunk& chunk, uint64 firstRow, uint64 row, uint64 end) {
  const SettingsScope scope(settings_);
  takesBatches_ = true;
  groups_.LimitRows(end - row);
  scan_.StartPart();
  Start();
  scan_.EnterPart(chunk, firstRow);
  while (row < end) {
    const auto count = static_cast<uint32>(std::min<uint64>(RowScan::GetBatchRows(), end - row));
    BatchRows rows;
    const bool isFiltered = scan_.TakePart(rows, row, count);
    row += count;
    if (!isFiltered) return false;
    if (rows.GetWanted() == 0) continue;
    if (!FindGroups(rows) || !batch_.MakesMergeableStates()) return false;
    try {
      batch_.TakeRows(rows, scan_.GetBatchRow());
    } catch (const ErrorMessage&) {
      // Who does the rows again tells it.
      return false;
    }
  }
  return true;
}

std::unique_ptr<ChunkSource> GroupRun::TakeGroups(uint64 mostRows, ProgressMeter& meter,
                                                  RunPhase next) {
  return std::make_unique<GroupRows>(groups_, groupRecord_, mostRows, meter, next);
}

}  // namespace sqxer
