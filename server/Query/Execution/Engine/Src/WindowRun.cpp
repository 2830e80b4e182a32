#include "WindowRun.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "ErrorInputs.h"
#include "RecordKeys.h"
#include "Utility/Settings.h"
#include "Utility/StatementBudget.h"
#include "Utility/XeAssert.h"

namespace sqxer {
namespace {

std::vector<ColumnInfo> InputFields(const PlanWindow& plan) {
  std::vector<ColumnInfo> fields = ResultsOf(plan.inputs);
  fields.push_back(RowNumberField());
  return fields;
}

/// Row records up to this size are kept side by side for all rows.
constexpr uint32 kMostKeptRowBytes = 64;

/// What the functions rank by, where all of them are ranks, by the same keys.
std::vector<PlanSortKey> RankingOf(const PlanWindow& plan) {
  std::vector<PlanSortKey> ranking;
  const auto isSame = [](const PlanSortKey& a, const PlanSortKey& b) {
    return a.column == b.column && a.order == b.order && a.nulls == b.nulls;
  };
  for (const PlanAggregate& function : plan.functions) {
    const std::unique_ptr<Aggregate> aggregate = function.make();
    auto* const rank = dynamic_cast<Rank*>(aggregate.get());
    if (rank == nullptr || rank->NeedNullFiltering()) return {};
    std::vector<PlanSortKey> keys;
    for (const Rank::Key& key : rank->GetRankingOrder()) keys.push_back({key.column, key.order});
    if (&function != &plan.functions.front() && !std::ranges::equal(keys, ranking, isSame)) {
      return {};
    }
    ranking = std::move(keys);
  }
  return ranking;
}

/// Whether rows tie where their keys are equal, NULL or not.
bool AreTiesEqual(const std::vector<PlanSortKey>& ranking, const PlanWindow& plan) {
  const auto isNullable = [&](const PlanSortKey& key) {
    return plan.inputs[static_cast<std::size_t>(key.column)].result.nullable;
  };
  return ranking.size() == 1 || (!ranking.empty() && std::ranges::none_of(ranking, isNullable));
}

KeySet OrderOfRows(const std::vector<PlanSortKey>& order, const WorkRecord& input,
                   KeySet partition) {
  AddSortKeys(order, input, partition);
  return partition;
}

}  // namespace

WindowRun::WindowRun(PlanWindow& plan, WorkRecord& source, std::size_t firstResult,
                     bool haveNumbers)
    : plan_(plan),
      source_(source),
      haveNumbers_(haveNumbers),
      ranking_(RankingOf(plan)),
      ranksByTies_(AreTiesEqual(ranking_, plan)),
      input_(InputFields(plan)),
      inputNumber_(LastField(input_).GetDataOffset()),
      partition_(KeysOfFirstFields(input_, static_cast<std::size_t>(plan.partitionKeys))),
      order_(OrderOfRows(GetOrder(), input_, partition_)),
      results_(plan, IsSorted(), source, firstResult, timer_),
      functions_(plan.functions, input_, results_.GetRow(), results_.GetGroup(), !ranking_.empty(),
                 timer_),
      resultBytes_(LastField(results_.GetRow()).GetDataOffset()),
      recordsWait_(functions_.WriteOnTake()),
      waiting_(recordsWait_ ? results_.GetRow().GetPacker() : RecordPacker(sizeof(RowNumber)),
               SqrtSorter::GetInitialBufferBytes(), timer_) {
  inputs_ = BindAll(plan.inputs, source, input_);
  for (std::size_t i = 0; i < inputs_.size(); ++i) inputFields_.emplace_back(input_, i);
  inputVectors_.resize(inputs_.size());
  GiveUpBatches();
}

void WindowRun::GiveUpBatches() {
  canTakeBatches_ = keepsInputs_ = keepsResults_ = false;
  rowOrder_.reset();
  lateInputs_.reset();
  evaluated_.resize(inputs_.size());
  std::iota(evaluated_.begin(), evaluated_.end(), std::size_t{0});
}

void WindowRun::PrepareBatches(const Table& table, const std::vector<uint16>& columns) {
  canTakeBatches_ = !IsSorted();
  if (!IsSorted()) return;
  std::vector<SortedRows::Key> keys;
  const auto add = [&](std::size_t input, SortOrder_t order, NullOrder_t nulls) {
    FieldWriter& writer = inputs_[input];
    keys.push_back({&writer.GetTree(), writer.GetColumn().type, order, nulls});
  };
  const auto partitionKeys = static_cast<std::size_t>(plan_.partitionKeys);
  for (std::size_t i = 0; i < partitionKeys; ++i) add(i, kAscending, kNullsLast);
  for (const PlanSortKey& key : GetOrder()) {
    add(static_cast<std::size_t>(key.column), key.order, key.nulls);
  }
  if (!SortedRows::CanTake(keys, table, columns)) return;
  const RecordPacker& packer = results_.GetRow().GetPacker();
  keepsResults_ = !packer.IsPacking() && resultBytes_ <= kMostKeptRowBytes;
  rowOrder_.emplace(keys, partitionKeys, table, columns);
  const uint64 bytes = rowOrder_->CountBytes() + CountKeptBytes(table.rowCount);
  const uint64 memory = StatementBudget::CapShare(
      SortedRows::GetMostBytes(Settings::Current()->GetSwitches().groupMemory_), 2);
  if (bytes > memory) {
    rowOrder_.reset();
    return;
  }
  // Columns alone are found as fast as what was kept of them.
  const auto isComputed = [this](std::size_t input) {
    return inputs_[input].GetTree().CountOperands() > 0;
  };
  keepsInputs_ = !ranksByTies_ && !input_.GetPacker().IsPacking() &&
                 input_.GetSize() <= kMostKeptRowBytes &&
                 bytes + table.rowCount * input_.GetSize() <= memory &&
                 std::ranges::any_of(evaluated_, [&](std::size_t input) {
                   return functions_.Reads(input) && isComputed(input);
                 });
  if (keepsInputs_) {
    std::erase_if(evaluated_, [&](std::size_t input) {
      return !functions_.Reads(input) && !isComputed(input);
    });
  } else {
    lateInputs_.emplace(table, columns, source_, inputs_, input_,
                        [this](std::size_t input) { return functions_.Reads(input); });
  }
  canTakeBatches_ = true;
}

bool WindowRun::IsRepeatable() { return AreRepeatable(inputs_); }

void WindowRun::Begin(bool byBatches) {
  byBatches_ = byBatches;
  place_ = returned_ = 0;
  isOpen_ = false;
  waiting_.BeginInput();
  results_.Begin();
  sortedResults_.reset();
  sortedRows_.reset();
  if (!IsSorted()) return;
  keptInputs_ = {};
  if (byBatches) {
    if (keepsInputs_) keptInputs_.reserve(rowOrder_->GetMostRows() * input_.GetSize());
    return rowOrder_->Begin();
  }
  // What batches have left that were given up.
  if (rowOrder_) rowOrder_->Release();
  sortedRows_.emplace(input_.GetSize(), timer_, false, true);
  sortedRows_->SetRowIdSorterMetadata(order_, input_.GetLayout());
  sortedRows_->BeginInput();
}

void WindowRun::ReadInputs(uint64 row) {
  AtRow(haveNumbers_ ? row : kNoRowNumber, source_, TreesOf(inputs_),
        [this] { WriteAll(inputs_); });
  SetNumber(row);
}

void WindowRun::SetResultNumber(uint64 row) {
  const auto number = static_cast<RowNumber>(row);
  std::memcpy(results_.GetRowNumber(), &number, sizeof number);
}

void WindowRun::SetNumber(uint64 row) {
  const auto number = static_cast<RowNumber>(row);
  std::memcpy(input_.GetData() + inputNumber_, &number, sizeof number);
}

void WindowRun::Add(uint64 row) {
  ReadInputs(row);
  if (sortedRows_) {
    sortedRows_->SortRecord(input_.GetData());
  } else {
    Take(input_.GetData(), false);
  }
}

bool WindowRun::AddBatch(const BatchRows& rows, uint64 firstRow) {
  if (!IsSorted()) {
    const bool areEvaluated = EvaluateInputs(rows);
    rows.ForEach([&](uint32 row) { TakeOfBatch(rows, row, firstRow + row + 1, areEvaluated); });
    return true;
  }
  if (!(keepsInputs_ ? EvaluateInputs(rows) : lateInputs_->Admit(rows))) return false;
  // Before the order evaluates some of them again.
  if (keepsInputs_) KeepInputs(rows, firstRow);
  return rowOrder_->Add(rows, firstRow);
}

bool WindowRun::EvaluateInputs(const BatchRows& rows) {
  try {
    return std::ranges::all_of(evaluated_, [&](std::size_t input) {
      BatchVector& vector = inputVectors_[input];
      return EvaluateBatch(inputs_[input].GetTree(), rows, vector) &&
             inputFields_[input].Use(vector, rows);
    });
  } catch (const ErrorMessage&) {
    // The rows tell it.
    return false;
  }
}

void WindowRun::KeepInputs(const BatchRows& rows, uint64 firstRow) {
  const std::size_t bytes = input_.GetSize();
  std::size_t to = keptInputs_.size();
  keptInputs_.resize(to + rows.GetWanted() * bytes);
  rows.ForEach([&](uint32 row) {
    for (const std::size_t input : evaluated_) inputFields_[input].Write(row);
    SetNumber(firstRow + row + 1);
    CopyRecord(keptInputs_.data() + to, input_.GetData(), bytes);
    to += bytes;
  });
}

template <class Use>
void WindowRun::ForEachInput(Use&& use) {
  if (!keepsInputs_) {
    return lateInputs_->ForEach(*rowOrder_, [&](uint64 place) {
      SetNumber(rowOrder_->GetRow(place) + 1);
      use(place);
      return true;
    });
  }
  const uint64 count = rowOrder_->GetCount();
  for (uint64 place = 0; place < count; ++place) {
    const uint64 ahead = std::min(place + kPlacesAhead, count - 1);
    Prefetch(KeptInput(rowOrder_->GetOrdinal(ahead)));
    CopyRecord(input_.GetData(), KeptInput(rowOrder_->GetOrdinal(place)), input_.GetSize());
    use(place);
  }
}

void WindowRun::TakeOfBatch(const BatchRows& rows, uint32 batchRow, uint64 row, bool areEvaluated) {
  if (areEvaluated) {
    for (const std::size_t input : evaluated_) inputFields_[input].Write(batchRow);
    SetNumber(row);
  } else {
    rows.source->FillRow(batchRow);
    ReadInputs(row);
  }
  Take(input_.GetData(), false);
}

void WindowRun::EndInput(ProgressMeter& meter) {
  if (SortsNumbers()) {
    ComputeByNumber(meter);
  } else if (sortedRows_) {
    ComputeSorted(meter);
  } else if (isOpen_) {
    CloseGroup();
  }
}

void WindowRun::WriteResults(uint64 row) {
  if (IsImmediate()) {
    ReadInputs(row);
    Take(input_.GetData(), false);
  } else {
    NextResults();
  }
  results_.WriteToSource();
}

void WindowRun::NextResults() {
  if (sortedResults_) {
    const bool isThere = sortedResults_->GetRecord(results_.GetRow().GetData());
    XE_ASSERT(isThere);
  } else if (SortsNumbers()) {
    CopyRecord(results_.GetRow().GetData(), KeptResult(returned_++), resultBytes_);
  } else {
    OutputWaiting();
  }
}

void WindowRun::WriteResultsOf(uint64 ordinal) {
  CopyRecord(results_.GetRow().GetData(), KeptResult(ordinal), resultBytes_);
  results_.WriteToSource();
}

void WindowRun::ReadBatch(BatchRows& rows, uint64 firstRow, std::span<BatchVector> vectors,
                          std::exception_ptr& error) {
  const uint32 wanted = rows.GetWanted();
  uint32 read = 0;
  columns_->Begin();
  if (SortsNumbers() && KeepsAllResults()) {
    for (; read < wanted; ++read) columns_->AddKept(KeptResult(returned_++));
  } else {
    const bool areEvaluated = IsImmediate() && EvaluateInputs(rows);
    try {
      for (; read < wanted; ++read) {
        if (IsImmediate()) {
          const uint32 row = rows.GetRow(read);
          TakeOfBatch(rows, row, firstRow + row, areEvaluated);
        } else {
          NextResults();
          results_.ReadGroup();
        }
        columns_->AddCurrent();
      }
    } catch (...) {
      error = std::current_exception();
    }
  }
  if (read < wanted) {
    if (rows.selected == nullptr) {
      readRows_.resize(rows.count);
      std::iota(readRows_.begin(), readRows_.end(), uint16{0});
      rows.selected = readRows_.data();
    }
    rows.selectedCount = read;
  }
  if (read > 0) columns_->End(rows, vectors);
}

uint64 WindowRun::ErrorRow(const uint8* number) const {
  RowNumber row;
  std::memcpy(&row, number, sizeof row);
  return haveNumbers_ ? static_cast<uint64>(row) : kNoRowNumber;
}

void WindowRun::Take(uint8* input, bool startsPeers) {
  const uint8* const number = input + inputNumber_;
  AtRow(ErrorRow(number), [&] {
    if (!isOpen_) functions_.StartGroup();
    isOpen_ = true;
    functions_.Take(input, startsPeers);
  });
  std::memcpy(results_.GetRowNumber(), number, sizeof(RowNumber));
  if (!functions_.AreCumulative()) {
    waiting_.Append(recordsWait_ ? results_.GetRow().GetData() : number);
  } else {
    KeepResult();
  }
}

void WindowRun::KeepResult() {
  const uint8* const row = results_.GetRow().GetData();
  if (sortedResults_) {
    sortedResults_->SortRecord(row);
  } else if (SortsNumbers()) {
    const uint64 ahead = std::min(place_ + kPlacesAhead, rowOrder_->GetCount() - 1);
    Prefetch(KeptResult(rowOrder_->GetOrdinal(ahead)));
    CopyRecord(KeptResult(rowOrder_->GetOrdinal(place_++)), row, resultBytes_);
  }
}

void WindowRun::CloseGroup() {
  isOpen_ = false;
  if (functions_.AreCumulative()) return;
  functions_.EndGroup();
  waiting_.EndInput();
}

void WindowRun::OutputWaiting() {
  const bool isThere =
      waiting_.Read(recordsWait_ ? results_.GetRow().GetData() : results_.GetRowNumber());
  XE_ASSERT(isThere);
  AtRow(ErrorRow(results_.GetRowNumber()), [this] { functions_.OutputRow(); });
}

void WindowRun::BeginSortedResults() {
  const WorkRecord& row = results_.GetRow();
  sortedResults_.emplace(row.GetSize(), timer_);
  sortedResults_->SetRowIdSorterMetadata(results_.GetRowOrder(), row.GetLayout());
  sortedResults_->BeginInput();
}

void WindowRun::ComputeByNumber(ProgressMeter& meter) {
  rowOrder_->Sort();
  if (keepsResults_) {
    keptResults_.resize(rowOrder_->GetCount() * resultBytes_);
  } else {
    BeginSortedResults();
  }
  if (ranksByTies_) {
    RankByNumber(meter);
  } else {
    ForEachInput([&](uint64 place) {
      meter.Step();
      const SortedRows::Start start = rowOrder_->GetStart(place);
      if (isOpen_ && start == SortedRows::kNewGroup) SortGroup();
      Take(input_.GetData(), start != SortedRows::kTie);
    });
    if (isOpen_) SortGroup();
  }
  rowOrder_->Release();
  keptInputs_ = {};
  if (sortedResults_) sortedResults_->EndInput();
  results_.EndInput();
}

void WindowRun::RankByNumber(ProgressMeter& meter) {
  for (uint64 place = 0; place < rowOrder_->GetCount(); ++place) {
    meter.Step();
    const SortedRows::Start start = rowOrder_->GetStart(place);
    if (start == SortedRows::kNewGroup) functions_.StartGroup();
    functions_.TakeRank(start == SortedRows::kTie);
    if (!keepsResults_) SetResultNumber(rowOrder_->GetRow(place) + 1);
    KeepResult();
  }
}

void WindowRun::ComputeSorted(ProgressMeter& meter) {
  BeginSortedResults();
  sortedRows_->EndInput();
  const RecordBuffer other(input_.GetSize());
  uint8* current = input_.GetData();
  uint8* previous = other.Get();
  while (sortedRows_->GetRecord(current)) {
    meter.Step();
    if (isOpen_ && partition_.Compare(previous, current) != 0) SortGroup();
    Take(current, functions_.TakePeers() && isOpen_ && order_.Compare(previous, current) != 0);
    std::swap(current, previous);
  }
  if (isOpen_) SortGroup();
  sortedRows_.reset();
  sortedResults_->EndInput();
  results_.EndInput();
}

void WindowRun::SortGroup() {
  CloseGroup();
  results_.KeepGroup();
  for (uint64 left = waiting_.GetCount(); left > 0; --left) {
    OutputWaiting();
    results_.AddGroupToRow();
    KeepResult();
  }
  waiting_.BeginInput();
}

}  // namespace sqxer
