// Reads the statements of a session: by PostgreSQL's grammar those that it has, the others by their
// first words, with blanks or a word of the grammar in their place, so that positions stay.

#include <algorithm>
#include <string_view>

#include "PlanError.h"
#include "SqlExpressionReader.h"
#include "SqlParser.h"
#include "SqlQueryReader.h"
#include "SqlSessionStatement.h"
#include "WordReader.h"

namespace sqxer {
namespace {

using Word = WordReader::Word;

[[noreturn]] void Refuse(int position, std::wstring_view clause) {
  SqlExpressionReader::Refuse(position, clause);
}

int PlaceOf(const Word& word) { return static_cast<int>(word.start); }

[[noreturn]] void ThrowSyntax(const Word& word) {
  ThrowPlanError(kSyntaxError, PlaceOf(word),
                 {word.text.empty() ? L"syntax error at end of input"
                                    : L"syntax error at or near \"" + Wide(word.text) + L"\""});
}

void ExpectEnd(WordReader& words) {
  while (words.Peek().Is(";")) words.Next();
  const Word rest = words.Next();
  if (!rest.text.empty()) ThrowSyntax(rest);
}

bool BeginsQuery(const Word& word) {
  return word.Is("select") || word.Is("with") || word.Is("values") || word.Is("table") ||
         word.Is("(");
}

/// The query behind a word of ours; a name alone means its table.
SqlQueryPtr ReadDescribed(std::string sql, const Word& verb, const Word& next) {
  if (next.text.empty()) ThrowSyntax(next);
  std::fill(sql.begin() + static_cast<std::ptrdiff_t>(verb.start),
            sql.begin() + static_cast<std::ptrdiff_t>(verb.end), ' ');
  if (BeginsQuery(next)) return ParseQuery(sql).query;
  constexpr std::string_view kTable = "TABLE ";
  if (next.start - verb.start >= kTable.size()) {
    sql.replace(verb.start, kTable.size(), kTable);
    return ParseQuery(sql).query;
  }
  // DESC leaves no room for it: what follows stands one place further on.
  sql.replace(verb.start, next.start - verb.start, kTable);
  const int shift = static_cast<int>(kTable.size() - (next.start - verb.start));
  try {
    auto query = std::make_shared<SqlQuery>(*ParseQuery(sql).query);
    query->select.tablePosition -= shift;
    auto from = std::make_shared<SqlRelation>(*query->from);
    from->position -= shift;
    query->from = std::move(from);
    return query;
  } catch (const ErrorMessage& error) {
    if (error.GetSourcePosition() == ErrorMessage::kNoPosition) throw;
    ThrowPlanError(error.GetCode(), error.GetSourcePosition() - shift, error.GetArguments());
  }
}

/// Whether WITH stands before an INSERT.
bool IsInsert(const std::string& sql) {
  const ParsedTree tree = ParseTree(sql);
  return tree.statements->n_stmts == 1 &&
         tree.statements->stmts[0]->stmt->node_case == PG_QUERY__NODE__NODE_INSERT_STMT;
}

/// The name of a switch.
SqlPlacedName ReadSwitchName(const std::string& sql, WordReader& words) {
  const Word word = words.Next();
  if (word.text.size() < 2) ThrowSyntax(word);
  return {Wide(sql.substr(word.start, word.end - word.start)), PlaceOf(word)};
}

SqlSessionStatement ReadShow(const std::string& sql, WordReader& words) {
  const Word next = words.Peek();
  SqlSessionStatement statement = SqlShow{};
  if (next.Is("tables")) {
    statement = SqlShowTables{};
    words.Next();
  } else if (next.Is("all")) {
    words.Next();
  } else {
    statement = SqlShow{ReadSwitchName(sql, words)};
  }
  ExpectEnd(words);
  return statement;
}

SqlSessionStatement ReadReset(const std::string& sql, WordReader& words) {
  SqlReset reset;
  if (words.Peek().Is("all")) {
    words.Next();
  } else {
    reset.name = ReadSwitchName(sql, words);
  }
  ExpectEnd(words);
  return reset;
}

/// A text in quotation marks, or the words up to the end as they stand.
SqlSessionStatement ReadSet(const std::string& sql, WordReader& words) {
  SqlSet set;
  set.name = ReadSwitchName(sql, words);
  const Word sign = words.Next();
  if (!sign.Is("=") && !sign.Is("to")) ThrowSyntax(sign);
  const Word first = words.Peek();
  if (first.text.empty() || first.Is(";")) ThrowSyntax(first);
  set.valuePosition = PlaceOf(first);
  if (first.Is("'")) {
    std::size_t at = first.end;
    for (;; ++at) {
      if (at >= sql.size())
        ThrowPlanError(kSyntaxError, set.valuePosition, {L"unterminated quoted string"});
      if (sql[at] == '\'' && (++at >= sql.size() || sql[at] != '\'')) break;
      set.value += sql[at];
    }
    const std::string rest = std::string(at, ' ') + sql.substr(at);
    WordReader behind(rest);
    ExpectEnd(behind);
    return set;
  }
  std::size_t end = first.end;
  for (Word word = words.Next(); !word.text.empty() && !word.Is(";"); word = words.Next())
    end = word.end;
  ExpectEnd(words);
  set.value = sql.substr(first.start, end - first.start);
  if (first.Is("default") && end == first.end) return SqlReset{set.name};
  return set;
}

/// Reads the statements that the grammar has.
class SessionReader {
 public:
  SessionReader(const std::string& sql, const ParsedTree& tree) : sql_(sql), tree_(tree) {}

