#include "SQXERExprFunctionDates.h"

#include <algorithm>

namespace sqxer {

template class OpFunction<IsoYearOp>;
template class DayPartFunction<IsoYearOp>;
template class OpFunction<IsoWeekOp>;
template class DayPartFunction<IsoWeekOp>;
template class OpFunction<IsoDayOfWeekOp>;
template class DayPartFunction<IsoDayOfWeekOp>;
template class OpFunction<DecadeOp>;
template class DayPartFunction<DecadeOp>;
template class OpFunction<SpanOfYearsOp<100>>;
template class DayPartFunction<SpanOfYearsOp<100>>;
template class OpFunction<SpanOfYearsOp<1000>>;
template class DayPartFunction<SpanOfYearsOp<1000>>;
template class OpFunction<EpochOp>;
template class OpFunction<EpochOfTimeOp>;
template class OpFunction<JulianOp>;
template class OpFunction<MillisecondsOp>;
template class OpFunction<MicrosecondsOp>;
template class OpFunction<LastDayOp>;
template class DayPartFunction<LastDayOp>;
template class OpFunction<MakeDateOp>;
template class OpFunction<MakeTimestampOp>;
template class OpFunction<AddDaysOp>;
template class DayFunction<AddDaysOp>;
template class OpFunction<SubtractDaysOp>;
template class DayFunction<SubtractDaysOp>;
template class OpFunction<DaysBetweenOp>;
template class DayFunction<DaysBetweenOp>;

void DateTrunc::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  const OperandShape shape = BindIthOperand(0, stream, replacement, info);
  CheckDataTypeAndThrowError(operand_, {XeDateData, XeTimeData, XeDateTimeData}, L"DateTrunc");
  operand_ = Convert::AddConversionExpression(XeDateTimeData, operand_->GetResultDataType(),
                                              operand_, shape.length);
  SetResult(XeDateTimeData, info);
}

RExprReturn DateTrunc::Eval(void* out) {
  XeDateTime moment;
  if (EvalOperands(&moment) == kTrue) {
    AtSourcePosition([&] { *static_cast<XeDateTime*>(out) = DateTruncOp::Apply(unit_, moment); });
  }
  return retCode_;
}

int64 DateTrunc::CutMicroseconds(int64 moment) const {
  if (unit_ < TruncUnit::kDay)
    return DateTruncOp::CutTo(DateTruncOp::MicrosecondsOf(unit_), moment);
  const int64 midnight = DateTruncOp::CutTo(kMicrosecondsPerDay, moment);
  if (unit_ == TruncUnit::kDay) return midnight;
  const int64 day = midnight / kMicrosecondsPerDay;
  // 1970-01-05 was a Monday.
  if (unit_ == TruncUnit::kWeek)
    return DateTruncOp::CutTo(7, day - 4) * kMicrosecondsPerDay + 4 * kMicrosecondsPerDay;
  const XeDate first = DateTruncOp::OfDay(unit_, ReadAnyDay(static_cast<int32>(day)));
  return ToDay32(first) * kMicrosecondsPerDay;
}

bool DateTrunc::EvalBatch(const BatchRows& rows, BatchVector& out) {
  if (!EvaluateBatch(*operand_, rows, out)) return false;
  BatchBuffers& buffers = GetBatchBuffers();
  const BatchRows wanted = RowsOf(out, rows);
  if (out.form == ColumnForm::kTimeStamp64) {
    int64* const values = buffers.Values<int64>();
    const int64* const moments = out.As<int64>();
    bool isDone = true;
    wanted.ForEach([&](uint32 row) {
      // What stands in rows that do not count need not be a day of the calendar.
      const int64 within =
          std::clamp(moments[row], kCalendarMoments.least, kCalendarMoments.greatest);
      values[row] = CutMicroseconds(within);
      isDone &= values[row] >= kCalendarMoments.least || out.IsNull(row);
    });
    if (!isDone) return false;
    out.values = reinterpret_cast<const uint8*>(values);
  } else {
    XeDateTime* const values = buffers.Values<XeDateTime>();
    wanted.ForEach([&](uint32 row) {
      if (!out.IsNull(row)) {
        values[row] = DateTruncOp::Apply(unit_, ReadBatchValue<XeDateTime>(out, row));
      }
    });
    out.values = reinterpret_cast<const uint8*>(values);
  }
  out.block = nullptr;
  return true;
}

bool MakeDate::EvalBatch(const BatchRows& rows, BatchVector& out) {
  OperandVectors operands;
  if (!EvaluateOperands(rows, operands)) return false;
  const bool areNumbers = std::ranges::all_of(
      operands, [](const BatchVector& one) { return one.form == ColumnForm::kInt32; });
  if (!areNumbers) return ComputeBatch(operands, rows, out);
  out = BatchVector();
  FindValidRows(operands, rows, out);
  out.form = ColumnForm::kDay32;
  int32* const values = GetBatchBuffers().Values<int32>();
  out.values = reinterpret_cast<const uint8*>(values);
  const auto at = [&](std::size_t operand, uint32 row) {
    return operands[operand].As<int32>()[operands[operand].isConstant ? 0 : row];
  };
  bool isDone = true;
  RowsOf(out, rows).ForEach([&](uint32 row) {
    const int32 year = at(0, row);
    const int32 month = at(1, row);
    const int32 day = at(2, row);
    const bool isDay = MakeDateOp::IsDay(year, month, day);
    isDone &= isDay || out.IsNull(row);
    using namespace std::chrono;
    const sys_days date = std::chrono::year(MakeDateOp::Counted(year)) /
                          std::chrono::month(static_cast<unsigned>(isDay ? month : 1)) /
                          std::chrono::day(static_cast<unsigned>(isDay ? day : 1));
    values[row] = static_cast<int32>(date.time_since_epoch().count());
  });
  // Some row is to tell its error.
  return isDone || ComputeBatch(operands, rows, out);
}

bool Epoch::EvalBatch(const BatchRows& rows, BatchVector& out) {
  OperandVectors operands;
  if (!EvaluateOperands(rows, operands)) return false;
  if (operands[0].form != ColumnForm::kTimeStamp64) return ComputeBatch(operands, rows, out);
  out = operands[0];
  out.form = ColumnForm::kDecimal64;
  out.scale = 6;
  out.block = nullptr;
  return true;
}

}  // namespace sqxer
