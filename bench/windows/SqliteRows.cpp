#include "../suite/SqliteConnection.h"
#include "WindowRows.h"

namespace sqxer::bench {
namespace {

class SqliteRows : public WindowEngine {
 public:
  explicit SqliteRows(const std::vector<WindowRow>& rows) {
    database_.Execute("CREATE TABLE t (id INTEGER, g INTEGER, d INTEGER, x REAL, y REAL)");
    database_.Execute("BEGIN");
    const auto insert = database_.Prepare("INSERT INTO t VALUES (?, ?, ?, ?, ?)");
    for (const WindowRow& row : rows) {
      database_.Check(sqlite3_bind_int(insert.get(), 1, row.id));
      database_.Check(sqlite3_bind_int(insert.get(), 2, row.g));
      database_.Check(sqlite3_bind_int(insert.get(), 3, row.d));
      database_.Check(row.x ? sqlite3_bind_double(insert.get(), 4, *row.x)
                            : sqlite3_bind_null(insert.get(), 4));
      database_.Check(sqlite3_bind_double(insert.get(), 5, row.y));
      database_.Step(*insert);
      sqlite3_reset(insert.get());
    }
    database_.Execute("COMMIT");
  }

  Checksum Run(const std::string& sql) override {
    Checksum sum;
    const auto statement = database_.Prepare(sql);
    while (database_.Step(*statement)) {
      ++sum.rows;
      if (sqlite3_column_type(statement.get(), 1) == SQLITE_NULL) continue;
      sum.Add(sqlite3_column_double(statement.get(), 0), sqlite3_column_double(statement.get(), 1));
    }
    return sum;
  }

 private:
  SqliteConnection database_;
};

}  // namespace

std::unique_ptr<WindowEngine> LoadSqliteRows(const std::vector<WindowRow>& rows) {
  return std::make_unique<SqliteRows>(rows);
}

}  // namespace sqxer::bench
