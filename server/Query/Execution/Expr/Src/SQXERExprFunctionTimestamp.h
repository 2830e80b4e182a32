#pragma once

#include "SQXERDateTimeOperand.h"
#include "SQXERExprFunctionBase.h"
#include "Utility/XeDateTime.h"

namespace sqxer {

// Of both functions the operand is the unit, an int4 constant with a value of
// XeDateTime::UnitOfTime: any other number is a broken invariant, and error 59001 (name, type) is
// raised for an operand that is no such constant. Error of a row: 59171 (value) for what is no day
// of the calendar.

/// A count of units, the first parameter, added to a date or date-time, the second one: a
/// date-time. A day that the resulting month does not have becomes its last one. The count is int4,
/// or a double or numeric, truncated; weeks are added as days and quarters as months, whose number
/// wraps at 32 bits. Errors: 59001 ("TimestampAdd", type) for other types, at binding; in a row
/// 59013 for a count beyond int4, 59171 (the sum in words) for a result beyond the years that dates
/// may hold.
class SQXEREXPR_API TimestampAdd final : public TimeValueFunction {
 public:
  TimestampAdd(RExpression* unit, const ExpressionVector& params);
  TimestampAdd(XeDateTime::UnitOfTime unit, const ExpressionVector& params);
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool HasBatchLoop() override { return true; }
  RExprType GetExpressionType() override { return kTimestampAddExpression; }

 private:
  int32 unitOfTime_ = 0;
  DateTimeReader reader_;
  void (*add_)(int32 count, XeDateTime& value) = nullptr;
};

/// Units from the first parameter to the second one, each a date, time or date-time, as an int4.
/// Weeks and less are elapsed time, truncated toward zero; months, quarters and years are
/// boundaries of the calendar crossed. Errors: 59001 ("TimestampDiff", type) for other types, at
/// binding; in a row 59161 ("TimestampDiff", limit) for a result beyond int4.
class SQXEREXPR_API TimestampDiff final : public NumericValueFunction {
 public:
  TimestampDiff(RExpression* unit, const ExpressionVector& params);
  TimestampDiff(XeDateTime::UnitOfTime unit, const ExpressionVector& params);
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool HasBatchLoop() override { return true; }
  RExprType GetExpressionType() override { return kTimestampDiffExpression; }

 private:
  RExprReturn CountBetweenMoments(int64& units);
  RExprReturn CountBetweenDays(int64& units);

  int32 unitOfTime_ = 0;
  DateTimeReader fromReader_;
  DateTimeReader toReader_;
  int64 (*difference_)(const XeDateTime& from, const XeDateTime& to) = nullptr;
  /// For two dates and a unit of whole days.
  int64 (*dayDifference_)(const XeDate& from, const XeDate& to) = nullptr;
  RExprReturn (TimestampDiff::*count_)(int64& units) = nullptr;
};

}  // namespace sqxer