  SqlSessionStatement Read(const PgQuery__Node& node) const {
    switch (node.node_case) {
      case PG_QUERY__NODE__NODE_VIEW_STMT:
        return ReadView(*node.view_stmt);
      case PG_QUERY__NODE__NODE_CREATE_TABLE_AS_STMT:
        return ReadTableOfQuery(*node.create_table_as_stmt);
      case PG_QUERY__NODE__NODE_CREATE_STMT:
        return ReadTable(*node.create_stmt);
      case PG_QUERY__NODE__NODE_DROP_STMT:
        return ReadDrop(*node.drop_stmt);
      case PG_QUERY__NODE__NODE_INSERT_STMT:
        return ReadInsert(*node.insert_stmt);
      case PG_QUERY__NODE__NODE_COPY_STMT:
        return ReadCopy(*node.copy_stmt);
      default:
        ThrowPlanError(kStatementNotUnderstood, PlaceOf(WordReader(sql_).Next()), {});
    }
  }

 private:
  SqlPlacedName ReadName(const PgQuery__RangeVar& name) const {
    if (*name.schemaname)
      Refuse(name.location, L"a schema before the name of what a session keeps");
    return {Wide(name.relname), name.location};
  }

  SqlQueryPtr ReadQuery(const PgQuery__Node& node) const {
    if (node.node_case != PG_QUERY__NODE__NODE_SELECT_STMT)
      Refuse(0, L"a statement that is no query in the place of one");
    return ReadSqlQuery(sql_, tree_, *node.select_stmt);
  }

  static std::vector<XeString> ReadNames(PgQuery__Node* const* nodes, std::size_t count) {
    std::vector<XeString> names;
    for (std::size_t i = 0; i < count; ++i) names.push_back(Wide(nodes[i]->string->sval));
    return names;
  }

  SqlSessionStatement ReadView(const PgQuery__ViewStmt& view) const {
    SqlCreateView create;
    create.name = ReadName(*view.view);
    if (view.n_options) Refuse(create.name.position, L"options of a view");
    if (view.with_check_option > PG_QUERY__VIEW_CHECK_OPTION__NO_CHECK_OPTION)
      Refuse(create.name.position, L"WITH CHECK OPTION");
    create.replaces = view.replace;
    create.columns = ReadNames(view.aliases, view.n_aliases);
    create.query = ReadQuery(*view.query);
    return create;
  }

  SqlSessionStatement ReadTableOfQuery(const PgQuery__CreateTableAsStmt& table) const {
    SqlCreateTable create;
    create.name = ReadName(*table.into->rel);
    if (table.objtype != PG_QUERY__OBJECT_TYPE__OBJECT_TABLE)
      Refuse(create.name.position, L"a materialized view (CREATE TABLE keeps the rows of a query)");
    if (table.into->n_options || *table.into->table_space_name || *table.into->access_method ||
        table.into->on_commit > PG_QUERY__ON_COMMIT_ACTION__ONCOMMIT_NOOP)
      Refuse(create.name.position, L"options of a table");
    create.ifNotExists = table.if_not_exists;
    create.columns = ReadNames(table.into->col_names, table.into->n_col_names);
    create.query = ReadQuery(*table.query);
    create.withData = !table.into->skip_data;
    return create;
  }

