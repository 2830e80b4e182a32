#include "SQXERExprFunctionTimestamp.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "SQXERBatchArithmetic.h"
#include "SQXERBatchCalendar.h"
#include "SQXERExprConstant.h"
#include "SQXEROpsArithmetic.h"
#include "SQXEROpsCalendar.h"

namespace sqxer {
namespace {

using AddFunction = void (*)(int32 count, XeDateTime& value);
/// In the order of XeDateTime::UnitOfTime.
constexpr AddFunction kAdds[] = {
    &AddUnitsOp<&XeDateTime::AddMilliseconds>::Apply, &AddUnitsOp<&XeDateTime::AddSeconds>::Apply,
    &AddUnitsOp<&XeDateTime::AddMinutes>::Apply,      &AddUnitsOp<&XeDateTime::AddHours>::Apply,
    &AddUnitsOp<&XeDateTime::AddDays>::Apply,         &AddUnitsOp<&XeDateTime::AddDays, 7>::Apply,
    &AddUnitsOp<&XeDateTime::AddMonths>::Apply,       &AddUnitsOp<&XeDateTime::AddMonths, 3>::Apply,
    &AddUnitsOp<&XeDateTime::AddYears>::Apply,
};

/// Differences between two vectors as int4; false where some row that counts has none.
using MapDifferences = bool (*)(const BatchVector& from, const BatchVector& to,
                                const BatchRows& rows, BatchBuffers& buffers, int32* out,
                                BatchVector& result);

/// Row by row, between values of any form.
template <class Op>
bool MapMoments(const BatchVector& from, const BatchVector& to, const BatchRows& rows,
                BatchBuffers&, int32* out, BatchVector&) {
  bool isWithin = true;
  rows.ForEach([&](uint32 row) {
    if (from.IsNull(row) || to.IsNull(row)) return;
    const int64 units = Op::Apply(ReadBatchMoment(from, row), ReadBatchMoment(to, row));
    isWithin &= std::in_range<int32>(units);
    out[row] = static_cast<int32>(units);
  });
  return isWithin;
}

template <class Op>
bool MapElapsed(const BatchVector& from, const BatchVector& to, const BatchRows& rows,
                BatchBuffers& buffers, int32* out, BatchVector& result) {
  if (!CountsMicroseconds(from) || !CountsMicroseconds(to)) {
    return MapMoments<Op>(from, to, rows, buffers, out, result);
  }
  const int64* const start = MicrosecondsOf(from, rows, buffers.Rescaled<int64>(0));
  const int64* const end = MicrosecondsOf(to, rows, buffers.Rescaled<int64>(1));
  bool isWithin = true;
  MapPairs(start, from.isConstant, end, to.isConstant, out, rows, [&](int64 a, int64 b) {
    const int64 units = Op::OfMicroseconds(a, b);
    isWithin &= std::in_range<int32>(units);
    return units;
  });
  // What is beyond int4 may stand in a row that does not count.
  return isWithin || MapMoments<Op>(from, to, rows, buffers, out, result);
}

template <class Op, class DaysOp>
bool MapDays(const BatchVector& from, const BatchVector& to, const BatchRows& rows,
             BatchBuffers& buffers, int32* out, BatchVector& result) {
  if (from.form != ColumnForm::kDay32 || to.form != ColumnForm::kDay32) {
    return MapElapsed<Op>(from, to, rows, buffers, out, result);
  }
  MapPairs(from.As<int32>(), from.isConstant, to.As<int32>(), to.isConstant, out, rows,
           [](int32 a, int32 b) { return DaysOp::OfDayNumbers(a, b); });
  const ColumnBounds<int64> start = FindBounds<int32>(from, rows);
  const ColumnBounds<int64> end = FindBounds<int32>(to, rows);
  KnowBounds({DaysOp::OfDayNumbers(start.greatest, end.least),
              DaysOp::OfDayNumbers(start.least, end.greatest)},
             buffers.Block(), result);
  return true;
}

/// In the order of XeDateTime::UnitOfTime.
constexpr MapDifferences kMapDifferences[] = {
    &MapElapsed<ElapsedMilliseconds>,
    &MapElapsed<ElapsedSeconds>,
    &MapElapsed<ElapsedMinutes>,
    &MapElapsed<ElapsedHours>,
    &MapDays<ElapsedDays, ElapsedDaysOp<1>>,
    &MapDays<ElapsedWeeks, ElapsedDaysOp<7>>,
    &MapMoments<CrossedMonths>,
    &MapMoments<CrossedQuarters>,
    &MapMoments<CrossedYearsOp>,
};

/// The function for a unit.
template <class Function, std::size_t count>
Function OfUnit(const Function (&functions)[count], int32 unit) {
  if (unit < 0 || unit >= static_cast<int32>(count)) XeLogicError("unit of time");
  return functions[unit];
}

}  // namespace

TimestampAdd::TimestampAdd(RExpression* unit, const ExpressionVector& params)
    : TimeValueFunction(unit, params) {}

TimestampAdd::TimestampAdd(XeDateTime::UnitOfTime unit, const ExpressionVector& params)
    : TimestampAdd(ConstantOperand(unit, params), params) {}

void TimestampAdd::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  constexpr const wchar_t* kName = L"TimestampAdd";
  BindIthOperand(0, stream, replacement, info);
  unitOfTime_ = ReadInt4Constant(*operand_, kName);
  add_ = OfUnit(kAdds, unitOfTime_);
  BindIthOperand(1, stream, replacement, info);
  CheckDataTypeAndThrowError(params_[0], {XeInt4Data, XeDoubleData, XeNumericData}, kName);
  ReBindAsCastToInt4(1, stream);
  BindIthOperand(2, stream, replacement, info);
  CheckDataTypeAndThrowError(params_[1], {XeDateData, XeDateTimeData}, kName);
  reader_.Bind(*params_[1], kName);
  SetResult(XeDateTimeData, info);
}

