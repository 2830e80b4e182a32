// How ExpressionTyper reads the arguments of an aggregate.

#include <algorithm>

#include "ExpressionTyper.h"
#include "NodeProber.h"
#include "PlanError.h"
#include "TypedCall.h"
#include "Utility/Settings.h"

namespace sqxer {
namespace {

/// Whether its columns are numbers, bits among them, and not values that it counts, lists or gives
/// again. Two columns are always computed with.
bool ComputesWithNumbers(const AggregateShape& shape) {
  using Rule = AggregateResult::Rule;
  if (shape.results[0].rule == Rule::kArgument) return false;
  if (shape.arguments.find('y') != std::string_view::npos) return true;
  return std::ranges::any_of(shape.results, [](const AggregateResult& result) {
    return result.rule == Rule::kComputed || result.rule == Rule::kDouble ||
           result.rule == Rule::kQuantile || result.rule == Rule::kPlace;
  });
}

/// Whether what moves along over the last values gives what those rows do: with a NULL it goes
/// further back, and the sum of doubles keeps what it lost when a large one passed.
bool IsMovingExact(const TypedExpression& argument) {
  return !argument.nullable && argument.type != XeDoubleData && argument.type != XeFloatData;
}

/// Whether a window is one that a moving node, which makes room for all of it at once, is not to be
/// asked for.
bool IsLong(const TypedExpression& windowSize) {
  constexpr int32 kMostRows = 1 << 20;
  return std::get<int32>(windowSize.constant.value) > kMostRows;
}

const FunctionRow& AggregateOfName(std::string_view name) {
  const std::vector<const FunctionRow*> rows = FindFunctions(name);
  return **std::ranges::find_if(rows, [](const FunctionRow* row) {
    return row->kind == FunctionRow::Kind::kAggregate && row->Takes(1, false);
  });
}

}  // namespace

TypedExpressionPtr WidenArgument(const TypedExpressionPtr& argument, const AggregateShape& shape) {
  bool integer = argument->type == XeInt4Data || argument->type == XeUInt4Data;
  bool wide = Settings::Current()->GetSwitches().wideIntegerAggregates_;
  if (argument->type == XeBitData && ComputesWithNumbers(shape))
    return WidenArgument(ConvertTyped(argument, XeInt4Data), shape);
  return integer && wide && shape.wideInteger != XeUnknown
             ? ConvertTyped(argument, shape.wideInteger)
             : argument;
}

TypedExpressionPtr ExpressionTyper::TypeAggregate(const FunctionRow& row,
                                                  const SqlExpression& expression,
                                                  const Clause& clause, int index) const {
  const AggregateShape& shape = *row.aggregate;
  const XeString name = UpperName(row.name);
  if (expression.over && !clause.windows)
    ThrowPlanError(kWindowNotAllowed, expression.position, {clause.name, name});
  if (!clause.aggregates)
    ThrowPlanError(kAggregateNotAllowed, expression.position, {clause.name, name});
  if (expression.distinct && shape.distinct == AggregateShape::Distinct::kRefused)
    ThrowPlanError(kNoDistinct, expression.position, {name});

  auto aggregate = std::make_shared<TypedExpression>();
  auto call = std::make_shared<TypedAggregate>();
  aggregate->kind =
      expression.over ? TypedExpression::Kind::kWindow : TypedExpression::Kind::kAggregate;
  aggregate->position = expression.position;
  aggregate->function = &row;
  aggregate->aggregate = call;
  aggregate->index = index;
  call->distinct = expression.distinct && shape.distinct == AggregateShape::Distinct::kHandled;
  const Clause inner{expression.over ? L"a window" : L"an aggregate", true};
  TypeArguments(expression, inner, *aggregate, *call);
  const bool isOverRows =
      row.windowForm == WindowForm::kMoving || row.windowForm == WindowForm::kRunning;
  const bool isOfIntervals = isOverRows && !aggregate->arguments.empty() &&
                             aggregate->arguments[0]->type == XeIntervalData;
  const bool isMoving = row.windowForm == WindowForm::kMoving;
  if (isOfIntervals || (isMoving && (!IsMovingExact(*aggregate->arguments[0]) ||
                                     IsLong(*WindowSize(*expression.over->fromOffset, 1)))))
    return TypeAggregate(AggregateOfName(row.name), expression, clause, index);
  if (expression.over) {
    TypeWindow(expression, inner, *aggregate, *call);
  } else {
    for (const TypedExpressionPtr& argument : aggregate->arguments)
      if (ContainsAggregate(*argument))
        ThrowPlanError(kNestedAggregate, argument->position, {name});
    call->columns = aggregate->arguments.size();
  }
  CountNodes(*aggregate);
  if (call->columns > 0) {
    call->input = ResultOfTree(*aggregate->arguments[0], {});
    // The value in the place of one that is not there may be longer.
    if (row.windowForm == WindowForm::kFramed && call->columns == 3)
      call->input.length = std::max(call->input.length, aggregate->arguments[2]->length);
    AskAggregate(*aggregate);
  }
  aggregate->column = TypeOfResult(shape.results[static_cast<std::size_t>(index)], call->input);
  TakeAnswer(*aggregate, AskColumn(aggregate->column, false, expression.position));
  return aggregate;
}

TypedExpressionPtr ExpressionTyper::TypeDistinctAverage(const FunctionRow& row,
                                                        const SqlExpression& expression,
                                                        const Clause& clause) const {
  const XeDataType type = TypeAggregate(row, expression, clause, 0)->type;
  const auto part = [&](std::string_view name) {
    SqlExpression call = expression;
    call.name = name;
    const TypedExpressionPtr value = TypeAggregate(LookUpFunction(call), call, clause, 0);
    // Intervals are divided by any number.
    if (type == XeIntervalData) return value;
    // A count becomes no signed integer by itself.
    return type == XeInt4Data && value->type == XeUInt4Data
               ? SettleCall(*FindOperator("cast", 1), {value}, call.position, {XeInt4Data})
               : ConvertTyped(value, type);
  };
  TypedArguments parts{part("sum"), part("count")};
  const FunctionRow& division = ChooseByTypes(*FindOperator("/", 2), parts);
  return SettleCall(division, std::move(parts), expression.position);
}

bool ExpressionTyper::IsOfMoments(const SqlExpression& expression) const {
  if (expression.arguments.empty()) return false;
  const XeDataType type = Type(*expression.arguments[0], {L"an aggregate", true})->type;
  return type == XeDateData || type == XeDateTimeData;
}

TypedExpressionPtr ExpressionTyper::TypeOfMoments(const SqlExpression& expression,
                                                  const Clause& clause) const {
  const auto makeCall = [&](const char* name, std::vector<SqlExpressionPtr> arguments) {
    auto call = std::make_shared<SqlExpression>();
    call->kind = SqlExpression::Kind::kFunction;
    call->position = expression.position;
    call->name = name;
    call->arguments = std::move(arguments);
    return call;
  };
  const auto secondsOf = [&](const SqlExpressionPtr& moment) {
    auto part = std::make_shared<SqlExpression>();
    part->position = moment->position;
    part->literal.kind = SqlLiteral::Kind::kText;
    part->literal.text = L"epoch";
    return makeCall("extract", {part, moment});
  };
  auto ofSeconds = std::make_shared<SqlExpression>(expression);
  ofSeconds->arguments[0] = secondsOf(expression.arguments[0]);
  for (SqlSortItem& item : ofSeconds->orderBy) item.expression = secondsOf(item.expression);
  return Type(*makeCall("to_timestamp", {ofSeconds}), clause);
}

void ExpressionTyper::TypeArguments(const SqlExpression& expression, const Clause& clause,
                                    TypedExpression& aggregate, TypedAggregate& call) const {
  const FunctionRow& row = *aggregate.function;
  const AggregateShape& shape = *row.aggregate;
  const bool areAllColumns = shape.arguments == "x+";
  const std::string_view kinds =
      areAllColumns ? "" : shape.arguments.substr(0, expression.arguments.size());
  TypedArguments& columns = aggregate.arguments;
  columns.resize(static_cast<std::size_t>(std::ranges::count_if(kinds, IsColumnArgument)));
  if (areAllColumns) {
    for (const SqlExpressionPtr& argument : expression.arguments)
      columns.push_back(Type(*argument, clause));
    call.neededColumns = columns.size();
  }
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    const SqlExpression& argument = *expression.arguments[i];
    switch (kinds[i]) {
      case 'n':
        call.numbers.push_back(TypeNumber(argument, row));
        break;
      case 'w':
        call.word =
            static_cast<int>(ReadWord(*TypeWord(argument, clause), shape.wordMeaning, shape.words));
        break;
      default:
        columns[static_cast<std::size_t>(kinds[i] - 'x')] = Type(argument, clause);
    }
  }
  const TypedArguments given = columns;
  if (expression.filter) ApplyFilter(*expression.filter, clause, row, columns);
  if (row.prepare) row.prepare(columns);
  for (TypedExpressionPtr& column : columns) {
    if (column->IsOpenNull()) column = ConvertTyped(column, XeInt4Data);
    column = WidenArgument(column, shape);
  }
  if (shape.treeOverValue != nullptr) {
    const TypedExpression& value = *columns[0];
    call.numbers.push_back(shape.treeOverValue(MakeTypedField(value, 0, ResultOfTree(value, {}))));
  }
  if (shape.nullTogether) MakeNullTogether(columns);
  AddSortKeys(expression, clause, row, given, columns, call);
}