  SqlSessionStatement ReadTable(const PgQuery__CreateStmt& table) const {
    SqlCreateTable create;
    create.name = ReadName(*table.relation);
    create.ifNotExists = table.if_not_exists;
    if (table.n_inh_relations || table.partbound || table.partspec || table.of_typename ||
        table.n_options || *table.tablespacename || *table.access_method ||
        table.oncommit > PG_QUERY__ON_COMMIT_ACTION__ONCOMMIT_NOOP)
      Refuse(create.name.position, L"options of a table");
    for (std::size_t i = 0; i < table.n_table_elts; ++i) {
      const PgQuery__Node& element = *table.table_elts[i];
      if (element.node_case != PG_QUERY__NODE__NODE_COLUMN_DEF)
        Refuse(create.name.position, L"constraints of a table");
      const PgQuery__ColumnDef& column = *element.column_def;
      if (column.n_constraints || column.coll_clause)
        Refuse(column.location, L"constraints, defaults and collations of a column");
      create.definitions.push_back({{Wide(column.colname), column.location},
                                    SqlExpressionReader::ReadType(*column.type_name)});
    }
    if (create.definitions.empty()) Refuse(create.name.position, L"a table without columns");
    return create;
  }

  /// The grammar tells no places of the names: they are the words behind VIEW or TABLE.
  SqlSessionStatement ReadDrop(const PgQuery__DropStmt& drop) const {
    SqlDrop statement;
    const bool isTable = drop.remove_type == PG_QUERY__OBJECT_TYPE__OBJECT_TABLE;
    statement.isView = drop.remove_type == PG_QUERY__OBJECT_TYPE__OBJECT_VIEW;
    if (!isTable && !statement.isView) Refuse(0, L"DROP of what is neither a view nor a table");
    if (drop.behavior == PG_QUERY__DROP_BEHAVIOR__DROP_CASCADE) Refuse(0, L"CASCADE");
    statement.ifExists = drop.missing_ok;
    std::vector<int> places;
    for (std::size_t i = 0; i < tree_.tokens->n_tokens; ++i) {
      const PgQuery__ScanToken& token = *tree_.tokens->tokens[i];
      const bool isSign =
          token.token == PG_QUERY__TOKEN__ASCII_44 || token.token == PG_QUERY__TOKEN__ASCII_59 ||
          token.token == PG_QUERY__TOKEN__SQL_COMMENT || token.token == PG_QUERY__TOKEN__C_COMMENT;
      if (!isSign) places.push_back(token.start);
    }
    // DROP TABLE, perhaps IF EXISTS.
    const std::size_t before = statement.ifExists ? 4 : 2;
    for (std::size_t i = 0; i < drop.n_objects; ++i) {
      const PgQuery__List& name = *drop.objects[i]->list;
      const int place = before + i < places.size() ? places[before + i] : 0;
      if (name.n_items != 1) Refuse(place, L"a schema before the name of what a session keeps");
      statement.names.push_back({Wide(name.items[0]->string->sval), place});
    }
    return statement;
  }

  SqlSessionStatement ReadInsert(const PgQuery__InsertStmt& insert) const {
    SqlInsert statement;
    statement.name = ReadName(*insert.relation);
    const int place = statement.name.position;
    if (insert.relation->alias) Refuse(place, L"another name for the table of an INSERT");
    if (insert.on_conflict_clause) Refuse(place, L"ON CONFLICT");
    if (insert.n_returning_list) Refuse(place, L"RETURNING");
    if (insert.override > PG_QUERY__OVERRIDING_KIND__OVERRIDING_NOT_SET)
      Refuse(place, L"OVERRIDING");
    if (!insert.select_stmt) Refuse(place, L"DEFAULT VALUES");
    for (std::size_t i = 0; i < insert.n_cols; ++i) {
      const PgQuery__ResTarget& column = *insert.cols[i]->res_target;
      if (column.n_indirection) Refuse(column.location, L"a part of a column");
      statement.columns.push_back({Wide(column.name), column.location});
    }
    statement.query = ReadQuery(*insert.select_stmt);
    if (insert.with_clause)
      statement.query = WithCommonTables(sql_, tree_, *insert.with_clause, *statement.query);
    return statement;
  }

