#include "SqlParser.h"

#include <algorithm>
#include <utility>

#include "GroupingSets.h"
#include "PlanError.h"
#include "SqlExpressionReader.h"
#include "SqlQueryReader.h"
#include "TableLiterals.h"
#include "WordReader.h"

namespace sqxer {
namespace {

[[noreturn]] void Refuse(int position, std::wstring_view clause) {
  SqlExpressionReader::Refuse(position, clause);
}

/// Reads queries, and those within them.
class QueryReader {
 public:
  QueryReader(const std::string& sql, const ParsedTree& tree) : sql_(sql), tree_(tree) {}

  SqlQueryPtr Read(const PgQuery__SelectStmt& statement) const {
    const auto readQuery = [this](const PgQuery__SelectStmt& inner) { return Read(inner); };
    SqlExpressionReader expressions(sql_, tree_, readQuery);
    RefuseOtherClauses(statement);
    auto query = std::make_shared<SqlQuery>();
    if (statement.with_clause) ReadWith(*statement.with_clause, query->with);
    if (statement.op != PG_QUERY__SET_OPERATION__SETOP_NONE) {
      ReadOperation(statement, *query);
    } else if (statement.n_values_lists) {
      ReadValues(statement, expressions, *query);
    } else {
      ReadSelect(statement, expressions, *query);
      return query;
    }
    for (std::size_t i = 0; i < statement.n_sort_clause; ++i)
      query->orderBy.push_back(expressions.ReadSort(*statement.sort_clause[i]->sort_by));
    query->limit = ReadOptional(expressions, statement.limit_count);
    query->offset = ReadOptional(expressions, statement.limit_offset);
    return query;
  }

  void ReadWith(const PgQuery__WithClause& with, std::vector<SqlCommonTable>& tables) const {
    if (with.recursive) Refuse(with.location, L"WITH RECURSIVE");
    for (std::size_t i = 0; i < with.n_ctes; ++i) {
      const PgQuery__CommonTableExpr& table = *with.ctes[i]->common_table_expr;
      if (table.ctequery->node_case != PG_QUERY__NODE__NODE_SELECT_STMT)
        Refuse(table.location, L"a statement in WITH that is no SELECT");
      tables.push_back({table.location, Wide(table.ctename),
                        ReadNames(table.aliascolnames, table.n_aliascolnames),
                        Read(*table.ctequery->select_stmt)});
    }
  }

  /// Where a word first stands in the statement, for clauses that carry no position of their own:
  /// that is close enough.
  static int FindWord(const std::string& sql, std::string_view word) {
    auto isLetter = [](char c) { return (c | 0x20) >= 'a' && (c | 0x20) <= 'z'; };
    for (std::size_t at = 0; at + word.size() <= sql.size(); ++at) {
      std::size_t matched = 0;
      while (matched < word.size() && (sql[at + matched] | 0x20) == word[matched]) ++matched;
      if (matched < word.size() || (at && isLetter(sql[at - 1]))) continue;
      if (at + matched < sql.size() && isLetter(sql[at + matched])) continue;
      return static_cast<int>(at);
    }
    return 0;
  }

 private:
  void ReadSelect(const PgQuery__SelectStmt& statement, SqlExpressionReader& expressions,
                  SqlQuery& query) const {
    SqlSelect& select = query.select;
    ReadDistinct(statement, expressions, select);
    select.windowKeys = expressions.ReadWindows(statement.window_clause, statement.n_window_clause);
    for (std::size_t i = 0; i < statement.n_target_list; ++i) {
      const PgQuery__ResTarget& target = *statement.target_list[i]->res_target;
      select.items.push_back({expressions.Read(*target.val), Wide(target.name), target.location});
    }
    for (std::size_t i = 0; i < statement.n_from_clause; ++i) {
      SqlRelationPtr relation = ReadRelation(*statement.from_clause[i], expressions);
      query.from = query.from ? Join(query.from, std::move(relation)) : std::move(relation);
    }
    if (query.from) TakeTable(*query.from, select);
    select.where = ReadOptional(expressions, statement.where_clause);
    ReadGroupBy(statement, expressions, select);
    select.having = ReadOptional(expressions, statement.having_clause);
    for (std::size_t i = 0; i < statement.n_sort_clause; ++i)
      select.orderBy.push_back(expressions.ReadSort(*statement.sort_clause[i]->sort_by));
    select.limit = ReadOptional(expressions, statement.limit_count);
    select.offset = ReadOptional(expressions, statement.limit_offset);
  }

