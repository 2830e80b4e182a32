#include "WindowResults.h"

#include <cstring>
#include <numeric>

#include "Utility/Settings.h"
#include "WindowFunctions.h"

namespace sqxer {
namespace {

/// Group records up to this size are copied to each row: to sort them with it costs less than to
/// look them up.
constexpr uint32 kMostCopiedBytes = 64;

bool IsPerGroup(const PlanAggregate& function) {
  return KindOf(function) == FunctionKind::kPerGroup;
}

/// Moves neighbouring fields to neighbouring fields.
XeFieldDataBinder MoveFields(const WorkRecord& from, std::size_t first, std::size_t count,
                             const WorkRecord& to, std::size_t firstTarget) {
  UInt16Vector columns(count);
  std::iota(columns.begin(), columns.end(), static_cast<uint16>(first));
  return XeFieldDataBinder(from.GetLayout(), columns, to.GetLayout(),
                           static_cast<int>(firstTarget));
}

}  // namespace

const ColumnInfo& RowNumberField() {
  static const ColumnInfo field{L"row", XeDoubleData, sizeof(RowNumber), 0, false};
  return field;
}

WindowResults::WindowResults(const PlanWindow& plan, bool areSorted, WorkRecord& source,
                             std::size_t firstResult, OperatorTimer& timer)
    : source_(source) {
  std::vector<ColumnInfo> ofGroup;
  std::vector<ColumnInfo> ofRow;
  for (const PlanAggregate& function : plan.functions) {
    std::vector<ColumnInfo>& fields = IsPerGroup(function) ? ofGroup : ofRow;
    fields.insert(fields.end(), function.results.begin(), function.results.end());
  }
  const std::size_t firstGroupField = ofRow.size();
  group_.emplace(ofGroup);
  if (areSorted && group_->GetSize() > kMostCopiedBytes) {
    place_ = GroupPlace::kKeptRecord;
    groups_.emplace(group_->GetPacker(), Settings::Current()->GetSwitches().groupMemory_, timer);
    ofRow.push_back({L"group", XeDoubleData, sizeof groupPlace_, 0, false});
  } else if (areSorted && !ofGroup.empty()) {
    place_ = GroupPlace::kRowRecord;
    ofRow.insert(ofRow.end(), ofGroup.begin(), ofGroup.end());
  }
  ofRow.push_back(RowNumberField());
  row_.emplace(ofRow);
  rowNumber_ = row_->GetData() + LastField(*row_).GetDataOffset();
  if (place_ == GroupPlace::kKeptRecord) {
    groupPlaceInRow_ = row_->GetData() + row_->GetField(firstGroupField).GetDataOffset();
  } else if (place_ == GroupPlace::kRowRecord) {
    groupToRow_ = MoveFields(*group_, 0, ofGroup.size(), *row_, firstGroupField);
  }
  BindMoves(plan, firstGroupField, firstResult);
}

void WindowResults::BindMoves(const PlanWindow& plan, std::size_t firstGroupField,
                              std::size_t firstResult) {
  const bool fromGroup = place_ != GroupPlace::kRowRecord;
  std::size_t rowField = 0;
  std::size_t groupField = fromGroup ? 0 : firstGroupField;
  for (const PlanAggregate& function : plan.functions) {
    const bool isPerGroup = IsPerGroup(function);
    const bool isInGroup = isPerGroup && fromGroup;
    std::size_t& field = isPerGroup ? groupField : rowField;
    const std::size_t count = function.results.size();
    moves_.push_back(
        {isInGroup, MoveFields(isInGroup ? *group_ : *row_, field, count, source_, firstResult)});
    field += count;
    firstResult += count;
  }
}

void WindowResults::Begin() {
  if (groups_) groups_->BeginInput();
}

void WindowResults::EndInput() {
  if (groups_) groups_->EndInput();
}

KeySet WindowResults::GetRowOrder() const {
  KeySet keys;
  keys.Add(KeyDesc(LastField(*row_), kAscending, kCompareCodePoints));
  return keys;
}

void WindowResults::AddGroupToRow() {
  if (groups_) {
    std::memcpy(groupPlaceInRow_, &groupPlace_, sizeof groupPlace_);
  } else if (place_ == GroupPlace::kRowRecord) {
    groupToRow_.MoveColumns(group_->GetData(), row_->GetData());
  }
}

void WindowResults::WriteToSource() {
  if (groups_) {
    uint64 place;
    std::memcpy(&place, groupPlaceInRow_, sizeof place);
    if (place != groupPlace_) groups_->ReadAt(place, group_->GetData());
    groupPlace_ = place;
  }
  for (const Move& move : moves_) {
    move.fields.MoveColumns(move.fromGroup ? group_->GetData() : row_->GetData(),
                            source_.GetData());
  }
}

}  // namespace sqxer
