#include "Expression.h"

namespace sqxer::fuzz {

std::string Expression::Sql() const {
  std::string sql = pieces[0];
  for (std::size_t i = 0; i < operands.size(); ++i) sql += operands[i].Sql() + pieces[i + 1];
  return sql;
}

Expression Leaf(Kind kind, std::string text) {
  Expression leaf;
  leaf.pieces = {std::move(text)};
  leaf.kind = kind;
  return leaf;
}

Expression Around(Kind kind, std::string before, Expression operand, std::string behind) {
  Expression made;
  made.pieces = {std::move(before), std::move(behind)};
  made.operands = {std::move(operand)};
  made.kind = kind;
  return made;
}

Expression Between(Kind kind, std::string before, Expression left, std::string middle,
                   Expression right, std::string behind) {
  Expression made;
  made.pieces = {std::move(before), std::move(middle), std::move(behind)};
  made.operands = {std::move(left), std::move(right)};
  made.kind = kind;
  return made;
}

std::string Statement::SqlOfRows(const std::optional<std::string>& condition) const {
  std::string sql = " FROM " + (query.empty() ? "t" : "(" + query[0].Sql(true) + ") AS q");
  if (!join.empty()) sql += " " + join + (on ? on->Sql() : "");
  if (condition) {
    sql += condition->empty() ? "" : " WHERE " + *condition;
  } else if (where) {
    sql += " WHERE " + where->Sql();
  }
  return sql;
}

std::string Statement::SqlOfGroups(const std::optional<std::string>& condition) const {
  std::string sql;
  if (!keys.empty()) {
    std::string list;
    for (const Expression& key : keys) list += (list.empty() ? "" : ", ") + key.Sql();
    sql += " GROUP BY " + (grouping.empty() ? list : grouping + " (" + list + ")");
  }
  if (condition) {
    sql += condition->empty() ? "" : " HAVING " + *condition;
  } else if (having) {
    sql += " HAVING " + having->Sql();
  }
  return sql;
}

std::string Statement::SqlOfOutputs(bool areNamed) const {
  std::string list;
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    list += (i == 0 ? "" : ", ") + outputs[i].Sql();
    if (areNamed) list += " AS q" + std::to_string(i);
  }
  return list;
}

std::string Statement::Sql(bool areNamed) const {
  if (isExample) return outputs[0].Sql();
  std::string sql = "SELECT " + std::string(isDistinct ? "DISTINCT " : "") +
                    SqlOfOutputs(areNamed) + SqlOfRows() + SqlOfGroups();
  for (std::size_t i = 0; i < order.size(); ++i) {
    sql += (i == 0 ? " ORDER BY " : ", ") + order[i].key.Sql() + order[i].direction;
  }
  return sql + (limit.empty() ? "" : " " + limit);
}

}  // namespace sqxer::fuzz
