#include "GroupBatch.h"

#include <algorithm>

#include "EngineError.h"
#include "RecordKeys.h"
#include "SQXERBatchFold.h"

namespace sqxer {
namespace {

/// More combinations of codes than this are looked up as other keys are.
constexpr uint64 kMostCombinations = uint64{1} << 16;
/// Rows of at most so many groups are sorted by their groups.
constexpr std::size_t kMostParted = 256;
constexpr std::size_t kFirstValues = 1024;

uint64 PlaceOf(int64 value) { return Scatter(static_cast<uint64>(value)); }

}  // namespace

GroupBatch::GroupBatch(GroupTable& table) : table_(table) {
  for (std::size_t i = 0; i < table_.keyCount_; ++i) keyFields_.emplace_back(table_.group_, i);
  const auto inputs = static_cast<std::size_t>(table_.input_.GetLayout().GetFieldCount());
  for (std::size_t i = 0; i < inputs; ++i) inputFields_.emplace_back(table_.input_, i);
}

void GroupBatch::Start() {
  dictionaries_.clear();
  groupsOfCodes_.clear();
  groupsOfValues_.clear();
  values_ = 0;
  groupOfNull_ = nullptr;

  TurnTakingSet& turns = table_.GetTurns();
  members_.clear();
  uint32 offset = 0;
  for (std::size_t i = 0; i < table_.aggregates_.size(); ++i) {
    Aggregate& aggregate = turns.GetSet().Get(i);
    const UInt16Vector& columns = *aggregate.GetAggregateColumns();
    const bool readsColumn = !columns.empty();
    members_.push_back({&aggregate, nullptr, readsColumn ? columns[0] : std::size_t{0}, readsColumn,
                        offset, i, turns.GetSet().GetPosition(i)});
    offset += turns.GetSet().TransferState(i, StateTransfer::kMeasure, nullptr);
  }
}

bool GroupBatch::FindByKeys(const BatchRows& rows, std::span<const BatchVector> keys,
                            uint64 firstRow) {
  found_ = 0;
  leftOver_.clear();
  isOneGroup_ = keys.empty();
  if (isOneGroup_) return true;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (!keyFields_[i].Use(keys[i], rows)) return false;
  }
  rows_.resize(kMostBatchRows);
  groups_.resize(kMostBatchRows);
  const bool isFound = FindByCodes(rows, keys, firstRow) ||
                       (keys.size() == 1 && FindByValue(rows, keys[0], firstRow));
  if (!isFound) rows.ForEach([&](uint32 row) { Put(row, FindOrOpen(row, firstRow)); });
  return true;
}

GroupBatch::Group* GroupBatch::FindOrOpen(uint32 row, uint64 firstRow) {
  for (BatchField& field : keyFields_) field.Write(row);
  return AtRow(firstRow + row, [&] { return table_.FindOrOpen(); });
}

bool GroupBatch::FindByCodes(const BatchRows& rows, std::span<const BatchVector> keys,
                             uint64 firstRow) {
  uint64 combinations = 1;
  bool areKnown = dictionaries_.size() == keys.size();
  for (const BatchVector& key : keys) {
    if (key.dictionary == nullptr) return false;
    combinations *= (*key.dictionary)->rows + 1;
    if (combinations > kMostCombinations) return false;
    areKnown =
        areKnown && dictionaries_[static_cast<std::size_t>(&key - keys.data())] == *key.dictionary;
  }
  if (!areKnown) {
    dictionaries_.clear();
    for (const BatchVector& key : keys) dictionaries_.push_back(*key.dictionary);
    groupsOfCodes_.assign(combinations, nullptr);
  }
  uint32 combined[kMostBatchRows];
  std::fill_n(combined, rows.count, 0u);
  for (const BatchVector& key : keys) {
    const auto entries = static_cast<uint32>((*key.dictionary)->rows);
    const auto add = [&](const auto* codes) {
      rows.ForEach([&](uint32 row) {
        const uint32 code = key.IsNull(row) ? entries : uint32{codes[row]};
        combined[row] = combined[row] * (entries + 1) + code;
      });
    };
    if (key.codeWidth == 1) {
      add(key.values);
    } else if (key.codeWidth == 2) {
      add(key.As<uint16>());
    } else {
      add(key.As<uint32>());
    }
  }
  rows.ForEach([&](uint32 row) {
    Group*& group = groupsOfCodes_[combined[row]];
    if (group == nullptr) group = FindOrOpen(row, firstRow);
    Put(row, group);
  });
  return true;
}

