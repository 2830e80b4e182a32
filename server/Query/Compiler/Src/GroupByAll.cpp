#include "GroupByAll.h"

#include <algorithm>
#include <span>

#include "FunctionTable.h"
#include "PlanError.h"
#include "SqlParser.h"

namespace sqxer {
namespace {

using Tokens = std::span<PgQuery__ScanToken* const>;

/// The word GROUP of GROUP BY ALL without a list behind it, or the end.
Tokens::iterator FindGroupByAll(Tokens tokens) {
  constexpr PgQuery__Token kWords[] = {PG_QUERY__TOKEN__GROUP_P, PG_QUERY__TOKEN__BY,
                                       PG_QUERY__TOKEN__ALL};
  return std::ranges::search(tokens, kWords, {}, [](const auto* token) { return token->token; })
      .begin();
}

/// Whether what comes behind some tokens does.
bool IsInParentheses(Tokens tokens) {
  return std::ranges::count(tokens, PG_QUERY__TOKEN__ASCII_40, &PgQuery__ScanToken::token) >
         std::ranges::count(tokens, PG_QUERY__TOKEN__ASCII_41, &PgQuery__ScanToken::token);
}

bool HasAggregate(const SqlExpression& expression) {
  const bool isOne = expression.kind == SqlExpression::Kind::kFunction && !expression.over &&
                     std::ranges::any_of(FindFunctions(expression.name), [](const auto* row) {
                       return row->kind == FunctionRow::Kind::kAggregate;
                     });
  if (isOne) return true;
  bool isPart = false;
  ForEachOperand(expression,
                 [&](const SqlExpressionPtr& part) { isPart = isPart || HasAggregate(*part); });
  return isPart;
}

/// The text of the select item at a place: up to a comma, AS or FROM that stands in no parentheses.
std::string_view ItemText(const std::string& sql, Tokens tokens, int place) {
  auto at = std::ranges::find(tokens, place, &PgQuery__ScanToken::start);
  int open = 0;
  int end = place;
  for (; at != tokens.end(); ++at) {
    const PgQuery__ScanToken& token = **at;
    if (token.token == PG_QUERY__TOKEN__ASCII_40) ++open;
    if (token.token == PG_QUERY__TOKEN__ASCII_41) --open;
    const bool endsItem =
        token.token == PG_QUERY__TOKEN__ASCII_44 || token.token == PG_QUERY__TOKEN__AS ||
        token.token == PG_QUERY__TOKEN__FROM || token.token == PG_QUERY__TOKEN__GROUP_P;
    if (open == 0 && endsItem) break;
    end = token.end;
  }
  return std::string_view(sql).substr(static_cast<std::size_t>(place),
                                      static_cast<std::size_t>(end - place));
}

}  // namespace

void RefuseGroupByAll(const std::string& sql, const PgQuery__ScanResult& scan) {
  const Tokens tokens(scan.tokens, scan.n_tokens);
  const auto group = FindGroupByAll(tokens);
  if (group == tokens.end()) return;
  const int start = (*group)->start;
  std::string without = sql;
  for (int i = start; i < (*(group + 2))->end; ++i) without[static_cast<std::size_t>(i)] = ' ';
  SqlQueryPtr query;
  try {
    query = ParseQuery(without).query;
  } catch (const ErrorMessage&) {
    // What else is wrong is what the grammar tells.
    return;
  }
  if (!query->IsSelect() || IsInParentheses(Tokens(tokens.begin(), group)))
    ThrowPlanError(kGroupByAll, start, {L"and what SELECT has besides aggregates"});
  XeString keys;
  for (const SqlSelectItem& item : query->select.items) {
    if (HasAggregate(*item.expression)) continue;
    keys += (keys.empty() ? L"" : L", ") + Wide(ItemText(sql, tokens, item.position));
  }
  ThrowPlanError(kGroupByAll, start, {keys.empty() ? L"()" : keys});
}

}  // namespace sqxer