  void ReadOperation(const PgQuery__SelectStmt& statement, SqlQuery& query) const {
    using Operation = SqlQuery::Operation;
    query.operation = statement.op == PG_QUERY__SET_OPERATION__SETOP_UNION ? Operation::kUnion
                      : statement.op == PG_QUERY__SET_OPERATION__SETOP_INTERSECT
                          ? Operation::kIntersect
                          : Operation::kExcept;
    query.keepsAll = statement.all;
    query.left = Read(*statement.larg);
    query.right = Read(*statement.rarg);
    query.position = FindWord(sql_, query.operation == Operation::kUnion       ? "union"
                                    : query.operation == Operation::kIntersect ? "intersect"
                                                                               : "except");
  }

  void ReadValues(const PgQuery__SelectStmt& statement, const SqlExpressionReader& expressions,
                  SqlQuery& query) const {
    query.position = FindWord(sql_, "values");
    for (std::size_t i = 0; i < statement.n_values_lists; ++i) {
      const PgQuery__List& row = *statement.values_lists[i]->list;
      std::vector<SqlExpressionPtr>& values = query.values.emplace_back();
      for (std::size_t j = 0; j < row.n_items; ++j)
        values.push_back(expressions.Read(*row.items[j]));
    }
  }

  void RefuseOtherClauses(const PgQuery__SelectStmt& statement) const {
    if (statement.into_clause) RefuseKeyword(L"INTO", "into");
    if (statement.n_locking_clause) RefuseKeyword(L"FOR UPDATE or FOR SHARE", "for");
    if (statement.limit_option == PG_QUERY__LIMIT_OPTION__LIMIT_OPTION_WITH_TIES)
      RefuseKeyword(L"WITH TIES", "ties");
    const bool isSelect =
        statement.op == PG_QUERY__SET_OPERATION__SETOP_NONE && statement.n_values_lists == 0;
    if (isSelect && statement.n_target_list == 0) Refuse(0, L"an empty select list");
  }

  [[noreturn]] void RefuseKeyword(const wchar_t* clause, std::string_view word) const {
    Refuse(FindWord(sql_, word), clause);
  }

  static void ReadDistinct(const PgQuery__SelectStmt& statement,
                           const SqlExpressionReader& expressions, SqlSelect& select) {
    // Plain DISTINCT is a list of one empty node.
    for (std::size_t i = 0; i < statement.n_distinct_clause; ++i) {
      const PgQuery__Node& key = *statement.distinct_clause[i];
      if (key.node_case != PG_QUERY__NODE__NODE__NOT_SET)
        select.distinctOn.push_back(expressions.Read(key));
    }
    select.distinct = statement.n_distinct_clause > 0 && select.distinctOn.empty();
  }

  static std::vector<XeString> ReadNames(PgQuery__Node* const* nodes, std::size_t count) {
    std::vector<XeString> names;
    for (std::size_t i = 0; i < count; ++i) names.push_back(Wide(nodes[i]->string->sval));
    return names;
  }
  static void ReadAlias(const PgQuery__Alias* alias, SqlRelation& relation) {
    if (!alias) return;
    relation.alias = Wide(alias->aliasname);
    relation.columns = ReadNames(alias->colnames, alias->n_colnames);
  }

  SqlRelationPtr ReadRelation(const PgQuery__Node& node,
                              const SqlExpressionReader& expressions) const {
    switch (node.node_case) {
      case PG_QUERY__NODE__NODE_RANGE_VAR:
        return ReadTable(*node.range_var);
      case PG_QUERY__NODE__NODE_JOIN_EXPR:
        return ReadJoin(*node.join_expr, expressions);
      case PG_QUERY__NODE__NODE_RANGE_SUBSELECT:
        return ReadSubquery(*node.range_subselect);
      case PG_QUERY__NODE__NODE_RANGE_FUNCTION:
        return ReadFunction(*node.range_function, expressions);
      case PG_QUERY__NODE__NODE_RANGE_TABLE_SAMPLE:
        RefuseKeyword(L"TABLESAMPLE", "tablesample");
      default:
        RefuseKeyword(L"this form of FROM", "from");
    }
  }

  SqlRelationPtr ReadTable(const PgQuery__RangeVar& table) const {
    if (!table.inh) Refuse(table.location, L"ONLY");
    const std::optional<std::string> literal = ReadTableLiteral(sql_, table.location);
    if (*table.schemaname) {
      const XeString first = literal ? Wide(*literal) : Wide(table.schemaname),
                     second = Wide(table.relname);
      Refuse(table.location, L"a schema before the table's name (quote a path: \"" + first + L"." +
                                 second + L"\", or with a table of SQLite: \"" + first + L".db:" +
                                 second + L"\")");
    }
    auto relation = std::make_shared<SqlRelation>();
    relation->position = table.location;
    relation->table = literal ? Wide(*literal) : Wide(table.relname);
    ReadAlias(table.alias, *relation);
    return relation;
  }

