#include "SQXERExprAggregateMedian.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <span>

#include "SQXERBatchFold.h"
#include "SQXERExprAggregateMedianInterval.h"
#include "SQXERHeldMemory.h"
#include "Utility/StatementBudget.h"
#include "Utility/SystemUtility.h"

namespace sqxer {

namespace {

constexpr uint32 kFirstBlockRecords = 512;
constexpr uint32 kMaxBlockBytes = 65535;
/// After so many values it is asked what they take.
constexpr uint32 kValuesPerCheck = 1 << 14;
/// With the address that Finalize takes.
constexpr uint64 kBytesPerValue = 2 * sizeof(float64);

}  // namespace

Median::Median(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
               UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate)
    : SingleResultAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                            isCumulativeAggregate, false) {}

void Median::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  if (GetSourceField(input).GetDataType() == XeIntervalData && distinctBreakColumns_->empty()) {
    AggregateColumnVectors columns = TakeColumns();
    ReplaceBy(MakeOverIntervals(input, columns), result);
    return DescribeResult(info, XeIntervalData, 0, true);
  }
  settings_ = Settings::Current();
  input_.Bind(GetSourceField(input), L"Median");
  BindSource(input);
  sourceRecordMetaData_ = &input;
  sourceMoveFields_ = *distinctBreakColumns_;
  BindKeyRow();
  resultDataType_ = XeDoubleData;
  DescribeResult(info, resultDataType_, 0, true);
}

void Median::BindKeyRow() {
  tempRowMetaData_ = XeRecordMetaData(sourceRecordMetaData_->IsUnicodeRecord());
  DescribeMovedFields(*sourceRecordMetaData_, sourceMoveFields_, tempRowMetaData_);
  tempRowMetaData_.GenerateAlignedFieldOffset();
  aggrKeySet_ = MakeDistinctSortKeySet(tempRowMetaData_, kAscending, false);
  prevRow_.Reserve(tempRowMetaData_.GetBinaryRecordSize());
  currRow_.Reserve(tempRowMetaData_.GetBinaryRecordSize());
  keyBinder_ = XeFieldDataBinder(*sourceRecordMetaData_, sourceMoveFields_, tempRowMetaData_, 0);
}

void Median::Initialize(bool restart) {
  // The result stays: a target that is never NULL receives that of the last group with values.
  nullIndicator_ = true;
  list_ = {};
  if (held_ != nullptr || holder_ != nullptr) return;
  if (moving_ != nullptr) return moving_->Clear();
  // Callers restart the count of output rows without giving up the values of the group. Where none
  // is open there is nothing to keep.
  if (restart && arrayRowSet_ != nullptr) return;
  count_ = 0;
  spilled_.reset();
  arrayRowSet_ = std::make_unique<ArrayRowSet>(sizeof(float64), kFirstBlockRecords, kMaxBlockBytes);
}

RExprReturn Median::Compute(unsigned char* record, unsigned int) {
  if (holder_ != nullptr || IsSourceNull(record)) return kTrue;
  if (!sourceMoveFields_.empty() && !TakeKey(record)) return kTrue;
  const float64 value = input_.Read(record + sourceOffset_);
  if (held_ != nullptr) {
    held_->Append(list_, value);
    SpillHeldIfLarge(list_);
    return kTrue;
  }
  if (moving_ != nullptr) {
    moving_->Add(value);
    return kTrue;
  }
  if (spilled_ != nullptr) {
    spilled_->Add(value);
    ++count_;
    return kTrue;
  }
  const auto* const row = reinterpret_cast<const uint8*>(&value);
  if (count_ == 0) {
    RequireRows();
    arrayRowSet_->AppendFirst(row);
  } else {
    arrayRowSet_->Append(row);
  }
  ++count_;
  if (count_ % kValuesPerCheck == 0 && count_ * kBytesPerValue > GetMostBytes()) [[unlikely]]
    Spill();
  return kTrue;
}

uint64 Median::GetMostBytes() const {
  return StatementBudget::CapShare(settings_->GetSwitches().groupMemory_, 4);
}

void Median::Spill() {
  spilled_ = std::make_unique<SpilledNumbers>(settings_);
  for (const uint8* const row : arrayRowSet_->Finalize()) spilled_->Add(LoadValue<float64>(row));
  arrayRowSet_ = std::make_unique<ArrayRowSet>(sizeof(float64), kFirstBlockRecords, kMaxBlockBytes);
}