bool GroupBatch::FindByValue(const BatchRows& rows, const BatchVector& key, uint64 firstRow) {
  if (key.isConstant) return false;
  if (form_ != key.form || scale_ != key.scale || groupsOfValues_.empty()) {
    form_ = key.form;
    scale_ = key.scale;
    groupsOfValues_.assign(kFirstValues, ValueSlot());
    values_ = 0;
  }
  switch (key.form) {
    case ColumnForm::kUInt8:
      FindByValues<uint8>(rows, key, firstRow);
      return true;
    case ColumnForm::kInt32:
    case ColumnForm::kDay32:
      FindByValues<int32>(rows, key, firstRow);
      return true;
    case ColumnForm::kUInt32:
      FindByValues<uint32>(rows, key, firstRow);
      return true;
    case ColumnForm::kFloat64:
    case ColumnForm::kDecimal64:
    case ColumnForm::kTime64:
    case ColumnForm::kTimeStamp64:
      FindByValues<int64>(rows, key, firstRow);
      return true;
    default:
      return false;
  }
}

template <class Stored>
void GroupBatch::FindByValues(const BatchRows& rows, const BatchVector& key, uint64 firstRow) {
  // Doubles are read as the integers of their bits.
  const auto valueOf = [&](uint32 row) {
    Stored value;
    std::memcpy(&value, key.values + row * sizeof value, sizeof value);
    return static_cast<int64>(value);
  };
  if (groupsOfValues_.size() > kFirstValues) {
    // All at once, so that one does not wait for the memory of the other.
    rows.ForEach([&](uint32 row) {
      const std::size_t at = PlaceOf(valueOf(row));
      __builtin_prefetch(&groupsOfValues_[at & (groupsOfValues_.size() - 1)]);
    });
  }
  rows.ForEach([&](uint32 row) {
    if (key.IsNull(row)) {
      if (groupOfNull_ == nullptr) groupOfNull_ = FindOrOpen(row, firstRow);
      return Put(row, groupOfNull_);
    }
    // The table tells which bits are equal doubles.
    const int64 value = valueOf(row);
    const std::size_t mask = groupsOfValues_.size() - 1;
    std::size_t at = PlaceOf(value) & mask;
    while (groupsOfValues_[at].group != nullptr && groupsOfValues_[at].value != value) {
      at = (at + 1) & mask;
    }
    Group* group = groupsOfValues_[at].group;
    if (group == nullptr) {
      group = FindOrOpen(row, firstRow);
      if (group != nullptr) {
        groupsOfValues_[at] = {value, group};
        if (++values_ > groupsOfValues_.size() / 2) GrowValues();
      }
    }
    __builtin_prefetch(group);
    Put(row, group);
  });
}

void GroupBatch::GrowValues() {
  decltype(groupsOfValues_) old(groupsOfValues_.size() * 2);
  old.swap(groupsOfValues_);
  const std::size_t mask = groupsOfValues_.size() - 1;
  for (const ValueSlot& slot : old) {
    if (slot.group == nullptr) continue;
    std::size_t at = PlaceOf(slot.value) & mask;
    while (groupsOfValues_[at].group != nullptr) at = (at + 1) & mask;
    groupsOfValues_[at] = slot;
  }
}

void GroupBatch::PartRows() {
  isParted_ = !isOneGroup_ && table_.groups_.size() <= kMostParted;
  if (isOneGroup_) return;
  if (!isParted_) {
    states_.resize(kMostBatchRows);
    for (uint32 i = 0; i < found_; ++i) states_[i] = groups_[i]->States();
    return;
  }
  const std::size_t groups = table_.groups_.size();
  ends_.assign(groups + 1, 0);
  for (uint32 i = 0; i < found_; ++i) ++ends_[groups_[i]->index + 1];
  for (std::size_t i = 0; i < groups; ++i) ends_[i + 1] += ends_[i];
  partedRows_.resize(kMostBatchRows);
  for (uint32 i = 0; i < found_; ++i) {
    partedRows_[ends_[groups_[i]->index]++] = rows_[i];
  }
}