  SqlRelationPtr ReadSubquery(const PgQuery__RangeSubselect& subquery) const {
    if (subquery.lateral) RefuseKeyword(L"LATERAL", "lateral");
    auto relation = std::make_shared<SqlRelation>();
    relation->kind = SqlRelation::Kind::kQuery;
    relation->position = FindWord(sql_, "from");
    relation->query = Read(*subquery.subquery->select_stmt);
    ReadAlias(subquery.alias, *relation);
    return relation;
  }

  SqlRelationPtr ReadFunction(const PgQuery__RangeFunction& function,
                              const SqlExpressionReader& expressions) const {
    if (function.lateral) RefuseKeyword(L"LATERAL", "lateral");
    const PgQuery__List& first = *function.functions[0]->list;
    const bool isOne = function.n_functions == 1 && !function.ordinality && !function.is_rowsfrom &&
                       function.n_coldeflist == 0 &&
                       first.items[0]->node_case == PG_QUERY__NODE__NODE_FUNC_CALL;
    if (!isOne) RefuseKeyword(L"this function in FROM", "from");
    const SqlExpressionPtr call = expressions.Read(*first.items[0]);
    if (call->name != "generate_series" || call->over || call->filter || call->distinct)
      Refuse(call->position, L"a function in FROM other than GENERATE_SERIES");
    auto relation = std::make_shared<SqlRelation>();
    relation->kind = SqlRelation::Kind::kSeries;
    relation->position = call->position;
    relation->arguments = call->arguments;
    relation->table = L"generate_series";
    ReadAlias(function.alias, *relation);
    return relation;
  }

  SqlRelationPtr ReadJoin(const PgQuery__JoinExpr& join,
                          const SqlExpressionReader& expressions) const {
    if (join.alias) RefuseKeyword(L"another name for a join", "join");
    if (join.join_using_alias) RefuseKeyword(L"another name for USING", "using");
    auto relation = std::make_shared<SqlRelation>();
    relation->kind = SqlRelation::Kind::kJoin;
    relation->left = ReadRelation(*join.larg, expressions);
    relation->right = ReadRelation(*join.rarg, expressions);
    relation->position = relation->right->position;
    relation->join = join.jointype == PG_QUERY__JOIN_TYPE__JOIN_LEFT    ? SqlRelation::Join::kLeft
                     : join.jointype == PG_QUERY__JOIN_TYPE__JOIN_RIGHT ? SqlRelation::Join::kRight
                     : join.jointype == PG_QUERY__JOIN_TYPE__JOIN_FULL  ? SqlRelation::Join::kFull
                                                                        : SqlRelation::Join::kInner;
    relation->condition = ReadOptional(expressions, join.quals);
    relation->sharedColumns = ReadNames(join.using_clause, join.n_using_clause);
    relation->isNatural = join.is_natural;
    for (const XeString& name : relation->sharedColumns) {
      if (std::ranges::count(relation->sharedColumns, name) > 1)
        Refuse(relation->position, L"a column that stands twice in USING");
    }
    return relation;
  }

  /// FROM a, b.
  static SqlRelationPtr Join(SqlRelationPtr left, SqlRelationPtr right) {
    auto relation = std::make_shared<SqlRelation>();
    relation->kind = SqlRelation::Kind::kJoin;
    relation->position = right->position;
    relation->left = std::move(left);
    relation->right = std::move(right);
    return relation;
  }

  static void TakeTable(const SqlRelation& from, SqlSelect& select) {
    if (from.kind != SqlRelation::Kind::kTable || !from.columns.empty()) return;
    select.table = from.table;
    select.tableAlias = from.alias;
    select.tablePosition = from.position;
  }

  static SqlExpressionPtr ReadOptional(const SqlExpressionReader& expressions,
                                       const PgQuery__Node* node) {
    return node ? expressions.Read(*node) : nullptr;
  }

