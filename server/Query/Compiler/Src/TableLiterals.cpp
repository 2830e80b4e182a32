#include "TableLiterals.h"

#include <vector>

namespace sqxer {
namespace {

/// Tells which FROM of a statement is a query's own.
class FromFinder {
 public:
  /// Whether the token is followed by a table: FROM of a query, or TABLE in the place of one. Takes
  /// all tokens but comments, in order.
  bool Add(PgQuery__Token token) {
    if (isOpening_) isQuery_.back() = token == PG_QUERY__TOKEN__SELECT;
    isOpening_ = token == PG_QUERY__TOKEN__ASCII_40;
    if (isOpening_) isQuery_.push_back(false);
    if (token == PG_QUERY__TOKEN__ASCII_41 && isQuery_.size() > 1) isQuery_.pop_back();
    const bool isComparison =
        last_ == PG_QUERY__TOKEN__DISTINCT &&
        (beforeLast_ == PG_QUERY__TOKEN__IS || beforeLast_ == PG_QUERY__TOKEN__NOT);
    const bool isTable = last_ == PG_QUERY__TOKEN__NUL && token == PG_QUERY__TOKEN__TABLE;
    beforeLast_ = last_;
    last_ = token;
    if (isTable) return true;
    return token == PG_QUERY__TOKEN__FROM && isQuery_.back() && !isComparison;
  }

 private:
  /// Whether each of the parentheses that are open holds a query; the first is the statement.
  std::vector<bool> isQuery_ = {true};
  /// The last token has opened a parenthesis.
  bool isOpening_ = false;
  PgQuery__Token last_ = PG_QUERY__TOKEN__NUL;
  PgQuery__Token beforeLast_ = PG_QUERY__TOKEN__NUL;
};

/// The text of the literal that starts at a place. Nothing for an empty one, and for other forms
/// than one text in quotation marks.
struct Literal {
  std::string text;
  std::size_t length;
};
std::optional<Literal> ReadLiteral(const std::string& sql, std::size_t start) {
  if (start >= sql.size() || sql[start] != '\'') return std::nullopt;
  Literal literal;
  for (std::size_t at = start + 1; at < sql.size(); ++at) {
    if (sql[at] == '\'' && (++at == sql.size() || sql[at] != '\'')) {
      literal.length = at - start;
      return literal.text.empty() ? std::nullopt : std::optional(literal);
    }
    literal.text += sql[at];
  }
  return std::nullopt;
}

}  // namespace

void ReplaceTableLiterals(std::string& sql, const PgQuery__ScanResult& tokens) {
  FromFinder finder;
  bool isBehindFrom = false;
  for (std::size_t i = 0; i < tokens.n_tokens; ++i) {
    const PgQuery__ScanToken& token = *tokens.tokens[i];
    if (token.token == PG_QUERY__TOKEN__SQL_COMMENT || token.token == PG_QUERY__TOKEN__C_COMMENT) {
      continue;
    }
    if (isBehindFrom && token.token == PG_QUERY__TOKEN__SCONST) {
      const auto start = static_cast<std::size_t>(token.start);
      const std::optional<Literal> literal = ReadLiteral(sql, start);
      // Literals that go on in another line are one token.
      if (literal && start + literal->length == static_cast<std::size_t>(token.end)) {
        std::string name = "\"t\"";
        name.resize(literal->length, ' ');
        sql.replace(start, name.size(), name);
      }
    }
    isBehindFrom = finder.Add(token.token);
  }
}

std::optional<std::string> ReadTableLiteral(const std::string& sql, int position) {
  std::optional<Literal> literal = ReadLiteral(sql, static_cast<std::size_t>(position));
  if (!literal) return std::nullopt;
  return std::move(literal->text);
}

}  // namespace sqxer
