#include <gtest/gtest.h>

#include <random>

#include "EngineError.h"
#include "QueryRun.h"
#include "SessionTesting.h"
#include "Utility/SqrtSorter.h"
#include "support/Stub.h"

namespace sqxer::test {
namespace {

class QueryRunTest : public SessionTest {
 protected:
  ~QueryRunTest() override {
    SqrtSorter::SetInitialBufferBytes(buffer_);
    GroupTable::SetMostOwnSets(ownSets_);
  }

  const std::size_t buffer_ = SqrtSorter::GetInitialBufferBytes();
  const std::size_t ownSets_ = GroupTable::GetMostOwnSets();
};

/// Rows whose groups are spread over the whole table, with keys that are equal without having equal
/// bytes: trailing blanks, -0.0 and 0.0, NaN, 1.5 and 1.50.
std::string ManyGroups() {
  std::string content = "k,f,n,x,y,s\n";
  const char* const reals[] = {"0", "-0", "NaN", "2.5", ""};
  const char* const numbers[] = {"1.5", "1.50", "3", ""};
  uint32 random = 12345;
  for (int i = 0; i < 1500; ++i) {
    random = random * 1664525 + 1013904223;
    const uint32 key = (random >> 16) % 40;
    content += (key == 0 ? "" : "key" + std::to_string(key) + (i % 2 ? "  " : "")) + ",";
    content += reals[key % 5] + std::string(",") + numbers[(random >> 8) % 4] + ",";
    content += (i % 11 == 0 ? "" : std::to_string(static_cast<int>(random >> 20) - 2000)) + ",";
    content += std::to_string(i % 13) + ".25,text" + std::to_string((random >> 12) % 9) + "\n";
  }
  return content;
}

TEST_F(QueryRunTest, GivesTheSameGroupsWhateverTheMemory) {
  Session session = Open(ManyGroups(), "k:varchar(8),f:double,n:numeric");
  const std::string queries[] = {
      "SELECT k, COUNT(*), COUNT(x), SUM(x), AVG(y), MIN(s), MAX(s), FIRST(x), LAST(x) "
      "FROM t GROUP BY k",
      "SELECT k, f, n, RANGE(x), AVG_ALL(y), NULL_IF_NOT_UNIQUE(s) FROM t GROUP BY k, f, n",
      "SELECT f, COUNT(DISTINCT x), SUM(DISTINCT x), COUNT(DISTINCT s) FROM t GROUP BY f",
      "SELECT n, COUNT(*) AS c FROM t GROUP BY n HAVING COUNT(*) > 10 ORDER BY c DESC, n LIMIT 2",
      "SELECT k, s, SUM(x + 1) FROM t WHERE y > 2 GROUP BY k, s ORDER BY 3 NULLS FIRST, 1 OFFSET 3",
      "SELECT DISTINCT k, n FROM t",
      "SELECT DISTINCT k FROM t ORDER BY k DESC LIMIT 7 OFFSET 2",
      "SELECT DISTINCT COUNT(*) FROM t GROUP BY k, s",
      "SELECT SUM(x), COUNT(DISTINCT y) FROM t",
      "SELECT * FROM t ORDER BY s, k DESC NULLS FIRST, y",
      // Windows: in one pass, over all rows, sorted, wide, of groups, several at once.
      "SELECT SUM(x) OVER (ROWS UNBOUNDED PRECEDING), MIN(k) OVER (ROWS UNBOUNDED PRECEDING) FROM "
      "t WHERE y > 2",
      "SELECT y, RANK() OVER (ORDER BY k, x), TOP_N(x, 40) OVER (), SUM(x) OVER () FROM t",
      "SELECT TOP_N(x, 3) OVER (PARTITION BY k), RANGE(x) OVER (PARTITION BY k), COUNT(*) OVER "
      "(PARTITION BY k ROWS UNBOUNDED PRECEDING), RANK() OVER (PARTITION BY k ORDER BY f) FROM t",
      "SELECT s, LISTAGG(s) OVER (PARTITION BY f, n), AVG_ALL(x) OVER (PARTITION BY k) FROM t",
      "SELECT s, LAST(x) OVER (PARTITION BY n ORDER BY x DESC NULLS FIRST ROWS BETWEEN UNBOUNDED "
      "PRECEDING AND UNBOUNDED FOLLOWING), NTILE(5) OVER (ORDER BY y) FROM t WHERE x > 0 LIMIT 99",
      "SELECT k, n, MAX(y), RANK() OVER (PARTITION BY n ORDER BY MAX(x)), SUM(COUNT(*)) OVER "
      "(ORDER BY k ROWS UNBOUNDED PRECEDING) FROM t GROUP BY k, n HAVING COUNT(*) > 5",
      "SELECT DISTINCT n, COUNT(*) OVER (PARTITION BY n, f) FROM t ORDER BY 2, n",
  };
  for (const std::string& sql : queries) {
    SCOPED_TRACE(sql);
    session.Set("GroupMemory", "256MiB");
    SqrtSorter::SetInitialBufferBytes(std::size_t{256} << 10);
    const std::string expected = RunSql(session, sql);
    EXPECT_FALSE(expected.empty());
    for (const uint64 memory : {1, 3000, 20000, 400000}) {
      for (const std::size_t buffer : {std::size_t{1} << 10, std::size_t{256} << 10}) {
        session.Set("GroupMemory", std::to_string(memory));
        SqrtSorter::SetInitialBufferBytes(buffer);
        EXPECT_EQ(RunSql(session, sql), expected) << memory << " " << buffer;
      }
    }
  }
}

TEST_F(QueryRunTest, GivesTheSameGroupsWhenAggregatesTakeTurns) {
  std::mt19937 random(7);
  const auto any = [&](const auto& list) { return std::string(list[random() % std::size(list)]); };
  const char* const texts[] = {"a", "a ", "longer", ""};
  const char* const days[] = {"1999-12-31", "2000-01-01", ""};
  const char* const reals[] = {"0", "-0", "NaN", "2.5", ""};
  std::string content = "i,b,s,c,d,f\n";
  for (int i = 0; i < 2000; ++i) {
    content += (i % 9 == 0 ? "" : std::to_string(random() % 600)) + "," +
               std::to_string(random() >> 2) + "," + std::string(random() % 90, 'x') + "," +
               any(texts) + "," + any(days) + "," + any(reals) + "\n";
  }
  Session session = Open(content, "i:int2,b:int4,c:char(6),d:date,f:double");
  const char* const keys[] = {"i", "c", "d", "f", "b", "s", "i, c", "c, d, s"};
  // Some have no state to take turns with, and some sums leave their type.
  const char* const aggregates[] = {"COUNT(*)", "COUNT(i)", "SUM(b)",     "AVG(b)",   "AVG(f)",
                                    "MIN(c)",   "MAX(d)",   "FIRST(i)",   "LAST(f)",  "MIN(s)",
                                    "SUM(i)",   "RANGE(f)", "AVG_ALL(i)", "MEDIAN(i)"};
  session.Set("IntegerAggregates", "native");
  const uint64 memory = session.GetSettings()->GetSwitches().groupMemory_;
  int failures = 0;
  for (int query = 0; query < 40; ++query) {
    const std::string key = any(keys), sql = "SELECT " + key + ", " + any(aggregates) + ", " +
                                             any(aggregates) + " FROM t GROUP BY " + key;
    SCOPED_TRACE(sql);
    session.Set("Evaluation", query % 2 == 0 ? "rows" : "batches");
    const auto run = [&](std::size_t ownSets, uint64 groupMemory) {
      GroupTable::SetMostOwnSets(ownSets);
      session.Set("GroupMemory", std::to_string(groupMemory));
      CapturingSink sink;
      const std::string error = ErrorOf("", [&] { session.Execute(sql, sink, 2); });
      if (error != "no error") return error;
      std::string lines;
      for (const auto& row : sink.rows) lines += RowText(row) + '\n';
      return lines;
    };
    const std::string expected = run(1u << 30, memory);
    const bool fails = expected.find("overflowed") != std::string::npos;
    failures += fails;
    for (const std::size_t ownSets : {0, 50}) {
      EXPECT_EQ(run(ownSets, memory), expected) << ownSets;
      // Which error comes first depends on which groups are in memory.
      EXPECT_TRUE(fails || run(ownSets, 20000) == expected) << ownSets;
    }
  }
  EXPECT_TRUE(failures > 2 && failures < 20) << failures;
}

TEST_F(QueryRunTest, HoldsManyValuesTogetherAsEachGroupWouldByItself) {
  std::mt19937 random(11);
  // Values and texts by the thousand, of which some lie close together and others do not, and that
  // come first in a narrow and then in a wide range.
  std::string content = "g,i,near,x,t,n\n";
  constexpr unsigned kRows = 40000;
  for (unsigned row = 0; row < kRows; ++row) {
    const unsigned any = random();
    const unsigned width = row < kRows / 2 ? 5000 : 9000000;
    content += std::to_string(row * 7 / kRows) + "," + std::to_string(any % 2000000000) + "," +
               std::to_string(4000000 - static_cast<int>(any % width)) + "," +
               std::to_string(any % 20000) + ".5," + std::string(40 + any % 5, 'y') +
               std::to_string(any % 30000) + (any % 3 == 0 ? " ," : ",") +
               std::to_string(any % 500) + (any % 2 == 0 ? ".50" : ".125") + "\n";
  }
  Session session = Open(content, "g:int4,i:int4,near:int4,x:double,t:varchar(60),n:numeric");
  const std::vector<std::string> queries = {
      "SELECT COUNT(DISTINCT i), COUNT(DISTINCT near), COUNT(DISTINCT t), SUM(DISTINCT n) FROM t",
      "SELECT g, COUNT(DISTINCT i), COUNT(DISTINCT near), COUNT(DISTINCT x), SUM(DISTINCT x), "
      "MEDIAN(x), LISTAGG(n) FROM t GROUP BY g",
      "SELECT near, COUNT(*), SUM(x), MEDIAN(i), COUNT(DISTINCT g) FROM t GROUP BY near",
      "SELECT x, COUNT(DISTINCT t), COUNT(*) FROM t GROUP BY x",
      "SELECT i, COUNT(*), MAX(t) FROM t GROUP BY i ORDER BY 1 LIMIT 100",
  };
  for (const std::string& sql : queries) {
    SCOPED_TRACE(sql);
    session.Set("Evaluation", "rows");
    session.Set("GroupMemory", "1GiB");
    const std::string expected = RunSql(session, sql);
    session.Set("Evaluation", "batches");
    for (const char* const memory : {"1GiB", "4MiB", "200000", "1"}) {
      session.Set("GroupMemory", memory);
      EXPECT_TRUE(RunSql(session, sql) == expected) << memory;
    }
  }
}

TEST_F(QueryRunTest, KeepsOneSetOfAggregatesForGroupsBeyondTheFirst) {
  /// Tells how many blocks of memory there are while groups are given.
  struct CountingSink : CapturingSink {
    void Row(const uint8* record) override {
      most = std::max(most, MemoryGateway::BlocksInUse());
      CapturingSink::Row(record);
    }
    std::size_t most = 0;
  };
  constexpr int kGroups = 2000;
  std::string content = "k,x\n";
  for (int i = 0; i < 2 * kGroups; ++i) {
    content += std::to_string(i % kGroups) + "," + std::to_string(i) + "\n";
  }
  Session session = Open(content);
  // In batches no group has a set.
  session.Set("Evaluation", "rows");
  const auto countBlocks = [&](std::size_t ownSets) {
    GroupTable::SetMostOwnSets(ownSets);
    CountingSink sink;
    session.Execute("SELECT k, COUNT(*), SUM(x), MIN(x), STDDEV(x) FROM t GROUP BY k", sink);
    EXPECT_EQ(sink.rows.size(), kGroups);
    return sink.most;
  };
  const std::size_t few = countBlocks(0);
  EXPECT_GT(countBlocks(kGroups / 2), few + kGroups / 2);
  EXPECT_LT(countBlocks(kGroups / 2) - few, countBlocks(kGroups) - few - kGroups);
}

TEST_F(QueryRunTest, ReportsTheInputRowOfAnError) {
  Session session = Open("a,b\n3,2147483647\n1,1\n0,5\n1,1\n", "a:int4,b:int4");
  const std::string divided =
      "division by zero: leave out the rows whose divisor is 0, or make it NULL there";
  for (const char* sql :
       {"SELECT 6 / a FROM t", "SELECT a FROM t WHERE 6 / a > 1", "SELECT SUM(6 / a) FROM t",
        "SELECT COUNT(*) FROM t GROUP BY 6 / a", "SELECT a FROM t ORDER BY 6 / a"}) {
    EXPECT_EQ(Error(session, sql), divided + " @row 3") << sql;
  }
  EXPECT_EQ(Error(session, "SELECT 6 / (COUNT(*) - 4) FROM t"), divided);

  session.Set("IntegerAggregates", "native");
  const std::string overflowed =
      "SumInt32 overflowed: the result is beyond the limit 2147483647 @row 2";
  EXPECT_EQ(Error(session, "SELECT SUM(b) FROM t"), overflowed);
  session.Set("GroupMemory", "1");
  EXPECT_EQ(Error(session, "SELECT a > 2, SUM(b) FROM t GROUP BY a > 2"), "no error");
  EXPECT_EQ(Error(session, "SELECT a >= 0, SUM(b) FROM t GROUP BY a >= 0"), overflowed);
  SqrtSorter::SetInitialBufferBytes(1024);
  std::string rows = "a\n";
  for (int i = 0; i < 3000; ++i) rows += std::to_string(i) + "\n";
  Session large = Open(rows);
  large.Set("TempDirectory", folder_.File("nowhere"));
  EXPECT_EQ(Error(large, "SELECT a FROM t ORDER BY a DESC"),
            "sorting cannot write temporary files in \"nowhere\": No such file or directory");
}

TEST_F(QueryRunTest, RunsOverTablesInMemoryAndRepeats) {
  auto table = std::make_shared<Table>();
  table->schema.name = L"Memory";
  table->rowCount = 2;
  table->schema.columns = {{L"n", XeInt2Data, 2, 0, false}};
  static const int16 values[] = {-5, 7};
  ColumnVector column;
  column.form = ColumnForm::kInt16;
  column.rows = 2;
  column.values = reinterpret_cast<const uint8*>(values);
  table->chunks.push_back({2, {column}});
  Session session;
  session.AddTable(table);
  CapturingSink sink;
  session.Execute("SELECT n, n + 1 FROM memory ORDER BY n DESC", sink, 3);
  ASSERT_EQ(sink.rows.size(), 2u);
  EXPECT_EQ(sink.rows[0][0], "7");
  EXPECT_EQ(sink.columns[0].type, XeInt2Data);
  EXPECT_EQ(sink.columns[1].type, XeInt4Data);
  session.Execute("SELECT COUNT(DISTINCT n), COUNT(*) FROM memory", sink, 3);
  EXPECT_EQ(sink.rows[0][1], "2");
}

TEST_F(QueryRunTest, HoldsTheValuesOfGroupsWithinTheirMemory) {
  std::string rows = "a,b\n";
  for (int i = 0; i < 20000; ++i) rows += std::to_string(i % 9) + "," + std::to_string(i) + "\n";
  Session session = Open(rows);
  // Few groups of many values, and a group for each value.
  for (const auto& [key, memory] : {std::pair<std::string, uint64>("a", 100000), {"b", 1000000}}) {
    struct : CapturingSink {
      void Row(const uint8*) override { most = std::max(most, MemoryGateway::BytesInUse()); }
      std::size_t most = 0;
    } sink;
    session.Set("GroupMemory", std::to_string(memory));
    session.Execute("SELECT MEDIAN(b) FROM t GROUP BY " + key, sink);
    EXPECT_LT(sink.most, memory * 3 / 2) << key;
  }
}

/// A plan of one output, whose tree breaks the contract in some way.
template <class Value>
std::string ErrorOfOutput(Stub<Value>* stub, const ColumnInfo& result) {
  QueryPlan plan;
  plan.outputs.push_back({std::unique_ptr<RExpression>(stub), result, 0});
  plan.visibleOutputs = 1;
  return ErrorOf("", [&] {
    QueryRun run(std::move(plan), nullptr);
    CapturingSink sink;
    run.Run(sink);
  });
}

TEST_F(QueryRunTest, RefusesTreesThatBreakTheirContract) {
  const ColumnInfo number{L"n", XeInt4Data, 4, 0, false};
  EXPECT_EQ(ErrorOfOutput(new Stub<int32>(XeInt4Data, 1), number), "no error");
  EXPECT_EQ(ErrorOfOutput(new Stub<int32>(XeInt4Data, 1, kUnknown), number),
            "an expression that is never NULL gave NULL for the column \"n\"");
  for (const RExprReturn status : {kFalse, kError, kEod}) {
    EXPECT_EQ(ErrorOfOutput(new Stub<int32>(XeInt4Data, 1, status), number),
              "an expression ended with a status that is neither a value nor NULL: " +
                  std::to_string(status));
  }
  EXPECT_EQ(ErrorOfOutput(new Stub<float64>(XeDoubleData, 1), number),
            "an expression gave another type than was planned for the column \"n\": DOUBLE");
  wchar_t characters[] = L"long";
  EXPECT_EQ(ErrorOfOutput(new Stub<RefLongVarChar>(XeLongVarCharData, {4, characters}, kTrue, 4),
                          {L"s", XeLongVarCharData, 3, 0, false}),
            "a text is longer than the 3 characters of the column \"s\"");
}

}  // namespace
}  // namespace sqxer::test