template <class Use>
bool GroupBatch::ForEachFold(const BatchRows& rows, const Member& member, Use&& use) {
  BatchFold fold;
  fold.input = member.input;
  if (isOneGroup_) {
    fold.rows = rows.selected;
    fold.count = rows.GetWanted();
    fold.state = table_.groups_.front()->States() + member.offset;
    return use(fold);
  }
  if (!isParted_) {
    fold.rows = rows_.data();
    fold.count = found_;
    fold.states = states_.data();
    fold.offset = member.offset;
    return use(fold);
  }
  uint32 first = 0;
  for (Group* const group : table_.groups_) {
    // Each end has moved on to that of its group.
    const uint32 end = ends_[group->index];
    fold.rows = partedRows_.data() + first;
    fold.count = end - first;
    fold.state = group->States() + member.offset;
    first = end;
    if (fold.count != 0 && !use(fold)) return false;
  }
  return true;
}

bool GroupBatch::FindGroups(const BatchRows& rows, std::span<const BatchVector> keys,
                            std::span<const BatchVector> inputs, uint64 firstRow) {
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    if (!inputFields_[i].Use(inputs[i], rows)) return false;
  }
  for (Member& member : members_) {
    member.input = member.readsColumn ? &inputs[member.column] : nullptr;
  }
  if (!FindByKeys(rows, keys, firstRow)) return false;
  // The states are to be read and written where they are.
  table_.GetTurns().Settle();
  PartRows();
  for (Member& member : members_) {
    Aggregate& aggregate = *member.aggregate;
    member.goesByRows = table_.GetTurns().GetSet().HasObjects(member.index) ||
                        !aggregate.TakesBatches() || !aggregate.AdmitsInput(member.input, rows) ||
                        !ForEachFold(rows, member, [&](const BatchFold& fold) {
                          return aggregate.AdmitsStates(fold);
                        });
  }
  return true;
}

void GroupBatch::TakeRows(const BatchRows& rows, uint64 firstRow) {
  for (const Member& member : members_) {
    if (member.goesByRows) continue;
    ForEachFold(rows, member, [&](const BatchFold& fold) {
      member.aggregate->FoldBatch(fold);
      return true;
    });
  }
  ComputeRows(rows, firstRow);
  AddLeftOver(firstRow);
}

void GroupBatch::ComputeRows(const BatchRows& rows, uint64 firstRow) {
  std::vector<Member> driven;
  std::vector<bool> isRead(inputFields_.size());
  for (const Member& member : members_) {
    if (!member.goesByRows) continue;
    driven.push_back(member);
    for (const uint16 column : *member.aggregate->GetAggregateColumns()) isRead[column] = true;
  }
  if (driven.empty()) return;
  AggregateSet& set = table_.GetTurns().GetSet();
  const auto transfer = [&](StateTransfer direction, uint8* states) {
    for (Member& member : driven) {
      set.TransferState(member.index, direction, states + member.offset);
      member.aggregate = &set.Get(member.index);
    }
  };
  const uint32 count = isOneGroup_ ? rows.GetWanted() : found_;
  uint8* current = nullptr;
  table_.TakeFromGateway([&] {
    for (uint32 i = 0; i < count; ++i) {
      const uint32 row = isOneGroup_ ? rows.GetRow(i) : rows_[i];
      uint8* const states = (isOneGroup_ ? table_.groups_.front() : groups_[i])->States();
      if (states != current) {
        if (current != nullptr) transfer(StateTransfer::kSave, current);
        transfer(StateTransfer::kRestore, states);
        current = states;
      }
      for (std::size_t field = 0; field < inputFields_.size(); ++field) {
        if (isRead[field]) inputFields_[field].Write(row);
      }
      AtRow(firstRow + row, [&] {
        ForEachAggregate(driven, [&](Member& member) {
          CheckStatus(member.aggregate->Compute(table_.input_.GetData(), table_.input_.GetSize()));
        });
      });
    }
  });
  if (current != nullptr) transfer(StateTransfer::kSave, current);
}

void GroupBatch::AddLeftOver(uint64 firstRow) {
  for (const uint16 row : leftOver_) {
    for (BatchField& field : keyFields_) field.Write(row);
    for (BatchField& field : inputFields_) field.Write(row);
    table_.Add(firstRow + row);
  }
}

}  // namespace sqxer
