#include "GroupSet.h"

#include <algorithm>

namespace sqxer {
namespace {

std::size_t CountKeyFields(std::size_t keys, const PlanGroupingSet* set) {
  return keys + (set == nullptr ? 0 : set->groupings.size());
}

std::vector<std::size_t> FindLeftOut(std::size_t keys, const PlanGroupingSet* set) {
  std::vector<std::size_t> leftOut;
  for (std::size_t key = 0; set != nullptr && key < keys; ++key) {
    if (!std::ranges::binary_search(set->keys, key)) leftOut.push_back(key);
  }
  return leftOut;
}

}  // namespace

GroupSet::GroupSet(const std::vector<ColumnInfo>& fields, std::size_t keyCount,
                   const PlanGroupingSet* set, WorkRecord& input,
                   const std::vector<PlanAggregate>& aggregates, uint64 memoryLimit,
                   uint64 mostRows)
    : keyCount_(keyCount),
      set_(set),
      leftOut_(FindLeftOut(keyCount, set)),
      record_(fields),
      table_(record_, CountKeyFields(keyCount, set), input, aggregates, memoryLimit, mostRows),
      batch_(table_) {}

void GroupSet::Start(bool takesBatches, bool opensEmpty) {
  table_.KeepBareStates(takesBatches);
  table_.Clear();
  if (takesBatches) batch_.Start();
  if (leftOut_.size() < keyCount_ || !opensEmpty) return;
  WriteCommon();
  table_.OpenGroup();
}

void GroupSet::WriteCommon() {
  if (set_ == nullptr) return;
  uint8* const record = record_.GetData();
  for (const std::size_t key : leftOut_) record[record_.GetField(key).GetNullOffset()] = 1;
  for (std::size_t i = 0; i < set_->groupings.size(); ++i) {
    std::memcpy(record + record_.GetField(keyCount_ + i).GetDataOffset(), &set_->groupings[i],
                sizeof(int32));
  }
}

void GroupSet::TakeKeys(const WorkRecord& keys) {
  record_.GetPacker().Copy(keys.GetData(), record_.GetData());
  WriteCommon();
}

bool GroupSet::FindGroups(const BatchRows& rows, const std::vector<BatchVector>& keys,
                          const std::vector<BatchVector>& inputs, uint64 firstRow) {
  if (set_ == nullptr) return batch_.FindGroups(rows, keys, keys, inputs, firstRow);
  static constexpr uint64 kNoValue = 0;
  vectors_ = keys;
  for (const std::size_t key : leftOut_) {
    vectors_[key] = {.form = keys[key].form, .isConstant = true, .validity = &kNoValue};
  }
  for (const int32& value : set_->groupings) {
    vectors_.push_back({.form = ColumnForm::kInt32,
                        .isConstant = true,
                        .values = reinterpret_cast<const uint8*>(&value)});
  }
  searched_.clear();
  for (const std::size_t key : set_->keys) searched_.push_back(keys[key]);
  return batch_.FindGroups(rows, vectors_, searched_, inputs, firstRow);
}

}  // namespace sqxer
