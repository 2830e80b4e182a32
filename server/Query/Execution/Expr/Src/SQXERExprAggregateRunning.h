#pragma once

#include "SQXERAggregateVariant.h"
#include "SQXERExprAggregateExtreme.h"

namespace sqxer {

// The aggregates over the rows from the start of the group up to the present one. They have a
// result per row: Output after each Compute. Initialize at every control break starts them again.

/// RUNNING_SUM: the sum so far, NULL before the first value. Takes what Sum takes, and checks as it
/// does.
class SQXEREXPR_API RunningSum : public SingleResultAggregate {
 public:
  RunningSum(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
             UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate);

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  bool IsFunctionalAggr() override { return true; }

 protected:
  /// No value seen yet.
  bool nullIndicator_ = true;
  InputConverter converter_;
};

/// Error 59161 (class name, limit) when the sum leaves the type. The decimal type raises its own.
template <AccumulatorValue T>
class SQXEREXPR_API RunningSumOf : public NumericAggregate<RunningSum, T> {
 public:
  using NumericAggregate<RunningSum, T>::NumericAggregate;

  void Initialize(bool restart) final;
  RExprReturn Compute(unsigned char* record, unsigned int size) final;
  void Output(unsigned char* record) final;

 private:
  T result_{};
};

extern template class RunningSumOf<int32>;
extern template class RunningSumOf<uint32>;
extern template class RunningSumOf<float64>;
extern template class RunningSumOf<VelmarNumber>;

class SQXEREXPR_API RunningSumInt32 final : public RunningSumOf<int32> {
 public:
  using RunningSumOf::RunningSumOf;
};

class SQXEREXPR_API RunningSumUInt32 final : public RunningSumOf<uint32> {
 public:
  using RunningSumOf::RunningSumOf;
};

class SQXEREXPR_API RunningSumFloat64 final : public RunningSumOf<float64> {
 public:
  using RunningSumOf::RunningSumOf;
};

class SQXEREXPR_API RunningSumNumber final : public RunningSumOf<VelmarNumber> {
 public:
  using RunningSumOf::RunningSumOf;
};

/// RUNNING_COUNT: how many values so far are not NULL, as a 32-bit unsigned number that is never
/// NULL. Takes every type.
class SQXEREXPR_API RunningCount : public SingleResultAggregate {
 public:
  RunningCount(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
               UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate);

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  void Initialize(bool restart) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  void Output(unsigned char* record) override;
  bool IsFunctionalAggr() override { return true; }

 protected:
  uint32 count_ = 0;
};

/// RUNNING_MAX: the greatest value so far, NULL before the first one.
class SQXEREXPR_API RunningMax : public ExtremeAggregate {
 public:
  using ExtremeAggregate::ExtremeAggregate;

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  bool IsFunctionalAggr() override { return true; }
};

/// RUNNING_MIN: the smallest value so far, NULL before the first one.
class SQXEREXPR_API RunningMin : public ExtremeAggregate {
 public:
  using ExtremeAggregate::ExtremeAggregate;

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
  RExprReturn Compute(unsigned char* record, unsigned int size) override;
  // IsFunctionalAggr stays false, unlike that of RunningMax: callers rely on placing a running
  // minimum among the aggregates with one result per group, and ask IsCumulativeAggregate.
};

}  // namespace sqxer
