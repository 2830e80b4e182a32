// Statements of a session through the command: what COPY leaves in the folder, and what statements
// without rows print.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CommandTesting.h"

namespace sqxer::test {
namespace {

TEST_F(Command, StatementsWithoutRowsPrintNothing) {
  folder_.Write("t.csv", "a\n1\n2\n");
  const std::string sql =
      "CREATE TABLE k AS SELECT a * 10 AS b FROM t; INSERT INTO k VALUES (7); CREATE VIEW v AS "
      "SELECT SUM(b) AS s FROM k; SET GroupMemory = 64MiB; SELECT s FROM v; DROP VIEW v";
  EXPECT_EQ(Sqxer("", sql).out, "s\n37\n");
  EXPECT_EQ(Sqxer("-o json", sql).out, "{\"s\":37}\n");
  EXPECT_THAT(Sqxer("-o table", sql).out, testing::StartsWith("  s\n"));
  EXPECT_EQ(Sqxer("", sql).err, "");
  EXPECT_THAT(Sqxer("-t g=t.csv", "CREATE TABLE g AS SELECT 1 AS a").err,
              testing::StartsWith(
                  "error 57142: there is a table that the session was given of this name, which "
                  "CREATE OR REPLACE would take the place of: \"g\" (line 1, column 14)\n"));
}

TEST_F(Command, CopyPacksWhatOthersUnpack) {
  std::string rows = "n,text\n";
  for (int i = 0; i < 50000; ++i) {
    rows += std::to_string(i) + ",\"some, text " + std::to_string(i % 977) + "\"\n";
  }
  folder_.Write("t.csv", rows);
  EXPECT_EQ(Sqxer("", "COPY t TO 'o.csv'; COPY t TO 'o.csv.gz'; COPY t TO 'o.csv.zst'").err, "");
  EXPECT_EQ(ReadFile(folder_.File("o.csv")), rows);
  EXPECT_EQ(Shell("gzip -dc o.csv.gz | cmp - t.csv").status, 0);
  EXPECT_EQ(Shell("zstd -dcq o.csv.zst | cmp - t.csv").status, 0);
  EXPECT_EQ(Shell("sqxer \"SELECT COUNT(*), SUM(n) FROM 'o.csv.gz'\"").out,
            "count,sum\n50000,1249975000\n");
  // Nothing else, and the permissions of any new file.
  EXPECT_EQ(Shell("umask 022; sqxer \"COPY t TO 'p.csv'\"; stat -c %a p.csv; ls -A").out,
            "644\nerr.txt\no.csv\no.csv.gz\no.csv.zst\nout.txt\np.csv\nt.csv\n");
}

TEST_F(Command, CopyThatFailsLeavesTheOldFileAlone) {
  folder_.Write("t.csv", "a\n0\n1\n2\n");
  folder_.Write("old.csv", "old\n");
  const std::string files = "err.txt\nold.csv\nout.txt\nt.csv\n";
  const std::string endless =
      "COPY (SELECT x.n FROM generate_series(1, 60000) x(n) JOIN generate_series(1, 60000) y(n) ON "
      "x.n < y.n WHERE SQRT(x.n) > 0) TO 'old.csv'";
  for (const std::string& line :
       {std::string("sqxer \"COPY (SELECT 1 / (a - 2) AS q FROM t) TO 'old.csv'\""),
        std::string("ulimit -f 10; sqxer \"COPY (SELECT n FROM generate_series(1, 100000) g(n)) TO "
                    "'old.csv'\""),
        "timeout -s INT 1 " + Quoted(SQXER_BINARY_DIR "/bin/sqxer") + " " + Quoted(endless),
        "timeout -s TERM 1 " + Quoted(SQXER_BINARY_DIR "/bin/sqxer") + " " + Quoted(endless)}) {
    SCOPED_TRACE(line);
    EXPECT_NE(Shell(line).status, 0);
    EXPECT_EQ(ReadFile(folder_.File("old.csv")), "old\n");
    EXPECT_EQ(Shell("ls -A").out, files);
  }
  EXPECT_EQ(Shell("ulimit -f 10; sqxer \"COPY (SELECT n FROM generate_series(1, 100000) g(n)) TO "
                  "'old.csv'\"")
                .err,
            "error 57152: \"old.csv\" cannot be written: File too large (line 1, column 57)\n  "
            "COPY (SELECT n FROM generate_series(1, 100000) g(n)) TO 'old.csv'\n                   "
            "                                       ^\n");
  EXPECT_THAT(Shell("sqxer \"COPY t TO '/dev/full'\"").err,
              testing::StartsWith("error 57153: COPY writes files that end in .csv, .tsv, .jsonl, "
                                  ".ndjson, .json or .arrow, "
                                  "also packed (.gz, .zst), or of a FORMAT that is named: "
                                  "\"/dev/full\" (line 1, column 11)\n"));
  EXPECT_THAT(Shell("sqxer \"COPY t TO '/dev/full' (FORMAT csv)\"").err,
              testing::StartsWith("error 57152: \"/dev/full\" cannot be written: No space left on "
                                  "device (line 1, column 11)\n"));
  EXPECT_EQ(Shell("sqxer \"COPY t TO '/dev/stdout' (FORMAT csv, HEADER false)\" | sort -r").out,
            "2\n1\n0\n");
  // A file there keeps what was printed before.
  EXPECT_EQ(
      Shell("sqxer \"SELECT 8 AS a; COPY t TO '/dev/stdout' (FORMAT csv); SELECT 9 AS a\"").out,
      "a\n8\na\n0\n1\n2\na\n9\n");
  EXPECT_EQ(Shell("ln -s old.csv link.csv; sqxer \"COPY t TO 'link.csv'\"; cat old.csv; test -L "
                  "link.csv && echo link")
                .out,
            "a\n0\n1\n2\nlink\n");
}

TEST_F(Command, AnalyzeTellsRowsAndTimesOfEveryStep) {
  std::string rows = "k,x\n";
  for (int i = 0; i < 20000; ++i) rows += std::to_string(i % 10) + "," + std::to_string(i) + "\n";
  folder_.Write("t.csv", rows);
  const std::string query =
      "SELECT k, SUM(x + 1) AS s FROM t WHERE x >= 10000 GROUP BY k HAVING k > 4 ORDER BY k LIMIT "
      "3";
  const auto steps = [](const std::string& plan) {
    std::string found;
    for (std::size_t at = 0; at < plan.size(); at = plan.find('\n', at) + 1) {
      const std::string line = plan.substr(at, plan.find('\n', at) - at);
      const std::size_t out = line.find(" out, ");
      if (out != std::string::npos) found += line.substr(0, out) + "|";
    }
    return found;
  };
  const std::string expected =
      "scan: 20000 rows in, 20000|filter: 20000 rows in, 10000|group: 10000 rows in, 10|having: "
      "10 rows in, 5|";
  const std::string last = "sort: 5 rows in, 3|write: 3 rows in, 3|";
  for (const char* set : {"Evaluation=batches", "Evaluation=rows", "TableMemory=1"}) {
    const std::string plan = Sqxer("--set " + std::string(set), "EXPLAIN ANALYZE " + query).out;
    EXPECT_THAT(steps(plan), testing::StartsWith(expected)) << set;
    EXPECT_THAT(steps(plan), testing::EndsWith(last)) << set;
    EXPECT_THAT(plan, testing::HasSubstr("\nin all: "));
    EXPECT_THAT(plan, testing::HasSubstr("aggregate SUM(x + 1) by "));
  }
  const std::string plain = Sqxer("", "EXPLAIN " + query).out;
  EXPECT_THAT(plain, testing::Not(testing::HasSubstr(" ms")));
  for (const char* form : {"EXPLAIN (ANALYZE, NODES) ", "EXPLAIN ANALYZE (nodes) "}) {
    const std::string plan = Sqxer("", form + query).out;
    EXPECT_THAT(plan, testing::ContainsRegex("GEInt32 -> BOOLEAN \\[[0-9.]+ ms, [0-9]+ %\\]"));
  }
  const std::string joined =
      Sqxer("", "EXPLAIN ANALYZE SELECT COUNT(*), MAX(a.x) FROM t a JOIN t b ON a.x = b.x").out;
  EXPECT_THAT(joined, testing::HasSubstr("join: 40000 rows in, 20000 out, "));
  // An error of a row is that of the query.
  EXPECT_EQ(Sqxer("", "EXPLAIN ANALYZE SELECT 1 / x FROM t").err.substr(0, 12), "error 59008:");
}

}  // namespace
}  // namespace sqxer::test