  const std::string& sql_;
  const ParsedTree& tree_;
};

/// The query as one SELECT over at most one table. What is more is refused by name.
const SqlSelect& RequireSelect(const std::string& sql, const SqlQuery& query) {
  const auto refuse = [&](const wchar_t* clause, std::string_view word) {
    Refuse(QueryReader::FindWord(sql, word), clause);
  };
  if (!query.with.empty()) refuse(L"WITH", "with");
  if (query.operation == SqlQuery::Operation::kUnion) refuse(L"UNION", "union");
  if (query.operation == SqlQuery::Operation::kIntersect) refuse(L"INTERSECT", "intersect");
  if (query.operation == SqlQuery::Operation::kExcept) refuse(L"EXCEPT", "except");
  if (!query.values.empty()) refuse(L"VALUES", "values");
  if (!query.from || !query.select.table.empty()) return query.select;
  const SqlRelation& from = *query.from;
  if (from.kind == SqlRelation::Kind::kQuery) refuse(L"a subquery in FROM", "from");
  if (from.kind == SqlRelation::Kind::kSeries) refuse(L"a function in FROM", "from");
  if (from.kind == SqlRelation::Kind::kTable)
    Refuse(from.position, L"other names for a table's columns");
  if (from.condition || from.isNatural || !from.sharedColumns.empty()) refuse(L"JOIN", "join");
  Refuse(from.position, L"more than one table in FROM");
}

/// EXPLAIN ANALYZE (NODES) is not in the grammar: blanks take the place of what stands behind
/// EXPLAIN.
bool TakeNodes(std::string& sql) {
  WordReader words(sql);
  if (!words.Next().Is("explain")) return false;
  const WordReader::Word analyze = words.Next();
  if (!analyze.Is("analyze") || !words.Next().Is("(") || !words.Next().Is("nodes")) return false;
  const WordReader::Word close = words.Next();
  if (!close.Is(")")) return false;
  std::fill(sql.begin() + static_cast<std::ptrdiff_t>(analyze.start),
            sql.begin() + static_cast<std::ptrdiff_t>(close.end), ' ');
  return true;
}

/// EXPLAIN with its options.
void ReadExplain(const PgQuery__ExplainStmt& explain, SqlStatement& statement) {
  statement.explain = true;
  for (std::size_t i = 0; i < explain.n_options; ++i) {
    const PgQuery__DefElem& option = *explain.options[i]->def_elem;
    const std::string_view name = option.defname;
    if ((name != "analyze" && name != "nodes") || option.arg)
      Refuse(option.location, L"an option of EXPLAIN other than ANALYZE and NODES");
    (name == "analyze" ? statement.analyze : statement.nodes) = true;
  }
  if (statement.nodes && !statement.analyze)
    Refuse(explain.options[0]->def_elem->location, L"NODES without ANALYZE");
}

}  // namespace

SqlQueryPtr ReadSqlQuery(const std::string& sql, const ParsedTree& tree,
                         const PgQuery__SelectStmt& statement) {
  return QueryReader(sql, tree).Read(statement);
}

SqlQueryPtr WithCommonTables(const std::string& sql, const ParsedTree& tree,
                             const PgQuery__WithClause& with, const SqlQuery& query) {
  auto all = std::make_shared<SqlQuery>(query);
  all->with.clear();
  QueryReader(sql, tree).ReadWith(with, all->with);
  all->with.insert(all->with.end(), query.with.begin(), query.with.end());
  return all;
}

SqlStatement ParseQuery(const std::string& written) {
  std::string sql = written;
  SqlStatement result;
  if (TakeNodes(sql)) result.analyze = result.nodes = true;
  ParsedTree tree = ParseTree(sql);
  if (tree.statements->n_stmts == 0) ThrowPlanError(kSyntaxError, 0, {L"the statement is empty"});
  if (tree.statements->n_stmts > 1)
    ThrowPlanError(kSyntaxError, tree.statements->stmts[1]->stmt_location,
                   {L"one statement is planned at a time"});
  const PgQuery__Node* statement = tree.statements->stmts[0]->stmt;
  const PgQuery__WithClause* with = nullptr;
  if (statement->node_case == PG_QUERY__NODE__NODE_EXPLAIN_STMT) {
    ReadExplain(*statement->explain_stmt, result);
    statement = statement->explain_stmt->query;
    // Of rows that would be kept, their query is what there is to tell.
    if (statement->node_case == PG_QUERY__NODE__NODE_INSERT_STMT &&
        statement->insert_stmt->select_stmt) {
      with = statement->insert_stmt->with_clause;
      statement = statement->insert_stmt->select_stmt;
    }
    if (statement->node_case == PG_QUERY__NODE__NODE_CREATE_TABLE_AS_STMT &&
        statement->create_table_as_stmt->objtype == PG_QUERY__OBJECT_TYPE__OBJECT_TABLE) {
      statement = statement->create_table_as_stmt->query;
    }
  }
  if (statement->node_case != PG_QUERY__NODE__NODE_SELECT_STMT) {
    std::size_t start = sql.find_first_not_of(" \t\r\n\f");
    ThrowPlanError(kStatementNotUnderstood, static_cast<int>(start), {});
  }
  result.query = QueryReader(sql, tree).Read(*statement->select_stmt);
  if (with != nullptr) result.query = WithCommonTables(sql, tree, *with, *result.query);
  return result;
}

SqlSelect ParseSelect(const std::string& sql) {
  const SqlStatement statement = ParseQuery(sql);
  SqlSelect select = RequireSelect(sql, *statement.query);
  select.explain = statement.explain;
  return select;
}

}  // namespace sqxer
