#include "TableReads.h"

#include <algorithm>
#include <optional>
#include <unordered_set>

#include "FunctionTable.h"
#include "JsonColumns.h"
#include "Utility/BaseStringUtil.h"

namespace sqxer {
namespace {

using engine::SourceCondition;

/// Walks the expressions of a statement.
class ReadsFinder {
 public:
  void Visit(const SqlExpressionPtr& expression) {
    // Expressions that are read twice are shared, and nested ones would be walked again and again.
    if (!expression || !seen_.insert(expression.get()).second) return;
    switch (expression->kind) {
      case SqlExpression::Kind::kName:
        request_.names.push_back(expression->path.back());
        break;
      case SqlExpression::Kind::kStar:
        request_.all = true;
        break;
      case SqlExpression::Kind::kFunction:
        LookAtCall(*expression);
        break;
      default:
        break;
    }
    ForEachOperand(*expression, [this](const SqlExpressionPtr& operand) { Visit(operand); });
  }

  TableRequest Take() { return std::move(request_); }
  bool HasAggregates() const { return hasAggregates_; }
  bool HasWindows() const { return hasWindows_; }
  /// The type of a value of documents is that of all of them.
  bool ReadsDocuments() const { return readsDocuments_; }
  bool LooksUp() const { return looksUp_; }

 private:
  void LookAtCall(const SqlExpression& call) {
    hasWindows_ = hasWindows_ || call.over;
    readsDocuments_ = readsDocuments_ || JsonColumns::IsCall(call);
    for (const FunctionRow* const row : FindFunctions(call.name)) {
      hasAggregates_ = hasAggregates_ || (!call.over && row->aggregate != nullptr);
      looksUp_ = looksUp_ || row->lookup != FunctionRow::Lookup::kNone;
    }
  }

  TableRequest request_{.all = false, .names = {}, .mostRows = {}};
  bool hasAggregates_ = false;
  bool hasWindows_ = false;
  bool readsDocuments_ = false;
  bool looksUp_ = false;
  std::unordered_set<const SqlExpression*> seen_;
};

std::optional<SourceCondition::Literal> ReadComparedLiteral(const SqlExpression& expression) {
  using Kind = SourceCondition::Literal::Kind;
  if (expression.kind != SqlExpression::Kind::kLiteral) return std::nullopt;
  const SqlLiteral& literal = expression.literal;
  const std::string text = BaseStringUtil::StringToUtf8(literal.text);
  switch (literal.kind) {
    case SqlLiteral::Kind::kInteger:
    case SqlLiteral::Kind::kDecimal:
    case SqlLiteral::Kind::kExponent:
      return {{Kind::kNumber, text}};
    case SqlLiteral::Kind::kText:
      return {{Kind::kText, text}};
    case SqlLiteral::Kind::kTypedText:
      if (literal.type == XeDateData) return {{Kind::kDate, text}};
      if (literal.type == XeDateTimeData) return {{Kind::kTimestamp, text}};
      return std::nullopt;
    default:
      return std::nullopt;
  }
}

/// Finds what a condition says of columns, one conjunct after the other.
class ConditionFinder {
 public:
  /// False at the first conjunct that is nothing of that: errors of it must not be lost.
  bool Visit(const SqlExpression& condition) {
    using Comparison = SourceCondition::Comparison;
    if (condition.kind != SqlExpression::Kind::kOperator) return false;
    const std::vector<SqlExpressionPtr>& operands = condition.arguments;
    if (condition.name == "and") return Visit(*operands[0]) && Visit(*operands[1]);
    if (condition.name == "is null") return Add(*operands[0], Comparison::kIsNull, {});
    if (condition.name == "not") {
      const SqlExpression& inner = *operands[0];
      return inner.kind == SqlExpression::Kind::kOperator && inner.name == "is null" &&
             Add(*inner.arguments[0], Comparison::kIsNotNull, {});
    }
    if (condition.name == "in") {
      return Add(*operands[0], Comparison::kEqual, {operands.begin() + 1, operands.end()});
    }
    if (condition.name == "between") {
      return Add(*operands[0], Comparison::kGreaterOrEqual, {operands[1]}) &&
             Add(*operands[0], Comparison::kLessOrEqual, {operands[2]});
    }
    for (const Operator& known : kOperators) {
      if (condition.name != known.name || operands.size() != 2) continue;
      return operands[0]->kind == SqlExpression::Kind::kName
                 ? Add(*operands[0], known.comparison, {operands[1]})
                 : Add(*operands[1], known.turned, {operands[0]});
    }
    return false;
  }
  std::vector<SourceCondition> Take() { return std::move(conditions_); }

