#include "SQXERExprAggregateArgExtreme.h"

#include <algorithm>
#include <cstring>

#include "SQXERBatchFold.h"
#include "SQXERBatchStore.h"
#include "SQXERTypedVariant.h"

namespace sqxer {
namespace {

bool StandsInBatches(XeDataType type, bool isNarrow) {
  if (SUXeDataTypeUtility::IsXeTextType(type)) return !isNarrow;
  return WithStoredType(type, [](auto) {});
}

}  // namespace

ArgExtreme::ArgExtreme(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                       UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate, int wanted)
    : SingleResultAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                            isCumulativeAggregate, false),
      wanted_(wanted) {}

void ArgExtreme::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  XE_ASSERT(aggregateColumns_->size() > 1);
  // y takes the place of the source for a moment, as its order is asked about there.
  std::swap((*aggregateColumns_)[0], (*aggregateColumns_)[1]);
  BindSource(input);
  const XeFieldDescriptor& y = GetSourceField(input);
  RequireOrder(NodeName(*this));
  key_ = KeyDesc(y, kAscending, KeyDesc::GetCharComparisonType());
  yType_ = sourceDataType_;
  yOffset_ = sourceOffset_;
  yNullOffset_ = sourceNullOffset_;
  yBytes_ = sourceDataSize_;
  yUnit_ = sourceUnit_;
  isYNarrow_ = IsSourceNarrow();
  ReserveKept(y_, yBytes_);
  ReserveKept(other_, yBytes_);
  std::swap((*aggregateColumns_)[0], (*aggregateColumns_)[1]);
  BindSource(input);
  const XeFieldDescriptor& x = GetSourceField(input);
  ReserveKept(x_, sourceDataSize_);
  resultDataType_ = sourceDataType_;
  isResultNarrow_ = IsSourceNarrow();
  DescribeResult(info, sourceDataType_, x.GetLength(), true, x.GetScale());
}

void ArgExtreme::Initialize(bool) { nullIndicator_ = true; }

RExprReturn ArgExtreme::Compute(unsigned char* record, unsigned int) {
  const bool isYNull = yNullOffset_ != 0 && record[yNullOffset_] != 0;
  if (isYNull || IsSourceNull(record)) return kTrue;
  const uint8* const y = record + yOffset_;
  if (!Replaces(y)) return kTrue;
  std::memcpy(y_.data(), y, CountUsedBytes(y, yBytes_, yUnit_));
  const uint8* const x = record + sourceOffset_;
  std::memcpy(x_.data(), x, std::min(sourceDataSize_, CountSourceBytes(x)));
  nullIndicator_ = false;
  return kTrue;
}

void ArgExtreme::Output(unsigned char* record) {
  if (OutputNull(record, nullIndicator_)) return;
  OutputStoredValue(record, x_.data(), sourceDataSize_);
}

// A state: whether there is no row, y and x.
uint32 ArgExtreme::TransferState(StateTransfer transfer, uint8* state) {
  if (sourceDataSize_ > longestKept_ || yBytes_ > longestKept_) return 0;
  const uint32 offset = TransferFields(transfer, state, nullIndicator_);
  const uint32 end = TransferBytes(transfer, state, offset, y_.data(), yBytes_);
  return TransferBytes(transfer, state, end, x_.data(), sourceDataSize_);
}

bool ArgExtreme::TakesBatches() {
  return StandsInBatches(sourceDataType_, isResultNarrow_) && StandsInBatches(yType_, isYNarrow_);
}

bool ArgExtreme::AdmitsPair(const BatchVector& x, const BatchVector& y, const BatchRows& rows) {
  xs_ = x;
  ys_ = y;
  both_ = BatchVector();
  IntersectValidity(x, y, rows, validity_, both_);
  return true;
}

bool ArgExtreme::FindBest(const BatchFold& pairs, uint32& index, uint32& row, bool& hasPair) const {
  hasPair = true;
  return WithNumberType(ys_.form, [&]<class T>(std::type_identity<T>) {
    const T* const values = ys_.As<T>();
    const bool isConstant = ys_.isConstant;
    const int64 turn = wanted_ < 0 ? -1 : 0;
    bool isAny = false;
    uint32 bestAt = 0;
    uint32 bestOf = 0;
    int64 best = 0;
    pairs.ForEach([&](uint32 at, uint32 of, bool isPair) {
      if (!isPair) return;
      const T value = values[isConstant ? 0 : of];
      int64 key;
      if constexpr (std::floating_point<T>) {
        key = OrderedBits(value);
      } else {
        key = static_cast<int64>(value);
      }
      // Turned bits sort the other way round.
      key ^= turn;
      if (isAny && key <= best) return;
      isAny = true;
      best = key;
      bestAt = at;
      bestOf = of;
    });
    hasPair = isAny;
    index = bestAt;
    row = bestOf;
  });
}

template <class StoreX, class StoreY>
void ArgExtreme::Fold(const BatchFold& fold, StoreX storeX, StoreY storeY) {
  constexpr std::size_t kY = 1;
  BatchFold pairs = fold;
  pairs.input = &both_;
  const uint8* loaded = nullptr;
  const auto take = [&](uint32 index, uint32 row) {
    uint8* const state = fold.StateOf(index);
    if (state != loaded) {
      nullIndicator_ = state[0] != 0;
      if (!nullIndicator_)
        std::memcpy(y_.data(), state + kY, CountUsedBytes(state + kY, yBytes_, yUnit_));
      loaded = state;
    }
    storeY(ys_.isConstant ? 0 : row, other_.data());
    if (!Replaces(other_.data())) return;
    const uint32 bytes = CountUsedBytes(other_.data(), yBytes_, yUnit_);
    std::memcpy(y_.data(), other_.data(), bytes);
    std::memcpy(state + kY, other_.data(), bytes);
    storeX(xs_.isConstant ? 0 : row, state + kY + yBytes_);
    state[0] = 0;
    nullIndicator_ = false;
  };
  uint32 best = 0;
  uint32 bestRow = 0;
  bool hasPair = true;
  if (fold.state != nullptr && FindBest(pairs, best, bestRow, hasPair)) {
    if (hasPair) take(best, bestRow);
    return;
  }
  pairs.ForEach([&](uint32 index, uint32 row, bool isPair) {
    if (isPair) take(index, row);
  });
}

void ArgExtreme::FoldBatch(const BatchFold& fold) {
  const auto characters = [](uint32 bytes) { return bytes / uint32{sizeof(wchar_t)}; };
  WithBatchStore(xs_, sourceDataType_, characters(sourceDataSize_), [&](auto storeX) {
    WithBatchStore(ys_, yType_, characters(yBytes_),
                   [&](auto storeY) { Fold(fold, storeX, storeY); });
  });
}

void ArgExtreme::MergeState(uint8* state, const uint8* later) {
  constexpr std::size_t kY = 1;
  if (later[0] != 0) return;
  if (state[0] == 0) {
    std::memcpy(y_.data(), state + kY, CountUsedBytes(state + kY, yBytes_, yUnit_));
    std::memcpy(other_.data(), later + kY, CountUsedBytes(later + kY, yBytes_, yUnit_));
    if (key_.CompareValues(other_.data(), y_.data()) != wanted_) return;
  }
  std::memcpy(state, later, kY + yBytes_ + sourceDataSize_);
}

}  // namespace sqxer
