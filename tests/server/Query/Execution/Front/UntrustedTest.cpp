// An untrusted session through the engine's header: statements that try to get out of their folder,
// to write, and to widen their limits.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "Engine/Engine.h"
#include "server/Query/Execution/Engine/TemporaryFolder.h"

namespace sqxer::test {
namespace {

namespace fs = std::filesystem;
using engine::Error;
using engine::Session;
using testing::HasSubstr;

class Untrusted : public testing::Test {
 protected:
  Untrusted() {
    outside_.Write("secret.csv", "s\n42\n");
    outside_.Write("secret.jsonl", "{\"s\":42}\n");
    folder_.Write("t.csv", "a\n1\n2\n");
    fs::create_directory(folder_.File("sub"));
    std::ofstream(folder_.File("sub/u.csv")) << "b\n3\n";
    session_.SetDirectory(folder_.Path());
    session_.SetUntrusted();
  }

  void MakeDatabase(const std::string& path, const std::string& sql) {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sql;
    sqlite3_close(database);
  }
  int CodeOf(const std::string& sql) {
    try {
      session_.Query(sql);
    } catch (const Error& error) {
      return error.GetCode();
    }
    return 0;
  }
  std::string Write(const std::string& sql) {
    std::string text;
    session_.Write(sql, [&](std::string_view piece) { text += piece; });
    return text;
  }

