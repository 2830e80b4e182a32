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

namespace {

/// DATE_TRUNC of a moment in microseconds, to weeks at most. Divisors that are known are no
/// divisions.
template <TruncUnit unit>
int64 CutMicroseconds(int64 moment) {
  if constexpr (unit <= TruncUnit::kDay) {
    return DateTruncOp::CutTo(DateTruncOp::MicrosecondsOf(unit), moment);
  } else {
    // 1970-01-05 was a Monday.
    constexpr int64 kFirstMonday = 4 * kMicrosecondsPerDay;
    return DateTruncOp::CutTo(7 * kMicrosecondsPerDay, moment - kFirstMonday) + kFirstMonday;
  }
}

/// The first day of a day's month or longer unit, which may lie before the calendar.
template <TruncUnit unit>
int32 FirstDayOf(int32 day) {
  using namespace std::chrono;
  const year_month_day date = ReadCalendarDay(day);
  if constexpr (unit == TruncUnit::kMonth) {
    return WithinCalendar(day) - static_cast<int32>(static_cast<unsigned>(date.day())) + 1;
  } else if constexpr (unit == TruncUnit::kQuarter) {
    const unsigned first = (static_cast<unsigned>(date.month()) - 1) / 3 * 3 + 1;
    const sys_days start = date.year() / month(first) / 1;
    return static_cast<int32>(start.time_since_epoch().count());
  } else {
    const int first = FirstYearOf(unit, static_cast<int>(date.year()));
    return static_cast<int32>(FirstDayOfYear(first));
  }
}

/// Of the rows that count; false where one that has a value leaves the calendar.
template <TruncUnit unit>
bool CutAll(const BatchVector& moments, const BatchRows& rows, BatchBuffers& buffers,
            int64* values) {
  const auto* const from = moments.As<int64>();
  int64 least = 0;
  if constexpr (unit > TruncUnit::kWeek) {
    int32* const days = buffers.Rescaled<int32>(0);
    MapValues(from, days, rows, DayOfMicroseconds);
    int32* const firsts = buffers.Rescaled<int32>(1);
    MapValues(days, firsts, rows, FirstDayOf<unit>);
    MapValues(firsts, values, rows, [&least](int32 day) {
      const int64 moment = day * kMicrosecondsPerDay;
      least = std::min(least, moment);
      return moment;
    });
  } else {
    // What stands in rows that do not count need not be a day of the calendar.
    MapValues(from, values, rows, [&least](int64 moment) {
      const int64 cut = CutMicroseconds<unit>(
          std::clamp(moment, kCalendarMoments.least, kCalendarMoments.greatest));
      least = std::min(least, cut);
      return cut;
    });
  }
  bool isDone = true;
  if (least < kCalendarMoments.least) {
    rows.ForEach([&](uint32 row) {
      isDone &= values[row] >= kCalendarMoments.least || moments.IsNull(row);
    });
  }
  return isDone;
}

template <TruncUnit unit = TruncUnit::kMicrosecond>
bool CutAll(TruncUnit asked, const BatchVector& moments, const BatchRows& rows,
            BatchBuffers& buffers, int64* values) {
  if constexpr (unit == TruncUnit::kMillennium) {
    return CutAll<unit>(moments, rows, buffers, values);
  } else {
    constexpr auto kNext = static_cast<TruncUnit>(static_cast<int>(unit) + 1);
    return asked == unit ? CutAll<unit>(moments, rows, buffers, values)
                         : CutAll<kNext>(asked, moments, rows, buffers, values);
  }
}

}  // namespace

bool DateTrunc::EvalBatch(const BatchRows& rows, BatchVector& out) {
  if (!EvaluateBatch(*operand_, rows, out)) return false;
  BatchBuffers& buffers = GetBatchBuffers();
  const BatchRows wanted = RowsOf(out, rows);
  if (out.form == ColumnForm::kTimeStamp64) {
    int64* const values = buffers.Values<int64>();
    if (!CutAll(unit_, out, wanted, buffers, values)) return false;
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
  RowsOfAll(out, rows).ForEach([&](uint32 row) {
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
