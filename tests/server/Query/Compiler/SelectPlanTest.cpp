#include <gtest/gtest.h>

#include "PlanTesting.h"
#include "Utility/SUSystemConfig.h"

namespace sqxer::testing {
namespace {

struct Case {
  const char* sql;
  const char* plan;
};

void ExpectPlans(std::initializer_list<Case> cases) {
  for (const Case& c : cases) EXPECT_EQ(Explain(c.sql), c.plan) << c.sql;
}

TEST(SelectPlan, ClausesWithoutGroups) {
  ExpectPlans({
      {"SELECT i, s AS name FROM t WHERE d > 1 ORDER BY name DESC NULLS FIRST, n, 1 LIMIT 10 "
       "OFFSET 2",
       "filter: GTFloat64(ExtractFloat64 d, ConstantFloat64 1)\n"
       "outputs: ExtractInt32 i; ExtractLongVarXeChar s; ExtractNumber n\n"
       "names: i, name\n"
       "order: 1 desc first, 2, 0\n"
       "limit: 10\n"
       "offset: 2\n"},
      // ORDER BY means a result column before it means one of the table.
      {"SELECT -i AS j FROM t ORDER BY j, j + 1",
       "outputs: UnaryMinusInt32(ExtractInt32 i); AddInt32(ExtractInt32 j, ConstantInt32 1)\n"
       "names: j\n"
       "order: 0, 1\n"},
      {"SELECT DISTINCT i + 1, i FROM t ORDER BY i + 1 LIMIT ALL OFFSET 1 + 1",
       "outputs: AddInt32(ExtractInt32 i, ConstantInt32 1); ExtractInt32 i\n"
       "names: ?column?, i\n"
       "order: 0\n"
       "distinct: yes\n"
       "offset: 2\n"},
      {"SELECT x.I, X.only, \"Cost Repair\", \"DUP\" FROM \"data/t.csv\" AS x",
       "outputs: ExtractInt32 i; ExtractInt32 Only; ExtractInt32 Cost Repair; ExtractInt32 DUP\n"
       "names: i, Only, Cost Repair, DUP\n"},
      {"SELECT 1, 'a'",
       "outputs: ConstantInt32 1; ConstantLongVarXeChar 'a'\nnames: ?column?, ?column?\n"},
      {"SELECT i FROM t WHERE b LIMIT 5000000000",
       "filter: ExtractBoolean b\noutputs: ExtractInt32 i\nnames: i\nlimit: 5000000000\n"},
  });
}

TEST(SelectPlan, StarReadsEveryColumnAndOthersOnlyTheirOwn) {
  EveryTypeCatalog catalog;
  QueryPlan all = CompileStatement("SELECT *, t.* FROM t", catalog);
  std::size_t columns = catalog.GetTable().columns.size();
  EXPECT_EQ(all.scanColumns.size(), columns);
  EXPECT_EQ(all.visibleOutputs, static_cast<int>(2 * columns));

  QueryPlan some = CompileStatement("EXPLAIN SELECT j + i FROM t WHERE i > 1 AND j > i", catalog);
  EXPECT_EQ(some.scanColumns, (std::vector<uint16>{0, 1}));
  EXPECT_TRUE(some.explain);
  EXPECT_FALSE(some.grouped);
  EXPECT_EQ(some.table, L"t");
}

TEST(SelectPlan, Groups) {
  ExpectPlans({
      {"SELECT s, COUNT(*) AS many, SUM(i) FROM t WHERE i > 5 GROUP BY s HAVING SUM(i) > 10 AND "
       "many > 3 "
       "ORDER BY many DESC, MIN(d)",
       "filter: GTInt32(ExtractInt32 i, ConstantInt32 5)\n"
       "keys: ExtractLongVarXeChar s\n"
       "inputs: ConvertInt32toNumber(ExtractInt32 i); ExtractFloat64 d\n"
       "aggregates: CountStar COUNT(*); SumNumber SUM(i); Min MIN(d)\n"
       "having: LogicalAnd(GTNumber(ExtractNumber SUM(i), ConstantNumber 10), "
       "GTUInt32(ExtractUInt32 COUNT(*), ConstantUInt32 3))\n"
       "outputs: ExtractLongVarXeChar s; ExtractUInt32 COUNT(*); ExtractNumber SUM(i); "
       "ExtractFloat64 MIN(d)\n"
       "names: s, many, sum\n"
       "order: 1 desc, 3\n"},
      // A key is found again wherever the same computation is written.
      {"SELECT (i + 1) * 2, i + 1 AS k FROM t GROUP BY k ORDER BY 2",
       "keys: AddInt32(ExtractInt32 i, ConstantInt32 1)\n"
       "outputs: MultiplyInt32(ExtractInt32 key 1, ConstantInt32 2); ExtractInt32 key 1\n"
       "names: ?column?, k\n"
       "order: 1\n"},
      {"SELECT i1 FROM t GROUP BY 1, i1",
       "keys: ExtractInt8 i1\noutputs: ExtractInt8 i1\nnames: i1\n"},
      {"SELECT 1 FROM t HAVING COUNT(i) > 0",
       "inputs: ExtractInt32 i\n"
       "aggregates: Count COUNT(i)\n"
       "having: GTUInt32(ExtractUInt32 COUNT(i), ConstantUInt32 0)\n"
       "outputs: ConstantInt32 1\n"
       "names: ?column?\n"},
      {"SELECT SUM(2)",
       "inputs: ConstantNumber 2\naggregates: SumNumber SUM(2)\noutputs: ExtractNumber SUM(2)\n"
       "names: sum\n"},
  });
}

TEST(SelectPlan, AggregatesWithSeveralResultsTakeThatManyColumns) {
  ExpectPlans({
      {"SELECT RANGE(d), AVG_ALL(i) AS a FROM t ORDER BY a_average, 2",
       "inputs: ExtractFloat64 d; ConvertInt32toFloat64(ExtractInt32 i)\n"
       "aggregates: RangeFloat64 RANGE(d); AvgAllFloat64 AVG_ALL(i)\n"
       "outputs: ExtractFloat64 RANGE(d)_max; ExtractFloat64 RANGE(d)_min; "
       "ExtractUInt32 AVG_ALL(i)_count; ExtractFloat64 AVG_ALL(i)_average; "
       "ExtractFloat64 AVG_ALL(i)_standard_error; "
       "ExtractFloat64 AVG_ALL(i)_coefficient_of_variation\n"
       "names: range_max, range_min, a_count, a_average, a_standard_error, "
       "a_coefficient_of_variation\n"
       "order: 3, 1\n"},
  });
}

TEST(SelectPlan, IntegerAggregatesAreWidenedUnlessNative) {
  const char* sql =
      "SELECT SUM(i1), SUM(DISTINCT u), AVG(i), AVG(n), MAX(i1), COUNT(*) - 5, -COUNT(i) FROM t";
  ExpectPlans({{sql,
                "inputs: ConvertInt32toNumber(ExtractInt32 i1); "
                "ConvertUInt32toNumber(ExtractUInt32 u); ConvertInt32toFloat64(ExtractInt32 i); "
                "ExtractNumber n; ExtractInt8 i1; ExtractInt32 i\n"
                "aggregates: SumNumber SUM(i1); SumNumber SUM(DISTINCT u); AvgFloat64 AVG(i); "
                "AvgNumber AVG(n); Max MAX(i1); CountStar COUNT(*); Count COUNT(i)\n"
                "outputs: ExtractNumber SUM(i1); ExtractNumber SUM(DISTINCT u); "
                "ExtractFloat64 AVG(i); ExtractNumber AVG(n); ExtractInt8 MAX(i1); "
                "SubtractNumber(ConvertUInt32toNumber(ExtractUInt32 COUNT(*)), ConstantNumber 5); "
                "UnaryMinusNumber(ConvertUInt32toNumber(ExtractUInt32 COUNT(i)))\n"
                "names: sum, sum, avg, avg, max, ?column?, ?column?\n"}});
  SUSystemConfig::GetSystemConfig().wideIntegerAggregates_ = false;
  ExpectPlans({{sql,
                "inputs: ExtractInt8 i1; ExtractUInt32 u; ExtractInt32 i; ExtractNumber n\n"
                "aggregates: SumInt32 SUM(i1); SumUInt32 SUM(DISTINCT u); AvgInt32 AVG(i); "
                "AvgNumber AVG(n); Max MAX(i1); CountStar COUNT(*); Count COUNT(i)\n"
                "outputs: ExtractInt32 SUM(i1); ExtractUInt32 SUM(DISTINCT u); "
                "ExtractInt32 AVG(i); ExtractNumber AVG(n); ExtractInt8 MAX(i1); "
                "SubtractUInt32(ExtractUInt32 COUNT(*), ConstantUInt32 5); "
                "UnaryMinusNumber(ConvertUInt32toNumber(ExtractUInt32 COUNT(i)))\n"
                "names: sum, sum, avg, avg, max, ?column?, ?column?\n"}});
  SUSystemConfig::GetSystemConfig().wideIntegerAggregates_ = true;
}

}  // namespace
}  // namespace sqxer::testing