void ExpressionTyper::AddSortKeys(const SqlExpression& expression, const Clause& clause,
                                  const FunctionRow& row, const TypedArguments& given,
                                  TypedArguments& columns, TypedAggregate& call) const {
  using Distinct = AggregateShape::Distinct;
  using Order = AggregateShape::Order;
  const AggregateShape& shape = *row.aggregate;
  const auto refuse = [&](PlanErrorCode code, int position) {
    ThrowPlanError(code, position, {UpperName(row.name)});
  };
  if (shape.distinct == Distinct::kRequired && !expression.distinct)
    refuse(kNeedsDistinct, expression.position);
  if (row.windowForm > WindowForm::kMoving && !expression.orderBy.empty())
    refuse(kOrderNotTaken, expression.position);

  TypedArguments keys;
  const auto hasKey = [](const TypedArguments& of, const TypedExpression& value) {
    return std::ranges::any_of(
        of, [&](const TypedExpressionPtr& known) { return IsSameExpression(*known, value); });
  };
  for (const SqlSortItem& item : expression.orderBy) {
    const TypedExpressionPtr key = TypeKey(*item.expression, clause);
    if (expression.distinct && !hasKey(given, *key)) refuse(kDistinctOrder, key->position);
    if (shape.order == Order::kOfArgument && !IsSameExpression(*key, *given[0]))
      refuse(kOrderNotTaken, key->position);
    if (shape.order == Order::kNone) continue;
    keys.push_back(key);
    call.keyOrders.push_back({item.order, item.nulls});
  }
  if (shape.order == Order::kOfArgument && keys.empty()) {
    keys.push_back(given[0]);
    call.keyOrders.emplace_back();
  }
  const bool sorts = shape.distinct == Distinct::kSorted || shape.distinct == Distinct::kRequired;
  call.dropsDuplicates = expression.distinct && (sorts || (call.distinct && !keys.empty()));
  if (call.dropsDuplicates) {
    call.distinct = false;
    for (const TypedExpressionPtr& argument : given) {
      if (argument->IsConstant() && given.size() > 1) continue;
      if (hasKey(keys, *argument)) continue;
      keys.push_back(argument);
      call.keyOrders.emplace_back();
    }
  }
  for (TypedExpressionPtr& key : keys)
    columns.push_back(key->IsOpenNull() ? ConvertTyped(key, XeInt4Data) : key);
}

