#pragma once

#include "SQXEROpFunction.h"
#include "SQXEROpsDates.h"

namespace sqxer {

/// DATE_TRUNC: the moment at which the unit of a date or timestamp began, a TIMESTAMP; a bare time
/// is of 1900-01-01. Error 59001 ("DateTrunc", type) for what is none of these.
class SQXEREXPR_API DateTrunc final : public TimeValueFunction {
 public:
  DateTrunc(RExpression* moment, TruncUnit unit) : TimeValueFunction(moment), unit_(unit) {}
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool GivesSameAs(RExpression& other) override {
    return static_cast<DateTrunc&>(other).unit_ == unit_;
  }
  bool HasBatchLoop() override { return true; }

 private:
  const TruncUnit unit_;
};

/// A function of days that an op computes of their numbers, too (Op::OfDays), for the loops of
/// batches.
template <FunctionOp Op>
class DayFunction : public OpFunction<Op> {
 public:
  using OpFunction<Op>::OpFunction;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) final {
    typename OpFunction<Op>::OperandVectors operands;
    if (!this->EvaluateOperands(rows, operands)) return false;
    const BatchVector& a = operands[0];
    const BatchVector& b = operands[1];
    out = BatchVector();
    BatchBuffers& buffers = this->GetBatchBuffers();
    IntersectValidity(a, b, rows, buffers.Validity(), out);
    constexpr bool kGivesDay = !std::same_as<decltype(Op::Apply({}, {})), int32>;
    out.form = kGivesDay ? ColumnForm::kDay32 : ColumnForm::kInt32;
    int32* const values = buffers.template Values<int32>();
    out.values = reinterpret_cast<const uint8*>(values);
    int64 beyond = 0;
    MapPairs(a.As<int32>(), a.isConstant, b.As<int32>(), b.isConstant, values, RowsOfAll(out, rows),
             [&beyond](int32 x, int32 y) {
               const int64 value = Op::OfDays(x, y);
               beyond |=
                   kGivesDay && (value < kCalendarDays.least || value > kCalendarDays.greatest);
               return static_cast<int32>(value);
             });
    // It may stand in a row that does not count.
    return beyond == 0 || this->ComputeBatch(operands, rows, out);
  }
};

/// A function of a moment that depends on the day alone, which an op computes of the day's number,
/// too (Op::OfDay), for the loops of batches.
template <FunctionOp Op>
class DayPartFunction : public OpFunction<Op> {
 public:
  using OpFunction<Op>::OpFunction;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) final {
    typename OpFunction<Op>::OperandVectors operands;
    if (!this->EvaluateOperands(rows, operands)) return false;
    const BatchVector& moments = operands[0];
    if (!CountsMicroseconds(moments)) return this->ComputeBatch(operands, rows, out);
    out = moments;
    out.block = nullptr;
    constexpr bool kGivesDay = std::same_as<decltype(Op::Apply({})), XeDate>;
    out.form = kGivesDay ? ColumnForm::kDay32 : ColumnForm::kInt32;
    int32* const values = this->GetBatchBuffers().template Values<int32>();
    out.values = reinterpret_cast<const uint8*>(values);
    const BatchRows wanted = RowsOf(out, rows);
    const int32* days = moments.template As<int32>();
    if (moments.form != ColumnForm::kDay32) {
      int32* const room = this->GetBatchBuffers().template Rescaled<int32>(0);
      MapValues(moments.template As<int64>(), room, wanted, DayOfMicroseconds);
      days = room;
    }
    MapValues(days, values, wanted, [](int32 day) { return Op::OfDay(day); });
    return true;
  }
};

