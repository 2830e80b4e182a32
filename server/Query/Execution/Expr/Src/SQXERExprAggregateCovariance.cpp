#include "SQXERExprAggregateCovariance.h"

namespace sqxer {

void Covariance::Initialize(bool restart) {
  PairAggregate::Initialize(restart);
  static_cast<CoMoment&>(*this) = {};
  covariance_ = 0;
}

inline bool Covariance::TakeRow(const unsigned char* record) {
  if (IsXNull(record) || IsYNull(record)) return false;
  ReadPair(record);
  ++count_;
  CoMoment::Add(xValue_, yValue_, count_);
  return true;
}

RExprReturn Covariance::Compute(unsigned char* record, unsigned int) {
  TakeRow(record);
  return kTrue;
}

RExprReturn Covariance::Finalize() {
  nullIndicator_ = count_ == 1;
  if (!nullIndicator_) covariance_ = C / GetDivisor();
  return kTrue;
}

void Covariance::Output(unsigned char* record) {
  if (OutputNull(record, nullIndicator_)) return;
  StoreValue(record + targetOffset_, covariance_);
}

uint32 Covariance::TransferState(StateTransfer transfer, uint8* state) {
  return TransferFields(transfer, state, count_, C, x_mean, y_mean);
}

namespace {

/// The state of a covariance: how many rows there are, the co-moment and the means.
class CovarianceState {
 public:
  void Load(const uint8* state) {
    count_ = LoadValue<uint32>(state);
    moment_.C = LoadValue<float64>(state + kMomentOfState);
    moment_.x_mean = LoadValue<float64>(state + kMomentOfState + sizeof(float64));
    moment_.y_mean = LoadValue<float64>(state + kMomentOfState + 2 * sizeof(float64));
  }
  void Add(float64 x, float64 y) { moment_.Add(x, y, ++count_); }
  void Merge(const CovarianceState& other) {
    if (other.count_ == 0) return;
    if (count_ == 0) {
      *this = other;
    } else {
      moment_.Merge(other.moment_, count_, other.count_);
      count_ += other.count_;
    }
  }
  void Store(uint8* state) const {
    StoreValue(state, count_);
    StoreValue(state + kMomentOfState, moment_.C);
    StoreValue(state + kMomentOfState + sizeof(float64), moment_.x_mean);
    StoreValue(state + kMomentOfState + 2 * sizeof(float64), moment_.y_mean);
  }

 protected:
  static constexpr std::size_t kMomentOfState = sizeof(uint32);
  static constexpr std::size_t kBytes = kMomentOfState + 3 * sizeof(float64);

  uint32 count_ = 0;
  CoMoment moment_;
};

/// The same, and the squared deviations behind it.
class CorrelationState : public CovarianceState {
 public:
  void Load(const uint8* state) {
    CovarianceState::Load(state);
    squares_.x_M2 = LoadValue<float64>(state + kBytes);
    squares_.y_M2 = LoadValue<float64>(state + kBytes + sizeof(float64));
  }
  void Add(float64 x, float64 y) {
    CovarianceState::Add(x, y);
    squares_.Add(x, y, moment_);
  }
  void Merge(const CorrelationState& other) {
    const float64 count = count_;
    CovarianceState::Merge(other);
    if (count == 0) {
      squares_ = other.squares_;
    } else if (other.count_ != 0) {
      squares_.Merge(other.squares_, moment_, count, other.count_);
    }
  }
  void Store(uint8* state) const {
    CovarianceState::Store(state);
    StoreValue(state + kBytes, squares_.x_M2);
    StoreValue(state + kBytes + sizeof(float64), squares_.y_M2);
  }

 private:
  PairMoments squares_;
};

}  // namespace

void Covariance::FoldBatch(const BatchFold& fold) { FoldPairs(fold, CovarianceState()); }

void Covariance::MergeState(uint8* state, const uint8* later) {
  MergeLoaded(state, later, CovarianceState(), CovarianceState());
}

std::vector<XeDataType> Covariance::GetStateTypes() const {
  return StateTypesOf<uint32, float64, float64, float64>();
}

void Correlation::FoldBatch(const BatchFold& fold) { FoldPairs(fold, CorrelationState()); }

void Correlation::MergeState(uint8* state, const uint8* later) {
  MergeLoaded(state, later, CorrelationState(), CorrelationState());
}

std::vector<XeDataType> Correlation::GetStateTypes() const {
  return StateTypesOf<uint32, float64, float64, float64, float64, float64>();
}

void Correlation::Initialize(bool restart) {
  Covariance::Initialize(restart);
  static_cast<PairMoments&>(*this) = {};
  correlation_ = 0;
}

RExprReturn Correlation::Compute(unsigned char* record, unsigned int) {
  if (!TakeRow(record)) return kTrue;
  PairMoments::Add(xValue_, yValue_, *this);
  return kTrue;
}

RExprReturn Correlation::Finalize() {
  Covariance::Finalize();
  if (nullIndicator_) return kTrue;
  x_var = x_M2 / GetDivisor();
  y_var = y_M2 / GetDivisor();
  x_sd = std::sqrt(x_var);
  y_sd = std::sqrt(y_var);
  correlation_ = CorrelationOf(covariance_, x_sd, y_sd);
  return kTrue;
}

void Correlation::Output(unsigned char* record) {
  if (OutputNull(record, nullIndicator_)) return;
  StoreValue(record + targetOffset_, correlation_);
}

uint32 Correlation::TransferState(StateTransfer transfer, uint8* state) {
  return TransferFields(transfer, state, count_, C, x_mean, y_mean, x_M2, y_M2);
}

float64 PairStatistic::GetStatistic() const {
  switch (kind_) {
    case Kind::kCovariance:
      return C / count_;
    case Kind::kAverageX:
      return x_mean;
    case Kind::kAverageY:
      return y_mean;
    case Kind::kSumXX:
      return x_M2;
    case Kind::kSumYY:
      return y_M2;
    case Kind::kSumXY:
      return C;
    case Kind::kIntercept:
      return y_mean - C / x_M2 * x_mean;
    case Kind::kDetermination:
      return y_M2 == 0 ? 1.0 : C * C / (x_M2 * y_M2);
  }
  return 0;
}

RExprReturn PairStatistic::Finalize() {
  const bool needsSpread = kind_ == Kind::kIntercept || kind_ == Kind::kDetermination;
  nullIndicator_ = count_ == 0 || (needsSpread && x_M2 == 0);
  if (!nullIndicator_) correlation_ = GetStatistic();
  return kTrue;
}

}  // namespace sqxer
