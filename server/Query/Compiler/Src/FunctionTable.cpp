#include "FunctionTable.h"

#include "FunctionRows.h"
#include "Utility/SUXeDataTypeUtility.h"

namespace sqxer {
namespace {

using Kind = FunctionRow::Kind;
using Rule = AggregateResult::Rule;

std::vector<FunctionRow> MakeTable() {
  struct Part {
    void (*append)(std::vector<FunctionRow>& rows);
    std::string_view section;
  };
  constexpr Part kParts[] = {
      {AppendOperatorRows, "operators"},
      {AppendConditionalRows, "conditions"},
      {AppendConversionRows, "conversions"},
      {AppendFormatRows, "conversions"},
      {AppendNumericRows, "numbers"},
      {AppendIntegerRows, "numbers"},
      {AppendTextRows, "texts"},
      {AppendTextMakingRows, "texts"},
      {AppendRegularRows, "patterns"},
      {AppendCalendarRows, "dates"},
      {AppendDateRows, "dates"},
      {AppendMomentRows, "dates"},
      {AppendIntervalRows, "intervals"},
      {AppendClockRows, "dates"},
      {AppendLookupRows, "tables"},
      {AppendAggregateRows, "aggregates"},
      {AppendListRows, "aggregates"},
      {AppendQuantileRows, "statistics"},
      {AppendStatisticsRows, "statistics"},
      {AppendWindowRows, "windows"},
  };
  std::vector<FunctionRow> rows;
  for (const Part& part : kParts) {
    const std::size_t first = rows.size();
    part.append(rows);
    for (std::size_t i = first; i < rows.size(); ++i) rows[i].section = part.section;
  }
  return rows;
}

std::vector<const FunctionRow*> Find(std::string_view name, bool isOperator) {
  std::vector<const FunctionRow*> found;
  for (const FunctionRow& row : FunctionTable()) {
    bool operatorRow = row.kind == Kind::kOperator || row.kind == Kind::kForm;
    if (operatorRow != isOperator || row.name != name) continue;
    // Forms that the parser reads as others are only described.
    if (row.prepare || row.aggregate) found.push_back(&row);
  }
  return found;
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
    case Rule::kQuantile:
      if (argument.type != XeIntervalData) field.type = XeDoubleData;
      break;
    case Rule::kText:
      field.type = XeVarCharData;
      break;
    case Rule::kPlace:
      field.type = XeUInt4Data;
      break;
    case Rule::kCount:
      field.type = XeUInt4Data;
      field.nullable = false;
      break;
  }
  const uint32 length = result.rule == Rule::kText ? result.length : argument.length;
  field.length = XeFieldDescriptor::GetObjectLength(field.type, length);
  return field;
}

const FunctionRow* FindOperator(std::string_view name, int argumentCount) {
  for (const FunctionRow* row : Find(name, true))
    if (row->Takes(argumentCount, false) && row->accepts == nullptr) return row;
  return nullptr;
}

const FunctionRow& ChooseByTypes(const FunctionRow& row, const TypedArguments& arguments) {
  const auto count = static_cast<int>(arguments.size());
  for (const FunctionRow* other : Find(row.name, row.kind == Kind::kOperator)) {
    if (other->accepts != nullptr && other->Takes(count, false) && other->accepts(arguments))
      return *other;
  }
  return row;
}

std::vector<const FunctionRow*> FindFunctions(std::string_view name) { return Find(name, false); }

}  // namespace sqxer
