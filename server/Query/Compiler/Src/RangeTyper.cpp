// How ExpressionTyper reads a RANGE with distances.

#include "ExpressionTyper.h"
#include "NodeProber.h"
#include "PlanError.h"

namespace sqxer {
namespace {

using Bound = WindowFrame::Bound;

/// In which types a key and a distance are computed with.
struct RangeTypes {
  XeDataType key;
  XeDataType distance;
};

/// Those of a key; nothing for one that has no distances. Integers go as decimals, so that no end
/// overflows.
std::optional<RangeTypes> FindRangeTypes(XeDataType key) {
  switch (key) {
    case XeDoubleData:
      return RangeTypes{XeDoubleData, XeDoubleData};
    case XeInt4Data:
    case XeUInt4Data:
    case XeNumericData:
      return RangeTypes{XeNumericData, XeNumericData};
    case XeDateData:
    case XeDateTimeData:
      return RangeTypes{XeDateTimeData, XeIntervalData};
    case XeIntervalData:
      return RangeTypes{XeIntervalData, XeIntervalData};
    default:
      return {};
  }
}

}  // namespace

// The values at both ends are computed for each row like any expression, in a type that holds
// them: the executor has to compare them with keys, and no more.
void ExpressionTyper::TypeRange(const SqlWindow& window, const Clause& clause, WindowFrame& frame,
                                TypedArguments& columns) const {
  const auto refuse = [](int position) {
    ThrowPlanError(kFrameOrder, position,
                   {L"RANGE with a distance",
                    L"an ORDER BY of one key, which is a number, date, timestamp or interval"});
  };
  if (window.orderBy.size() != 1) refuse(window.position);
  const SqlSortItem& item = window.orderBy[0];
  TypedExpressionPtr key = Widened(TypeKey(*item.expression, clause));
  const std::optional<RangeTypes> types = FindRangeTypes(key->type);
  if (!types) refuse(item.expression->position);
  key = ConvertTyped(key, types->key);
  const std::size_t first = columns.size();
  const auto add = [&](const TypedExpressionPtr& column) {
    columns.push_back(column);
    return static_cast<uint16>(columns.size() - 1 - first);
  };
  frame.key = add(key);
  frame.order = item.order;
  frame.nulls = item.nulls;
  const auto addEnd = [&](const SqlExpressionPtr& offset, WindowFrame::Limit& limit) {
    if (!offset) return;
    const bool isBelow = (limit.bound == Bound::kPreceding) == (item.order == kAscending);
    TypedArguments operands{key, ReadDistance(*offset, types->distance)};
    const FunctionRow& row = ChooseByTypes(*FindOperator(isBelow ? "-" : "+", 2), operands);
    limit.value = add(MakeCall(row, std::move(operands), offset->position));
  };
  addEnd(window.fromOffset, frame.from);
  addEnd(window.toOffset, frame.to);
}

TypedExpressionPtr ExpressionTyper::ReadDistance(const SqlExpression& offset,
                                                 XeDataType type) const {
  const auto refuse = [&] { ThrowPlanError(kFrameOffset, offset.position, {}); };
  if (NamesColumn(offset)) refuse();
  TypedExpressionPtr distance = Widened(TypeWithoutColumns(offset, {L"RANGE"}));
  if (!distance->IsConstant()) {
    if (const std::optional<PlanConstant> value = EvaluateWithoutColumns(*distance))
      distance = MakeTypedConstant(*value, distance->position);
  }
  if (type == XeIntervalData && distance->IsOpenText())
    distance = MakeTypedConstant(
        ReadText(std::get<XeString>(distance->constant.value), type, offset.position),
        offset.position);
  std::optional<PlanConstant> number;
  if (distance->IsConstant() && !distance->IsTextConstant() && distance->type != XeBoolean)
    number = ConvertConstant(distance->constant, type);
  if (!number || number->IsNull()) refuse();
  const float64* const inDouble = std::get_if<float64>(&number->value);
  const VelmarNumber* const exact = std::get_if<VelmarNumber>(&number->value);
  const XeInterval* const span = std::get_if<XeInterval>(&number->value);
  const bool isAhead = inDouble ? *inDouble >= 0
                       : span   ? span->GetSpan() >= 0
                                : exact && !exact->isNegative();
  if (!isAhead) refuse();
  return MakeTypedConstant(*number, offset.position);
}

}  // namespace sqxer
