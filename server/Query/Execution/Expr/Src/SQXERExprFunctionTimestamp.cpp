#include "SQXERExprFunctionTimestamp.h"

#include <algorithm>
#include <iterator>
#include <utility>

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
    : TimestampAdd(new ConstantInt32(unit), params) {}

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

TimestampDiff::TimestampDiff(RExpression* unit, const ExpressionVector& params)
    : NumericValueFunction(unit, params) {}

TimestampDiff::TimestampDiff(XeDateTime::UnitOfTime unit, const ExpressionVector& params)
    : TimestampDiff(new ConstantInt32(unit), params) {}

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

}  // namespace sqxer
