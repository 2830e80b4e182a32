// Limits of a statement through the engine's header: memory, temporary files, packed files, length.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "Engine/Engine.h"
#include "server/Query/Execution/Front/SessionTesting.h"

namespace sqxer::test {
namespace {

using engine::Error;
using engine::Result;
using engine::Session;
using testing::HasSubstr;

class Limits : public SessionOfFolder {
 protected:
  Limits() { session_.SetThreads(2); }

  std::string ErrorOf(const std::string& sql) {
    const std::string error = SessionOfFolder::ErrorOf(sql);
    EXPECT_EQ(row_, -1) << "an error of the statement has no row";
    return error;
  }
  void MakeTable(int rows) {
    session_.Query(
        "CREATE OR REPLACE TABLE t AS SELECT i, MOD(i, 10) AS k, i * 0.5 AS x, "
        "CONCAT('text ', i) AS s FROM generate_series(1, " +
        std::to_string(rows) + ") g(i)");
  }
};

TEST_F(Limits, SayWhatWasTooLarge) {
  MakeTable(400000);
  session_.Set("MemoryLimit", "40MiB");
  EXPECT_THAT(ErrorOf("SELECT * FROM t AS a JOIN t AS b ON a.k = b.k"), HasSubstr("57178: "));
  EXPECT_THAT(
      ErrorOf("SELECT i, s, x, s || 'a long text behind it, more than there was' AS u, s || "
              "x AS v FROM t"),
      HasSubstr("57181: the result needs more memory than the switch MemoryLimit gives, "
                "40MiB"));
  EXPECT_THAT(
      ErrorOf("WITH w AS (SELECT i, s || 'a long text behind it, more than there was' AS u, "
              "s || x AS v FROM t) SELECT COUNT(*), MAX(u), MAX(v) FROM w"),
      HasSubstr("57182: "));
  // A statement that has failed leaves nothing behind.
  EXPECT_EQ(Write("SELECT COUNT(*) AS n FROM t"), "n\n400000\n");
  session_.Set("MemoryLimit", "1MiB");
  EXPECT_THAT(ErrorOf("SELECT s FROM t"), HasSubstr("the switch MemoryLimit gives, 1MiB"));
  session_.Query("DROP TABLE t");
  session_.Query("CREATE TABLE u AS SELECT 1 AS a");
}

TEST_F(Limits, CountResultsUntilTheyAreReleased) {
  MakeTable(200000);
  session_.Set("MemoryLimit", "48MiB");
  const std::string sql = "SELECT i, s FROM t";
  {
    std::vector<Result> results;
    std::string error;
    for (int i = 0; i < 40 && error.empty(); ++i) {
      try {
        results.push_back(session_.Query(sql));
      } catch (const Error& thrown) {
        error = thrown.what();
      }
    }
    EXPECT_THAT(error, HasSubstr("the result needs more memory"));
    EXPECT_GT(results.size(), 1u);
  }
  EXPECT_EQ(ErrorOf(sql), "");
}

TEST_F(Limits, CountWhatEvaluatorsMake) {
  MakeTable(200000);
  session_.Set("MemoryLimit", "8MiB");
  const auto rows = [&](ArrowArrayStream* stream) {
    Session open;
    open.Query(
        "CREATE TABLE t AS SELECT i, CONCAT('text ', i) AS s FROM generate_series(1, 200000) g(i)");
    open.Query("SELECT i, s FROM t").Export(stream);
  };
  ArrowArrayStream stream;
  rows(&stream);
  ArrowSchema schema;
  ASSERT_EQ(stream.get_schema(&stream, &schema), 0);
  engine::Evaluator longer = session_.Compile("s || ' and more, so that it is longer'", schema);
  engine::Evaluator shorter = session_.Compile("i + 1", schema);
  schema.release(&schema);
  EXPECT_THROW(longer.Evaluate(&stream), Error);
  for (int i = 0; i < 20; ++i) {
    rows(&stream);
    EXPECT_EQ(shorter.Evaluate(&stream).CountRows(), 200000);
  }
}

TEST_F(Limits, DoNotKeepTablesOfFilesThatLeaveTooLittle) {
  MakeTable(300000);
  const std::string first = folder_.File("a.csv"), second = folder_.File("b.csv");
  session_.Query("COPY t TO '" + first + "'");
  session_.Query("COPY t TO '" + second + "'");
  session_.Query("DROP TABLE t");
  session_.Set("MemoryLimit", "40MiB");
  // Each is read whole and kept; both have no room together.
  for (int i = 0; i < 3; ++i) {
    for (const char* const name : {"a", "b"}) {
      EXPECT_EQ(Write(std::string("SELECT COUNT(*) AS n FROM ") + name +
                      " AS x JOIN (SELECT 5 AS j) "
                      "AS y ON x.i = y.j WHERE x.s = 'text 5' AND x.x > 0"),
                "n\n1\n");
    }
  }
}

TEST_F(Limits, SpillMediansOfAGroup) {
  // Of zeros those with a sign come first, and a NaN comes last.
  const std::string values =
      "SELECT CASE WHEN i % 3 = 0 THEN -0.0e0 WHEN i % 3 = 1 THEN 0.0e0 ELSE CAST(i % 1000 AS "
      "DOUBLE) END AS x, i % 1000 AS y FROM generate_series(1, 300000) g(i)";
  session_.Query("CREATE TABLE v AS " + values);
  const std::string quantiles =
      "MEDIAN(x) AS a, PERCENTILE_CONT(0.25) WITHIN GROUP (ORDER BY x) AS b, PERCENTILE_DISC(0.9) "
      "WITHIN GROUP (ORDER BY x) AS c, PERCENTILE_CONT(1.0) WITHIN GROUP (ORDER BY x) AS d, "
      "MEDIAN(y) AS e, COUNT(*) AS n";
  const std::vector<std::string> statements = {
      "SELECT " + quantiles + " FROM v", "SELECT " + quantiles + " FROM v WHERE y < 700",
      "SELECT y < 1000, " + quantiles + " FROM v GROUP BY y < 1000",
      "SELECT " + quantiles + " FROM v WHERE y < 0",
      "SELECT y, MEDIAN(x) OVER () AS m FROM v WHERE y < 200 ORDER BY y LIMIT 3"};
  std::vector<std::string> expected;
  for (const std::string& sql : statements) expected.push_back(Write(sql));
  for (const char* const evaluation : {"batches", "rows"}) {
    session_.Set("Evaluation", evaluation);
    session_.Set("GroupMemory", "256KiB");
    for (std::size_t i = 0; i < statements.size(); ++i) {
      EXPECT_EQ(Write(statements[i]), expected[i]) << statements[i] << ' ' << evaluation;
      EXPECT_EQ(session_.GetReport().spilledBytes > 0, i < 3 || i == 4) << statements[i];
    }
  }
}

TEST_F(Limits, OfTemporaryFilesEndTheStatement) {
  MakeTable(300000);
  session_.Set("GroupMemory", "64KiB");
  const std::string sql = "SELECT s, COUNT(*) FROM t GROUP BY s";
  session_.Set("TempLimit", "1MiB");
  EXPECT_THAT(ErrorOf(sql),
              HasSubstr("57183: the statement needs more room in temporary files than "
                        "the switch TempLimit gives, 1MiB"));
  session_.Set("TempLimit", "1GiB");
  EXPECT_EQ(ErrorOf(sql), "");
  session_.Set("TempLimit", "0");
  EXPECT_EQ(ErrorOf(sql), "");
}

TEST_F(Limits, OfTheTextOfAStatement) {
  session_.Set("StatementLength", "1KiB");
  EXPECT_EQ(Write("SELECT 1 AS a"), "a\n1\n");
  EXPECT_THAT(ErrorOf("SELECT '" + std::string(1100, 'x') + "'"),
              HasSubstr("57184: the statement has 1109 bytes, and the switch StatementLength gives "
                        "1KiB"));
}

TEST_F(Limits, SummariesReadTablesThatAreNotKept) {
  folder_.Write("f.csv", "a,b\n1,x\n2,y\n3,z\n");
  const std::string table = Write("SUMMARIZE f");
  const std::string query = Write("SUMMARIZE SELECT a, b FROM f");
  Session other;
  other.SetDirectory(folder_.Path());
  other.Set("TableMemory", "1");
  std::string text;
  const auto append = [&](std::string_view piece) { text += piece; };
  other.Write("SUMMARIZE f", append);
  other.Write("SUMMARIZE SELECT a, b FROM f", append);
  EXPECT_EQ(text, table + query);
}

TEST_F(Limits, TextsOfManyCommentsTakeTimeByTheirLength) {
  constexpr int kMany = 200000;
  std::string nested = "SELECT 1 ", beside = "SELECT 1 ", lines = "SELECT 1 ";
  for (int i = 0; i < kMany; ++i) {
    nested += "/*";
    beside += "/* x */ ";
    lines += "--x\n";
  }
  for (int i = 0; i < kMany; ++i) nested += "*/";
  const auto start = std::chrono::steady_clock::now();
  for (const std::string& sql : {nested, beside, lines}) EXPECT_EQ(Write(sql + "AS a"), "a\n1\n");
  // By the square of it they take a minute.
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
}

TEST_F(Limits, OfPackedFiles) {
  // Some 77 MB of equal lines, which pack to a hundredth of that, or much less.
  session_.Query("CREATE TABLE z AS SELECT REPEAT('x', 1000) AS a FROM generate_series(1, 300000)");
  for (const char* const name : {"z.csv.gz", "z.csv.zst"}) {
    const std::string path = folder_.File(name);
    session_.Query("COPY z TO '" + path + "'");
    const std::string sql = "SELECT COUNT(*) AS n FROM '" + path + "'";
    session_.Set("UnpackRatio", "50");
    EXPECT_THAT(ErrorOf(sql), HasSubstr("57040: \"" + path + "\" unpacks to more than 50 times"))
        << name;
    session_.Set("UnpackRatio", "100000");
    EXPECT_EQ(Write(sql), "n\n300000\n") << name;
  }
}

}  // namespace
}  // namespace sqxer::test
