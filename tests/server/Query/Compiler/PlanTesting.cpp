#include "PlanTesting.h"

#include <gtest/gtest.h>

namespace sqxer::testing {
namespace {

std::string Utf8(const XeString& text) { return BaseStringUtil::StringToUtf8(text); }

struct Line {
  std::size_t depth;
  std::string node;
};

void AppendNested(const std::vector<Line>& lines, std::size_t& at, std::string& out) {
  std::size_t depth = lines[at].depth;
  out += lines[at++].node;
  bool open = false;
  while (at < lines.size() && lines[at].depth > depth) {
    out += open ? ", " : "(";
    open = true;
    AppendNested(lines, at, out);
  }
  if (open) out += ")";
}

std::string PrintTree(std::unique_ptr<RExpression> tree, XeAListStream* stream,
                      const ColumnInfo* expected) {
  MetaDataInfo info;
  std::unique_ptr<RExpression> bound = BindTree(std::move(tree), stream, info);
  if (expected) {
    EXPECT_EQ(bound->GetResultDataType(), expected->type);
    EXPECT_LE(info.isNullable_, expected->nullable);
    EXPECT_LE(XeFieldDescriptor::GetObjectLength(bound->GetResultDataType(), info.objectLength_),
              expected->length);
  }
  std::string text = Utf8(DescribeTree(*bound));
  std::vector<Line> lines;
  for (std::size_t start = 0; start < text.size();) {
    std::size_t end = text.find('\n', start);
    std::size_t node = text.find_first_not_of(' ', start);
    std::size_t arrow = text.rfind(" -> ", end);
    lines.push_back({node - start, text.substr(node, arrow - node)});
    start = end + 1;
  }
  std::string out;
  std::size_t at = 0;
  AppendNested(lines, at, out);
  return out;
}

std::string PrintTrees(std::vector<PlanExpression>& trees, StepRecord& record, StepRecord* next) {
  std::string out;
  XeAListStream* stream = record.Open();
  for (PlanExpression& tree : trees) {
    if (!out.empty()) out += "; ";
    out += PrintTree(std::move(tree.tree), stream, &tree.result);
    if (next) next->Add(tree.result);
  }
  return out;
}

std::string PrintAggregates(const QueryPlan& plan, StepRecord& inputs, StepRecord& group) {
  std::string out;
  inputs.Open();
  for (const PlanAggregate& aggregate : plan.aggregates) {
    std::unique_ptr<Aggregate> node = aggregate.make();
    RExpression* bound = nullptr;
    MetaDataInfo info;
    node->Bind(inputs.GetLayout(), bound, info);
    std::unique_ptr<RExpression> owner(bound == node.get() ? nullptr : bound);
    const RExpression& result = bound ? *bound : *node;
    if (aggregate.results.size() == 1) {
      EXPECT_EQ(result.GetResultDataType(), aggregate.results[0].type) << aggregate.text;
    }
    if (!out.empty()) out += "; ";
    out += Utf8(NodeName(result)) + " " + aggregate.text;
    for (const ColumnInfo& result : aggregate.results) group.Add(result);
  }
  return out;
}

}  // namespace

std::string PrintPlan(QueryPlan plan) {
  std::string out;
  auto step = [&](const char* name, const std::string& text) {
    if (!text.empty()) out += std::string(name) + ": " + text + "\n";
  };
  StepRecord scan, inputs, group;
  for (const ColumnInfo& column : plan.scanRecord) scan.Add(column);
  if (plan.filter) step("filter", PrintTree(std::move(plan.filter), scan.Open(), nullptr));
  StepRecord& last = plan.grouped ? group : scan;
  if (plan.grouped) {
    step("keys", PrintTrees(plan.groupKeys, scan, &group));
    step("inputs", PrintTrees(plan.aggregateInputs, scan, &inputs));
    step("aggregates", PrintAggregates(plan, inputs, group));
    if (plan.having) step("having", PrintTree(std::move(plan.having), group.Open(), nullptr));
  }
  std::string names;
  for (int i = 0; i < plan.visibleOutputs; ++i)
    names += (i ? ", " : "") + Utf8(plan.outputs[static_cast<std::size_t>(i)].result.name);
  step("outputs", PrintTrees(plan.outputs, last, nullptr));
  step("names", names);
  std::string order;
  for (const PlanSortKey& key : plan.order)
    order += (order.empty() ? "" : ", ") + std::to_string(key.column) +
             (key.order == kDescending ? " desc" : "") + (key.nulls == kNullsFirst ? " first" : "");
  step("order", order);
  if (plan.distinct) step("distinct", "yes");
  if (plan.limit) step("limit", std::to_string(*plan.limit));
  if (plan.offset) step("offset", std::to_string(plan.offset));
  return out;
}

std::string Explain(const std::string& sql) {
  EveryTypeCatalog catalog;
  return PrintPlan(CompileStatement(sql, catalog));
}

std::string Output(const std::string& expression) {
  std::string plan = Explain("SELECT " + expression + " FROM t");
  std::size_t start = plan.find("outputs: ") + 9;
  return plan.substr(start, plan.find('\n', start) - start);
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

}  // namespace sqxer::testing