// One source makes them.
extern template class SQXEREXPR_API OpFunction<IsoYearOp>;
extern template class SQXEREXPR_API DayPartFunction<IsoYearOp>;
extern template class SQXEREXPR_API OpFunction<IsoWeekOp>;
extern template class SQXEREXPR_API DayPartFunction<IsoWeekOp>;
extern template class SQXEREXPR_API OpFunction<IsoDayOfWeekOp>;
extern template class SQXEREXPR_API DayPartFunction<IsoDayOfWeekOp>;
extern template class SQXEREXPR_API OpFunction<DecadeOp>;
extern template class SQXEREXPR_API DayPartFunction<DecadeOp>;
extern template class SQXEREXPR_API OpFunction<SpanOfYearsOp<100>>;
extern template class SQXEREXPR_API DayPartFunction<SpanOfYearsOp<100>>;
extern template class SQXEREXPR_API OpFunction<SpanOfYearsOp<1000>>;
extern template class SQXEREXPR_API DayPartFunction<SpanOfYearsOp<1000>>;
extern template class SQXEREXPR_API OpFunction<EpochOp>;
extern template class SQXEREXPR_API OpFunction<EpochOfTimeOp>;
extern template class SQXEREXPR_API OpFunction<JulianOp>;
extern template class SQXEREXPR_API OpFunction<MillisecondsOp>;
extern template class SQXEREXPR_API OpFunction<MicrosecondsOp>;
extern template class SQXEREXPR_API OpFunction<LastDayOp>;
extern template class SQXEREXPR_API DayPartFunction<LastDayOp>;
extern template class SQXEREXPR_API OpFunction<MakeDateOp>;
extern template class SQXEREXPR_API OpFunction<MakeTimestampOp>;
extern template class SQXEREXPR_API OpFunction<AddDaysOp>;
extern template class SQXEREXPR_API DayFunction<AddDaysOp>;
extern template class SQXEREXPR_API OpFunction<SubtractDaysOp>;
extern template class SQXEREXPR_API DayFunction<SubtractDaysOp>;
extern template class SQXEREXPR_API OpFunction<DaysBetweenOp>;
extern template class SQXEREXPR_API DayFunction<DaysBetweenOp>;

// Functions of dates and times whose meaning is that of their op; see there. NULL if an operand is.

class SQXEREXPR_API IsoYear final : public DayPartFunction<IsoYearOp> {
 public:
  using DayPartFunction::DayPartFunction;
};
class SQXEREXPR_API IsoWeek final : public DayPartFunction<IsoWeekOp> {
 public:
  using DayPartFunction::DayPartFunction;
};
class SQXEREXPR_API IsoDayOfWeek final : public DayPartFunction<IsoDayOfWeekOp> {
 public:
  using DayPartFunction::DayPartFunction;
};
class SQXEREXPR_API Decade final : public DayPartFunction<DecadeOp> {
 public:
  using DayPartFunction::DayPartFunction;
};
class SQXEREXPR_API Century final : public DayPartFunction<SpanOfYearsOp<100>> {
 public:
  using DayPartFunction::DayPartFunction;
};
class SQXEREXPR_API Millennium final : public DayPartFunction<SpanOfYearsOp<1000>> {
 public:
  using DayPartFunction::DayPartFunction;
};
class SQXEREXPR_API Epoch final : public OpFunction<EpochOp> {
 public:
  using OpFunction::OpFunction;
  /// Moments that are counted in microseconds are decimals of six places already.
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
};
class SQXEREXPR_API EpochOfTime final : public OpFunction<EpochOfTimeOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API Julian final : public OpFunction<JulianOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API Milliseconds final : public OpFunction<MillisecondsOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API Microseconds final : public OpFunction<MicrosecondsOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API LastDay final : public DayPartFunction<LastDayOp> {
 public:
  using DayPartFunction::DayPartFunction;
};
class SQXEREXPR_API MakeDate final : public OpFunction<MakeDateOp> {
 public:
  using OpFunction::OpFunction;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
};
class SQXEREXPR_API MakeTimestamp final : public OpFunction<MakeTimestampOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API AddDays final : public DayFunction<AddDaysOp> {
 public:
  using DayFunction::DayFunction;
};
class SQXEREXPR_API SubtractDays final : public DayFunction<SubtractDaysOp> {
 public:
  using DayFunction::DayFunction;
};
class SQXEREXPR_API DaysBetween final : public DayFunction<DaysBetweenOp> {
 public:
  using DayFunction::DayFunction;
};

}  // namespace sqxer
