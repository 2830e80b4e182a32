#include "TypedExpression.h"

#include <algorithm>

#include "FunctionTable.h"
#include "JsonColumns.h"
#include "SQXERExprAggregateOrdered.h"
#include "SQXERExprConvert.h"
#include "SQXERExprExtract.h"
#include "SQXERExprParam.h"
#include "SQXERMakeNode.h"
#include "Utility/XeAssert.h"

namespace sqxer {
namespace {

using Kind = TypedExpression::Kind;

std::unique_ptr<RExpression> BuildCall(const TypedExpression& call,
                                       const std::vector<int>& columnPositions) {
  Operands operands;
  for (const TypedExpressionPtr& argument : call.arguments)
    operands.push_back(BuildTree(*argument, columnPositions));
  return call.function->make(call, operands);
}

std::unique_ptr<RExpression> BuildConversion(const TypedExpression& conversion,
                                             const std::vector<int>& columnPositions) {
  const TypedExpression& source = *conversion.arguments[0];
  std::unique_ptr<RExpression> operand = BuildTree(source, columnPositions);
  if (source.type == XeInt2Data) return MakeNodeOf<ConvertInt16toInt32>(operand);
  if (source.type == XeFloatData) return MakeNodeOf<ConvertFloat32toFloat64>(operand);
  std::unique_ptr<RExpression> node(Convert::AddConversionExpression(
      conversion.type, source.type, operand.get(), conversion.length));
  static_cast<void>(operand.release());
  return node;
}

bool Contains(const TypedExpression& expression, Kind kind) {
  return expression.kind == kind ||
         std::ranges::any_of(expression.arguments,
                             [&](const auto& argument) { return Contains(*argument, kind); });
}

}  // namespace

TypedExpressionPtr MakeTypedConstant(const PlanConstant& constant, int position) {
  auto typed = std::make_shared<TypedExpression>();
  typed->kind = Kind::kConstant;
  typed->position = position;
  typed->type = constant.type;
  typed->length = constant.GetLength();
  typed->nullable = constant.IsNull();
  typed->constant = constant;
  return typed;
}

TypedExpressionPtr MakeTypedParameter(const ExecutionParameter& parameter, int position) {
  const Param node(parameter);
  auto typed = std::make_shared<TypedExpression>();
  typed->kind = Kind::kParameter;
  typed->position = position;
  typed->type = node.GetResultDataType();
  typed->length = node.GetObjectLength();
  typed->nullable = false;
  typed->parameter = parameter;
  return typed;
}

TypedExpressionPtr ConvertTyped(const TypedExpressionPtr& argument, XeDataType target) {
  if (argument->type == target && !argument->IsOpenNull()) return argument;
  if (argument->IsConstant()) {
    if (std::optional<PlanConstant> constant = ConvertConstant(argument->constant, target))
      return MakeTypedConstant(*constant, argument->position);
  }
  auto conversion = std::make_shared<TypedExpression>();
  conversion->kind = Kind::kConvert;
  conversion->position = argument->position;
  conversion->type = target;
  conversion->length = XeFieldDescriptor::GetObjectLength(target, argument->length);
  conversion->nullable = argument->nullable;
  conversion->size = argument->size + 1;
  conversion->arguments.push_back(argument);
  return conversion;
}

TypedExpressionPtr Widened(const TypedExpressionPtr& argument) {
  if (argument->type == XeInt2Data) return ConvertTyped(argument, XeInt4Data);
  if (argument->type == XeFloatData) return ConvertTyped(argument, XeDoubleData);
  return argument;
}

TypedExpressionPtr WithoutWidening(const TypedExpressionPtr& expression) {
  if (expression->kind != Kind::kConvert) return expression;
  const TypedExpressionPtr& argument = expression->arguments[0];
  return argument->type == XeInt2Data || argument->type == XeFloatData ? argument : expression;
}

TypedArgumentSpan ColumnsOf(const TypedExpression& aggregate) {
  return TypedArgumentSpan(aggregate.arguments).first(aggregate.aggregate->columns);
}

TypedArgumentSpan FrameColumnsOf(const TypedExpression& aggregate) {
  const TypedAggregate& call = *aggregate.aggregate;
  return TypedArgumentSpan(aggregate.arguments).subspan(call.columns, call.frameColumns);
}

TypedArgumentSpan PartitionKeysOf(const TypedExpression& aggregate) {
  const TypedAggregate& call = *aggregate.aggregate;
  return TypedArgumentSpan(aggregate.arguments)
      .subspan(call.columns + call.frameColumns, call.partitionKeys);
}

TypedArgumentSpan OrderKeysOf(const TypedExpression& aggregate) {
  return TypedArgumentSpan(aggregate.arguments).last(aggregate.aggregate->rowOrders.size());
}

TypedExpressionPtr MakeTypedField(const TypedExpression& value, int index, ColumnInfo column) {
  auto field = std::make_shared<TypedExpression>();
  field->kind = Kind::kField;
  field->position = value.position;
  field->type = value.type;
  field->length = value.length;
  field->nullable = value.nullable;
  field->index = index;
  field->column = std::move(column);
  return field;
}

bool IsSameExpression(const TypedExpression& a, const TypedExpression& b) {
  if (&a == &b) return true;
  if (a.kind != b.kind || a.type != b.type || a.size != b.size) return false;
  switch (a.kind) {
    case Kind::kConstant:
      return a.constant.IsSame(b.constant);
    case Kind::kColumn:
    case Kind::kField:
      return a.index == b.index;
    case Kind::kParameter:
      return a.parameter->GetIndex() == b.parameter->GetIndex();
    case Kind::kJsonValue:
      return a.index == b.index && a.constant.IsSame(b.constant);
    case Kind::kAggregate:
    case Kind::kWindow:
      return a.index == b.index && IsSameAggregate(a, b);
    case Kind::kCall:
      if (a.column.length != b.column.length || a.column.scale != b.column.scale) return false;
      [[fallthrough]];
    case Kind::kConvert:
    case Kind::kGrouping:
      return a.function == b.function && a.added == b.added &&
             AreSameArguments(a.arguments, b.arguments);
  }
  XeLogicError();
}

bool AreSameArguments(TypedArgumentSpan a, TypedArgumentSpan b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const auto& x, const auto& y) { return IsSameExpression(*x, *y); });
}