void ExpressionTyper::ApplyFilter(const SqlExpression& filter, const Clause& clause,
                                  const FunctionRow& row, TypedArguments& columns) const {
  // What a moving node would leave out of its frame makes the column one that can be NULL, which
  // goes to the aggregate over any frame.
  const bool ranks = row.windowForm != WindowForm::kGroup &&
                     row.windowForm != WindowForm::kRunning &&
                     row.windowForm != WindowForm::kMoving;
  if (ranks || row.aggregate->takesNulls)
    ThrowPlanError(kNoFilter, filter.position, {UpperName(row.name)});
  const TypedExpressionPtr condition = AsCondition(Type(filter, clause), L"FILTER");
  for (TypedExpressionPtr& column : columns) {
    if (column->IsOpenNull()) column = ConvertTyped(column, XeInt4Data);
    TypedArguments branches{condition, column};
    const FunctionRow& choice = *FindOperator("case when", 2);
    column = MakeCall(choice, std::move(branches), column->position);
  }
}

void ExpressionTyper::MakeNullTogether(TypedArguments& columns) const {
  const TypedArguments given = columns;
  for (std::size_t i = 0; i < 2; ++i) {
    const TypedExpressionPtr& other = given[1 - i];
    if (!other->nullable) continue;
    const auto call = [&](std::string_view name, TypedArguments arguments) {
      const FunctionRow& row = *FindOperator(name, static_cast<int>(arguments.size()));
      return MakeCall(row, std::move(arguments), other->position);
    };
    columns[i] = call("case when", {call("not", {call("is null", {other})}), given[i]});
  }
}

TypedExpressionPtr ExpressionTyper::TypeNumber(const SqlExpression& expression,
                                               const FunctionRow& row) const {
  if (NamesColumn(expression))
    ThrowPlanError(kArgumentNotConstant, expression.position, {UpperName(row.name)});
  const TypedExpressionPtr number =
      TypeWithoutColumns(expression, {L"an argument that is a number"});
  return number->IsOpenNull() ? ConvertTyped(number, XeInt4Data) : number;
}

}  // namespace sqxer
