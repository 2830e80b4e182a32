#include "SQXERExprAggregateStatistics.h"

namespace sqxer {

namespace {

/// Writes one of several results, or its NULL indicator alone.
template <class T>
void StoreResult(unsigned char* record, uint32 offset, uint32 nullOffset, const T& value,
                 bool isNull) {
  if (nullOffset != 0) {
    record[nullOffset] = isNull ? 1 : 0;
    if (isNull) return;
  }
  StoreValue(record + offset, value);
}

}  // namespace

void PairStatistics::Initialize(bool restart) {
  PairAggregate::Initialize(restart);
  static_cast<LineSums&>(*this) = {};
  sumYSquares_ = averageX_ = averageY_ = seX_ = seY_ = 0;
}

RExprReturn PairStatistics::Compute(unsigned char* record, unsigned int) {
  if (IsXNull(record) || IsYNull(record)) return kTrue;
  nullIndicator_ = false;
  ++count_;
  ReadPair(record);
  Add(xValue_, yValue_);
  sumYSquares_ += yValue_ * yValue_;
  return kTrue;
}

RExprReturn PairStatistics::Finalize() {
  if (nullIndicator_) return kTrue;
  averageX_ = DivideByCount(sumX_, count_);
  averageY_ = DivideByCount(sumY_, count_);
  if (!IsPair()) return kTrue;
  seX_ = StandardError(sumX_, sumXSquares_, count_);
  seY_ = StandardError(sumY_, sumYSquares_, count_);
  return kTrue;
}

uint32 PairStatistics::TransferState(StateTransfer transfer, uint8* state) {
  return TransferFields(transfer, state, static_cast<LineSums&>(*this), sumYSquares_, count_,
                        nullIndicator_);
}

namespace {

/// The state of these: the sums, how many rows there are, and whether there is none.
class PairStatisticsState {
 public:
  void Load(const uint8* state) {
    sums_ = LoadValue<LineSums>(state);
    ySquares_ = LoadValue<float64>(state + sizeof sums_);
    count_ = LoadValue<uint32>(state + kCount);
  }
  void Merge(const PairStatisticsState& other) {
    sums_.Merge(other.sums_);
    ySquares_ += other.ySquares_;
    count_ += other.count_;
  }
  void Store(uint8* state) const {
    StoreValue(state, sums_);
    StoreValue(state + sizeof sums_, ySquares_);
    StoreValue(state + kCount, count_);
    if (count_ != 0) state[kCount + sizeof count_] = 0;
  }

 private:
  static constexpr std::size_t kCount = sizeof(LineSums) + sizeof(float64);

  LineSums sums_;
  float64 ySquares_ = 0;
  uint32 count_ = 0;
};

}  // namespace

void PairStatistics::MergeState(uint8* state, const uint8* later) {
  MergeLoaded(state, later, PairStatisticsState(), PairStatisticsState());
}

std::vector<XeDataType> PairStatistics::GetStateTypes() const {
  return StateTypesOf<float64, float64, float64, float64, float64, uint32, uint8>();
}

void PairStatistics::PlaceMoments(const XeRecordMetaData& target, unsigned int fieldIndex) {
  PlaceResult(target, fieldIndex, XeDoubleData, averageXOffset_, averageXNullOffset_);
  PlaceResult(target, fieldIndex + 1, XeDoubleData, averageYOffset_, averageYNullOffset_);
  PlaceResult(target, fieldIndex + 2, XeUInt4Data, countOffset_, countNullOffset_);
  PlaceResult(target, fieldIndex + 3, XeDoubleData, seXOffset_, seXNullOffset_);
  PlaceResult(target, fieldIndex + 4, XeDoubleData, seYOffset_, seYNullOffset_);
}

void PairStatistics::OutputMoments(unsigned char* record) const {
  StoreResult(record, averageXOffset_, averageXNullOffset_, averageX_, nullIndicator_);
  StoreResult(record, averageYOffset_, averageYNullOffset_, averageY_, nullIndicator_);
  StoreResult(record, countOffset_, countNullOffset_, count_, false);
  StoreResult(record, seXOffset_, seXNullOffset_, seX_, !IsPair());
  StoreResult(record, seYOffset_, seYNullOffset_, seY_, !IsPair());
}

void CorrelationAll::SetTargetDescriptor(XeRecordMetaData& target, unsigned short fieldIndex) {
  const unsigned int first = fieldIndex;
  PairStatistics::SetTargetDescriptor(target, fieldIndex);
  PlaceResult(target, first, XeDoubleData, correlationOffset_, correlationNullOffset_);
  PlaceMoments(target, first + 1);
}

void CorrelationAll::Initialize(bool restart) {
  PairStatistics::Initialize(restart);
  correlation_ = 0;
}

RExprReturn CorrelationAll::Finalize() {
  PairStatistics::Finalize();
  if (!IsPair()) return kTrue;
  const uint32 divisor = count_ - 1;
  correlation_ = CorrelationOf(CoMoment(count_) / divisor,
                               Deviation(SquaredDeviations(sumX_, sumXSquares_, count_), divisor),
                               Deviation(SquaredDeviations(sumY_, sumYSquares_, count_), divisor));
  return kTrue;
}

void CorrelationAll::Output(unsigned char* record) {
  StoreResult(record, correlationOffset_, correlationNullOffset_, correlation_, !IsPair());
  OutputMoments(record);
}

void RegressionAll::SetTargetDescriptor(XeRecordMetaData& target, unsigned short fieldIndex) {
  const unsigned int first = fieldIndex;
  PairStatistics::SetTargetDescriptor(target, fieldIndex);
  PlaceResult(target, first, XeDoubleData, regressionOffset_, regressionNullOffset_);
  PlaceResult(target, first + 1, XeDoubleData, interceptOffset_, interceptNullOffset_);
  PlaceMoments(target, first + 2);
}

void RegressionAll::Initialize(bool restart) {
  PairStatistics::Initialize(restart);
  regression_ = intercept_ = 0;
}

RExprReturn RegressionAll::Finalize() {
  PairStatistics::Finalize();
  if (!IsPair()) return kTrue;
  regression_ = Slope(count_);
  intercept_ = averageY_ - regression_ * averageX_;
  return kTrue;
}

void RegressionAll::Output(unsigned char* record) {
  StoreResult(record, regressionOffset_, regressionNullOffset_, regression_, !IsPair());
  StoreResult(record, interceptOffset_, interceptNullOffset_, intercept_, !IsPair());
  OutputMoments(record);
}

}  // namespace sqxer
