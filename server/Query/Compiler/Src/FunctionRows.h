#pragma once

#include <algorithm>
#include <type_traits>
#include <vector>

#include "FunctionTable.h"
#include "SQXERMakeNode.h"

namespace sqxer {

/// The rows of the function table, section by section.
void AppendOperatorRows(std::vector<FunctionRow>& rows);
void AppendConditionalRows(std::vector<FunctionRow>& rows);
void AppendConversionRows(std::vector<FunctionRow>& rows);
void AppendNumericRows(std::vector<FunctionRow>& rows);
void AppendIntegerRows(std::vector<FunctionRow>& rows);
void AppendTextRows(std::vector<FunctionRow>& rows);
void AppendTextMakingRows(std::vector<FunctionRow>& rows);
void AppendRegularRows(std::vector<FunctionRow>& rows);
void AppendCalendarRows(std::vector<FunctionRow>& rows);
void AppendDateRows(std::vector<FunctionRow>& rows);
void AppendMomentRows(std::vector<FunctionRow>& rows);
void AppendIntervalRows(std::vector<FunctionRow>& rows);
void AppendClockRows(std::vector<FunctionRow>& rows);
void AppendFormatRows(std::vector<FunctionRow>& rows);
void AppendLookupRows(std::vector<FunctionRow>& rows);
void AppendAggregateRows(std::vector<FunctionRow>& rows);
void AppendListRows(std::vector<FunctionRow>& rows);
void AppendQuantileRows(std::vector<FunctionRow>& rows);
void AppendStatisticsRows(std::vector<FunctionRow>& rows);
void AppendWindowRows(std::vector<FunctionRow>& rows);

constexpr const char* kNullIfAny = "NULL if an operand is NULL";

/// Makes a node that takes one, two or three operands and nothing else.
template <class Node>
std::unique_ptr<RExpression> Make(const TypedExpression&, Operands& o) {
  if constexpr (std::is_constructible_v<Node, RExpression*, RExpression*, RExpression*>) {
    std::unique_ptr<RExpression> none;
    return MakeNodeOf<Node>(o[0], o[1], o.size() > 2 ? o[2] : none);
  } else if constexpr (std::is_constructible_v<Node, RExpression*, RExpression*>) {
    return MakeNodeOf<Node>(o[0], o[1]);
  } else {
    return MakeNodeOf<Node>(o[0]);
  }
}

/// Makes a scalar function of any number of operands.
template <class Node>
std::unique_ptr<RExpression> MakeFunction(const TypedExpression&, Operands& o) {
  std::unique_ptr<RExpression> none;
  return MakeNodeOf<Node>(o.empty() ? none : o[0],
                          GivenOperands(o, std::min<std::size_t>(1, o.size()), o.size()));
}

/// SUBSTRING(s FROM pattern).
std::unique_ptr<RExpression> MakeSubStringOfPattern(const TypedExpression& call,
                                                    Operands& operands);

/// A scalar function that is NULL if an operand is.
inline FunctionRow ScalarRow(std::string_view name, int count, const char* form, const char* node,
                             const char* arguments, const char* result, const char* description,
                             const char* example, const char* exampleResult, OperandRule prepare,
                             decltype(FunctionRow::make) make) {
  return {FunctionRow::Kind::kFunction,
          name,
          count,
          form,
          node,
          arguments,
          result,
          kNullIfAny,
          description,
          example,
          exampleResult,
          prepare,
          make};
}

/// The same row under another name, form and example.
inline FunctionRow Alias(FunctionRow row, std::string_view name, const char* form,
                         const char* example) {
  row.name = name;
  row.form = form;
  row.example = example;
  return row;
}

}  // namespace sqxer
