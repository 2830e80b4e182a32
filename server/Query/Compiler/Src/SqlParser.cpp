#include "SqlParser.h"

#include <utility>

#include "GroupingSets.h"
#include "PlanError.h"
#include "SqlExpressionReader.h"
#include "TableLiterals.h"

namespace sqxer {
namespace {

[[noreturn]] void Refuse(int position, std::wstring_view clause) {
  SqlExpressionReader::Refuse(position, clause);
}

/// Reads the clauses of one SELECT.
class SelectReader {
 public:
  SelectReader(const std::string& sql, const ParsedTree& tree)
      : sql_(sql), expressions_(sql, tree) {}

  SqlSelect Read(const PgQuery__SelectStmt& statement) {
    RefuseOtherClauses(statement);
    SqlSelect select;
    ReadDistinct(statement, select);
    select.windowKeys =
        expressions_.ReadWindows(statement.window_clause, statement.n_window_clause);
    for (std::size_t i = 0; i < statement.n_target_list; ++i) {
      const PgQuery__ResTarget& target = *statement.target_list[i]->res_target;
      select.items.push_back({expressions_.Read(*target.val), Wide(target.name), target.location});
    }
    if (statement.n_from_clause) ReadTable(statement, select);
    select.where = ReadOptional(statement.where_clause);
    ReadGroupBy(statement, expressions_, select);
    select.having = ReadOptional(statement.having_clause);
    for (std::size_t i = 0; i < statement.n_sort_clause; ++i)
      select.orderBy.push_back(expressions_.ReadSort(*statement.sort_clause[i]->sort_by));
    select.limit = ReadOptional(statement.limit_count);
    select.offset = ReadOptional(statement.limit_offset);
    return select;
  }

 private:
  void RefuseOtherClauses(const PgQuery__SelectStmt& statement) const {
    if (statement.with_clause) Refuse(statement.with_clause->location, L"WITH");
    switch (statement.op) {
      case PG_QUERY__SET_OPERATION__SETOP_UNION:
        RefuseKeyword(L"UNION", "union");
      case PG_QUERY__SET_OPERATION__SETOP_INTERSECT:
        RefuseKeyword(L"INTERSECT", "intersect");
      case PG_QUERY__SET_OPERATION__SETOP_EXCEPT:
        RefuseKeyword(L"EXCEPT", "except");
      default:
        break;
    }
    if (statement.n_values_lists) RefuseKeyword(L"VALUES", "values");
    if (statement.into_clause) RefuseKeyword(L"INTO", "into");
    if (statement.n_locking_clause) RefuseKeyword(L"FOR UPDATE or FOR SHARE", "for");
    if (statement.limit_option == PG_QUERY__LIMIT_OPTION__LIMIT_OPTION_WITH_TIES)
      RefuseKeyword(L"WITH TIES", "ties");
    if (statement.n_target_list == 0) Refuse(0, L"an empty select list");
  }

  // These clauses carry no position of their own: the first such word of the text is close enough.
  [[noreturn]] void RefuseKeyword(const wchar_t* clause, std::string_view word) const {
    auto isLetter = [](char c) { return (c | 0x20) >= 'a' && (c | 0x20) <= 'z'; };
    for (std::size_t at = 0; at + word.size() <= sql_.size(); ++at) {
      std::size_t matched = 0;
      while (matched < word.size() && (sql_[at + matched] | 0x20) == word[matched]) ++matched;
      if (matched < word.size() || (at && isLetter(sql_[at - 1]))) continue;
      if (at + matched < sql_.size() && isLetter(sql_[at + matched])) continue;
      Refuse(static_cast<int>(at), clause);
    }
    Refuse(0, clause);
  }