 private:
  struct Operator {
    std::string_view name;
    SourceCondition::Comparison comparison;
    /// With its operands the other way round.
    SourceCondition::Comparison turned;
  };
  static constexpr Operator kOperators[] = {
      {"=", SourceCondition::Comparison::kEqual, SourceCondition::Comparison::kEqual},
      {"<>", SourceCondition::Comparison::kNotEqual, SourceCondition::Comparison::kNotEqual},
      {"<", SourceCondition::Comparison::kLess, SourceCondition::Comparison::kGreater},
      {"<=", SourceCondition::Comparison::kLessOrEqual,
       SourceCondition::Comparison::kGreaterOrEqual},
      {">", SourceCondition::Comparison::kGreater, SourceCondition::Comparison::kLess},
      {">=", SourceCondition::Comparison::kGreaterOrEqual,
       SourceCondition::Comparison::kLessOrEqual},
  };

  bool Add(const SqlExpression& column, SourceCondition::Comparison comparison,
           const std::vector<SqlExpressionPtr>& literals) {
    if (column.kind != SqlExpression::Kind::kName) return false;
    SourceCondition condition{.column = BaseStringUtil::StringToUtf8(column.path.back()),
                              .comparison = comparison,
                              .values = {}};
    for (const SqlExpressionPtr& literal : literals) {
      const std::optional<SourceCondition::Literal> read = ReadComparedLiteral(*literal);
      if (!read) return false;
      condition.values.push_back(*read);
    }
    conditions_.push_back(std::move(condition));
    return true;
  }

  std::vector<SourceCondition> conditions_;
};

/// Of a literal; nothing for what has to be computed first.
std::optional<uint64> ReadCount(const SqlExpressionPtr& count) {
  constexpr std::size_t kMostDigits = 18;
  if (count->kind != SqlExpression::Kind::kLiteral ||
      count->literal.kind != SqlLiteral::Kind::kInteger || count->literal.text.empty() ||
      count->literal.text.size() > kMostDigits || count->literal.text.front() == L'-') {
    return std::nullopt;
  }
  return std::stoull(count->literal.text);
}

}  // namespace

TableRequest FindTableReads(const SqlSelect& select) {
  ReadsFinder finder;
  ForEachExpression(select, [&](const SqlExpressionPtr& root) { finder.Visit(root); });
  TableRequest request = finder.Take();
  // Keys of windows that no call uses may name aggregates as well.
  ReadsFinder outputs;
  for (const SqlSelectItem& item : select.items) outputs.Visit(item.expression);
  for (const SqlSortItem& item : select.orderBy) outputs.Visit(item.expression);
  const bool isGrouped =
      !select.groupBy.empty() || select.hasGroupingSets || select.having || outputs.HasAggregates();
  // Windows over groups have these for rows. A table in which values are looked up may be the
  // statement's own.
  request.onePass =
      (isGrouped || !finder.HasWindows()) && !finder.ReadsDocuments() && !finder.LooksUp();
  if (select.where && !finder.ReadsDocuments() && !finder.LooksUp()) {
    ConditionFinder conditions;
    conditions.Visit(*select.where);
    request.conditions = conditions.Take();
  }
  const bool isSorted = !select.orderBy.empty() || !select.distinctOn.empty();
  request.canStartAgain = isGrouped || isSorted;
  const bool takesRowsAsTheyCome = !select.where && !select.having && !select.distinct &&
                                   !isGrouped && !isSorted && !finder.HasAggregates() &&
                                   !finder.HasWindows() && !finder.ReadsDocuments();
  if (!select.limit || !takesRowsAsTheyCome) return request;
  const std::optional<uint64> limit = ReadCount(select.limit);
  const std::optional<uint64> offset = select.offset ? ReadCount(select.offset) : 0;
  if (limit && offset) request.mostRows = *limit + *offset;
  return request;
}

}  // namespace sqxer
