#pragma once

#include "SQXERAggregateVariant.h"

namespace sqxer {

/// What the moving aggregates share: the last N values of the group, N being given by an
/// expression. They have a result per row: Compute, Finalize, Output. NULL takes no place in the
/// window; until the first value the result is NULL. They take what Sum takes.
///
/// N is evaluated at every Initialize: error 59028 unless it is above 0. The window's slots are
/// taken there too, and stay for later groups.
class SQXEREXPR_API MovingAggregate : public SingleResultAggregate {
 public:
  /// Takes ownership of the columns and of `windowSize`, an expression without columns that Bind
  /// binds (SQXERPositiveExpression.h).
  MovingAggregate(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                  UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
                  RExpression* windowSize);
  MovingAggregate(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                  UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
                  std::unique_ptr<RExpression> windowSize);

  bool IsFunctionalAggr() override { return true; }

 protected:
  using Aggregate::Bind;
  /// Binds the window size and hands back the typed variant, under the operator's name of errors.
  template <class Generic, class... Variants>
  void BindMoving(XeRecordMetaData& input, const XeString& operatorName, RExpression*& result,
                  MetaDataInfo& info);

  InputConverter converter_;
  /// No value seen yet.
  bool nullIndicator_ = true;
  /// Values seen in the group.
  uint32 count_ = 0;
  /// Null in a node that a variant has taken the place of.
  std::unique_ptr<RExpression> windowSizeExpr_;
  /// A row that comes before the first Initialize finds a window of one; Finalize then tells it.
  uint32 windowSize_ = 1;
  /// The slots there are for the sizes asked for; 0 before the first Initialize.
  uint32 prevWindowSize_ = 0;
};

/// MOVING_SUM: the sum of the last N values.
class SQXEREXPR_API MovingSum : public MovingAggregate {
 public:
  using MovingAggregate::MovingAggregate;

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
};

/// MOVING_AVG: the mean of the last N values, in the type of the sum.
class SQXEREXPR_API MovingAvg : public MovingAggregate {
 public:
  using MovingAggregate::MovingAggregate;

  using Aggregate::Bind;
  void Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) override;
};

/// Error 59161 (class name, limit) when the operation refuses a value, 59008 from Finalize when
/// values were seen and the count is 0. Sums are kept by adding what comes and subtracting what
/// goes: a double that was infinite or rounded away stays felt until the group ends.
template <class Generic, AccumulatorValue T, template <class> class Op>
class SQXEREXPR_API MovingOf : public NumericAggregate<Generic, T> {
 public:
  using NumericAggregate<Generic, T>::NumericAggregate;

  void Initialize(bool restart) final;
  RExprReturn Compute(unsigned char* record, unsigned int size) final;
  RExprReturn Finalize() final;
  void Output(unsigned char* record) final;

 protected:
  T sum_{};
  T result_{};
  /// A ring of prevWindowSize_ values. Bytes, so that nothing is written before there are values: a
  /// window can be much longer than its group.
  std::unique_ptr<uint8[]> dataWindow_ = std::make_unique_for_overwrite<uint8[]>(sizeof(T));

 private:
  void GrowWindow();
};

template <AccumulatorValue T>
using MovingSumOf = MovingOf<MovingSum, T, MovingSumOp>;
template <AccumulatorValue T>
using MovingAvgOf = MovingOf<MovingAvg, T, MovingAvgOp>;

extern template class MovingOf<MovingSum, int32, MovingSumOp>;
extern template class MovingOf<MovingSum, uint32, MovingSumOp>;
extern template class MovingOf<MovingSum, float64, MovingSumOp>;
extern template class MovingOf<MovingSum, VelmarNumber, MovingSumOp>;
extern template class MovingOf<MovingAvg, int32, MovingAvgOp>;
extern template class MovingOf<MovingAvg, uint32, MovingAvgOp>;
extern template class MovingOf<MovingAvg, float64, MovingAvgOp>;
extern template class MovingOf<MovingAvg, VelmarNumber, MovingAvgOp>;

class SQXEREXPR_API MovingSumInt32 final : public MovingSumOf<int32> {
 public:
  using MovingOf::MovingOf;
};

class SQXEREXPR_API MovingSumUInt32 final : public MovingSumOf<uint32> {
 public:
  using MovingOf::MovingOf;
};

class SQXEREXPR_API MovingSumFloat64 final : public MovingSumOf<float64> {
 public:
  using MovingOf::MovingOf;
};

class SQXEREXPR_API MovingSumNumber final : public MovingSumOf<VelmarNumber> {
 public:
  using MovingOf::MovingOf;
};

class SQXEREXPR_API MovingAvgInt32 final : public MovingAvgOf<int32> {
 public:
  using MovingOf::MovingOf;
};

class SQXEREXPR_API MovingAvgUInt32 final : public MovingAvgOf<uint32> {
 public:
  using MovingOf::MovingOf;
};

class SQXEREXPR_API MovingAvgFloat64 final : public MovingAvgOf<float64> {
 public:
  using MovingOf::MovingOf;
};

class SQXEREXPR_API MovingAvgNumber final : public MovingAvgOf<VelmarNumber> {
 public:
  using MovingOf::MovingOf;
};

}  // namespace sqxer
