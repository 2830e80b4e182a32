#include <gtest/gtest.h>

#include "SessionTesting.h"
#include "Utility/Cancellation.h"

namespace sqxer::test {
namespace {

constexpr int kRows = 60'000;

/// Joins over a file that comes in many chunks where it is not kept.
class RelationFlow : public SessionTest {
 protected:
  RelationFlow() {
    std::string facts = "id,k,price,word\n";
    for (int i = 1; i <= kRows; ++i) {
      const int key = i * 7 % 41;
      // Decimals have more digits behind the point in later chunks; some keys are NULL.
      facts += std::to_string(i) + ',' + (key == 5 ? "" : std::to_string(key)) + ',' +
               std::to_string(i % 1000) + (i > kRows / 2 ? ".125" : "") + ",w" +
               std::to_string(i % (i > kRows / 2 ? 9001 : 7)) + '\n';
    }
    folder_.Write("facts.csv", facts);
    std::string dims = "k,name,price,word\n";
    for (int i = 0; i < 30; ++i) {
      dims += std::to_string(i) + ",n" + std::to_string(i % 4) + ',' + std::to_string(i * 8) +
              (i % 2 == 0 ? ".125" : ".0") + ",w" + std::to_string(i * 5) + "\n";
    }
    folder_.Write("dims.csv", dims + "3,again,3,w1\n");
    folder_.Write("none.csv", "k,word\n-1,x\n");
    std::string ids = "id\n";
    for (int i = 1; i < kRows; i += 149) ids += std::to_string(i) + "\n";
    folder_.Write("ids.csv", ids);
  }

