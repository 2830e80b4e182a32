#include <gtest/gtest.h>
#include <sqlite3.h>

#include "SqliteTable.h"
#include "server/Query/Execution/Engine/SessionTesting.h"

namespace sqxer::test {
namespace {

class SqliteTable : public SessionTest {
 protected:
  SqliteTable() {
    sqlite3* database = nullptr;
    EXPECT_EQ(sqlite3_open(folder_.File("x.db").c_str(), &database), SQLITE_OK);
    const char* script =
        "CREATE TABLE good(i INTEGER, big INTEGER, r REAL, m NUMERIC, s TEXT, b BOOLEAN, d DATE, "
        "ts DATETIME, tm TIME, notdate DATE, none);"
        "INSERT INTO good VALUES(1, 3000000000, 0.1, 1, 'x', 1, '2012-01-31', '2012-01-31', "
        "'10:00', '2012-01-31', NULL), (NULL, 1, 2, 0.5, '\u00E4\u00E4', 0, NULL, "
        "'2012-01-31 12:00:00', '11:00', 'soon', NULL);"
        "CREATE VIEW \"a \"\"view\"\"\" AS SELECT i + 1 AS j FROM good;"
        "CREATE TABLE mixed(a, b BOOLEAN); INSERT INTO mixed VALUES(1, 2), ('x', 1), (0.5, 0);"
        "CREATE TABLE blobs(a); INSERT INTO blobs VALUES(1), (x'00');"
        "CREATE TABLE bytes(a); INSERT INTO bytes VALUES(CAST(x'E4' AS TEXT));"
        "CREATE TABLE nul(a); INSERT INTO nul VALUES('a' || char(0));";
    EXPECT_EQ(sqlite3_exec(database, script, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(database);
  }
};

TEST_F(SqliteTable, DecidesTypesByValuesAndDeclarations) {
  const struct {
    const char* table;
    const char* types;
    const char* rows;
  } kCases[] = {
      {"good",
       "i int4?, big numeric, r double, m double, s varchar(2), b boolean, d date?, ts timestamp, "
       "tm time, notdate varchar(10), none varchar(1)?",
       "1|3000000000|0.1|1|x|true|2012-01-31|2012-01-31 00:00:00|10:00:00|2012-01-31|\n"
       "|1|2|0.5|\u00E4\u00E4|false||2012-01-31 12:00:00|11:00:00|soon|\n"},
      {"a \"view\"", "j int4?", "2\n\n"},
      {"mixed", "a varchar(3), b int4", "1|2\nx|1\n0.5|0\n"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.table);
    Session session;
    session.AddTable("t", folder_.File(std::string("x.db:") + c.table));
    EXPECT_EQ(TypesOf(*session.FindTable(L"t", {})), c.types);
    EXPECT_EQ(RunSql(session, "SELECT * FROM t"), c.rows);
  }
}

TEST_F(SqliteTable, RefusesWhatItCannotRead) {
  folder_.Write("no.db", "this is no database, whatever its name may say. ......................");
  const struct {
    const char* path;
    const char* error;
  } kCases[] = {
      {"x.db:nope",
       "the database \"x.db\" has no table \"nope\", name one that it has: \"a \"view\"\", "
       "\"blobs\", \"bytes\", \"good\", \"mixed\", \"nul\""},
      {"x.db:blobs",
       "row 2 of \"x.db\" has a blob, which expressions cannot read, in the column \"a\""},
      {"x.db:bytes", "row 1 of \"x.db\" is not valid UTF-8, the encoding of the file"},
      {"x.db:nul",
       "row 1 of \"x.db\" holds a NUL byte, which text files have not: remove it, or name the "
       "encoding of the file with --encoding"},
      {"none.db:t", "\"none.db\" cannot be read: unable to open database file"},
      {"no.db:t", "\"no.db\" cannot be read: file is not a database"},
  };
  for (const auto& c : kCases) {
    Session session;
    session.AddTable("t", folder_.File(c.path));
    EXPECT_EQ(ErrorOf(folder_.Path(), [&] { session.FindTable(L"t", {}); }), c.error);
  }
}

TEST_F(SqliteTable, TellsWhatElseThereIsToNameAndHowFarItGot) {
  const auto make = [&](const char* file, const std::string& script) {
    sqlite3* database = nullptr;
    EXPECT_EQ(sqlite3_open(folder_.File(file).c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, script.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(database);
  };
  const auto load = [&](const char* file, bool isUntrusted, const LoadProgress& progress = {}) {
    return LoadSqliteTable(folder_.File(file), "T", L"t", {}, isUntrusted, progress);
  };
  make("empty.db", "CREATE TABLE u(a); DROP TABLE u");
  EXPECT_EQ(ErrorOf(folder_.Path(), [&] { load("empty.db", false); }),
            "the database \"empty.db\" has no table \"T\", nor any other: name another database");
  std::string script;
  for (char c = 'a'; c <= 'k'; ++c) script += std::string("CREATE TABLE x") + c + "(a);";
  make("many.db", script);
  EXPECT_EQ(ErrorOf(folder_.Path(), [&] { load("many.db", false); }),
            "the database \"many.db\" has no table \"T\", name one that it has: \"xa\", \"xb\", "
            "\"xc\", \"xd\", \"xe\", \"xf\", \"xg\", \"xh\", \"xi\", \"xj\", ...");

  // A name of a file may have what a URI has not.
  constexpr const char* kOdd = "A-b_9 ?#%20\u00E4.db";
  make(
      kOdd,
      "CREATE TABLE t AS WITH RECURSIVE s(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM s LIMIT 3000)"
      " SELECT i FROM s");
  std::vector<std::pair<uint64, uint64>> calls;
  const Table table = load(kOdd, true, [&](uint64 done, uint64 all, bool isRows) {
    EXPECT_TRUE(isRows);
    calls.emplace_back(done, all);
  });
  EXPECT_EQ(table.rowCount, 3000U);
  ASSERT_FALSE(calls.empty());
  EXPECT_EQ(calls.front(), (std::pair<uint64, uint64>(1024, 6000)));
  EXPECT_TRUE(std::ranges::is_sorted(calls));
}

}  // namespace
}  // namespace sqxer::test
