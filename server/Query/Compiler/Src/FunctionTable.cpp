#include "FunctionTable.h"

#include "FunctionRows.h"
#include "SQXERExprAggregate.h"
#include "Utility/SUXeDataTypeUtility.h"

namespace sqxer {
namespace {

using Kind = FunctionRow::Kind;
using Rule = AggregateResult::Rule;

std::vector<FunctionRow> MakeTable() {
  std::vector<FunctionRow> rows;
  AppendOperatorRows(rows);
  AppendConditionalRows(rows);
  AppendConversionRows(rows);
  AppendNumericRows(rows);
  AppendTextRows(rows);
  AppendCalendarRows(rows);
  AppendLookupRows(rows);
  AppendAggregateRows(rows);
  return rows;
}

const FunctionRow* Find(std::string_view name, int argumentCount, bool isOperator,
                        const FunctionRow** anyCount) {
  for (const FunctionRow& row : FunctionTable()) {
    bool operatorRow = row.kind == Kind::kOperator || row.kind == Kind::kForm;
    if (operatorRow != isOperator || row.name != name) continue;
    // Forms that the parser reads as others are only described.
    if (!row.prepare && !row.aggregate) continue;
    if (row.Takes(argumentCount)) return &row;
    if (anyCount) *anyCount = &row;
  }
  return nullptr;
}

}  // namespace

const std::vector<FunctionRow>& FunctionTable() {
  static const std::vector<FunctionRow> rows = MakeTable();
  return rows;
}

ColumnInfo TypeOfResult(const AggregateResult& result, const ColumnInfo& argument) {
  ColumnInfo field = argument;
  field.nullable = true;
  switch (result.rule) {
    case Rule::kComputed:
      field.type = SUXeDataTypeUtility::GetPromotedDataType(argument.type);
      break;
    case Rule::kArgument:
      break;
    case Rule::kDouble:
      field.type = XeDoubleData;
      break;
    case Rule::kList:
      field.type = XeVarCharData;
      break;
    case Rule::kCount:
      field.type = XeUInt4Data;
      field.nullable = false;
      break;
  }
  field.length = XeFieldDescriptor::GetObjectLength(field.type, argument.length);
  if (result.rule == Rule::kList) field.length = ListAgg::kMostCharacters;
  return field;
}

const FunctionRow* FindOperator(std::string_view name, int argumentCount) {
  return Find(name, argumentCount, true, nullptr);
}

const FunctionRow* FindFunction(std::string_view name, int argumentCount,
                                const FunctionRow** anyCount) {
  return Find(name, argumentCount, false, anyCount);
}

}  // namespace sqxer
