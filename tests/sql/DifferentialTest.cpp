// Queries over the sample tables, run here and by SQLite over the same rows: both must give the
// same result. Each line of differential.sql is one query.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <memory>

#include "Capture.h"
#include "Session.h"

namespace sqxer::test {
namespace {

using Rows = std::vector<CapturingSink::Row_t>;

/// A reader of its own for well-formed CSV, so that a fault of the product's reader shows.
Rows ReadCsv(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(file)), {});
  Rows rows;
  CapturingSink::Row_t row;
  std::string field;
  bool quoted = false, wasQuoted = false;
  auto endField = [&] {
    row.push_back(field.empty() && !wasQuoted ? std::nullopt : std::optional(field));
    field.clear();
    wasQuoted = false;
  };
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (quoted) {
      if (c == '"' && i + 1 < text.size() && text[i + 1] == '"')
        field += text[++i];
      else if (c == '"')
        quoted = false;
      else
        field += c;
    } else if (c == '"') {
      quoted = wasQuoted = true;
    } else if (c == ',') {
      endField();
    } else if (c == '\n') {
      endField();
      rows.push_back(std::move(row));
      row.clear();
    } else if (c != '\r') {
      field += c;
    }
  }
  if (!row.empty() || !field.empty()) {
    endField();
    rows.push_back(std::move(row));
  }
  return rows;
}

class Sqlite {
 public:
  Sqlite() { sqlite3_open(":memory:", &db_); }
  ~Sqlite() { sqlite3_close(db_); }

  void Load(const std::string& name, const std::string& path) {
    const Rows rows = ReadCsv(path);
    std::string columns, marks;
    for (const auto& column : rows.front()) {
      columns += (columns.empty() ? "\"" : ",\"") + *column + "\" NUMERIC";
      marks += marks.empty() ? "?" : ",?";
    }
    Run("BEGIN");
    Run("CREATE TABLE " + name + "(" + columns + ")");
    sqlite3_stmt* insert = Prepare("INSERT INTO " + name + " VALUES(" + marks + ")");
    for (std::size_t i = 1; i < rows.size(); ++i) {
      for (std::size_t c = 0; c < rows[i].size(); ++c) {
        const auto& value = rows[i][c];
        if (value)
          sqlite3_bind_text(insert, static_cast<int>(c + 1), value->c_str(), -1, SQLITE_TRANSIENT);
        else
          sqlite3_bind_null(insert, static_cast<int>(c + 1));
      }
      sqlite3_step(insert);
      sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    Run("COMMIT");
  }

  Rows Query(const std::string& sql) {
    Rows rows;
    sqlite3_stmt* query = Prepare(sql);
    while (query && sqlite3_step(query) == SQLITE_ROW) {
      CapturingSink::Row_t row;
      for (int c = 0; c < sqlite3_column_count(query); ++c) {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(query, c));
        row.push_back(text ? std::optional<std::string>(text) : std::nullopt);
      }
      rows.push_back(std::move(row));
    }
    sqlite3_finalize(query);
    return rows;
  }

 private:
  void Run(const std::string& sql) { sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr); }
  sqlite3_stmt* Prepare(const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(db_, sql.c_str(), -1, &statement, nullptr), SQLITE_OK)
        << sqlite3_errmsg(db_);
    return statement;
  }

  sqlite3* db_ = nullptr;
};

/// Equal texts, truth values as SQLite has them, or numbers within the last digits of a double.
bool SameValue(const std::optional<std::string>& ours, const std::optional<std::string>& theirs) {
  if (!ours || !theirs) return !ours && !theirs;
  if (*ours == *theirs) return true;
  if (*ours == "true") return *theirs == "1";
  if (*ours == "false") return *theirs == "0";
  char* end = nullptr;
  const double a = std::strtod(ours->c_str(), &end);
  if (*end != 0 || end == ours->c_str()) return false;
  const double b = std::strtod(theirs->c_str(), &end);
  if (*end != 0 || end == theirs->c_str()) return false;
  return std::fabs(a - b) <= 1e-12 * std::max(std::fabs(a), std::fabs(b));
}

std::string Show(const CapturingSink::Row_t& row) {
  std::string text;
  for (const auto& value : row) text += (value ? *value : "NULL") + " | ";
  return text;
}

TEST(Differential, SampleTablesAgreeWithSqlite) {
  const std::string folder = std::string(SQXER_SOURCE_DIR) + "/examples/data";
  Sqlite sqlite;
  sqlite.Load("birdstrikes", folder + "/birdstrikes.csv");
  sqlite.Load("weather", folder + "/seattle-weather.csv");
  Session session;
  session.SetDirectory(folder);
  session.AddTable("weather", folder + "/seattle-weather.csv");

  std::ifstream queries(std::string(SQXER_SOURCE_DIR) + "/tests/sql/differential.sql");
  std::string line;
  int compared = 0;
  while (std::getline(queries, line)) {
    if (line.empty() || line.starts_with("--")) continue;
    SCOPED_TRACE(line);
    // "ours ||| theirs" where the two spell the same thing differently.
    const std::size_t bar = line.find(" ||| ");
    const std::string ours = line.substr(0, bar);
    const std::string theirs = bar == std::string::npos ? line : line.substr(bar + 5);
    CapturingSink sink;
    ASSERT_NO_THROW(session.Execute(ours, sink));
    Rows expected = sqlite.Query(theirs);
    if (ours.find("ORDER BY") == std::string::npos) {
      std::sort(sink.rows.begin(), sink.rows.end());
      std::sort(expected.begin(), expected.end());
    }
    ASSERT_EQ(sink.rows.size(), expected.size());
    for (std::size_t r = 0; r < expected.size(); ++r) {
      ASSERT_EQ(sink.rows[r].size(), expected[r].size());
      for (std::size_t c = 0; c < expected[r].size(); ++c) {
        ASSERT_TRUE(SameValue(sink.rows[r][c], expected[r][c]))
            << "row " << r << "\nours   " << Show(sink.rows[r]) << "\nsqlite " << Show(expected[r]);
      }
    }
    ++compared;
  }
  EXPECT_GE(compared, 40);
}

}  // namespace
}  // namespace sqxer::test
