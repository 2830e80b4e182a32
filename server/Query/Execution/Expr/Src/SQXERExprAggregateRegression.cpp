#include "SQXERExprAggregateRegression.h"

namespace sqxer {

void Regression::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  PairAggregate::Bind(input, result, info);
  for (const XeDataType type : {sourceDataType_, yType_}) {
    // Narrow columns are not widened here.
    if (FindNumericInput(type)->computationType != type) {
      throwExecutionError(kTypeNotSupported, NodeName(*this), type, XeUnknown);
    }
  }
}

void Regression::Initialize(bool restart) {
  PairAggregate::Initialize(restart);
  static_cast<LineSums&>(*this) = {};
  regression_ = 0;
}

RExprReturn Regression::Compute(unsigned char* record, unsigned int) {
  if (IsXNull(record) && IsYNull(record)) return kTrue;
  nullIndicator_ = false;
  ++count_;
  ReadPair(record);
  Add(xValue_, yValue_);
  return kTrue;
}

RExprReturn Regression::Finalize() {
  if (nullIndicator_) return kTrue;
  if (count_ == 0) RaiseError(kDivisionByZero, {});
  regression_ = Slope(count_);
  return kTrue;
}

void Regression::Output(unsigned char* record) {
  if (OutputNull(record, nullIndicator_)) return;
  StoreValue(record + targetOffset_, regression_);
}

bool Regression::AdmitsPair(const BatchVector& x, const BatchVector& y, const BatchRows& rows) {
  // What stands in the record beside a NULL counts.
  return PairAggregate::AdmitsPair(x, y, rows) && !hasNulls_;
}

namespace {

/// The state of a regression: the sums, how many rows there are, and whether there is none.
class RegressionState {
 public:
  void Load(const uint8* state) {
    sums_ = LoadValue<LineSums>(state);
    count_ = LoadValue<uint32>(state + sizeof sums_);
  }
  void Add(float64 x, float64 y) {
    sums_.Add(x, y);
    ++count_;
  }
  void Merge(const RegressionState& other) {
    sums_.Merge(other.sums_);
    count_ += other.count_;
  }
  void Store(uint8* state) const {
    StoreValue(state, sums_);
    StoreValue(state + sizeof sums_, count_);
    if (count_ != 0) state[sizeof sums_ + sizeof count_] = 0;
  }

 private:
  LineSums sums_;
  uint32 count_ = 0;
};

}  // namespace

void Regression::FoldBatch(const BatchFold& fold) { FoldPairs(fold, RegressionState()); }

void Regression::MergeState(uint8* state, const uint8* later) {
  MergeLoaded(state, later, RegressionState(), RegressionState());
}

std::vector<XeDataType> Regression::GetStateTypes() const {
  return StateTypesOf<float64, float64, float64, float64, uint32, uint8>();
}

uint32 Regression::TransferState(StateTransfer transfer, uint8* state) {
  return TransferFields(transfer, state, static_cast<LineSums&>(*this), count_, nullIndicator_);
}

}  // namespace sqxer
