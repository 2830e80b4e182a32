#pragma once

#include "SQXERBatchCalendar.h"
#include "SQXEROpFunction.h"
#include "SQXEROpsIntervalParts.h"
#include "Utility/TimeZone.h"

namespace sqxer {

/// A moment later, or earlier, by an interval: in loops over moments in microseconds the results
/// are such, too.
template <FunctionOp Op>
class MomentShift : public OpFunction<Op> {
 public:
  using OpFunction<Op>::OpFunction;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) final {
    typename OpFunction<Op>::OperandVectors operands;
    if (!this->EvaluateOperands(rows, operands)) return false;
    const auto& [moments, intervals] = operands;
    if (!CountsMicroseconds(moments)) return this->ComputeBatch(operands, rows, out);
    out = BatchVector();
    BatchBuffers& buffers = this->GetBatchBuffers();
    IntersectValidity(moments, intervals, rows, buffers.Validity(), out);
    int64* const sums = buffers.template Values<int64>();
    const BatchVector& shifts = intervals;
    const BatchVector& starts = moments;
    RowsOfAll(out, rows).ForEach([&](uint32 row) {
      if (out.IsNull(row)) return;
      const auto interval = ReadBatchValue<XeInterval>(shifts, row);
      if (TryDays(starts, row, interval, sums[row])) return;
      TryTimeStamp64(Op::Apply(ReadBatchMoment(starts, row), interval), sums[row]);
    });
    out.form = ColumnForm::kTimeStamp64;
    out.values = reinterpret_cast<const uint8*>(sums);
    return true;
  }

 private:
  /// By whole numbers alone: an interval without months, whose days stay within the calendar.
  static bool TryDays(const BatchVector& moments, uint32 row, const XeInterval& interval,
                      int64& sum) {
    // More days leave the calendar from whichever end they start.
    constexpr int32 kMostDays = 10'000'000;
    if (interval.months != 0 || interval.days > kMostDays || interval.days < -kMostDays) {
      return false;
    }
    const uint32 at = moments.isConstant ? 0 : row;
    const int64 start = moments.form == ColumnForm::kTimeStamp64
                            ? moments.As<int64>()[at]
                            : moments.As<int32>()[at] * kMicrosecondsPerDay;
    const int64 day = start + Op::kSign * interval.days * kMicrosecondsPerDay;
    const bool isBeyond = Op::kSign > 0 ? __builtin_add_overflow(day, interval.microseconds, &sum)
                                        : __builtin_sub_overflow(day, interval.microseconds, &sum);
    return !isBeyond && IsMoment(day) && IsMoment(sum);
  }
  static bool IsMoment(int64 value) {
    return value >= kCalendarMoments.least && value <= kCalendarMoments.greatest;
  }
};

// One source makes them.
extern template class SQXEREXPR_API OpFunction<AddIntervalOp>;
extern template class SQXEREXPR_API MomentShift<AddIntervalOp>;
extern template class SQXEREXPR_API OpFunction<SubtractIntervalOp>;
extern template class SQXEREXPR_API MomentShift<SubtractIntervalOp>;
extern template class SQXEREXPR_API OpFunction<AddIntervalToTimeOp>;
extern template class SQXEREXPR_API OpFunction<SubtractIntervalFromTimeOp>;
extern template class SQXEREXPR_API OpFunction<AddIntervalsOp>;
extern template class SQXEREXPR_API OpFunction<SubtractIntervalsOp>;
extern template class SQXEREXPR_API OpFunction<NegateIntervalOp>;
extern template class SQXEREXPR_API OpFunction<MultiplyIntervalOp>;
extern template class SQXEREXPR_API OpFunction<MultiplyByIntervalOp>;
extern template class SQXEREXPR_API OpFunction<DivideIntervalOp>;
extern template class SQXEREXPR_API OpFunction<MomentDifferenceOp>;
extern template class SQXEREXPR_API OpFunction<TimeDifferenceOp>;
extern template class SQXEREXPR_API OpFunction<JustifyDaysOp>;
extern template class SQXEREXPR_API OpFunction<JustifyHoursOp>;
extern template class SQXEREXPR_API OpFunction<JustifyIntervalOp>;
extern template class SQXEREXPR_API OpFunction<MakeIntervalOp>;
extern template class SQXEREXPR_API OpFunction<AgeOp>;
extern template class SQXEREXPR_API OpFunction<DateBinOp>;
extern template class SQXEREXPR_API OpFunction<IntervalPartOp<IntervalPart::kMicroseconds>>;
extern template class SQXEREXPR_API OpFunction<IntervalPartOp<IntervalPart::kMilliseconds>>;
extern template class SQXEREXPR_API OpFunction<IntervalPartOp<IntervalPart::kSecond>>;
extern template class SQXEREXPR_API OpFunction<IntervalPartOp<IntervalPart::kMinute>>;
extern template class SQXEREXPR_API OpFunction<IntervalPartOp<IntervalPart::kHour>>;
extern template class SQXEREXPR_API OpFunction<IntervalPartOp<IntervalPart::kDay>>;
extern template class SQXEREXPR_API OpFunction<IntervalPartOp<IntervalPart::kMonth>>;
extern template class SQXEREXPR_API OpFunction<IntervalPartOp<IntervalPart::kQuarter>>;
extern template class SQXEREXPR_API OpFunction<IntervalPartOp<IntervalPart::kYear>>;
extern template class SQXEREXPR_API OpFunction<IntervalPartOp<IntervalPart::kDecade>>;
extern template class SQXEREXPR_API OpFunction<IntervalPartOp<IntervalPart::kCentury>>;
extern template class SQXEREXPR_API OpFunction<IntervalPartOp<IntervalPart::kMillennium>>;
extern template class SQXEREXPR_API OpFunction<IntervalPartOp<IntervalPart::kEpoch>>;

