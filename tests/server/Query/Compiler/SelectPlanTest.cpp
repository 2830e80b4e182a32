#include <gtest/gtest.h>

#include "PlanTesting.h"

namespace sqxer::testing {
namespace {

TEST(SelectPlan, ClausesWithoutGroups) {
  // ORDER BY means a result column before it means one of the table.
  ExpectResults(Explain, R"(
SELECT i, s AS x FROM t WHERE d > 1 ORDER BY x DESC NULLS FIRST, n, 1 LIMIT 5000000000 OFFSET 2
  filter: GTFloat64(d:Float64, 1:Float64)
  outputs: i:Int32; s:LongVarXeChar; n:Number
  names: i, x
  order: 1 desc first, 2, 0
  limit: 5000000000
  offset: 2
SELECT DISTINCT i + 1, i FROM t ORDER BY i + 1 LIMIT ALL OFFSET 1 + 1
  outputs: AddInt32(i:Int32, 1:Int32); i:Int32
  names: ?column?, i
  order: 0
  distinct: yes
  offset: 2
SELECT x.I, X.only, "Cost Repair", "DUP" FROM "data/t.csv" AS x
  outputs: i:Int32; Only:Int32; Cost Repair:Int32; DUP:Int32
  names: i, Only, Cost Repair, DUP
)");
}

TEST(SelectPlan, StarReadsEveryColumnAndOthersOnlyTheirOwn) {
  EveryTypeCatalog catalog;
  const QueryPlan all = CompileStatement("SELECT *, t.* FROM t", catalog);
  EXPECT_EQ(all.scanColumns.size(), catalog.table.columns.size());
  EXPECT_EQ(all.outputs.size(), 2 * catalog.table.columns.size());
  const QueryPlan some = CompileStatement("SELECT j + i FROM t WHERE i > 1", catalog);
  EXPECT_EQ(some.scanColumns, (std::vector<uint16>{0, 1}));
}

TEST(SelectPlan, ReadsTheClockWhereNoMomentIsGiven) {
  EveryTypeCatalog catalog;
  EXPECT_EQ(CompileStatement("SELECT i FROM t WHERE dt <= CURRENT_DATE", catalog).outputs.size(),
            1u);
}

TEST(SelectPlan, Groups) {
  // A key is found again wherever the same computation is written.
  ExpectResults(Explain, R"(
SELECT s, COUNT(*) AS k, SUM(i) FROM t GROUP BY s HAVING SUM(i) > 10 ORDER BY k DESC, MIN(d)
  keys: s:LongVarXeChar
  inputs: ConvertInt32toNumber(i:Int32); d:Float64
  aggregates: COUNT(*); SUM(i); MIN(d)
  having: GTNumber(SUM(i):Number, 10:Number)
  outputs: s:LongVarXeChar; COUNT(*):UInt32; SUM(i):Number; MIN(d):Float64
  names: s, k, sum
  order: 1 desc, 3
SELECT (i + 1) * 2, i + 1 AS k FROM t GROUP BY k, 2, i + 1 ORDER BY 2
  keys: AddInt32(i:Int32, 1:Int32)
  outputs: MultiplyInt32(key 1:Int32, 2:Int32); key 1:Int32
  names: ?column?, k
  order: 1
SELECT RANGE(d), AVG_ALL(i) AS a FROM t ORDER BY a_standard_error, 2
  inputs: d:Float64; ConvertInt32toFloat64(i:Int32)
  aggregates: RANGE(d); AVG_ALL(i)
  outputs: RANGE(d)_max:Float64; RANGE(d)_min:Float64; AVG_ALL(i)_count:UInt32;
    AVG_ALL(i)_average:Float64; AVG_ALL(i)_standard_error:Float64;
    AVG_ALL(i)_coefficient_of_variation:Float64
  names: range_max, range_min, a_count, a_average, a_standard_error, a_coefficient_of_variation
  order: 4, 1
)");
}

TEST(SelectPlan, IntegerAggregatesAreWidenedUnlessNative) {
  ConfigScope config;
  ExpectResults(Explain, R"(
SELECT SUM(i1), SUM(DISTINCT u), AVG(i), AVG(n), MAX(i1), COUNT(*) - 5 FROM t
  inputs: ConvertInt32toNumber(i1:Int32); ConvertUInt32toNumber(u:UInt32);
    ConvertInt32toFloat64(i:Int32); n:Number; i1:Int8
  aggregates: SUM(i1); SUM(DISTINCT u); AVG(i); AVG(n); MAX(i1); COUNT(*)
  outputs: SUM(i1):Number; SUM(DISTINCT u):Number; AVG(i):Float64; AVG(n):Number; MAX(i1):Int8;
    SubtractNumber(ConvertUInt32toNumber(COUNT(*):UInt32), 5:Number)
  names: sum, sum, avg, avg, max, ?column?
)");
  config->wideIntegerAggregates_ = false;
  ExpectResults(Explain, R"(
SELECT SUM(i1), SUM(DISTINCT u), AVG(i), COUNT(*) - 5 FROM t
  inputs: i1:Int8; u:UInt32; i:Int32
  aggregates: SUM(i1); SUM(DISTINCT u); AVG(i); COUNT(*)
  outputs: SUM(i1):Int32; SUM(DISTINCT u):UInt32; AVG(i):Int32;
    SubtractUInt32(COUNT(*):UInt32, 5:UInt32)
  names: sum, sum, avg, ?column?
)");
}

}  // namespace
}  // namespace sqxer::testing
