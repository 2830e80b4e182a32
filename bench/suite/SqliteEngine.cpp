#include <sqlite3.h>

#include <charconv>

#include "OrderLines.h"
#include "SuiteEngine.h"

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

template <class Number>
Number Read(std::string_view text) {
  Number number{};
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

class SqliteEngine : public SuiteEngine {
 public:
  explicit SqliteEngine(const std::string& path) {
    sqlite3* opened = nullptr;
    const int status = sqlite3_open(":memory:", &opened);
    database_.reset(opened);
    Check(status);
    // As the other engines compare: letter case counts.
    Execute("PRAGMA case_sensitive_like = ON");
    Execute("PRAGMA temp_store = MEMORY");
    Load(path);
  }

  std::string Version() const override { return sqlite3_libversion(); }

  Report Run(const SuiteQuery& query) override {
    if (!query.IsDigested()) return [rows = Fetch(query.sql)] { return rows; };
    const Statement statement = Prepare(query.sql);
    while (Step(*statement)) {
      // A row that nobody looks at.
    }
    return [this, sql = query.digestSql] { return Fetch(sql); };
  }

 private:
  struct Close {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Close>;

  void Check(int status) const {
    if (status != SQLITE_OK) throw std::runtime_error(sqlite3_errmsg(database_.get()));
  }
  Statement Prepare(const std::string& sql) const {
    sqlite3_stmt* statement = nullptr;
    Check(sqlite3_prepare_v2(database_.get(), sql.c_str(), -1, &statement, nullptr));
    return Statement(statement);
  }
  bool Step(sqlite3_stmt& statement) const {
    const int status = sqlite3_step(&statement);
    if (status != SQLITE_ROW && status != SQLITE_DONE) Check(status);
    return status == SQLITE_ROW;
  }
  void Execute(const std::string& sql) const { Step(*Prepare(sql)); }
  void Load(const std::string& path);
  void Bind(sqlite3_stmt& statement, int place, ColumnKind kind, std::string_view text) const;
  Rows Fetch(const std::string& sql) const;

  std::unique_ptr<sqlite3, Close> database_;
};

void SqliteEngine::Load(const std::string& path) {
  std::string columns;
  std::string places;
  for (const ColumnSpec& column : OrderLineColumns()) {
    const char* const comma = columns.empty() ? "" : ",";
    columns.append(comma).append(column.name).append(" ").append(DeclaredType(column.kind));
    places.append(comma).append("?");
  }
  Execute("CREATE TABLE lines (" + columns + ")");
  Execute("BEGIN");
  const Statement insert = Prepare("INSERT INTO lines VALUES (" + places + ")");
  ReadOrderLines(path, [&](const std::vector<std::string_view>& fields) {
    for (std::size_t i = 0; i < fields.size(); ++i) {
      Bind(*insert, static_cast<int>(i) + 1, OrderLineColumns()[i].kind, fields[i]);
    }
    Step(*insert);
    sqlite3_reset(insert.get());
  });
  Execute("COMMIT");
}

void SqliteEngine::Bind(sqlite3_stmt& statement, int place, ColumnKind kind,
                        std::string_view text) const {
  if (text.empty()) return Check(sqlite3_bind_null(&statement, place));
  switch (kind) {
    case ColumnKind::kInt:
      return Check(sqlite3_bind_int(&statement, place, Read<int>(text)));
    case ColumnKind::kDouble:
    case ColumnKind::kNumeric:
      return Check(sqlite3_bind_double(&statement, place, Read<double>(text)));
    case ColumnKind::kDate:
    case ColumnKind::kText:
      return Check(sqlite3_bind_text(&statement, place, text.data(), static_cast<int>(text.size()),
                                     SQLITE_STATIC));
  }
}

Rows SqliteEngine::Fetch(const std::string& sql) const {
  Rows rows;
  const Statement statement = Prepare(sql);
  while (Step(*statement)) {
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

std::unique_ptr<SuiteEngine> LoadSqlite(const std::string& path) {
  return std::make_unique<SqliteEngine>(path);
}

}  // namespace sqxer::bench