  SqlSessionStatement ReadCopy(const PgQuery__CopyStmt& copy) const {
    SqlCopy statement;
    if (copy.is_program) Refuse(0, L"COPY to a program");
    if (!*copy.filename) Refuse(0, L"COPY to standard output, which a query alone is written to");
    if (copy.query) {
      statement.query = ReadQuery(*copy.query);
    } else {
      statement.query = ReadTableQuery(*copy.relation, copy.attlist, copy.n_attlist);
    }
    statement.file = copy.filename;
    statement.filePosition = FindFile(statement.file);
    statement.optionsPosition = statement.filePosition;
    for (std::size_t i = 0; i < copy.n_options; ++i)
      ReadOption(*copy.options[i]->def_elem, statement);
    return statement;
  }

  /// All columns of a table, or those that are named.
  SqlQueryPtr ReadTableQuery(const PgQuery__RangeVar& table, PgQuery__Node* const* columns,
                             std::size_t count) const {
    auto query = std::make_shared<SqlQuery>();
    auto from = std::make_shared<SqlRelation>();
    from->position = table.location;
    from->table = ReadName(table).name;
    SqlSelect& select = query->select;
    select.table = from->table;
    select.tablePosition = from->position;
    query->from = std::move(from);
    const auto add = [&](SqlExpression::Kind kind, std::vector<XeString> path) {
      auto item = std::make_shared<SqlExpression>();
      item->kind = kind;
      item->position = table.location;
      item->path = std::move(path);
      select.items.push_back({std::move(item), {}, table.location});
    };
    for (const XeString& name : ReadNames(columns, count)) add(SqlExpression::Kind::kName, {name});
    if (count == 0) add(SqlExpression::Kind::kStar, {});
    return query;
  }

  /// Where the text stands that names the file: the first one behind TO that is outside of
  /// parentheses.
  int FindFile(const std::string& file) const {
    int depth = 0;
    bool isBehindTo = false;
    for (std::size_t i = 0; i < tree_.tokens->n_tokens; ++i) {
      const PgQuery__ScanToken& token = *tree_.tokens->tokens[i];
      if (token.token == PG_QUERY__TOKEN__ASCII_40) ++depth;
      if (token.token == PG_QUERY__TOKEN__ASCII_41) --depth;
      if (depth == 0 && token.token == PG_QUERY__TOKEN__TO) isBehindTo = true;
      if (isBehindTo && token.token == PG_QUERY__TOKEN__SCONST) return token.start;
    }
    return static_cast<int>(std::min(sql_.find(file), sql_.size()));
  }

  static std::string OptionText(const PgQuery__DefElem& option) {
    if (!option.arg) return {};
    switch (option.arg->node_case) {
      case PG_QUERY__NODE__NODE_STRING:
        return option.arg->string->sval;
      case PG_QUERY__NODE__NODE_BOOLEAN:
        return option.arg->boolean->boolval ? "true" : "false";
      case PG_QUERY__NODE__NODE_INTEGER:
        return std::to_string(option.arg->integer->ival);
      default:
        return "?";
    }
  }

