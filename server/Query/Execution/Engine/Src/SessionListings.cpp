// What the statements of a session tell of tables: DESCRIBE, SUMMARIZE and SHOW TABLES.

#include <filesystem>

#include "ColumnTypes.h"
#include "RelationRun.h"
#include "SessionStatements.h"
#include "SqlParser.h"
#include "TablePath.h"
#include "TableSummary.h"

namespace sqxer {
namespace {

namespace fs = std::filesystem;

/// Whether a query is a table as it stands, whose columns have names of their own.
bool IsTable(const SqlQuery& query) {
  if (RelationRun::IsNeeded(query)) return false;
  const SqlSelect& select = query.select;
  const bool isStar = select.items.size() == 1 &&
                      select.items.front().expression->kind == SqlExpression::Kind::kStar &&
                      select.items.front().expression->path.empty();
  return isStar && !select.table.empty() && !select.distinct && select.distinctOn.empty() &&
         !select.where && select.groupBy.empty() && !select.hasGroupingSets && !select.having &&
         !select.limit && !select.offset;
}

/// What is known of a table that is in memory, or was read.
void AddKnown(std::vector<Listing::Value>& row, const LazyTable* table) {
  const bool isKnown = table != nullptr && table->HasAllRows();
  row.push_back(isKnown ? Listing::Count(table->Get().rowCount) : Listing::Value());
  row.push_back(isKnown ? Listing::Count(table->Get().schema.columns.size()) : Listing::Value());
}

}  // namespace

void SessionStatements::Do(const SqlDescribe& describe) {
  using enum Listing::Kind;
  Listing listing({{"column_name", kText}, {"type", kText}, {"nullable", kTruth}});
  for (const ColumnInfo& column : session_.FindColumns(sql_, *describe.query)) {
    listing.Add({Listing::Text(BaseStringUtil::StringToUtf8(column.name)),
                 Listing::Text(BaseStringUtil::StringToUtf8(DeclaredTypeName(AsDeclared(column)))),
                 Listing::Truth(column.nullable)});
  }
  listing.Send(sink_);
}

void SessionStatements::Do(const SqlSummarize& summarize) {
  const SqlQuery& query = *summarize.query;
  const std::vector<ColumnInfo> columns = session_.FindColumns(sql_, query);
  // Rows that are not kept are read for the summary, from their start.
  session_.partialTables_.clear();
  const bool isTable = IsTable(query);
  std::vector<XeString> names;
  for (const ColumnInfo& column : columns) {
    names.push_back(isTable ? column.name : L"c" + std::to_wstring(names.size()));
  }
  const TableSummary summary(columns, names);
  // The SELECT is read of a text of its own, and its FROM put in.
  SqlQuery sums = *ParseQuery(summary.GetSelect()).query;
  if (isTable) {
    sums.from = query.from;
    sums.select.table = query.select.table;
    sums.select.tablePosition = query.select.tablePosition;
  } else {
    auto from = std::make_shared<SqlRelation>();
    from->kind = SqlRelation::Kind::kQuery;
    from->query = summarize.query;
    from->alias = L"t";
    from->columns = names;
    sums.from = std::move(from);
  }
  RowTexts row;
  session_.RunQuery(summary.GetSelect(), sums, row, 1);
  summary.MakeListing(row.Get()).Send(sink_);
}

void SessionStatements::Do(const SqlShowTables&) {
  using enum Listing::Kind;
  // By name; what hides another table is the one that is listed.
  std::map<XeString, std::vector<Listing::Value>> rows;
  const auto add = [&](const XeString& key, const XeString& name, const char* kind,
                       const LazyTable* table) {
    std::vector<Listing::Value> row = {Listing::Text(BaseStringUtil::StringToUtf8(name)),
                                       Listing::Text(kind)};
    AddKnown(row, table);
    rows.try_emplace(key, std::move(row));
  };
  const auto find = [&](const XeString& key) -> const LazyTable* {
    const auto found = session_.tables_.find(key);
    return found == session_.tables_.end() ? nullptr : found->second.get();
  };
  for (const auto& [key, object] : session_.objects_) {
    add(key, object.name, object.IsView() ? "view" : "table",
        object.IsView() ? nullptr : object.rows.get());
  }
  for (const XeString& key : session_.addedTables_) {
    add(key, find(key)->Get().schema.name, "arrow", find(key));
  }
  for (const auto& [key, open] : session_.sources_) add(key, key, "arrow", find(key));
  for (const auto& [key, path] : session_.paths_) add(key, key, "file", find(key));
  for (const std::string& file : ListTableFiles(session_.directory_)) {
    const XeString name = Wide(fs::path(file).stem().string());
    add(FoldedName(name), name, "file", find(FoldedName(name)));
  }
  Listing listing({{"name", kText}, {"kind", kText}, {"rows", kCount}, {"columns", kCount}});
  for (auto& [key, row] : rows) listing.Add(std::move(row));
  listing.Send(sink_);
}

}  // namespace sqxer