RExprReturn TimestampAdd::Eval(void* out) {
  int32 count;
  retCode_ = params_[0]->Eval(&count);
  if (retCode_ != kTrue) return retCode_;
  XeDateTime value;
  retCode_ = reader_.Read(*params_[1], value);
  if (retCode_ == kTrue) {
    AtSourcePosition([&] { add_(count, value); });
    *static_cast<XeDateTime*>(out) = value;
  }
  return retCode_;
}

bool TimestampAdd::EvalBatch(const BatchRows& rows, BatchVector& out) {
  return EvalPairBatch(*params_[0], *params_[1], rows, GetBatchBuffers(), out,
                       [this](const BatchVector& counts, const BatchVector& moments,
                              const BatchRows& wanted, BatchVector& result) {
                         int64* const sums = GetBatchBuffers().Values<int64>();
                         result.form = ColumnForm::kTimeStamp64;
                         result.values = reinterpret_cast<const uint8*>(sums);
                         bool isDone = true;
                         wanted.ForEach([&](uint32 row) {
                           if (counts.IsNull(row) || moments.IsNull(row)) return;
                           XeDateTime value = ReadBatchMoment(moments, row);
                           add_(ReadBatchValue<int32>(counts, row), value);
                           isDone &= TryTimeStamp64(value, sums[row]);
                         });
                         return isDone;
                       });
}

TimestampDiff::TimestampDiff(RExpression* unit, const ExpressionVector& params)
    : NumericValueFunction(unit, params) {}

TimestampDiff::TimestampDiff(XeDateTime::UnitOfTime unit, const ExpressionVector& params)
    : TimestampDiff(ConstantOperand(unit, params), params) {}

void TimestampDiff::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  constexpr const wchar_t* kName = L"TimestampDiff";
  BindIthOperand(0, stream, replacement, info);
  unitOfTime_ = ReadInt4Constant(*operand_, kName);
  difference_ = OfUnit(kUnitDifferences, unitOfTime_);
  BindIthOperand(1, stream, replacement, info);
  fromReader_.Bind(*params_[0], kName);
  BindIthOperand(2, stream, replacement, info);
  toReader_.Bind(*params_[1], kName);
  count_ = &TimestampDiff::CountBetweenMoments;
  const auto isDate = [](RExpression* operand) {
    return operand->GetResultDataType() == XeDateData;
  };
  const std::size_t unitOfDays = static_cast<std::size_t>(unitOfTime_ - XeDateTime::kDay);
  if (unitOfDays < std::size(kDayDifferences) && std::ranges::all_of(params_, isDate)) {
    dayDifference_ = kDayDifferences[unitOfDays];
    count_ = &TimestampDiff::CountBetweenDays;
  }
  SetResult(XeInt4Data, info);
}

RExprReturn TimestampDiff::CountBetweenMoments(int64& units) {
  XeDateTime from;
  const RExprReturn status = fromReader_.Read(*params_[0], from);
  if (status != kTrue) return status;
  XeDateTime to;
  const RExprReturn last = toReader_.Read(*params_[1], to);
  if (last == kTrue) units = AtSourcePosition([&] { return difference_(from, to); });
  return last;
}

RExprReturn TimestampDiff::CountBetweenDays(int64& units) {
  XeDate from;
  const RExprReturn status = params_[0]->Eval(&from);
  if (status != kTrue) return status;
  XeDate to;
  const RExprReturn last = params_[1]->Eval(&to);
  if (last == kTrue) units = AtSourcePosition([&] { return dayDifference_(from, to); });
  return last;
}

RExprReturn TimestampDiff::Eval(void* out) {
  int64 units;
  retCode_ = (this->*count_)(units);
  if (retCode_ != kTrue) return retCode_;
  if (!std::in_range<int32>(units)) [[unlikely]] {
    RaiseError(kOverflow, {L"TimestampDiff", kInt32LimitText});
  }
  *static_cast<int32*>(out) = static_cast<int32>(units);
  return kTrue;
}

bool TimestampDiff::EvalBatch(const BatchRows& rows, BatchVector& out) {
  return EvalPairBatch(*params_[0], *params_[1], rows, GetBatchBuffers(), out,
                       [this](const BatchVector& from, const BatchVector& to,
                              const BatchRows& wanted, BatchVector& result) {
                         int32* const units = GetBatchBuffers().Values<int32>();
                         result.form = ColumnForm::kInt32;
                         result.values = reinterpret_cast<const uint8*>(units);
                         return OfUnit(kMapDifferences, unitOfTime_)(
                             from, to, wanted, GetBatchBuffers(), units, result);
                       });
}

}  // namespace sqxer
