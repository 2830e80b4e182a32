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
        needsAllRows_ = needsAllRows_ || NeedsAllRows(*expression);
        break;
      default:
        break;
    }
    ForEachOperand(*expression, [this](const SqlExpressionPtr& operand) { Visit(operand); });
  }

  TableRequest Take() { return std::move(request_); }
  bool NeedsAllRows() const { return needsAllRows_; }

 private:
  /// An aggregate does, and the type of a value of documents is that of all of them.
  static bool NeedsAllRows(const SqlExpression& call) {
    if (call.over || JsonColumns::IsCall(call)) return true;
    return std::ranges::any_of(FindFunctions(call.name),
                               [](const FunctionRow* row) { return row->aggregate != nullptr; });
  }

  TableRequest request_{.all = false, .names = {}, .mostRows = {}};
  bool needsAllRows_ = false;
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
  const bool takesRowsAsTheyCome = !select.where && !select.having && !select.distinct &&
                                   select.groupBy.empty() && select.orderBy.empty() &&
                                   !finder.NeedsAllRows();
  if (!select.limit || !takesRowsAsTheyCome) return request;
  const std::optional<uint64> limit = ReadCount(select.limit);
  const std::optional<uint64> offset = select.offset ? ReadCount(select.offset) : 0;
  if (limit && offset) request.mostRows = *limit + *offset;
  return request;
}

}  // namespace sqxer
