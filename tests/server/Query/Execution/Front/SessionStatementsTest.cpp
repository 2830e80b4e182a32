// Statements of a session through the engine's header: results without rows, reports, what the
// program gave, files that are copied to, and statements that are cancelled.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "Engine/DistributedPlan.h"
#include "Engine/Engine.h"
#include "server/Query/Execution/Front/SessionTesting.h"

namespace sqxer::test {
namespace {

using engine::Error;
using engine::Result;
using engine::Session;

class SessionStatements : public SessionOfFolder {
 protected:
  SessionStatements() { folder_.Write("t.csv", "a,b\n1,x\n2,y\n3,\n"); }

  std::string Read(const std::string& name) {
    std::ifstream file(folder_.File(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  /// COPY of a query to a file of the folder.
  std::string Copy(const std::string& what, const std::string& name,
                   const std::string& options = {}) {
    return "COPY " + what + " TO '" + folder_.File(name) + "' " + options;
  }
  std::size_t CountFiles() const {
    const std::filesystem::directory_iterator files(folder_.Path());
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
  }
};

TEST_F(SessionStatements, GiveResultsWithoutColumnsAndTags) {
  Result made = session_.Query("CREATE TABLE kept AS SELECT * FROM t");
  EXPECT_TRUE(made.GetColumns().empty());
  EXPECT_EQ(made.CountRows(), 3);
  EXPECT_EQ(made.GetTag(), "SELECT 3");
  EXPECT_EQ(session_.GetReport().tag, "SELECT 3");
  ArrowArray array = {};
  EXPECT_FALSE(made.Next(&array));
  EXPECT_EQ(made.Copy().GetTag(), "SELECT 3");

  Result streamed = session_.Stream("INSERT INTO kept SELECT * FROM t WHERE a > 1");
  EXPECT_TRUE(streamed.GetColumns().empty());
  EXPECT_EQ(streamed.CountRows(), 2);
  EXPECT_EQ(streamed.GetTag(), "INSERT 0 2");
  EXPECT_FALSE(streamed.Next(&array));

  EXPECT_EQ(Write("CREATE VIEW v AS SELECT SUM(a) AS s FROM kept"), "");
  EXPECT_EQ(session_.GetReport().tag, "CREATE VIEW");
  EXPECT_EQ(session_.GetReport().writtenRows, std::nullopt);
  EXPECT_EQ(Write("SELECT s FROM v"), "s\n11\n");
  EXPECT_EQ(session_.GetReport().tag, "");
  EXPECT_NE(ErrorOf("INSERT INTO kept VALUES ('x', 'y')"), "");
  EXPECT_EQ(session_.GetReport().tag, "");
}

TEST_F(SessionStatements, HideWhatTheProgramGaveUntilTheyAreDropped) {
  session_.AddFile("given", folder_.File("t.csv"));
  EXPECT_EQ(ErrorOf("CREATE TABLE given AS SELECT 1 AS a"),
            "57142: there is a table that the session was given of this name, which CREATE OR "
            "REPLACE would take the place of: \"given\"");
  EXPECT_EQ(ErrorOf("INSERT INTO given VALUES (1)"),
            "57146: INSERT takes tables that CREATE TABLE has made, and \"given\" is a table that "
            "the session was given");
  session_.Query("CREATE OR REPLACE TABLE given AS SELECT MAX(a) AS m FROM given");
  EXPECT_EQ(Write("SELECT * FROM given"), "m\n3\n");
  session_.Query("DROP TABLE given");
  EXPECT_EQ(Write("SELECT COUNT(*) AS n FROM given"), "n\n3\n");
  // What the program gives then takes the place of what a statement made.
  session_.Query("CREATE VIEW w AS SELECT 1 AS a");
  session_.AddFile("w", folder_.File("t.csv"));
  EXPECT_EQ(Write("SELECT COUNT(*) AS n FROM w"), "n\n3\n");
  EXPECT_EQ(Write("CREATE VIEW v AS SELECT 1 AS a"), "");
  EXPECT_EQ(Write("CREATE TABLE k AS SELECT 1 AS a, 2 AS b"), "");
  EXPECT_EQ(
      Write("SHOW TABLES"),
      "name,kind,rows,columns\ngiven,file,3,2\nk,table,1,2\nt,file,,\nv,view,,\nw,file,3,2\n");
}

TEST_F(SessionStatements, CopyWritesEveryFormatAndReadsItBack) {
  const std::string json = "{\"a\":1,\"b\":\"x\"},\n{\"a\":2,\"b\":\"y\"},\n{\"a\":3,\"b\":null}";
  session_.Query(Copy("t", "o.csv"));
  EXPECT_EQ(session_.GetReport().tag, "COPY 3");
  EXPECT_EQ(Read("o.csv"), "a,b\n1,x\n2,y\n3,\n");
  session_.Query(Copy("t (b, a)", "o.tsv"));
  EXPECT_EQ(Read("o.tsv"), "b\ta\nx\t1\ny\t2\n\t3\n");
  session_.Query(Copy("t", "o.json"));
  EXPECT_EQ(Read("o.json"), "[\n" + json + "\n]\n");
  session_.Query(Copy("(SELECT * FROM t WHERE a > 9)", "o.json"));
  EXPECT_EQ(Read("o.json"), "[]\n");
  session_.Query(Copy("(SELECT a, CASE a WHEN 1 THEN 'NA' WHEN 2 THEN ';' END AS b FROM t)",
                      "o.txt", "WITH (FORMAT csv, HEADER false, DELIMITER ';', NULL 'NA')"));
  EXPECT_EQ(Read("o.txt"), "1;\"NA\"\n2;\";\"\n3;NA\n");
  session_.Query(
      "CREATE TABLE many AS SELECT n, 'text ' || n AS s FROM generate_series(1, 100000) g(n)");
  for (const char* name : {"m.jsonl", "m.csv.gz", "m.csv.zst", "m.jsonl.gz"}) {
    session_.Query(Copy("many", name));
    EXPECT_EQ(
        Write("SELECT COUNT(*) AS c, SUM(n) AS s, MAX(s) AS m FROM '" + folder_.File(name) + "'"),
        "c,s,m\n100000,5000050000,text 99999\n")
        << name;
  }
  EXPECT_EQ(ErrorOf(Copy("t", "o.xlsx")).substr(0, 6), "57153:");
  EXPECT_EQ(ErrorOf(Copy("t", "o.json", "(HEADER)")),
            "57154: the option HEADER of COPY is for CSV alone");
  EXPECT_EQ(ErrorOf(Copy("t", "o.csv", "(DELIMITER 'ab')")),
            "58090: the option delimiter of COPY takes one ASCII character, but no quotation mark "
            "or line end, not \"ab\"");
  EXPECT_EQ(ErrorOf("COPY t TO '/nowhere/o.csv'"),
            "57152: \"/nowhere/o.csv\" cannot be written: No such file or directory");
}

TEST_F(SessionStatements, CopyReplacesAFileThatItReadsAndTablesAreReadAnew) {
  EXPECT_EQ(Write("SELECT COUNT(*) AS n FROM t"), "n\n3\n");
  const std::string path = folder_.File("t.csv");
  session_.Query(Copy("(SELECT * FROM '" + path + "' WHERE a > 1)", "t.csv"));
  EXPECT_EQ(Write("SELECT * FROM t"), "a,b\n2,y\n3,\n");
  EXPECT_EQ(Write("SELECT * FROM '" + path + "'"), "a,b\n2,y\n3,\n");
  EXPECT_NE(ErrorOf(Copy("(SELECT 1 / (a - 3) AS q FROM t)", "t.csv")), "");
  EXPECT_EQ(Read("t.csv"), "a,b\n2,y\n3,\n");
  EXPECT_EQ(CountFiles(), 1u);
}

TEST_F(SessionStatements, CancelledOnesLeaveEverythingAsItWas) {
  session_.Query("CREATE TABLE kept AS SELECT n FROM generate_series(1, 300000) g(n)");
  session_.SetProgress([this](const engine::PhaseProgress& at) {
    if (at.done > 0) session_.Cancel();
  });
  const std::string cancelled = "57110: the statement was cancelled";
  EXPECT_EQ(ErrorOf("CREATE OR REPLACE TABLE kept AS SELECT n + 1 AS n FROM kept"), cancelled);
  EXPECT_EQ(ErrorOf("INSERT INTO kept SELECT n + 1 FROM kept"), cancelled);
  EXPECT_EQ(ErrorOf(Copy("kept", "t.csv")), cancelled);
  session_.SetProgress(nullptr);
  EXPECT_EQ(Write("SELECT COUNT(*) AS c, MIN(n) AS m FROM kept"), "c,m\n300000,1\n");
  EXPECT_EQ(Read("t.csv"), "a,b\n1,x\n2,y\n3,\n");
  EXPECT_EQ(CountFiles(), 1u);
}

TEST_F(SessionStatements, ViewsReadEachOtherToADepthThatTheStackHas) {
  session_.Query("CREATE VIEW v0 AS SELECT a FROM t");
  std::string error;
  int depth = 0;
  while (error.empty() && depth < 1000) {
    const std::string before = std::to_string(depth++);
    error = ErrorOf("CREATE VIEW v" + std::to_string(depth) + " AS SELECT a FROM v" + before);
  }
  EXPECT_EQ(error, "57156: views read each other more than 64 deep: \"v0\"");
  EXPECT_EQ(Write("SELECT SUM(a) AS s FROM v" + std::to_string(depth - 2)), "s\n6\n");
}

TEST_F(SessionStatements, SummariesCountNoMoreDifferentValuesThanThereAre) {
  session_.Query("CREATE TABLE kept AS SELECT n FROM generate_series(1, 100000) g(n)");
  EXPECT_THAT(Write("SUMMARIZE kept"), testing::HasSubstr("\nn,int4,100000,0,100000,1,100000,"));
}

TEST_F(SessionStatements, ManyInsertsKeepTheirRowsInOrder) {
  session_.Query("CREATE TABLE kept (n int4, text varchar)");
  std::string rows;
  for (int i = 0; i < 300; ++i) {
    const std::string number = std::to_string(i);
    session_.Query("INSERT INTO kept VALUES (" + number + ", 'text " + number + "')");
    rows += number + ",text " + number + "\n";
  }
  EXPECT_EQ(Write("SELECT * FROM kept"), "n,text\n" + rows);
}

TEST_F(SessionStatements, AreNoPlansOfTablesInParts) {
  ArrowSchema schema = {};
  session_.Query("SELECT 1 AS a").WriteSchema(&schema);
  try {
    engine::DistributedPlan plan("CREATE VIEW v AS SELECT a FROM t", schema);
    ADD_FAILURE();
  } catch (const Error& error) {
    EXPECT_STREQ(error.what(),
                 "the statement cannot be run on many machines: it is one of a session, and no "
                 "query");
  }
  schema.release(&schema);
}

TEST_F(SessionStatements, ArePartedFromEachOther) {
  std::vector<std::string> statements;
  for (const engine::Statement& one : engine::SplitStatements(
           "SET GroupMemory = 64MiB; -- 1GiB;\nSELECT ';' AS \"set = 1x\"; SET a TO '1x;' ; ")) {
    statements.push_back(one.sql);
  }
  EXPECT_THAT(statements, testing::ElementsAre("SET GroupMemory = 64MiB",
                                               "SELECT ';' AS \"set = 1x\"", "SET a TO '1x;'"));
}

}  // namespace
}  // namespace sqxer::test
