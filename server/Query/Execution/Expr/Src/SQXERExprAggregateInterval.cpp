#include "SQXERExprAggregateInterval.h"

#include "SQXERDistinctValues.h"

namespace sqxer {

XeInterval IntervalTotal::GetSum() const {
  const auto time = static_cast<int64>(microseconds);
  if (!std::in_range<int32>(months) || !std::in_range<int32>(days) || time != microseconds)
      [[unlikely]] {
    ThrowIntervalOverflow(L"the sum of " + std::to_wstring(count) + L" intervals");
  }
  return {static_cast<int32>(months), static_cast<int32>(days), time};
}

void IntervalTotal::Load(const uint8* state) {
  months = LoadValue<int64>(state);
  days = LoadValue<int64>(state += sizeof months);
  microseconds = LoadValue<int128>(state += sizeof days);
  count = LoadValue<uint32>(state + sizeof microseconds);
}

void IntervalTotal::Store(uint8* state) const {
  StoreValue(state, months);
  StoreValue(state += sizeof months, days);
  StoreValue(state += sizeof days, microseconds);
  StoreValue(state + sizeof microseconds, count);
}

namespace {

/// The state while rows are folded.
class FoldedTotal {
 public:
  explicit FoldedTotal(const BatchVector& input) : input_(input) {}
  void Load(const uint8* state) { total_.Load(state); }
  void Add(uint32 row, bool isValue) {
    if (isValue) total_.Add(ReadBatchValue<XeInterval>(input_, row));
  }
  void Store(uint8* state) const { total_.Store(state); }

 private:
  const BatchVector& input_;
  IntervalTotal total_;
};

}  // namespace

template <class Generic>
void IntervalAggregate<Generic>::Initialize(bool) {
  total_ = {};
  this->DistinctInitialize();
}

template <class Generic>
RExprReturn IntervalAggregate<Generic>::Compute(unsigned char* record, unsigned int) {
  if (this->IsSourceNull(record)) return kTrue;
  const auto value = LoadValue<XeInterval>(record + this->sourceOffset_);
  if (this->isDistinctHandled_) {
    this->SortDistinctValue(&value, sizeof value);
  } else {
    total_.Add(value);
  }
  return kTrue;
}

template <class Generic>
RExprReturn IntervalAggregate<Generic>::Finalize() {
  if (this->isDistinctHandled_) {
    this->DrainDistinctValues(
        [this](const uint8* value) { total_.Add(LoadValue<XeInterval>(value)); });
  }
  if (total_.count != 0) this->AtSourcePosition([this] { result_ = GetResult(); });
  return kTrue;
}

template <class Generic>
void IntervalAggregate<Generic>::Output(unsigned char* record) {
  if (this->OutputNull(record, total_.count == 0)) return;
  StoreValue(record + this->targetOffset_, result_);
}

template <class Generic>
uint32 IntervalAggregate<Generic>::TransferState(StateTransfer transfer, uint8* state) {
  if (this->distinctValues_ != nullptr) {
    return this->TransferFields(transfer, state, this->distinctGroup_);
  }
  if (this->isDistinctHandled_) return 0;
  if (transfer == StateTransfer::kSave) total_.Store(state);
  if (transfer == StateTransfer::kRestore) total_.Load(state);
  return IntervalTotal::kStateBytes;
}

template <class Generic>
void IntervalAggregate<Generic>::FoldBatch(const BatchFold& fold) {
  FoldRows(fold, FoldedTotal(*fold.input));
}

template <class Generic>
void IntervalAggregate<Generic>::MergeState(uint8* state, const uint8* later) {
  MergeLoaded(state, later, IntervalTotal(), IntervalTotal());
}

template class IntervalAggregate<Sum>;
template class IntervalAggregate<Avg>;

}  // namespace sqxer
