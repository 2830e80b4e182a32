#include "SqliteConnection.h"
#include "SuiteEngine.h"
#include "Tables.h"

namespace sqxer::bench {
namespace {

/// What a column of the kind is declared as; SQLite has no decimals and no dates.
const char* DeclaredType(ColumnKind kind) {
  switch (kind) {
    case ColumnKind::kInt:
      return "INTEGER";
    case ColumnKind::kDouble:
    case ColumnKind::kNumeric:
      return "REAL";
    case ColumnKind::kDate:
    case ColumnKind::kText:
      break;
  }
  return "TEXT";
}

class SqliteEngine : public SuiteEngine {
 public:
  explicit SqliteEngine(const std::string& folder) {
    // As the other engines compare: letter case counts.
    database_.Execute("PRAGMA case_sensitive_like = ON");
    for (const TableSpec* table : kTables) Load(*table, folder);
  }

  std::string Version() const override { return sqlite3_libversion(); }

  Report Run(const SuiteQuery& query) override {
    if (!query.IsDigested()) return [rows = Fetch(query.sql)] { return rows; };
    const Statement statement = database_.Prepare(query.sql);
    while (database_.Step(*statement)) {
      // A row that nobody looks at.
    }
    return [this, sql = query.digestSql] { return Fetch(sql); };
  }

 private:
  using Statement = SqliteConnection::Statement;

  void Load(const TableSpec& table, const std::string& folder);
  void Bind(sqlite3_stmt& statement, int place, ColumnKind kind, std::string_view text) const;
  Rows Fetch(const std::string& sql) const;

  SqliteConnection database_;
};

void SqliteEngine::Load(const TableSpec& table, const std::string& folder) {
  std::string columns;
  std::string places;
  for (const ColumnSpec& column : table.columns) {
    const char* const comma = columns.empty() ? "" : ",";
    columns.append(comma).append(column.name).append(" ").append(DeclaredType(column.kind));
    places.append(comma).append("?");
  }
  database_.Execute(std::string("CREATE TABLE ") + table.name + " (" + columns + ")");
  database_.Execute("BEGIN");
  const Statement insert =
      database_.Prepare(std::string("INSERT INTO ") + table.name + " VALUES (" + places + ")");
  ReadTable(table, folder, [&](const std::vector<std::string_view>& fields) {
    for (std::size_t i = 0; i < fields.size(); ++i) {
      Bind(*insert, static_cast<int>(i) + 1, table.columns[i].kind, fields[i]);
    }
    database_.Step(*insert);
    sqlite3_reset(insert.get());
  });
  database_.Execute("COMMIT");
}

void SqliteEngine::Bind(sqlite3_stmt& statement, int place, ColumnKind kind,
                        std::string_view text) const {
  if (text.empty()) return database_.Check(sqlite3_bind_null(&statement, place));
  switch (kind) {
    case ColumnKind::kInt:
      return database_.Check(sqlite3_bind_int(&statement, place, ReadNumber<int>(text)));
    case ColumnKind::kDouble:
    case ColumnKind::kNumeric:
      return database_.Check(sqlite3_bind_double(&statement, place, ReadNumber<double>(text)));
    case ColumnKind::kDate:
    case ColumnKind::kText:
      return database_.Check(sqlite3_bind_text(&statement, place, text.data(),
                                               static_cast<int>(text.size()), SQLITE_STATIC));
  }
}

Rows SqliteEngine::Fetch(const std::string& sql) const {
  Rows rows;
  const Statement statement = database_.Prepare(sql);
  while (database_.Step(*statement)) {
    rows.emplace_back();
    for (int i = 0; i < sqlite3_column_count(statement.get()); ++i) {
      switch (sqlite3_column_type(statement.get(), i)) {
        case SQLITE_NULL:
          rows.back().push_back(std::nullopt);
          break;
        case SQLITE_FLOAT:
          rows.back().push_back(NumberText(sqlite3_column_double(statement.get(), i)));
          break;
        default:
          rows.back().push_back(
              reinterpret_cast<const char*>(sqlite3_column_text(statement.get(), i)));
      }
    }
  }
  return rows;
}

}  // namespace

std::unique_ptr<SuiteEngine> LoadSqlite(const std::string& folder) {
  return std::make_unique<SqliteEngine>(folder);
}

}  // namespace sqxer::bench
