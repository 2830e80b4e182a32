#pragma once

#include <functional>
#include <map>
#include <string>

#include "ParsedTree.h"
#include "SqlAst.h"

namespace sqxer {

/// Reads the grammar's expressions into ours. What is not understood is refused by name (58003), so
/// nothing is silently ignored.
class SqlExpressionReader {
 public:
  using ReadQuery = std::function<SqlQueryPtr(const PgQuery__SelectStmt& statement)>;

  /// `readQuery`: what reads a subquery.
  SqlExpressionReader(const std::string& sql, const ParsedTree& tree, ReadQuery readQuery)
      : sql_(sql), tree_(tree), readQuery_(std::move(readQuery)) {}

  SqlExpressionPtr Read(const PgQuery__Node& node) const;
  SqlSortItem ReadSort(const PgQuery__SortBy& sort) const;
  /// Reads the WINDOW clause, whose names calls that are read later can use, and returns all keys
  /// in it. Error 58015 for a name that stands twice.
  std::vector<SqlExpressionPtr> ReadWindows(PgQuery__Node* const* windows, std::size_t count);

  /// A type as a CAST or a column's definition names it.
  static SqlTypeName ReadType(const PgQuery__TypeName& name);

  /// Raises 58003 for a clause at a position.
  [[noreturn]] static void Refuse(int position, std::wstring_view clause);

 private:
  SqlExpressionPtr ReadConstant(const PgQuery__AConst& constant) const;
  SqlExpressionPtr ReadCast(const PgQuery__TypeCast& cast) const;
  SqlExpressionPtr ReadName(const PgQuery__ColumnRef& name) const;
  SqlExpressionPtr ReadOperator(const PgQuery__AExpr& expression) const;
  /// A text, its pattern and perhaps the escape, which stands in a function of the given name.
  std::vector<SqlExpressionPtr> ReadPattern(const PgQuery__AExpr& expression,
                                            std::string_view escape) const;
  SqlExpressionPtr ReadLike(const PgQuery__AExpr& expression) const;
  SqlExpressionPtr ReadSimilar(const PgQuery__AExpr& expression) const;
  /// IN of a list, whose members may be rows.
  SqlExpressionPtr ReadMembership(const PgQuery__AExpr& expression) const;
  /// Two rows compared value by value; null where there are none.
  SqlExpressionPtr ReadRowComparison(const PgQuery__AExpr& expression) const;
  /// ANY and ALL of an array that is written out.
  SqlExpressionPtr ReadArrayComparison(const PgQuery__AExpr& expression) const;
  /// The values of a row; empty where it is none.
  std::vector<SqlExpressionPtr> ReadRow(const PgQuery__Node* node) const;
  SqlExpressionPtr ReadCase(const PgQuery__CaseExpr& expression) const;
  SqlExpressionPtr ReadConnective(const PgQuery__BoolExpr& expression) const;
  SqlExpressionPtr ReadTruthTest(const PgQuery__BooleanTest& test) const;
  static SqlExpressionPtr AsCase(const SqlExpression& call, bool hasValue);
  /// What stands in WITHIN GROUP becomes the first argument.
  void ReadOrderedSet(const PgQuery__FuncCall& call, SqlExpression& function) const;
  SqlExpressionPtr ReadSubquery(const PgQuery__SubLink& link) const;
  void ReadOrderWithin(const PgQuery__FuncCall& call, SqlExpression& function) const;
  std::vector<SqlExpressionPtr> ReadArguments(const PgQuery__FuncCall& call) const;
  SqlExpressionPtr ReadFunction(const PgQuery__FuncCall& call) const;
  SqlWindowPtr ReadWindow(const PgQuery__WindowDef& window) const;
  SqlWindow ExtendWindow(const PgQuery__WindowDef& window) const;
  SqlWindowPtr FindWindow(const std::string& name, int position) const;
  std::vector<SqlExpressionPtr> ReadAll(PgQuery__Node* const* nodes, std::size_t count) const;
  int NegativeInteger(int position) const;
  int ParameterNumber(const PgQuery__ParamRef& parameter) const;
  int Place(int location) const { return location < 0 ? 0 : location; }

  const std::string& sql_;
  const ParsedTree& tree_;
  const ReadQuery readQuery_;
  std::map<std::string, SqlWindowPtr> windows_;
};

}  // namespace sqxer
