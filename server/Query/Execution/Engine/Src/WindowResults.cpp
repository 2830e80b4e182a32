#include "WindowResults.h"

#include <cstring>
#include <numeric>

#include "Utility/Settings.h"
#include "Utility/StatementBudget.h"
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
    const uint64 memory = Settings::Current()->GetSwitches().groupMemory_;
    groups_.emplace(group_->GetPacker(), StatementBudget::CapShare(memory, 8), timer);
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
  fields_ = FindFields(plan, place_ != GroupPlace::kRowRecord, firstGroupField);
  BindMoves(firstResult);
}

std::vector<WindowColumns::Field> WindowResults::FindFields(const PlanWindow& plan, bool fromGroup,
                                                            std::size_t firstGroupField) {
  std::vector<WindowColumns::Field> fields;
  std::size_t rowField = 0;
  std::size_t groupField = fromGroup ? 0 : firstGroupField;
  for (const PlanAggregate& function : plan.functions) {
    const bool isPerGroup = IsPerGroup(function);
    for (std::size_t left = function.results.size(); left > 0; --left) {
      fields.push_back({isPerGroup && fromGroup, isPerGroup ? groupField++ : rowField++});
    }
  }
  return fields;
}

void WindowResults::BindMoves(std::size_t firstResult) {
  for (std::size_t i = 0; i < fields_.size();) {
    const auto [isOfGroup, first] = fields_[i];
    std::size_t count = 1;
    while (i + count < fields_.size() && fields_[i + count].isOfGroup == isOfGroup &&
           fields_[i + count].field == first + count) {
      ++count;
    }
    moves_.push_back(
        {isOfGroup, MoveFields(isOfGroup ? *group_ : *row_, first, count, source_, firstResult)});
    i += count;
    firstResult += count;
  }
}

std::unique_ptr<WindowColumns> WindowResults::MakeColumns() const {
  return std::make_unique<WindowColumns>(fields_, *row_, *group_,
                                         place_ == GroupPlace::kGroupRecord);
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

void WindowResults::ReadGroup() {
  if (!groups_) return;
  uint64 place;
  std::memcpy(&place, groupPlaceInRow_, sizeof place);
  if (place != groupPlace_) groups_->ReadAt(place, group_->GetData());
  groupPlace_ = place;
}

void WindowResults::WriteToSource() {
  ReadGroup();
  for (const Move& move : moves_) {
    move.fields.MoveColumns(move.fromGroup ? group_->GetData() : row_->GetData(),
                            source_.GetData());
  }
}

}  // namespace sqxer