  void ReadDistinct(const PgQuery__SelectStmt& statement, SqlSelect& select) const {
    // Plain DISTINCT is a list of one empty node.
    for (std::size_t i = 0; i < statement.n_distinct_clause; ++i) {
      const PgQuery__Node& key = *statement.distinct_clause[i];
      if (key.node_case != PG_QUERY__NODE__NODE__NOT_SET)
        select.distinctOn.push_back(expressions_.Read(key));
    }
    select.distinct = statement.n_distinct_clause > 0 && select.distinctOn.empty();
  }

  void ReadTable(const PgQuery__SelectStmt& statement, SqlSelect& select) const {
    const PgQuery__Node& first = *statement.from_clause[0];
    switch (first.node_case) {
      case PG_QUERY__NODE__NODE_RANGE_VAR:
        break;
      case PG_QUERY__NODE__NODE_JOIN_EXPR:
        RefuseKeyword(L"JOIN", "join");
      case PG_QUERY__NODE__NODE_RANGE_SUBSELECT:
        RefuseKeyword(L"a subquery in FROM", "from");
      case PG_QUERY__NODE__NODE_RANGE_TABLE_SAMPLE:
        RefuseKeyword(L"TABLESAMPLE", "tablesample");
      case PG_QUERY__NODE__NODE_RANGE_FUNCTION:
        RefuseKeyword(L"a function in FROM", "from");
      default:
        RefuseKeyword(L"this form of FROM", "from");
    }
    const PgQuery__RangeVar& table = *first.range_var;
    if (statement.n_from_clause > 1) {
      const PgQuery__Node& second = *statement.from_clause[1];
      Refuse(second.node_case == PG_QUERY__NODE__NODE_RANGE_VAR ? second.range_var->location
                                                                : table.location,
             L"more than one table in FROM");
    }
    if (!table.inh) Refuse(table.location, L"ONLY");
    const std::optional<std::string> literal = ReadTableLiteral(sql_, table.location);
    if (*table.schemaname) {
      const XeString first = literal ? Wide(*literal) : Wide(table.schemaname),
                     second = Wide(table.relname);
      Refuse(table.location, L"a schema before the table's name (quote a path: \"" + first + L"." +
                                 second + L"\", or with a table of SQLite: \"" + first + L".db:" +
                                 second + L"\")");
    }
    select.table = literal ? Wide(*literal) : Wide(table.relname);
    select.tablePosition = table.location;
    if (!table.alias) return;
    if (table.alias->n_colnames) Refuse(table.location, L"other names for a table's columns");
    select.tableAlias = Wide(table.alias->aliasname);
  }

  SqlExpressionPtr ReadOptional(const PgQuery__Node* node) const {
    return node ? expressions_.Read(*node) : nullptr;
  }

  const std::string& sql_;
  SqlExpressionReader expressions_;
};

}  // namespace

SqlSelect ParseSelect(const std::string& sql) {
  ParsedTree tree = ParseTree(sql);
  if (tree.statements->n_stmts == 0) ThrowPlanError(kSyntaxError, 0, {L"the statement is empty"});
  if (tree.statements->n_stmts > 1)
    ThrowPlanError(kSyntaxError, tree.statements->stmts[1]->stmt_location,
                   {L"one statement is planned at a time"});
  const PgQuery__Node* statement = tree.statements->stmts[0]->stmt;
  bool explain = statement->node_case == PG_QUERY__NODE__NODE_EXPLAIN_STMT;
  if (explain) {
    if (statement->explain_stmt->n_options)
      Refuse(statement->explain_stmt->options[0]->def_elem->location, L"EXPLAIN with options");
    statement = statement->explain_stmt->query;
  }
  if (statement->node_case != PG_QUERY__NODE__NODE_SELECT_STMT) {
    std::size_t start = sql.find_first_not_of(" \t\r\n\f");
    ThrowPlanError(kStatementNotUnderstood, static_cast<int>(start), {});
  }
  SqlSelect select = SelectReader(sql, tree).Read(*statement->select_stmt);
  select.explain = explain;
  return select;
}

}  // namespace sqxer
