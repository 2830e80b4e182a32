#pragma once

#include <sqlite3.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace sqxer::bench {

/// A database in memory. A statement that fails is a std::runtime_error with SQLite's reason.
class SqliteConnection {
 public:
  struct Close {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Close>;

  SqliteConnection() {
    sqlite3* opened = nullptr;
    const int status = sqlite3_open(":memory:", &opened);
    database_.reset(opened);
    Check(status);
    Execute("PRAGMA temp_store = MEMORY");
  }

  void Check(int status) const {
    if (status != SQLITE_OK) throw std::runtime_error(sqlite3_errmsg(database_.get()));
  }
  Statement Prepare(const std::string& sql) const {
    sqlite3_stmt* statement = nullptr;
    Check(sqlite3_prepare_v2(database_.get(), sql.c_str(), -1, &statement, nullptr));
    return Statement(statement);
  }
  /// Whether there is one more row.
  bool Step(sqlite3_stmt& statement) const {
    const int status = sqlite3_step(&statement);
    if (status != SQLITE_ROW && status != SQLITE_DONE) Check(status);
    return status == SQLITE_ROW;
  }
  void Execute(const std::string& sql) const { Step(*Prepare(sql)); }

 private:
  std::unique_ptr<sqlite3, Close> database_;
};

}  // namespace sqxer::bench
