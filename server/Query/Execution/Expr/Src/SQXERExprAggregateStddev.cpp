#include "SQXERExprAggregateStddev.h"

#include "SQXERBatchFold.h"
#include "SQXEROpsStatistics.h"

namespace sqxer {

Stddev::Stddev(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
               UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate, bool isSample)
    : DoubleStatistic(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                      isCumulativeAggregate, false),
      bIsSample_(isSample) {}

void DoubleStatistic::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  input_.Bind(GetSourceField(input), NodeName(*this));
  BindSource(input);
  resultDataType_ = XeDoubleData;
  DescribeResult(info, resultDataType_, 0, true);
}

void Stddev::Initialize(bool) {
  count_ = 0;
  nullIndicator_ = true;
  sumValues_ = sumSquares_ = result_ = 0;
}

RExprReturn Stddev::Compute(unsigned char* record, unsigned int) {
  if (IsSourceNull(record)) return kTrue;
  ++count_;
  const float64 value = input_.Read(record + sourceOffset_);
  sumValues_ += value;
  sumSquares_ += value * value;
  return kTrue;
}

RExprReturn Stddev::Finalize() {
  // One value tells nothing of the deviation in what it is a sample of.
  if (count_ == 0 || (count_ == 1 && bIsSample_)) return kTrue;
  nullIndicator_ = false;
  // The population of one value does not deviate, not even where that value is infinite.
  if (count_ == 1) return kTrue;
  result_ = Deviation(SquaredDeviations(sumValues_, sumSquares_, count_),
                      bIsSample_ ? count_ - 1 : count_);
  return kTrue;
}

void DoubleStatistic::Output(unsigned char* record) {
  if (OutputNull(record, nullIndicator_)) return;
  StoreValue(record + targetOffset_, result_);
}

uint32 Stddev::TransferState(StateTransfer transfer, uint8* state) {
  return TransferFields(transfer, state, sumSquares_, sumValues_, count_);
}

bool DoubleStatistic::AdmitsInput(const BatchVector* input, const BatchRows& rows) {
  numbers_ = column_.Read(*input, rows);
  return numbers_ != nullptr;
}

namespace {

/// The state of a deviation: the sum of the squares, the sum, and how many values there are.
class DeviationState {
 public:
  explicit DeviationState(const float64* values) : values_(values) {}
  void Load(const uint8* state) {
    squares_ = LoadValue<float64>(state);
    sum_ = LoadValue<float64>(state + sizeof squares_);
    count_ = LoadValue<uint32>(state + sizeof squares_ + sizeof sum_);
  }
  void Add(uint32 row, bool isValue) {
    // Neither sum is ever the negative zero, so that adding zero changes nothing.
    const float64 value = ValueOrZero(values_[row], isValue);
    squares_ += value * value;
    sum_ += value;
    count_ += isValue;
  }
  void Merge(const DeviationState& other) {
    squares_ += other.squares_;
    sum_ += other.sum_;
    count_ += other.count_;
  }
  void Store(uint8* state) const {
    StoreValue(state, squares_);
    StoreValue(state + sizeof squares_, sum_);
    StoreValue(state + sizeof squares_ + sizeof sum_, count_);
  }

 private:
  const float64* values_;
  float64 squares_ = 0;
  float64 sum_ = 0;
  uint32 count_ = 0;
};

}  // namespace

void Stddev::FoldBatch(const BatchFold& fold) {
  FoldRows(fold, DeviationState(numbers_->As<float64>()));
}

void Stddev::MergeState(uint8* state, const uint8* later) {
  const DeviationState none(nullptr);
  MergeLoaded(state, later, none, none);
}

std::vector<XeDataType> Stddev::GetStateTypes() const {
  return StateTypesOf<float64, float64, uint32>();
}

}  // namespace sqxer
