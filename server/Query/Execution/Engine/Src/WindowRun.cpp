#include "WindowRun.h"

#include <numeric>
#include <utility>

#include "RecordKeys.h"
#include "Utility/XeAssert.h"

namespace sqxer {
namespace {

/// Sorters take row numbers as doubles, whose order their leading bytes decide.
using RowNumber = float64;

std::vector<ColumnInfo> WithRowNumber(std::vector<ColumnInfo> fields) {
  fields.push_back({L"row", XeDoubleData, sizeof(RowNumber), 0, false});
  return fields;
}

const XeFieldDescriptor& RowNumberOf(const WorkRecord& record) {
  return record.GetField(static_cast<std::size_t>(record.GetLayout().GetFieldCount()) - 1);
}

/// Moves all fields but the last.
XeFieldDataBinder MoveResults(const WorkRecord& result, const WorkRecord& source,
                              std::size_t firstResult) {
  UInt16Vector columns(static_cast<std::size_t>(result.GetLayout().GetFieldCount()) - 1);
  std::iota(columns.begin(), columns.end(), uint16{0});
  return XeFieldDataBinder(result.GetLayout(), columns, source.GetLayout(),
                           static_cast<int>(firstResult));
}

/// Moves fields to the same places of another record of the layout.
XeFieldDataBinder MoveWithin(const WorkRecord& record, const UInt16Vector& fields) {
  XeRecordMetaData target;
  target.SetFieldCount(static_cast<int>(fields.size()));
  int position = 0;
  for (const uint16 field : fields) {
    target.SetFieldDescriptor(position++, record.GetLayout().GetFieldDescriptor(field));
  }
  return XeFieldDataBinder(record.GetLayout(), fields, target, 0);
}

}  // namespace

WindowRun::WindowRun(PlanWindow& plan, WorkRecord& source, std::size_t firstResult,
                     bool haveNumbers)
    : plan_(plan),
      source_(source),
      haveNumbers_(haveNumbers),
      input_(WithRowNumber(ResultsOf(plan.inputs))),
      result_(WithRowNumber(ResultsOf(plan.functions))),
      inputRow_(RowNumberOf(input_).GetDataOffset()),
      resultRow_(RowNumberOf(result_).GetDataOffset()),
      functions_(plan.functions, input_, result_),
      toSource_(MoveResults(result_, source, firstResult)),
      partition_(KeysOfFirstFields(input_, static_cast<std::size_t>(plan.partitionKeys))),
      order_(partition_),
      recordsWait_(functions_.WriteOnTake()),
      waiting_(recordsWait_ ? result_.GetSize() : uint32{sizeof(RowNumber)},
               SqrtSorter::GetInitialBufferBytes(), timer_),
      groupResult_(result_.GetSize()),
      fromGroup_(MoveWithin(result_, functions_.GetGroupFields())) {
  BindAll(plan.inputs, source, input_, inputs_);
  AddSortKeys(plan.order, input_, order_);
}

void WindowRun::Begin() {
  isOpen_ = false;
  waiting_.BeginInput();
  results_.reset();
  rows_.reset();
  if (!IsSorted()) return;
  rows_.emplace(input_.GetSize(), timer_, false, true);
  rows_->SetRowIdSorterMetadata(order_, input_.GetLayout());
  rows_->BeginInput();
}

void WindowRun::ReadInputs(uint64 row) {
  AtRow(haveNumbers_ ? row : kNoRowNumber, [this] { WriteAll(inputs_); });
  const auto number = static_cast<RowNumber>(row);
  std::memcpy(input_.GetData() + inputRow_, &number, sizeof number);
}

void WindowRun::Add(uint64 row) {
  ReadInputs(row);
  if (rows_) {
    rows_->SortRecord(input_.GetData());
  } else {
    Take(input_.GetData());
  }
}

void WindowRun::EndInput() {
  if (rows_) {
    ComputeSorted();
  } else if (isOpen_) {
    CloseGroup();
  }
}

void WindowRun::WriteResults(uint64 row) {
  if (IsImmediate()) {
    ReadInputs(row);
    Take(input_.GetData());
  } else if (results_) {
    XE_ASSERT(results_->GetRecord(result_.GetData()));
  } else {
    OutputWaiting();
  }
  toSource_.MoveColumns(result_.GetData(), source_.GetData());
}

uint64 WindowRun::RowOf(const uint8* record, uint32 offset) const {
  RowNumber row;
  std::memcpy(&row, record + offset, sizeof row);
  return haveNumbers_ ? static_cast<uint64>(row) : kNoRowNumber;
}

void WindowRun::Take(uint8* input) {
  uint8* const result = result_.GetData();
  AtRow(RowOf(input, inputRow_), [&] {
    if (!isOpen_) functions_.StartGroup(result);
    isOpen_ = true;
    functions_.Take(input, result);
  });
  std::memcpy(result + resultRow_, input + inputRow_, sizeof(RowNumber));
  if (!functions_.AreCumulative()) {
    waiting_.Append(recordsWait_ ? result : result + resultRow_);
  } else if (results_) {
    results_->SortRecord(result);
  }
}

void WindowRun::CloseGroup() {
  isOpen_ = false;
  if (functions_.AreCumulative()) return;
  uint8* const result = result_.GetData();
  functions_.EndGroup(result);
  if (recordsWait_) std::memcpy(groupResult_.Get(), result, result_.GetSize());
  waiting_.EndInput();
}

void WindowRun::OutputWaiting() {
  const uint8* const waiting = waiting_.Next();
  XE_ASSERT(waiting != nullptr);
  uint8* const result = result_.GetData();
  if (recordsWait_) {
    std::memcpy(result, waiting, result_.GetSize());
    fromGroup_.MoveColumns(groupResult_.Get(), result);
  } else {
    std::memcpy(result + resultRow_, waiting, sizeof(RowNumber));
  }
  AtRow(RowOf(result, resultRow_), [&] { functions_.OutputRow(result); });
}

void WindowRun::ComputeSorted() {
  KeySet byRow;
  byRow.Add(KeyDesc(RowNumberOf(result_), kAscending, kCompareCodePoints));
  results_.emplace(result_.GetSize(), timer_);
  results_->SetRowIdSorterMetadata(byRow, result_.GetLayout());
  results_->BeginInput();
  const auto closeGroup = [this] {
    CloseGroup();
    if (functions_.AreCumulative()) return;
    for (uint64 left = waiting_.GetCount(); left > 0; --left) {
      OutputWaiting();
      results_->SortRecord(result_.GetData());
    }
    waiting_.BeginInput();
  };

  rows_->EndInput();
  const RecordBuffer other(input_.GetSize());
  uint8* current = input_.GetData();
  uint8* previous = other.Get();
  while (rows_->GetRecord(current)) {
    if (isOpen_ && partition_.Compare(previous, current) != 0) closeGroup();
    Take(current);
    std::swap(current, previous);
  }
  if (isOpen_) closeGroup();
  rows_.reset();
  results_->EndInput();
}

}  // namespace sqxer