void Median::SpillHeldIfLarge(HeldNumbers::List& list) {
  if (held_->GetBytes() <= mostHeldBytes_) [[likely]]
    return;
  if (spilled_ == nullptr) spilled_ = std::make_unique<SpilledNumbers>(settings_);
  held_->TakeAll(list, [this](float64 value) { spilled_->Add(value); });
}

void Median::SelectSpilled(SpilledNumbers& numbers) {
  nullIndicator_ = false;
  const QuantilePlace place = FindPlace(numbers.GetCount());
  result_ = numbers.At(place.rank);
  if (place.share > 0) result_ = Between(result_, numbers.At(place.rank + 1), place.share);
}

bool Median::TakeKey(const unsigned char* record) {
  uint8* const key = currRow_.data();
  keyBinder_.MoveColumns(record, key);
  if (count_ > 0 && aggrKeySet_->Compare(prevRow_.data(), key) == 0) return false;
  std::memcpy(prevRow_.data(), key, tempRowMetaData_.GetBinaryRecordSize());
  return true;
}

void Median::RequireRows() const {
  if (arrayRowSet_ == nullptr) XeLogicError("a MEDIAN is driven outside Initialize and Finalize");
}

bool Median::HoldTogether(HeldMemory& memory) {
  if (!sourceMoveFields_.empty()) return false;
  // Of several groups the owner sees to it that their values are not too many.
  if (memory.IsOfOneGroup()) mostHeldBytes_ = memory.GetLimit();
  held_ = std::make_unique<HeldNumbers>();
  return true;
}

bool Median::HoldMovingRows() {
  if (!sourceMoveFields_.empty()) return false;
  moving_ = std::make_unique<MovingRanks>();
  return true;
}

void Median::Remove(unsigned char* record, unsigned int) {
  if (!IsSourceNull(record)) moving_->Remove(input_.Read(record + sourceOffset_));
}

bool Median::ShareHeld(Aggregate& holder) {
  auto* const other = dynamic_cast<Median*>(&holder);
  if (other == nullptr || other->held_ == nullptr || !sourceMoveFields_.empty() ||
      aggregateColumns_->front() != other->aggregateColumns_->front()) {
    return false;
  }
  holder_ = other;
  return true;
}

uint32 Median::TransferState(StateTransfer transfer, uint8* state) {
  // A state there must be, though it says nothing.
  if (holder_ != nullptr) return TransferFields(transfer, state, nullIndicator_);
  return held_ == nullptr ? 0 : TransferFields(transfer, state, list_);
}

bool Median::AdmitsInput(const BatchVector* input, const BatchRows& rows) {
  if (holder_ != nullptr) return true;
  numbers_ = column_.Read(*input, rows);
  return numbers_ != nullptr;
}

namespace {

/// A state that is a list of numbers.
class ListState {
 public:
  ListState(HeldNumbers& held, const float64* values) : held_(held), values_(values) {}
  void Load(const uint8* state) { list_ = LoadValue<HeldNumbers::List>(state); }
  void Add(uint32 row, bool isValue) {
    if (isValue) held_.Append(list_, values_[row]);
  }
  void Store(uint8* state) const { StoreValue(state, list_); }

 private:
  HeldNumbers& held_;
  const float64* const values_;
  HeldNumbers::List list_;
};

}  // namespace

void Median::FoldBatch(const BatchFold& fold) {
  if (holder_ != nullptr) return;
  FoldRows(fold, ListState(*held_, numbers_->As<float64>()));
  if (held_->GetBytes() <= mostHeldBytes_ || fold.count == 0) return;
  auto list = LoadValue<HeldNumbers::List>(fold.StateOf(0));
  SpillHeldIfLarge(list);
  StoreValue(fold.StateOf(0), list);
}

void Median::MergeHeld(std::span<const StatePair> states, Aggregate& later) {
  if (holder_ != nullptr) return;
  for (const StatePair& pair : states) {
    auto list = LoadValue<HeldNumbers::List>(pair.state);
    HeldNumbers::Splice(list, LoadValue<HeldNumbers::List>(pair.later));
    StoreValue(pair.state, list);
  }
  held_->TakeRooms(*static_cast<Median&>(later).held_);
  if (held_->GetBytes() <= mostHeldBytes_ || states.empty()) return;
  auto list = LoadValue<HeldNumbers::List>(states.front().state);
  SpillHeldIfLarge(list);
  StoreValue(states.front().state, list);
}

