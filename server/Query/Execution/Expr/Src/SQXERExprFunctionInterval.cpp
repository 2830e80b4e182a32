#include "SQXERExprFunctionInterval.h"

namespace sqxer {

template class OpFunction<AddIntervalOp>;
template class MomentShift<AddIntervalOp>;
template class OpFunction<SubtractIntervalOp>;
template class MomentShift<SubtractIntervalOp>;
template class OpFunction<AddIntervalToTimeOp>;
template class OpFunction<SubtractIntervalFromTimeOp>;
template class OpFunction<AddIntervalsOp>;
template class OpFunction<SubtractIntervalsOp>;
template class OpFunction<NegateIntervalOp>;
template class OpFunction<MultiplyIntervalOp>;
template class OpFunction<MultiplyByIntervalOp>;
template class OpFunction<DivideIntervalOp>;
template class OpFunction<MomentDifferenceOp>;
template class OpFunction<TimeDifferenceOp>;
template class OpFunction<JustifyDaysOp>;
template class OpFunction<JustifyHoursOp>;
template class OpFunction<JustifyIntervalOp>;
template class OpFunction<MakeIntervalOp>;
template class OpFunction<AgeOp>;
template class OpFunction<DateBinOp>;
template class OpFunction<IntervalPartOp<IntervalPart::kMicroseconds>>;
template class OpFunction<IntervalPartOp<IntervalPart::kMilliseconds>>;
template class OpFunction<IntervalPartOp<IntervalPart::kSecond>>;
template class OpFunction<IntervalPartOp<IntervalPart::kMinute>>;
template class OpFunction<IntervalPartOp<IntervalPart::kHour>>;
template class OpFunction<IntervalPartOp<IntervalPart::kDay>>;
template class OpFunction<IntervalPartOp<IntervalPart::kMonth>>;
template class OpFunction<IntervalPartOp<IntervalPart::kQuarter>>;
template class OpFunction<IntervalPartOp<IntervalPart::kYear>>;
template class OpFunction<IntervalPartOp<IntervalPart::kDecade>>;
template class OpFunction<IntervalPartOp<IntervalPart::kCentury>>;
template class OpFunction<IntervalPartOp<IntervalPart::kMillennium>>;
template class OpFunction<IntervalPartOp<IntervalPart::kEpoch>>;

bool MomentDifference::EvalBatch(const BatchRows& rows, BatchVector& out) {
  OperandVectors operands;
  if (!EvaluateOperands(rows, operands)) return false;
  const auto& [ends, starts] = operands;
  const bool areCounted =
      ends.form == ColumnForm::kTimeStamp64 && starts.form == ColumnForm::kTimeStamp64;
  if (!areCounted) return ComputeBatch(operands, rows, out);
  out = BatchVector();
  BatchBuffers& buffers = GetBatchBuffers();
  IntersectValidity(ends, starts, rows, buffers.Validity(), out);
  XeInterval* const values = buffers.Values<XeInterval>();
  MapPairs(ends.As<int64>(), ends.isConstant, starts.As<int64>(), starts.isConstant, values,
           RowsOfAll(out, rows), [](int64 end, int64 start) {
             // What stands in rows that do not count may wrap.
             const auto elapsed =
                 static_cast<int64>(static_cast<uint64>(end) - static_cast<uint64>(start));
             return MomentDifferenceOp::OfMicroseconds(elapsed);
           });
  out.form = ColumnForm::kInterval;
  out.values = reinterpret_cast<const uint8*>(values);
  return true;
}

void IntervalTrunc::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindIthOperand(0, stream, replacement, info);
  CheckDataTypeAndThrowError(operand_, {XeIntervalData}, L"IntervalTrunc");
  SetResult(XeIntervalData, info);
}

RExprReturn IntervalTrunc::Eval(void* out) {
  XeInterval value;
  if (EvalOperands(&value) == kTrue) {
    *static_cast<XeInterval*>(out) = IntervalTruncOp::Apply(unit_, value);
  }
  return retCode_;
}

bool IntervalTrunc::EvalBatch(const BatchRows& rows, BatchVector& out) {
  if (!EvaluateBatch(*operand_, rows, out)) return false;
  XeInterval* const values = GetBatchBuffers().Values<XeInterval>();
  MapValues(out.As<XeInterval>(), values, RowsOf(out, rows),
            [this](const XeInterval& value) { return IntervalTruncOp::Apply(unit_, value); });
  out.values = reinterpret_cast<const uint8*>(values);
  return true;
}

void AtTimeZone::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  const OperandShape shape = BindIthOperand(0, stream, replacement, info);
  CheckDataTypeAndThrowError(operand_, {XeDateData, XeTimeData, XeDateTimeData}, L"AtTimeZone");
  operand_ = Convert::AddConversionExpression(XeDateTimeData, operand_->GetResultDataType(),
                                              operand_, shape.length);
  SetResult(XeDateTimeData, info);
}

RExprReturn AtTimeZone::Eval(void* out) {
  XeDateTime moment;
  if (EvalOperands(&moment) == kTrue) {
    AtSourcePosition([&] { *static_cast<XeDateTime*>(out) = Compute(moment); });
  }
  return retCode_;
}

bool AtTimeZone::EvalBatch(const BatchRows& rows, BatchVector& out) {
  BatchVector moments;
  if (!EvaluateBatch(*operand_, rows, moments)) return false;
  out = moments;
  XeDateTime* const values = GetBatchBuffers().Values<XeDateTime>();
  RowsOf(out, rows).ForEach([&](uint32 row) {
    if (!moments.IsNull(row)) values[row] = Compute(ReadBatchMoment(moments, row));
  });
  out.form = ColumnForm::kDateTime;
  out.values = reinterpret_cast<const uint8*>(values);
  out.block = nullptr;
  return true;
}

}  // namespace sqxer
