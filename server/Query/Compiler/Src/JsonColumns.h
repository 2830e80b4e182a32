#pragma once

#include <unordered_set>
#include <vector>

#include "NameScope.h"
#include "QueryPlan.h"
#include "TypedExpression.h"

namespace sqxer {

/// The JSON documents of a statement: the columns that its JSON_VALUE(column, 'path') calls read,
/// with the paths of each. The type of a value is that of all values at its path, so the rows of a
/// column are looked through while planning: once, for all its paths.
class JsonColumns {
 public:
  /// Finds the calls of the statement. Errors, at the argument's place: 58030 for a first argument
  /// that is no column of texts, 58031 for a second one that is no text literal, 59190 for a path
  /// that does not parse, 58013 for another number of arguments, 58012 for DISTINCT. The catalog
  /// must outlive the object.
  JsonColumns(const SqlSelect& select, const NameScope& scope, Catalog& catalog);

  static bool IsCall(const SqlExpression& expression);
  /// A call of the statement, with the type of the values at its path. `columns` is null where a
  /// statement has none, as in LIMIT: error 58030.
  static TypedExpressionPtr Type(const SqlExpression& call, JsonColumns* columns);

  /// What the executor has to fill, row by row.
  const std::vector<PlanDocuments>& GetDocuments() const { return documents_; }

 private:
  /// What a call reads.
  struct Reading {
    std::size_t documents;
    XeString path;
    std::size_t handle;
  };

  using Seen = std::unordered_set<const SqlExpression*>;

  void AddCalls(const SqlExpressionPtr& expression, Seen& seen);
  Reading Read(const SqlExpression& call);
  std::size_t FindDocuments(const SqlExpression& argument);
  void Observe(std::size_t documents);

  const XeString table_;
  const NameScope& scope_;
  Catalog& catalog_;
  std::vector<PlanDocuments> documents_;
  std::vector<bool> observed_;
};

/// A new unbound reader of a typed call.
std::unique_ptr<RExpression> BuildJsonValue(const TypedExpression& value);

}  // namespace sqxer
