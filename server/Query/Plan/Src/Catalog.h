#pragma once

#include <algorithm>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "AddedFunction.h"
#include "Engine/SourceCondition.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/XeAListStream.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// What is known of a column: of a table, or of a computed value once its tree was typed.
struct ColumnInfo {
  XeString name;
  XeDataType type = XeUnknown;
  /// Characters for text types, bytes otherwise.
  uint32 length = 0;
  int16 scale = 0;
  bool nullable = true;
  /// A NUMERIC that was declared as BIGINT; a UINT4 that counts, and is a NUMERIC in arithmetic.
  bool isBigint = false;
};

/// Of a column of several tables put together: where it comes from.
struct ColumnOrigin {
  /// What the statement calls its table.
  std::vector<XeString> tables;
  /// Another column has its place, as USING has it: it goes by its full name alone.
  bool isShared = false;
  /// Which of the columns of its table it is.
  std::size_t place = 0;
};

struct TableSchema {
  XeString name;
  std::vector<ColumnInfo> columns;
  /// One for each column of a join; empty for one table.
  std::vector<ColumnOrigin> origins = {};
  /// Rows that are read later may name further columns, which the plan cannot use.
  bool mayHaveMoreColumns = false;
  /// The table has no more rows, as long as the plan is used.
  uint64 mostRows = std::numeric_limits<uint64>::max();
};

/// What a statement wants of a table. As it stands it wants everything.
struct TableRequest {
  /// Every column; else those of `names`, letter case ignored. Names of no column are passed over.
  bool all = true;
  std::vector<XeString> names;
  /// So many rows, the first ones, are enough.
  std::optional<uint64> mostRows;
  /// The rows are read once, in their order, so that they need not be kept.
  bool onePass = false;
  /// What WHERE begins with: see SourceRequest of the engine. Columns are named as the statement
  /// does.
  std::vector<engine::SourceCondition> conditions = {};
  /// Nothing of the result is made before the last row was read: should a type turn out to be
  /// another one, the statement can start again.
  bool canStartAgain = false;

  bool Wants(const XeString& column) const {
    return all || std::ranges::any_of(names, [&](const XeString& name) {
             return BaseStringUtil::IsCaseInsensitiveMatch(name, column);
           });
  }
};

/// A table of two columns in which nodes look values up.
class LookupSource {
 public:
  virtual ~LookupSource() = default;
  /// The two columns.
  virtual const std::vector<ColumnInfo>& GetColumns() const = 0;
  /// A stream of its own over the rows. It may outlive this object.
  virtual std::unique_ptr<XeAListStream> Open() const = 0;
};
using LookupSourcePtr = std::shared_ptr<const LookupSource>;

/// Where the plan builder finds tables. Implemented by the executor.
class Catalog {
 public:
  virtual ~Catalog() = default;
  /// The schema of the table that a FROM item names (a name or a quoted path), of which the
  /// statement reads what `request` says; the columns that nobody has asked for may have the type
  /// XeUnknown. The pointer stays valid as long as the catalog. Throws ErrorMessage when there is
  /// no such table or it cannot be read.
  virtual const TableSchema* FindTable(const XeString& name, const TableRequest& request) = 0;
  /// Calls `visit` with the texts of a column, row after row, NULLs left out. The table is named as
  /// for FindTable. A catalog that knows no rows has none to show.
  virtual void VisitTexts(const XeString& /*table*/, std::size_t /*column*/,
                          const std::function<void(std::wstring_view)>& /*visit*/) {}
  /// Which value made a column text whose values before it were all of one other kind, as messages
  /// say it: `"n/a" in line 4`. Empty for any other column, and where nobody knows any more. The
  /// table is named as for FindTable; its file may be read again.
  virtual XeString FindTextReason(const XeString& /*table*/, std::size_t /*column*/) { return {}; }
  /// The first two columns of a table, named as for FindTable; null when it has fewer, or the
  /// catalog knows no rows.
  virtual LookupSourcePtr FindLookup(const XeString& /*table*/) { return nullptr; }
  /// The function of a name in lower case that was added, if any. No name of the function table.
  virtual AddedFunctionPtr FindFunction(std::string_view /*name*/) { return nullptr; }
};

}  // namespace sqxer
