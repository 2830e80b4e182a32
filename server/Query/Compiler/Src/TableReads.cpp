#include "TableReads.h"

#include <algorithm>
#include <optional>
#include <unordered_set>

#include "FunctionTable.h"
#include "JsonColumns.h"

namespace sqxer {
namespace {

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
  const bool isGrouped = !select.groupBy.empty() || select.having || outputs.HasAggregates();
  // Windows over groups have these for rows. A table in which values are looked up may be the
  // statement's own.
  request.onePass =
      (isGrouped || !finder.HasWindows()) && !finder.ReadsDocuments() && !finder.LooksUp();
  request.canStartAgain = isGrouped || !select.orderBy.empty();
  const bool takesRowsAsTheyCome = !select.where && !select.having && !select.distinct &&
                                   select.groupBy.empty() && select.orderBy.empty() &&
                                   !finder.HasAggregates() && !finder.HasWindows() &&
                                   !finder.ReadsDocuments();
  if (!select.limit || !takesRowsAsTheyCome) return request;
  const std::optional<uint64> limit = ReadCount(select.limit);
  const std::optional<uint64> offset = select.offset ? ReadCount(select.offset) : 0;
  if (limit && offset) request.mostRows = *limit + *offset;
  return request;
}

}  // namespace sqxer
