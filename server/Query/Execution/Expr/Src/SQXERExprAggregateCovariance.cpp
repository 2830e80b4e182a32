#include "SQXERExprAggregateCovariance.h"

#include "SQXEROpsStatistics.h"

namespace sqxer {

void Covariance::Initialize(bool restart) {
  PairAggregate::Initialize(restart);
  C = covariance_ = x_mean = y_mean = 0;
}

inline bool Covariance::TakeRow(const unsigned char* record) {
  if (IsXNull(record) || IsYNull(record)) return false;
  ReadPair(record);
  ++count_;
  x_delta = MoveMean(x_mean, xValue_, count_);
  y_delta = MoveMean(y_mean, yValue_, count_);
  C += (xValue_ - x_mean) * y_delta;
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

void Correlation::Initialize(bool restart) {
  Covariance::Initialize(restart);
  correlation_ = x_M2 = y_M2 = 0;
}

RExprReturn Correlation::Compute(unsigned char* record, unsigned int) {
  if (!TakeRow(record)) return kTrue;
  x_M2 += x_delta * (xValue_ - x_mean);
  y_M2 += (yValue_ - y_mean) * y_delta;
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

}  // namespace sqxer