  static void ReadOption(const PgQuery__DefElem& option, SqlCopy& copy) {
    const std::string_view name = option.defname;
    const std::string text = OptionText(option);
    const auto refuse = [&](const wchar_t* takes) {
      ThrowPlanError(kCopyOption, option.location, {Wide(name), takes, Wide(text)});
    };
    copy.optionsPosition = option.location;
    if (name == "format") {
      std::string lower = WordReader(text).Next().text;
      using enum SqlCopy::Format;
      if (lower == "tsv") {
        copy.format = kCsv;
        if (!copy.delimiter) copy.delimiter = '\t';
      } else if (lower == "csv") {
        copy.format = kCsv;
      } else if (lower == "jsonl" || lower == "ndjson") {
        copy.format = kJsonLines;
      } else if (lower == "json") {
        copy.format = kJson;
      } else if (lower == "arrow") {
        copy.format = kArrow;
      } else {
        refuse(L"csv, tsv, jsonl, json or arrow");
      }
    } else if (name == "header") {
      const std::string lower = WordReader(text).Next().text;
      const bool isOn = lower.empty() || lower == "true" || lower == "on" || lower == "1";
      if (!isOn && lower != "false" && lower != "off" && lower != "0") refuse(L"true or false");
      copy.hasHeader = isOn;
    } else if (name == "delimiter") {
      const bool isOne = text.size() == 1 && static_cast<unsigned char>(text[0]) < 0x80 &&
                         text != "\"" && text != "\n" && text != "\r";
      if (!isOne) refuse(L"one ASCII character, but no quotation mark or line end");
      copy.delimiter = text[0];
    } else if (name == "null") {
      if (text.find_first_of("\"\r\n") != std::string::npos)
        refuse(L"a text without quotation marks and line ends");
      copy.nullText = text;
    } else {
      Refuse(option.location, L"the option " + Wide(name) + L" of COPY");
    }
  }

  const std::string& sql_;
  const ParsedTree& tree_;
};

/// OR REPLACE before TABLE is not in the grammar: blanks take its place, and true is returned.
bool TakeReplace(std::string& sql) {
  WordReader words(sql);
  words.Next();
  const Word isOr = words.Next();
  const Word replace = words.Next();
  if (!isOr.Is("or") || !replace.Is("replace")) return false;
  Word object = words.Next();
  if (object.Is("temp") || object.Is("temporary")) object = words.Next();
  if (!object.Is("table")) return false;
  std::fill(sql.begin() + static_cast<std::ptrdiff_t>(isOr.start),
            sql.begin() + static_cast<std::ptrdiff_t>(replace.end), ' ');
  return true;
}

/// COPY FROM has a literal where the grammar would be given a name.
void RefuseCopyFrom(const std::string& sql) {
  WordReader words(sql);
  int depth = 0;
  for (Word word = words.Next(); !word.text.empty(); word = words.Next()) {
    if (word.Is("(")) ++depth;
    if (word.Is(")")) --depth;
    if (word.Is("to") || word.Is("'") || word.Is("\"")) return;
    if (word.Is("from") && depth == 0)
      Refuse(PlaceOf(word), L"COPY FROM (INSERT INTO a_table SELECT * FROM 'a_file.csv' does it)");
  }
}

SqlSessionStatement ReadByGrammar(std::string sql, const Word& verb) {
  const bool replaces = verb.Is("create") && TakeReplace(sql);
  if (verb.Is("copy")) RefuseCopyFrom(sql);
  const ParsedTree tree = ParseTree(sql);
  if (tree.statements->n_stmts > 1)
    ThrowPlanError(kSyntaxError, tree.statements->stmts[1]->stmt_location,
                   {L"one statement is planned at a time"});
  SqlSessionStatement statement = SessionReader(sql, tree).Read(*tree.statements->stmts[0]->stmt);
  if (auto* const table = std::get_if<SqlCreateTable>(&statement)) {
    if (replaces && table->ifNotExists)
      Refuse(table->name.position, L"OR REPLACE together with IF NOT EXISTS");
    table->replaces = replaces;
  }
  return statement;
}

}  // namespace

std::optional<SqlSessionStatement> ParseSessionStatement(const std::string& sql) {
  WordReader words(sql);
  const Word verb = words.Next();
  if (verb.Is("describe") || verb.Is("desc"))
    return SqlDescribe{ReadDescribed(sql, verb, words.Next())};
  if (verb.Is("summarize")) return SqlSummarize{ReadDescribed(sql, verb, words.Next())};
  if (verb.Is("show")) return ReadShow(sql, words);
  if (verb.Is("set")) return ReadSet(sql, words);
  if (verb.Is("reset")) return ReadReset(sql, words);
  const bool isOfGrammar = verb.Is("create") || verb.Is("drop") || verb.Is("insert") ||
                           verb.Is("copy") || (verb.Is("with") && IsInsert(sql));
  if (!isOfGrammar) return std::nullopt;
  return ReadByGrammar(sql, verb);
}

}  // namespace sqxer
