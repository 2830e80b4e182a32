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
           result.rule == Rule::kPlace;
  });
}

/// Whether what moves along over the last values gives what those rows do: with a NULL it goes
/// further back, and the sum of doubles keeps what it lost when a large one passed.
bool IsMovingExact(const TypedExpression& argument) {
  return !argument.nullable && argument.type != XeDoubleData && argument.type != XeFloatData;
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
  if (isOfIntervals ||
      (row.windowForm == WindowForm::kMoving && !IsMovingExact(*aggregate->arguments[0])))
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

void ExpressionTyper::TypeArguments(const SqlExpression& expression, const Clause& clause,
                                    TypedExpression& aggregate, TypedAggregate& call) const {
  const FunctionRow& row = *aggregate.function;
  const AggregateShape& shape = *row.aggregate;
  const std::string_view kinds = shape.arguments.substr(0, expression.arguments.size());
  TypedArguments& columns = aggregate.arguments;
  columns.resize(static_cast<std::size_t>(std::ranges::count_if(kinds, IsColumnArgument)));
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
      case 'd': {
        const TypedExpressionPtr text = Type(argument, clause);
        if (!text->IsTextConstant() || std::get<XeString>(text->constant.value) != shape.delimiter)
          ThrowPlanError(kOtherDelimiter, text->position, {UpperName(row.name), shape.delimiter});
        break;
      }
      default:
        columns[static_cast<std::size_t>(kinds[i] - 'x')] = Type(argument, clause);
    }
  }
  if (expression.filter) ApplyFilter(*expression.filter, clause, row, columns);
  if (row.prepare) row.prepare(columns);
  for (TypedExpressionPtr& column : columns) {
    if (column->IsOpenNull()) column = ConvertTyped(column, XeInt4Data);
    column = WidenArgument(column, shape);
  }
  if (shape.nullTogether) MakeNullTogether(columns);
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
