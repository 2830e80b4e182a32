#pragma once

#include <vector>

#include "Catalog.h"
#include "SqlAst.h"

namespace sqxer {

/// A name and where it stands, to find it again by name.
struct NamedThing {
  XeString name;
  int index;
};

/// The things of a name: those spelled exactly so, else those that differ in letter case only.
std::vector<int> FindByName(const std::vector<NamedThing>& things, const XeString& name);

/// The columns that a statement can name.
class NameScope {
 public:
  /// Without a table every name is unknown. The schema must outlive the scope.
  NameScope() = default;
  /// The table is known by its alias, else by its name as written or as the catalog calls it.
  NameScope(const TableSchema& schema, const SqlSelect& select);

  /// The position of a column in the table, or -1. Errors: 58016 for another table's name before
  /// it, 58015 (name, candidates) when several columns differ from it in letter case only.
  int FindColumn(const SqlExpression& name) const;
  /// Refuses a name of no column: error 59015 (name, and advice where there is some), or 58022
  /// (name) without a table.
  [[noreturn]] void ThrowUnknown(const SqlExpression& name) const;
  /// Whether the table that a name may have in front is known.
  bool HasTable(const SqlExpression& name) const;
  /// The columns that `*` stands for, or `table.*`.
  std::vector<int> ExpandStar(const SqlExpression& star) const;

  /// The table as the statement names it.
  const XeString& GetTable() const { return table_; }
  /// Null without a table.
  const TableSchema* GetSchema() const { return schema_; }

 private:
  /// Checks the table's name in front of a column or `*`.
  void CheckTable(const SqlExpression& name) const;
  bool IsOfTable(std::size_t column, const XeString& table) const;
  /// The columns that a name may mean.
  std::vector<NamedThing> FindCandidates(const SqlExpression& name) const;

  const TableSchema* schema_ = nullptr;
  XeString table_;
  std::vector<XeString> tableNames_;
  std::vector<NamedThing> columns_;
};

}  // namespace sqxer
