#pragma once

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "LazyTable.h"
#include "SqlQuery.h"
#include "Utility/BaseStringUtil.h"

namespace sqxer {

/// As names are kept that letter case does not tell apart.
inline XeString FoldedName(XeString name) {
  std::ranges::transform(name, name.begin(), &BaseStringUtil::FoldCase);
  return name;
}

/// A view or a table that a statement has made.
struct SessionObject {
  /// As it was written.
  XeString name;
  /// Of a view: its query, in this statement, and other names for the first columns.
  std::string sql;
  SqlQueryPtr query;
  std::vector<XeString> columns;
  /// Of a table: the types that its columns were given, to which values are cast.
  std::vector<SqlTypeName> types;
  /// The rows: of a view those of the statement that is being run, null until it has asked.
  std::shared_ptr<LazyTable> rows;
  /// Of a view: its columns without rows, likewise.
  std::shared_ptr<LazyTable> shape;
  /// The view is being read, or checked before it is there.
  bool isBeingRead = false;

  bool IsView() const { return query != nullptr; }
};

/// By their names in folded case.
using SessionObjects = std::map<XeString, SessionObject>;

}  // namespace sqxer
