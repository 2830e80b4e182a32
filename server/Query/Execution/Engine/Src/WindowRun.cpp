#include "WindowRun.h"

#include <utility>

#include "RecordKeys.h"
#include "Utility/XeAssert.h"

namespace sqxer {
namespace {

std::vector<ColumnInfo> InputFields(const PlanWindow& plan) {
  std::vector<ColumnInfo> fields = ResultsOf(plan.inputs);
  fields.push_back(RowNumberField());
  return fields;
}

KeySet RowOrder(const PlanWindow& plan, const WorkRecord& input, KeySet partition) {
  AddSortKeys(plan.order, input, partition);
  return partition;
}

}  // namespace

WindowRun::WindowRun(PlanWindow& plan, WorkRecord& source, std::size_t firstResult,
                     bool haveNumbers)
    : plan_(plan),
      haveNumbers_(haveNumbers),
      input_(InputFields(plan)),
      inputNumber_(LastField(input_).GetDataOffset()),
      partition_(KeysOfFirstFields(input_, static_cast<std::size_t>(plan.partitionKeys))),
      order_(RowOrder(plan, input_, partition_)),
      results_(plan, IsSorted(), source, firstResult, timer_),
      functions_(plan.functions, input_, results_.GetRow(), results_.GetGroup()),
      recordsWait_(functions_.WriteOnTake()),
      waiting_(recordsWait_ ? results_.GetRow().GetPacker() : RecordPacker(sizeof(RowNumber)),
               SqrtSorter::GetInitialBufferBytes(), timer_) {
  BindAll(plan.inputs, source, input_, inputs_);
}

void WindowRun::Begin() {
  isOpen_ = false;
  waiting_.BeginInput();
  results_.Begin();
  sortedResults_.reset();
  sortedRows_.reset();
  if (!IsSorted()) return;
  sortedRows_.emplace(input_.GetSize(), timer_, false, true);
  sortedRows_->SetRowIdSorterMetadata(order_, input_.GetLayout());
  sortedRows_->BeginInput();
}

void WindowRun::ReadInputs(uint64 row) {
  AtRow(haveNumbers_ ? row : kNoRowNumber, [this] { WriteAll(inputs_); });
  const auto number = static_cast<RowNumber>(row);
  std::memcpy(input_.GetData() + inputNumber_, &number, sizeof number);
}

void WindowRun::Add(uint64 row) {
  ReadInputs(row);
  if (sortedRows_) {
    sortedRows_->SortRecord(input_.GetData());
  } else {
    Take(input_.GetData());
  }
}

void WindowRun::EndInput(ProgressMeter& meter) {
  if (sortedRows_) {
    ComputeSorted(meter);
  } else if (isOpen_) {
    CloseGroup();
  }
}

void WindowRun::WriteResults(uint64 row) {
  if (IsImmediate()) {
    ReadInputs(row);
    Take(input_.GetData());
  } else if (sortedResults_) {
    const bool isThere = sortedResults_->GetRecord(results_.GetRow().GetData());
    XE_ASSERT(isThere);
  } else {
    OutputWaiting();
  }
  results_.WriteToSource();
}

uint64 WindowRun::ErrorRow(const uint8* number) const {
  RowNumber row;
  std::memcpy(&row, number, sizeof row);
  return haveNumbers_ ? static_cast<uint64>(row) : kNoRowNumber;
}

void WindowRun::Take(uint8* input) {
  const uint8* const number = input + inputNumber_;
  AtRow(ErrorRow(number), [&] {
    if (!isOpen_) functions_.StartGroup();
    isOpen_ = true;
    functions_.Take(input);
  });
  std::memcpy(results_.GetRowNumber(), number, sizeof(RowNumber));
  if (!functions_.AreCumulative()) {
    waiting_.Append(recordsWait_ ? results_.GetRow().GetData() : number);
  } else if (sortedResults_) {
    sortedResults_->SortRecord(results_.GetRow().GetData());
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

void WindowRun::ComputeSorted(ProgressMeter& meter) {
  const WorkRecord& row = results_.GetRow();
  sortedResults_.emplace(row.GetSize(), timer_);
  sortedResults_->SetRowIdSorterMetadata(results_.GetRowOrder(), row.GetLayout());
  sortedResults_->BeginInput();

  sortedRows_->EndInput();
  const RecordBuffer other(input_.GetSize());
  uint8* current = input_.GetData();
  uint8* previous = other.Get();
  while (sortedRows_->GetRecord(current)) {
    meter.Step();
    if (isOpen_ && partition_.Compare(previous, current) != 0) SortGroup();
    Take(current);
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
    sortedResults_->SortRecord(results_.GetRow().GetData());
  }
  waiting_.BeginInput();
}

}  // namespace sqxer