  Session OpenAll(bool keeps) {
    Session session;
    session.SetDirectory(folder_.Path());
    session.SetThreads(2);
    if (!keeps) {
      session.Set("TableMemory", "1");
      session.Set("MemoryLimit", "32MiB");
    }
    return session;
  }
};

constexpr const char* kStatements[] = {
    "SELECT name, COUNT(*), SUM(f.price), MIN(id), MAX(id) FROM facts f JOIN dims d ON f.k = d.k "
    "GROUP BY name ORDER BY name",
    "SELECT id, name FROM facts f JOIN dims d ON f.k = d.k WHERE id % 5000 = 0",
    "SELECT id, name FROM facts f LEFT JOIN dims d ON f.k = d.k AND d.name <> 'n1' "
    "WHERE id % 5000 < 9",
    "SELECT COUNT(*), COUNT(name), SUM(id) FROM facts f LEFT JOIN dims d ON f.k = d.k "
    "AND f.id > d.k * 5000",
    "SELECT COUNT(*), SUM(id) FROM facts f JOIN dims d USING (price)",
    "SELECT COUNT(*), SUM(id), MAX(word) FROM facts f JOIN dims d USING (word)",
    "SELECT d.name, e.name, COUNT(*), SUM(id) FROM facts f JOIN dims d ON f.k = d.k "
    "LEFT JOIN dims e ON e.k = d.k + f.id % 3 GROUP BY 1, 2 ORDER BY 1, 2",
    "SELECT COUNT(*), SUM(f.id) FROM facts f JOIN none n ON f.k = n.k",
    "SELECT COUNT(*), SUM(f.id), COUNT(n.word) FROM facts f LEFT JOIN none n ON f.k = n.k",
    "SELECT COUNT(*), SUM(f.id) FROM facts f, dims d WHERE f.k = d.k + 1 AND f.word LIKE '%5'",
    "SELECT COUNT(*), SUM(f.id) FROM facts f CROSS JOIN none",
    "SELECT COUNT(*), SUM(id) FROM facts WHERE id IN (SELECT id FROM ids)",
    "SELECT COUNT(*), SUM(id), MIN(name) FROM facts f JOIN dims d ON f.k = d.k "
    "WHERE id IN (SELECT id FROM ids) AND f.price > 10",
    "SELECT DISTINCT name, f.k FROM facts f JOIN dims d ON f.k = d.k ORDER BY 1, 2",
    "SELECT id, name FROM facts f JOIN dims d ON f.k = d.k ORDER BY f.price DESC, id, name "
    "LIMIT 20 OFFSET 7",
    "SELECT id, name, RANK() OVER (ORDER BY id DESC) FROM facts f JOIN dims d ON f.k = d.k "
    "WHERE id % 997 = 0",
    "SELECT id, name FROM facts f JOIN dims d ON f.k = d.k LIMIT 3",
    // Both are facts; one is read while the other is in memory.
    "SELECT COUNT(*), SUM(a.id - b.id) FROM facts a JOIN facts b ON a.id = b.id + 10",
    "SELECT COUNT(*) FROM facts a JOIN facts b ON a.word = b.word AND a.id < b.id "
    "WHERE a.id % 100 = 0 AND b.id % 50 = 0",
    "SELECT COUNT(*), SUM(id) FROM dims d JOIN facts f ON f.k = d.k",
    "SELECT COUNT(*), SUM(id) FROM facts f RIGHT JOIN dims d ON f.k = d.k",
    "SELECT COUNT(*), COUNT(id), SUM(k) FROM facts f FULL JOIN dims d USING (k)",
    // Rows without a partner on either side, and their order.
    "SELECT f.id, d.name, d.k FROM facts f RIGHT JOIN dims d ON f.k = d.k AND f.id % 6007 = 3",
    "SELECT f.id, g.id, f.word FROM facts f FULL JOIN facts g ON f.id = g.id + 59990 "
    "WHERE f.id IS NULL OR g.id IS NULL OR f.id > 59990 ORDER BY 1, 2 LIMIT 30",
    "SELECT k, f.id, d.name FROM facts f FULL JOIN dims d USING (k) WHERE f.id % 5000 = 1 OR f.id "
    "IS NULL",
    "SELECT word, k, f.price, d.name FROM facts f FULL JOIN dims d USING (word, k) "
    "WHERE d.name IS NOT NULL OR f.id > 59995",
    "SELECT COUNT(*), COUNT(f.id), COUNT(g.id) FROM facts f FULL JOIN facts g ON f.id = g.id + 7 "
    "AND f.k < g.k",
    "SELECT COUNT(*), COUNT(n.k), MAX(f.id) FROM facts f RIGHT JOIN none n ON f.k = n.k",
    "SELECT COUNT(*), COUNT(n.k), MAX(f.id) FROM none n FULL JOIN facts f ON f.k = n.k",
    "SELECT COUNT(*), SUM(a.id) FROM facts a RIGHT JOIN facts b ON a.id = b.id * 2 LEFT JOIN dims "
    "d "
    "ON d.k = b.k",
    "WITH j AS (SELECT id, name FROM facts f JOIN dims d ON f.k = d.k) "
    "SELECT name, COUNT(*) FROM j JOIN ids ON ids.id = j.id GROUP BY name ORDER BY name",
    "SELECT COUNT(*) FROM (SELECT f.id FROM facts f JOIN dims d ON f.k = d.k) s JOIN ids USING "
    "(id)",
    "SELECT COUNT(*), SUM(twice) FROM (SELECT id * 2 AS twice, word FROM facts WHERE k < 20) s "
    "WHERE word LIKE 'w1%'",
    "SELECT a.twice, d.name FROM (SELECT id * 2, k + 1 FROM facts) AS a(twice, key) "
    "LEFT JOIN dims d ON d.k = a.key WHERE a.twice % 10000 < 4",
    "SELECT * FROM (SELECT id, x.k FROM facts AS x WHERE id % 1000 = 7) s ORDER BY id DESC LIMIT 5",
    "SELECT COUNT(*) FROM (SELECT id FROM (SELECT id, k FROM facts WHERE k > 3) i "
    "WHERE id < 50000) o WHERE id IN (SELECT id FROM ids)",
    // Views and queries of WITH, read once or several times.
    "SELECT name, COUNT(*), MAX(id) FROM v GROUP BY name ORDER BY name",
    "SELECT COUNT(*), SUM(twice) FROM few",
    "SELECT COUNT(*), SUM(two), MIN(key) FROM fewer",
    "SELECT f.two, d.name FROM fewer f LEFT JOIN dims d ON d.k = f.key WHERE two % 10000 < 40",
    "SELECT COUNT(*) FROM few a JOIN (SELECT DISTINCT k FROM few) b ON a.k = b.k",
    "SELECT COUNT(*) FROM few WHERE twice IN (SELECT MAX(twice) FROM few)",
    "WITH c AS (SELECT id, k FROM facts), d AS (SELECT id + 1 AS next, k FROM c) "
    "SELECT k, COUNT(*), MAX(next) FROM d GROUP BY k ORDER BY k",
    "WITH c AS (SELECT id, k FROM facts WHERE k < 9) SELECT COUNT(*), MIN(b.id) FROM c a "
    "JOIN c b ON a.id = b.id + 41",
    "WITH c(a, b) AS (SELECT twice, k FROM few) SELECT b, MAX(a) FROM c GROUP BY b ORDER BY b",
    "WITH c AS (SELECT id FROM facts) SELECT (SELECT MAX(id) FROM c), COUNT(*) FROM ids",
};

TEST_F(RelationFlow, GivesTheRowsOfTablesThatAreKept) {
  Session kept = OpenAll(true);
  Session flowing = OpenAll(false);
  for (Session* const session : {&kept, &flowing}) {
    RunSql(*session, "CREATE VIEW v AS SELECT id, name FROM facts f JOIN dims d ON f.k = d.k");
    RunSql(*session, "CREATE VIEW few AS SELECT id * 2 AS twice, k, word FROM facts WHERE k < 20");
    RunSql(*session, "CREATE VIEW fewer (two, key) AS SELECT * FROM few WHERE word LIKE 'w1%'");
  }
  for (const char* const sql : kStatements) {
    EXPECT_EQ(RunSql(flowing, sql), RunSql(kept, sql)) << sql;
  }
  // And where sides go to temporary files.
  flowing.Set("JoinMemory", "1");
  for (const char* const sql : kStatements) {
    EXPECT_EQ(RunSql(flowing, sql), RunSql(kept, sql)) << sql;
  }
}

TEST_F(RelationFlow, TellsTheRowOfAnError) {
  Session kept = OpenAll(true);
  Session flowing = OpenAll(false);
  for (Session* const session : {&kept, &flowing})
    RunSql(*session, "CREATE VIEW inverse AS SELECT 1 / (id - 50003) AS a FROM facts");
  for (const char* const sql :
       {"SELECT COUNT(*) FROM facts f JOIN dims d ON f.k = d.k WHERE 1 / (f.id - 50003) < 5",
        "SELECT COUNT(*) FROM facts f JOIN dims d ON f.k / (f.id - 50003) = d.k",
        "SELECT COUNT(*) FROM facts f LEFT JOIN dims d ON f.k = d.k WHERE 1 / (f.id - 50003) < 5",
        "SELECT SUM(1 / (f.id - 50003)) FROM facts f JOIN dims d ON f.k = d.k",
        "SELECT SUM(a) FROM (SELECT 1 / (id - 50003) AS a FROM facts) s",
        "WITH s AS (SELECT 1 / (id - 50003) AS a FROM facts) SELECT SUM(a) FROM s",
        "SELECT SUM(a) FROM inverse"}) {
    const std::string error = Error(kept, sql);
    EXPECT_NE(error.find("@row"), std::string::npos) << error;
    EXPECT_EQ(Error(flowing, sql), error) << sql;
    EXPECT_EQ(RunSql(flowing, "SELECT COUNT(*) FROM facts"), std::to_string(kRows) + "\n");
  }
}

TEST_F(RelationFlow, KeepsNoRowsOfWhatIsReadOnce) {
  constexpr int kMany = 2'000'000;
  std::string many = "id\n";
  for (int i = 0; i < kMany; ++i) many += std::to_string(i) + '\n';
  folder_.Write("many.csv", many);
  Session session = OpenAll(false);
  // As a table the view takes 56 MB, and what comes of the file at once half of that.
  RunSql(session,
         "CREATE VIEW v AS SELECT id, id + 1.5e0 AS a, id * 2e0 AS b, id / 3e0 AS c FROM many");
  session.Set("MemoryLimit", "40MiB");
  const std::string rows = std::to_string(kMany) + "\n";
  EXPECT_EQ(RunSql(session, "SELECT COUNT(a + b + c) FROM v"), rows);
  EXPECT_EQ(RunSql(session, "WITH w AS (SELECT * FROM v) SELECT COUNT(a + b + c) FROM w"), rows);
  const std::string twice = Error(
      session, "WITH w AS (SELECT * FROM v) SELECT COUNT(*) FROM w a JOIN w b USING (a, b, c)");
  EXPECT_NE(twice.find("MemoryLimit"), std::string::npos) << twice;
}

TEST_F(RelationFlow, StartsAgainWhereALaterValueIsOfAnotherType) {
  std::string odd = "k,v\n";
  for (int i = 0; i < kRows; ++i) odd += std::to_string(i % 30) + ',' + std::to_string(i) + '\n';
  folder_.Write("odd.csv", odd + "7,seven\n");
  Session kept = OpenAll(true);
  Session flowing = OpenAll(false);
  for (const char* const sql :
       {"SELECT name, MAX(v), COUNT(*) FROM odd JOIN dims USING (k) GROUP BY name ORDER BY name",
        "SELECT k, v, name FROM odd JOIN dims USING (k) WHERE v LIKE 's%' OR v = '12'"}) {
    EXPECT_EQ(RunSql(flowing, sql), RunSql(kept, sql)) << sql;
  }
}

TEST_F(RelationFlow, EndsWhereItIsCancelled) {
  Session session = OpenAll(false);
  Cancellation cancellation;
  session.SetCancellation(&cancellation);
  int calls = 0;
  session.SetProgress(
      [&](uint64, uint64, bool) {
        if (++calls == 3) cancellation.Request();
      },
      nullptr);
  EXPECT_EQ(Error(session, "SELECT COUNT(*) FROM facts f JOIN dims d ON f.k = d.k"),
            "the statement was cancelled");
  cancellation.Withdraw();
  EXPECT_EQ(RunSql(session, "SELECT COUNT(*) FROM facts f JOIN ids USING (id)"),
            std::to_string((kRows + 147) / 149) + "\n");
}

TEST_F(RelationFlow, IsDescribedWithTheRowsOfEachJoin) {
  Session kept = OpenAll(true);
  Session flowing = OpenAll(false);
  const std::string sql =
      "SELECT COUNT(*) FROM facts f JOIN dims d ON f.k = d.k LEFT JOIN none n ON n.k = d.k";
  const std::string lines = RunSql(kept, "EXPLAIN " + sql);
  EXPECT_NE(lines.find("join f, d by 1 key: 60000 and 31 rows give"), std::string::npos) << lines;
  EXPECT_EQ(RunSql(flowing, "EXPLAIN " + sql), lines);
  const std::string analyzed = RunSql(flowing, "EXPLAIN ANALYZE " + sql);
  EXPECT_NE(analyzed.find("join f, d by 1 key: 60000 and 31 rows give"), std::string::npos)
      << analyzed;
}

TEST_F(RelationFlow, ReadsOfTablesWhatIsReadOfThoseThatChooseOfThem) {
  Session session = OpenAll(true);
  RunSql(session, "CREATE VIEW v AS SELECT * FROM facts");
  for (const char* const from :
       {"v", "(SELECT word AS w, id, k FROM v) s", "(SELECT id, k FROM v WHERE id > 3) s"}) {
    const std::string lines = RunSql(session, std::string("EXPLAIN SELECT MAX(id) FROM ") + from);
    EXPECT_EQ(lines.find("scan "), 0u) << lines;
  }
  RunSql(session, "SELECT MAX(id) FROM v");
  // The others are known by their names alone.
  EXPECT_NE(RunSql(session, "EXPLAIN SELECT MAX(id) FROM v").find("(1 of 4 columns)"),
            std::string::npos);
  EXPECT_EQ(RunSql(session, "SELECT MAX(w) FROM (SELECT word AS w, id FROM v WHERE id < 4) s"),
            "w3\n");
}

TEST_F(RelationFlow, ProfilesNodesOfQueriesThatBecomeTables) {
  Session session = OpenAll(true);
  const std::string lines =
      RunSql(session,
             "EXPLAIN ANALYZE (NODES) SELECT name, MAX(m + 1) FROM (SELECT k, MAX(id * 2) AS m "
             "FROM facts GROUP BY k) s JOIN dims USING (k) GROUP BY name");
  const std::size_t inner = lines.find("query:");
  const std::size_t join = lines.find("join s, dims");
  ASSERT_NE(inner, std::string::npos) << lines;
  ASSERT_NE(join, std::string::npos) << lines;
  const std::size_t product = lines.find("id * 2", inner);
  const std::size_t time = lines.find(" ms,", product);
  EXPECT_LT(product, time) << lines;
  EXPECT_LT(time, join) << lines;
}

}  // namespace
}  // namespace sqxer::test
