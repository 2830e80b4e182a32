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
#include "server/Utility/UtilityTesting.h"

namespace sqxer::test {
namespace {

using Rows = std::vector<CapturingSink::Row_t>;

/// A reader of its own for CSV without quotation marks, so that a fault of the product's shows.
Rows ReadCsv(const std::string& path) {
  std::ifstream file(path);
  Rows rows;
  for (std::string line; std::getline(file, line);) {
    if (line.ends_with('\r')) line.pop_back();
    CapturingSink::Row_t& row = rows.emplace_back();
    for (const std::string& field : Split(line, ',')) {
      row.push_back(field.empty() ? std::nullopt : std::optional(field));
    }
  }
  return rows;
}

class Sqlite {
 public:
  Sqlite() { sqlite3_open(":memory:", &db_); }
  ~Sqlite() { sqlite3_close(db_); }

  void Load(const std::string& name, const std::string& path) {
    const Rows rows = ReadCsv(path);
    Query("CREATE TABLE " + name + "(" + List("\"%w\" NUMERIC", rows.front()) + "); BEGIN");
    for (std::size_t i = 1; i < rows.size(); ++i) {
      Query("INSERT INTO " + name + " VALUES(" + List("%Q", rows[i]) + ")");
    }
    Query("COMMIT");
  }

  Rows Query(const std::string& sql) {
    Rows rows;
    const auto add = [](void* to, int count, char** values, char**) {
      CapturingSink::Row_t& row = static_cast<Rows*>(to)->emplace_back();
      for (int c = 0; c < count; ++c) {
        row.push_back(values[c] ? std::optional<std::string>(values[c]) : std::nullopt);
      }
      return 0;
    };
    EXPECT_EQ(sqlite3_exec(db_, sql.c_str(), add, &rows, nullptr), SQLITE_OK)
        << sqlite3_errmsg(db_);
    return rows;
  }

 private:
  /// Values, each as a format of the library writes it, between commas.
  static std::string List(const char* format, const CapturingSink::Row_t& values) {
    std::string list;
    for (const auto& value : values) {
      const std::unique_ptr<char, void (*)(void*)> text(
          sqlite3_mprintf(format, value ? value->c_str() : nullptr), &sqlite3_free);
      list += (list.empty() ? "" : ",") + std::string(text.get());
    }
    return list;
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
            << "row " << r << "\nours   " << RowText(sink.rows[r]) << "\nsqlite "
            << RowText(expected[r]);
      }
    }
    ++compared;
  }
  EXPECT_GE(compared, 50);
}

}  // namespace
}  // namespace sqxer::test
