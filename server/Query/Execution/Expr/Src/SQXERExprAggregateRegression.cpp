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

uint32 Regression::TransferState(StateTransfer transfer, uint8* state) {
  return TransferFields(transfer, state, static_cast<LineSums&>(*this), count_, nullIndicator_);
}

}  // namespace sqxer