  TemporaryFolder folder_;
  TemporaryFolder outside_;
  Session session_;
};

TEST_F(Untrusted, ReadsItsFolder) {
  EXPECT_EQ(Write("SELECT SUM(a) AS s FROM t"), "s\n3\n");
  EXPECT_EQ(Write("SELECT * FROM '" + folder_.File("t.csv") + "'"), "a\n1\n2\n");
  EXPECT_EQ(Write("SELECT * FROM '" + folder_.File("sub/*.csv") + "'"), "b\n3\n");
  fs::create_symlink(folder_.File("sub/u.csv"), folder_.File("within.csv"));
  EXPECT_EQ(Write("SELECT * FROM within"), "b\n3\n");
  EXPECT_EQ(Write("CREATE TABLE k AS SELECT a FROM t"), "");
  EXPECT_EQ(Write("SELECT COUNT(*) AS n FROM k"), "n\n2\n");
  // What the program adds may be anywhere.
  session_.AddFile("given", outside_.File("secret.csv"));
  EXPECT_EQ(Write("SELECT s FROM given"), "s\n42\n");
}

TEST_F(Untrusted, DoesNotGetOutOfItsFolder) {
  const std::string secret = outside_.File("secret.csv");
  fs::create_symlink(secret, folder_.File("link.csv"));
  fs::create_directory_symlink(outside_.Path(), folder_.File("door"));
  fs::create_symlink("link.csv", folder_.File("chain.csv"));
  MakeDatabase(outside_.File("o.db"), "CREATE TABLE s(v); INSERT INTO s VALUES (42)");
  fs::create_symlink(outside_.File("o.db"), folder_.File("l.db"));
  ASSERT_EQ(mkfifo(folder_.File("pipe").c_str(), 0600), 0);
  const std::string inside = folder_.Path();
  const std::string other = fs::path(outside_.Path()).filename().string();
  for (const std::string& path :
       {secret, outside_.File("secret.jsonl"), outside_.File("*.csv"), inside + "/link.csv",
        inside + "/chain.csv", inside + "/door/secret.csv", inside + "/d*/secret.csv",
        inside + "/*ink.csv", inside + "/sub/../../" + other + "/secret.csv",
        inside + "/../" + other + "/secret.csv", inside + "/sub/../t.csv",
        outside_.File("nothing.csv"), outside_.File("o.db") + ":s", inside + "/l.db:s",
        inside + "/pipe", std::string("-"), std::string("/dev/stdin"), std::string("/dev/null"),
        inside + "x/t.csv"}) {
    EXPECT_EQ(CodeOf("SELECT * FROM '" + path + "'"), 57190) << path;
  }
  for (const std::string& sql :
       {"SELECT * FROM \"" + secret + "\"", std::string("SELECT * FROM link"),
        std::string("SELECT * FROM chain"),
        "SELECT a FROM t WHERE a IN (SELECT s FROM '" + secret + "')",
        "CREATE VIEW v AS SELECT * FROM '" + secret + "'",
        "CREATE TABLE v AS SELECT * FROM '" + secret + "'", "DESCRIBE '" + secret + "'",
        "SUMMARIZE '" + secret + "'", "EXPLAIN SELECT * FROM '" + secret + "'",
        "WITH w AS (SELECT * FROM '" + secret + "') SELECT * FROM w",
        "SELECT CANONICAL('" + secret + "', 'x')"}) {
    EXPECT_NE(CodeOf(sql), 0) << sql;
  }
  EXPECT_THROW(session_.CheckReadable(secret), Error);
  EXPECT_NO_THROW(session_.CheckReadable(folder_.File("t.csv")));
}

TEST_F(Untrusted, WritesNothing) {
  EXPECT_EQ(CodeOf("COPY t TO '" + folder_.File("o.csv") + "'"), 57191);
  EXPECT_EQ(CodeOf("COPY (SELECT 1) TO '/dev/null' (FORMAT csv)"), 57191);
  EXPECT_FALSE(fs::exists(folder_.File("o.csv")));
}

TEST_F(Untrusted, LowersItsLimitsAlone) {
  EXPECT_EQ(session_.Get("MemoryLimit"), "1GiB");
  EXPECT_EQ(session_.Get("StatementTimeout"), "60000");
  for (const char* const sql :
       {"SET MemoryLimit = 2GiB", "SET MemoryLimit = '100%'", "SET TempLimit = 0",
        "SET TempLimit = 1TiB", "SET StatementTimeout = 0", "SET StatementTimeout = 60001",
        "SET StatementLength = 1GiB", "SET UnpackRatio = 100000",
        "SET TempDirectory = '/var/tmp'"}) {
    EXPECT_EQ(CodeOf(sql), 57192) << sql;
  }
  EXPECT_EQ(CodeOf("SET MemoryLimit = 64MiB"), 0);
  EXPECT_EQ(CodeOf("SET StatementTimeout = 1000"), 0);
  EXPECT_EQ(session_.Get("MemoryLimit"), "64MiB");
  // What it has lowered it may take back, no further.
  EXPECT_EQ(CodeOf("SET MemoryLimit = 1GiB"), 0);
  EXPECT_EQ(CodeOf("RESET ALL"), 0);
  EXPECT_EQ(session_.Get("StatementTimeout"), "60000");
  EXPECT_EQ(CodeOf("SET GroupMemory = 1TiB"), 0);
  // The program may say what it wants.
  session_.Set("MemoryLimit", "2GiB");
  EXPECT_EQ(CodeOf("SET MemoryLimit = 2GiB"), 0);
  EXPECT_EQ(CodeOf("RESET MemoryLimit"), 0);
  EXPECT_EQ(session_.Get("MemoryLimit"), "2GiB");
  EXPECT_EQ(CodeOf("SELECT '" + std::string(2 << 20, 'x') + "'"), 57184);
}

TEST_F(Untrusted, ConfinesViewsOfDatabases) {
  // It takes some seconds, with a sanitizer many.
  session_.Set("StatementTimeout", "0");
  const std::string path = folder_.File("v.db");
  MakeDatabase(
      path,
      "CREATE TABLE n(v); INSERT INTO n VALUES (1), (2);"
      "CREATE VIEW plain AS SELECT v * 10 AS w, upper('x') AS u FROM n;"
      "CREATE VIEW endless AS WITH RECURSIVE r(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM "
      "r) SELECT COUNT(*) AS c FROM r;"
      "CREATE VIEW wide AS SELECT hex(zeroblob(100000000)) AS h;"
      "CREATE VIEW loads AS SELECT load_extension('x') AS l;"
      "CREATE VIEW settings AS SELECT * FROM pragma_database_list");
  EXPECT_EQ(Write("SELECT SUM(w) AS s, MIN(u) AS u FROM '" + path + ":plain'"), "s,u\n30,X\n");
  EXPECT_EQ(CodeOf("SELECT * FROM '" + path + ":endless'"), 57193);
  EXPECT_EQ(CodeOf("SELECT * FROM '" + path + ":wide'"), 57002);
  EXPECT_EQ(CodeOf("SELECT * FROM '" + path + ":loads'"), 57002);
  EXPECT_EQ(CodeOf("SELECT * FROM '" + path + ":settings'"), 57002);
}

}  // namespace
}  // namespace sqxer::test
