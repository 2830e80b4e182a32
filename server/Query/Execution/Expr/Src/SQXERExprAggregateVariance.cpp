#include "SQXERExprAggregateVariance.h"

#include "SQXERBatchFold.h"
#include "SQXEROpsStatistics.h"

namespace sqxer {
namespace {

void AddValue(MovingVariance& state, float64 value) {
  const float64 delta = MoveMean(state.mean, value, ++state.count);
  state.squares += delta * (value - state.mean);
}

class VarianceState {
 public:
  explicit VarianceState(const float64* values) : values_(values) {}
  void Load(const uint8* state) {
    state_.count = LoadValue<uint32>(state);
    state_.mean = LoadValue<float64>(state + kMean);
    state_.squares = LoadValue<float64>(state + kMean + sizeof(float64));
  }
  void Add(uint32 row, bool isValue) {
    if (isValue) AddValue(state_, values_[row]);
  }
  void Merge(const VarianceState& other) {
    const MovingVariance& later = other.state_;
    if (later.count == 0) return;
    const float64 delta = later.mean - state_.mean;
    const float64 share = later.count / (float64{1} * state_.count + later.count);
    state_.squares += later.squares + delta * delta * (state_.count * share);
    // The mean of no values is 0, which the share of 1 replaces.
    state_.mean += delta * share;
    state_.count += later.count;
  }
  void Store(uint8* state) const {
    StoreValue(state, state_.count);
    StoreValue(state + kMean, state_.mean);
    StoreValue(state + kMean + sizeof(float64), state_.squares);
  }

 private:
  static constexpr std::size_t kMean = sizeof(uint32);

  const float64* values_;
  MovingVariance state_;
};

}  // namespace

void Variance::Initialize(bool) {
  state_ = {};
  nullIndicator_ = true;
  result_ = 0;
}

RExprReturn Variance::Compute(unsigned char* record, unsigned int) {
  if (!IsSourceNull(record)) AddValue(state_, input_.Read(record + sourceOffset_));
  return kTrue;
}

RExprReturn Variance::Finalize() {
  nullIndicator_ = state_.count < (isSample_ ? 2U : 1U);
  if (!nullIndicator_) result_ = state_.squares / (isSample_ ? state_.count - 1 : state_.count);
  return kTrue;
}

uint32 Variance::TransferState(StateTransfer transfer, uint8* state) {
  return TransferFields(transfer, state, state_.count, state_.mean, state_.squares);
}

void Variance::FoldBatch(const BatchFold& fold) {
  FoldRows(fold, VarianceState(numbers_->As<float64>()));
}

void Variance::MergeState(uint8* state, const uint8* later) {
  MergeLoaded(state, later, VarianceState(nullptr), VarianceState(nullptr));
}

std::vector<XeDataType> Variance::GetStateTypes() const {
  return StateTypesOf<uint32, float64, float64>();
}

}  // namespace sqxer