// Functions of intervals, and of moments and intervals, whose meaning is that of their op; see
// there. NULL if an operand is. Dates are moments at 00:00:00.

class SQXEREXPR_API AddInterval final : public MomentShift<AddIntervalOp> {
 public:
  using MomentShift::MomentShift;
};
class SQXEREXPR_API SubtractInterval final : public MomentShift<SubtractIntervalOp> {
 public:
  using MomentShift::MomentShift;
};
class SQXEREXPR_API AddIntervalToTime final : public OpFunction<AddIntervalToTimeOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API SubtractIntervalFromTime final : public OpFunction<SubtractIntervalFromTimeOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API AddIntervals final : public OpFunction<AddIntervalsOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API SubtractIntervals final : public OpFunction<SubtractIntervalsOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API NegateInterval final : public OpFunction<NegateIntervalOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API MultiplyInterval final : public OpFunction<MultiplyIntervalOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API MultiplyByInterval final : public OpFunction<MultiplyByIntervalOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API DivideInterval final : public OpFunction<DivideIntervalOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API MomentDifference final : public OpFunction<MomentDifferenceOp> {
 public:
  using OpFunction::OpFunction;
  /// Moments in microseconds are subtracted as such.
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
};
class SQXEREXPR_API TimeDifference final : public OpFunction<TimeDifferenceOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API JustifyDays final : public OpFunction<JustifyDaysOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API JustifyHours final : public OpFunction<JustifyHoursOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API JustifyWhole final : public OpFunction<JustifyIntervalOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API MakeInterval final : public OpFunction<MakeIntervalOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API Age final : public OpFunction<AgeOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API DateBin final : public OpFunction<DateBinOp> {
 public:
  using OpFunction::OpFunction;
};
/// EXTRACT from an interval.
template <IntervalPart part>
class ExtractIntervalPart final : public OpFunction<IntervalPartOp<part>> {
 public:
  using OpFunction<IntervalPartOp<part>>::OpFunction;
};

/// DATE_TRUNC of an interval. Error 59001 ("IntervalTrunc", type) for what is none.
class SQXEREXPR_API IntervalTrunc final : public TimeValueFunction {
 public:
  IntervalTrunc(RExpression* value, TruncUnit unit) : TimeValueFunction(value), unit_(unit) {}
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool GivesSameAs(RExpression& other) override {
    return static_cast<IntervalTrunc&>(other).unit_ == unit_;
  }
  bool HasBatchLoop() override { return true; }

 private:
  const TruncUnit unit_;
};

/// AT TIME ZONE: a moment of UTC on the clocks of a zone, or what these show in UTC. Error 59001
/// ("AtTimeZone", type) for what is no date, time or timestamp.
class SQXEREXPR_API AtTimeZone final : public TimeValueFunction {
 public:
  AtTimeZone(RExpression* moment, TimeZoneRef zone, bool isFromUtc)
      : TimeValueFunction(moment), zone_(std::move(zone)), isFromUtc_(isFromUtc) {}
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool GivesSameAs(RExpression& other) override {
    const auto& same = static_cast<AtTimeZone&>(other);
    return same.zone_->GetName() == zone_->GetName() && same.isFromUtc_ == isFromUtc_;
  }
  bool HasBatchLoop() override { return true; }

 private:
  XeDateTime Compute(const XeDateTime& moment) const {
    return isFromUtc_ ? zone_->FromUtc(moment) : zone_->ToUtc(moment);
  }

  const TimeZoneRef zone_;
  const bool isFromUtc_;
};

}  // namespace sqxer