RExprReturn Median::Finalize() {
  if (held_ != nullptr || holder_ != nullptr) {
    SpilledNumbers* const spilled = (holder_ != nullptr ? *holder_ : *this).spilled_.get();
    if (spilled != nullptr) {
      // The holder comes first.
      if (held_ != nullptr) {
        held_->TakeAll(list_, [&](float64 value) { spilled->Add(value); });
        spilled->Sort();
      }
      SelectSpilled(*spilled);
      return kTrue;
    }
    // In what order the values stand does not matter.
    HeldNumbers::Numbers& values = holder_ != nullptr ? holder_->values_ : values_;
    if (held_ != nullptr) held_->Gather(list_, values);
    if (values.empty()) return kTrue;
    nullIndicator_ = false;
    const QuantilePlace place = FindPlace(values.size());
    float64 next = 0;
    selection_.Select(values, place.rank, place.share > 0, result_, next);
    if (place.share > 0) result_ = Between(result_, next, place.share);
    return kTrue;
  }
  if (moving_ != nullptr) {
    nullIndicator_ = moving_->GetCount() == 0;
    if (nullIndicator_) return kTrue;
    const QuantilePlace place = FindPlace(moving_->GetCount());
    result_ = moving_->At(place.rank);
    if (place.share > 0) result_ = Between(result_, moving_->At(place.rank + 1), place.share);
    return kTrue;
  }
  RequireRows();
  if (spilled_ != nullptr) {
    spilled_->Sort();
    SelectSpilled(*spilled_);
    spilled_.reset();
    arrayRowSet_.reset();
    count_ = 0;
    return kTrue;
  }
  const std::span<uint8*> rows = arrayRowSet_->Finalize();
  rowArray_ = rows.data();
  count_ = static_cast<uint32>(rows.size());
  if (count_ > 0) {
    nullIndicator_ = false;
    const QuantilePlace place = FindPlace(count_);
    const uint32 rank = static_cast<uint32>(place.rank) + 1;
    result_ = ExactZero(RandomizedSelect(0, count_ - 1, rank), rank);
    if (place.share > 0) {
      const float64 next = RandomizedSelect(rank, count_ - 1, 1);
      result_ = Between(result_, ExactZero(next, rank + 1), place.share);
    }
  }
  rowArray_ = nullptr;
  arrayRowSet_.reset();
  count_ = 0;
  return kTrue;
}

std::unique_ptr<Aggregate> Median::MakeOverIntervals(const XeRecordMetaData& input,
                                                     AggregateColumnVectors& columns) const {
  return std::make_unique<QuantileInterval>(input, columns, isCumulativeAggregate_, 0.5, true);
}

std::unique_ptr<Aggregate> Quantile::MakeOverIntervals(const XeRecordMetaData& input,
                                                       AggregateColumnVectors& columns) const {
  return std::make_unique<QuantileInterval>(input, columns, isCumulativeAggregate_, fraction_,
                                            isContinuous_);
}

QuantilePlace Quantile::FindPlace(std::size_t count) const {
  return PlaceOfFraction(count, fraction_, isContinuous_);
}

RExprReturn Quantile::Finalize() {
  Median::Finalize();
  nullIndicator_ |= std::isnan(fraction_);
  return kTrue;
}

void Median::Output(unsigned char* record) {
  if (OutputNull(record, nullIndicator_)) return;
  StoreValue(record + targetOffset_, result_);
}

float64 Median::ExactZero(float64 value, uint32 k) const {
  if (value != 0) return value;
  return ZeroOfRank(count_, k - 1,
                    [this](std::size_t place) { return ValueAt(static_cast<uint32>(place)); });
}

float64 Median::RandomizedSelect(uint32 lo, uint32 hi, uint32 k) {
  while (lo < hi) {
    const uint32 q = RandomizedPartition(lo, hi);
    const uint32 m = q - lo + 1;
    if (k <= m) {
      hi = q;
    } else {
      lo = q + 1;
      k -= m;
    }
  }
  return ValueAt(lo);
}

uint32 Median::RandomizedPartition(uint32 lo, uint32 hi) {
  // No order of the input is a bad one.
  const auto random = static_cast<uint32>(SystemUtility::XeRand_to_rand_r());
  SwapInVirTable(lo + random % (hi - lo + 1), lo);
  return Partition(lo, hi);
}

uint32 Median::Partition(uint32 lo, uint32 hi) {
  const float64 pivot = ValueAt(lo);
  // One step outside; below place 0 this wraps round, and so does the step back.
  uint32 i = lo - 1, j = hi + 1;
  for (;;) {
    // Both scans stop at equal values, so many of them are parted in the middle.
    do --j;
    while (SortsBefore(pivot, ValueAt(j)));
    do ++i;
    while (SortsBefore(ValueAt(i), pivot));
    if (i >= j) return j;
    SwapInVirTable(i, j);
  }
}

}  // namespace sqxer