bool IsSameAggregate(const TypedExpression& a, const TypedExpression& b) {
  const TypedAggregate& x = *a.aggregate;
  const TypedAggregate& y = *b.aggregate;
  return a.function == b.function && x.distinct == y.distinct && x.word == y.word &&
         x.orders == y.orders && x.keyOrders == y.keyOrders &&
         x.dropsDuplicates == y.dropsDuplicates && x.columns == y.columns &&
         x.partitionKeys == y.partitionKeys && x.rowOrders == y.rowOrders && x.frame == y.frame &&
         AreSameArguments(a.arguments, b.arguments) && AreSameArguments(x.numbers, y.numbers);
}

std::size_t HashOf(const TypedExpression& expression) {
  std::size_t hash = static_cast<std::size_t>(expression.kind);
  const auto add = [&](std::size_t part) { hash = hash * 0x9E3779B97F4A7C15 + part; };
  if (expression.kind == Kind::kColumn || expression.kind == Kind::kField)
    add(static_cast<std::size_t>(expression.index));
  add(std::hash<const void*>()(expression.function));
  for (const TypedExpressionPtr& argument : expression.arguments) add(HashOf(*argument));
  return hash;
}

bool ContainsAggregate(const TypedExpression& expression) {
  return Contains(expression, Kind::kAggregate) || Contains(expression, Kind::kGrouping);
}

bool ContainsWindow(const TypedExpression& expression) {
  return Contains(expression, Kind::kWindow);
}

std::unique_ptr<RExpression> BuildTree(const TypedExpression& expression,
                                       const std::vector<int>& columnPositions) {
  std::unique_ptr<RExpression> node;
  switch (expression.kind) {
    case Kind::kConstant:
      node = MakeConstantNode(expression.constant);
      break;
    case Kind::kParameter:
      node = std::make_unique<Param>(*expression.parameter);
      break;
    case Kind::kColumn:
      node = std::make_unique<Extract>(columnPositions[static_cast<std::size_t>(expression.index)]);
      break;
    case Kind::kField:
      node = std::make_unique<Extract>(expression.index);
      break;
    case Kind::kJsonValue:
      node = BuildJsonValue(expression);
      break;
    case Kind::kCall:
      node = BuildCall(expression, columnPositions);
      break;
    case Kind::kConvert:
      node = BuildConversion(expression, columnPositions);
      break;
    case Kind::kAggregate:
    case Kind::kWindow:
    case Kind::kGrouping:
      XeLogicError("an aggregate is no part of a tree");
  }
  node->SetSourcePosition(expression.position);
  return node;
}

namespace {

std::unique_ptr<Aggregate> BuildPlain(const TypedExpression& aggregate, UInt16Vector columns) {
  AggregateCall call;
  call.columns = std::move(columns);
  call.distinct = aggregate.aggregate->distinct;
  call.orders = aggregate.aggregate->orders;
  call.word = aggregate.aggregate->word;
  for (const TypedExpressionPtr& number : aggregate.aggregate->numbers)
    call.numbers.push_back(BuildTree(*number, {}));
  return aggregate.function->aggregate->Make(call);
}

}  // namespace

std::unique_ptr<Aggregate> BuildAggregate(const TypedExpression& aggregate, UInt16Vector columns) {
  const TypedAggregate& call = *aggregate.aggregate;
  if (call.keyOrders.empty()) return BuildPlain(aggregate, std::move(columns));
  // Each column is kept once, and has its place there.
  auto kept = std::make_unique<UInt16Vector>();
  UInt16Vector places;
  for (const uint16 column : columns) {
    const auto known = std::ranges::find(*kept, column);
    places.push_back(static_cast<uint16>(known - kept->begin()));
    if (known == kept->end()) kept->push_back(column);
  }
  const std::size_t own = columns.size() - call.keyOrders.size();
  std::vector<Ordered::Key> keys;
  for (std::size_t i = 0; i < call.keyOrders.size(); ++i)
    keys.push_back({places[own + i], call.keyOrders[i].order, call.keyOrders[i].nulls});
  std::size_t needed = 0;
  for (std::size_t i = 0; i < call.neededColumns; ++i)
    needed = std::max(needed, std::size_t{places[i]} + 1);
  places.resize(own);
  std::unique_ptr<Aggregate> inner = BuildPlain(aggregate, std::move(places));
  return std::unique_ptr<Aggregate>(
      new Ordered(kept.release(), std::move(inner), std::move(keys), call.dropsDuplicates, needed));
}

}  // namespace sqxer
