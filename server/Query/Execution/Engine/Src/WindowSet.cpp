#include "WindowSet.h"

#include <algorithm>

namespace sqxer {

WindowSet::WindowSet(std::vector<PlanWindow>& windows, WorkRecord& source, std::size_t firstResult,
                     Source kind, bool haveNumbers)
    : source_(source),
      keepsRecords_(kind == Source::kGroups),
      sourceRows_(keepsRecords_ ? source.GetPacker() : RecordPacker(sizeof(uint64)),
                  SqrtSorter::GetInitialBufferBytes(), timer_) {
  for (PlanWindow& window : windows) {
    windows_.emplace_back(window, source, firstResult, haveNumbers);
    firstResult += ResultsOf(window.functions).size();
    areImmediate_ = areImmediate_ && windows_.back().IsImmediate();
  }
}

void WindowSet::PrepareBatches(const Table& table, const std::vector<uint16>& columns) {
  for (WindowRun& window : windows_) window.PrepareBatches(table, columns);
}

void WindowSet::GiveUpBatches() {
  for (WindowRun& window : windows_) window.GiveUpBatches();
}

void WindowSet::SetThreads(std::size_t threads) {
  for (WindowRun& window : windows_) window.SetThreads(threads);
}

bool WindowSet::CanTakeBatches() const {
  return std::ranges::all_of(windows_, &WindowRun::CanTakeBatches);
}

bool WindowSet::AreRepeatable() { return std::ranges::all_of(windows_, &WindowRun::IsRepeatable); }

bool WindowSet::KeepAllResults(uint64 rows, uint64 memory) const {
  uint64 bytes = 0;
  for (const WindowRun& window : windows_) bytes += window.CountKeptBytes(rows);
  return std::ranges::all_of(windows_, &WindowRun::KeepsAllResults) && bytes <= memory;
}

void WindowSet::PrepareColumns() {
  std::size_t results = 0;
  for (WindowRun& window : windows_) {
    window.PrepareColumns();
    results += window.CountResults();
  }
  vectors_.resize(results);
}

void WindowSet::Begin(bool byBatches) {
  byBatches_ = byBatches;
  sourceRows_.BeginInput();
  rowNumbers_.Clear();
  returned_ = 0;
  for (WindowRun& window : windows_) window.Begin(byBatches);
}

bool WindowSet::AddBatch(const BatchRows& rows, uint64 firstRow) {
  for (WindowRun& window : windows_) {
    if (!window.IsImmediate() && !window.AddBatch(rows, firstRow)) return false;
  }
  rowNumbers_.Add(rows, firstRow);
  return true;
}

void WindowSet::Add(uint64 row) {
  sourceRows_.Append(keepsRecords_ ? source_.GetData() : reinterpret_cast<const uint8*>(&row));
  for (WindowRun& window : windows_) {
    if (!window.IsImmediate()) window.Add(row);
  }
}

void WindowSet::EndInput(ProgressMeter& meter) {
  sourceRows_.EndInput();
  for (WindowRun& window : windows_) {
    if (window.IsSorted()) meter.Start(RunPhase::kSorting, CountRows());
    window.EndInput(meter);
  }
}

uint64 WindowSet::Next() {
  if (byBatches_) return returned_ < CountRows() ? rowNumbers_.Get(returned_++) + 1 : 0;
  uint64 row = 0;
  if (!sourceRows_.Read(keepsRecords_ ? source_.GetData() : reinterpret_cast<uint8*>(&row))) {
    return 0;
  }
  ++returned_;
  return keepsRecords_ ? returned_ : row;
}

void WindowSet::WriteResults(uint64 row) {
  for (WindowRun& window : windows_) window.WriteResults(row);
}

void WindowSet::WriteResultsOf(uint64 ordinal) {
  for (WindowRun& window : windows_) window.WriteResultsOf(ordinal);
}

void WindowSet::PrefetchResultsOf(uint64 ordinal) const {
  for (const WindowRun& window : windows_) window.PrefetchResultsOf(ordinal);
}

void WindowSet::ReadBatch(BatchRows& rows, uint64 firstRow, std::exception_ptr& error) {
  std::size_t result = 0;
  for (WindowRun& window : windows_) {
    const std::size_t count = window.CountResults();
    // After an error the windows before this one have gone further than it; theirs come later.
    window.ReadBatch(rows, firstRow, std::span(vectors_).subspan(result, count), error);
    if (rows.GetWanted() == 0) return;
    result += count;
  }
}

}  // namespace sqxer
