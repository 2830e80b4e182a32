#include "PlanTesting.h"

#include <gtest/gtest.h>

#include "SQXERExprAggregateBase.h"
#include "support/TestRecord.h"

namespace sqxer::testing {
namespace {

std::string Utf8(const XeString& text) { return BaseStringUtil::StringToUtf8(text); }

/// The lines of a described tree as one.
std::string Nested(const std::string& description) {
  std::string out;
  std::size_t depth = 0;
  for (const std::string& line : Split(description, '\n')) {
    if (line.empty()) continue;
    const std::size_t indent = line.find_first_not_of(' ');
    std::string node = line.substr(indent, line.rfind(" -> ") - indent);
    for (const std::string leaf : {"Extract", "Constant"}) {
      const std::size_t space = node.find(' ');
      if (!node.starts_with(leaf)) continue;
      node = node.substr(space + 1) + ":" + node.substr(leaf.size(), space - leaf.size());
    }
    for (; depth > indent / 2; --depth) out += ")";
    if (!out.empty()) out += indent / 2 > depth ? "(" : ", ";
    depth = indent / 2;
    out += node;
  }
  return out + std::string(depth, ')');
}

/// The fields of the record of a plan's step, to bind trees to.
using Fields = std::vector<test::TestField>;

void Add(Fields& fields, const ColumnInfo& column) {
  fields.push_back({column.type, column.length, column.nullable, column.name});
}

std::string PrintTree(std::unique_ptr<RExpression> tree, const Fields& fields,
                      const ColumnInfo* expected = nullptr) {
  test::TestRecord record{std::span(fields)};
  const std::unique_ptr<RExpression> bound = record.Bind(tree.release());
  if (expected != nullptr) {
    EXPECT_EQ(bound->GetResultDataType(), expected->type);
    EXPECT_LE(record.info.isNullable_, expected->nullable);
    EXPECT_LE(
        XeFieldDescriptor::GetObjectLength(bound->GetResultDataType(), record.info.objectLength_),
        expected->length);
  }
  return Nested(Utf8(DescribeTree(*bound)));
}

std::string PrintTrees(std::vector<PlanExpression>& trees, const Fields& fields, Fields* next) {
  std::string out;
  for (PlanExpression& tree : trees) {
    out += (out.empty() ? "" : "; ") + PrintTree(std::move(tree.tree), fields, &tree.result);
    if (next != nullptr) Add(*next, tree.result);
  }
  return out;
}

std::string PrintKeys(const std::vector<PlanSortKey>& keys) {
  std::string out;
  for (const PlanSortKey& key : keys) {
    out += (out.empty() ? "" : ", ") + std::to_string(key.column) +
           (key.order == kDescending ? " desc" : "") + (key.nulls == kNullsFirst ? " first" : "");
  }
  return out;
}

/// The inputs, how many of them are partition keys, the order, and every aggregate, bound, with the
/// inputs that it reads.
std::string PrintWindow(PlanWindow& window, const Fields& fields) {
  Fields inputs, results;
  std::string out =
      PrintTrees(window.inputs, fields, &inputs) + " | by " + std::to_string(window.partitionKeys);
  if (!window.order.empty()) out += " | order " + PrintKeys(window.order);
  for (const PlanAggregate& function : window.functions)
    for (const ColumnInfo& result : function.results) Add(results, result);
  test::TestRecord input{std::span(inputs)}, output{std::span(results)};
  unsigned short field = 0;
  for (const PlanAggregate& function : window.functions) {
    MetaDataInfo info;
    const auto bound = BindAggregate(function.make(), input.layout(), output.layout(), field, info);
    out += " | " + Utf8(NodeName(*bound));
    for (const uint16 column : *bound->GetAggregateColumns()) out += " " + std::to_string(column);
    field = static_cast<unsigned short>(field + function.results.size());
  }
  return out;
}

}  // namespace

EveryTypeCatalog::EveryTypeCatalog() {
  const XeDataType kTypes[] = {XeInt4Data,    XeInt4Data,  XeUInt4Data, XeDoubleData,
                               XeNumericData, XeBoolean,   XeBitData,   XeInt1Data,
                               XeUInt1Data,   XeUInt2Data, XeFloatData, XeCharData,
                               XeVarCharData, XeDateData,  XeTimeData,  XeTimeStampData};
  for (const auto& name :
       Split("i|j|u|d|n|b|bit|i1|u1|u2|f|c|s|dt|tm|ts|Cost Repair|Dup|DUP|Only")) {
    const std::size_t at = table.columns.size();
    const XeDataType type = at < std::size(kTypes) ? kTypes[at] : XeInt4Data;
    table.columns.push_back(
        {Wide(name), type, XeFieldDescriptor::GetObjectLength(type, 5), 0, true});
  }
}

const TableSchema* EveryTypeCatalog::FindTable(const XeString& name, const TableRequest&) {
  if (BaseStringUtil::IsCaseInsensitiveMatch(name, L"t") || name == L"data/t.csv") return &table;
  SUGThrow(ErrorMessage(57001, {name}));
}

std::string Explain(const std::string& sql) {
  EveryTypeCatalog catalog;
  QueryPlan plan = CompileStatement(sql, catalog);
  std::string out;
  const auto step = [&](const std::string& name, const std::string& text) {
    if (!text.empty()) out += (out.empty() ? "" : "\n") + name + ": " + text;
  };
  Fields scan, group;
  for (const ColumnInfo& column : plan.scanRecord) Add(scan, column);
  if (plan.filter) step("filter", PrintTree(std::move(plan.filter), scan));
  if (plan.grouped) {
    step("keys", PrintTrees(plan.groupKeys, scan, &group));
    step("inputs", PrintTrees(plan.aggregateInputs, scan, nullptr));
    std::string aggregates;
    for (const PlanAggregate& aggregate : plan.aggregates) {
      aggregates += (aggregates.empty() ? "" : "; ") + aggregate.text;
      for (const ColumnInfo& column : aggregate.results) Add(group, column);
    }
    step("aggregates", aggregates);
    if (plan.having) step("having", PrintTree(std::move(plan.having), group));
  }
  Fields& last = plan.grouped ? group : scan;
  for (PlanWindow& window : plan.windows) step("window", PrintWindow(window, last));
  for (const ColumnInfo& result : plan.windowResults) Add(last, result);
  step("outputs", PrintTrees(plan.outputs, last, nullptr));
  std::string names;
  for (int i = 0; i < plan.visibleOutputs; ++i) {
    names += (i != 0 ? ", " : "") + Utf8(plan.outputs[i].result.name);
  }
  step("names", names);
  step("order", PrintKeys(plan.order));
  step("distinct", plan.distinct ? "yes" : "");
  step("limit", plan.limit ? std::to_string(*plan.limit) : "");
  step("offset", plan.offset != 0 ? std::to_string(plan.offset) : "");
  return out;
}

std::string Output(const std::string& expression) {
  return Split(Explain("SELECT " + expression + " FROM t"), '\n')[0].substr(9);
}

std::string ErrorOf(const std::string& sql) {
  EveryTypeCatalog catalog;
  try {
    CompileStatement(sql, catalog);
  } catch (const ErrorMessage& error) {
    return std::to_string(error.GetCode()) + " @" + std::to_string(error.GetSourcePosition()) +
           ": " + error.what();
  }
  return "planned";
}

void ExpectResults(const std::function<std::string(const std::string&)>& compute,
                   const std::string& table) {
  std::vector<std::pair<std::string, std::string>> cases;
  for (std::string rest : Split(table, '\n')) {
    while (!rest.empty()) {
      const std::string one = rest.substr(0, rest.find(" ;; "));
      rest.erase(0, one.size() + 4);
      const std::size_t arrow = one.find(" => ");
      const bool goesOn = one.starts_with("    ");
      if (!one.starts_with("  ")) {
        cases.emplace_back(one.substr(0, arrow), arrow != one.npos ? one.substr(arrow + 4) : "");
      } else {
        cases.back().second += cases.back().second.empty() ? "" : goesOn ? " " : "\n";
        cases.back().second += one.substr(goesOn ? 4 : 2);
      }
    }
  }
  for (const auto& [input, result] : cases) EXPECT_EQ(compute(input), result) << input;
}

}  // namespace sqxer::testing
