#include <gtest/gtest.h>

#include "PlanTesting.h"

namespace sqxer::testing {
namespace {

/// The windows and outputs of SELECT `rest`.
std::string Windows(const std::string& rest) {
  std::string out;
  for (const std::string& step : Split(Explain("SELECT " + rest), '\n'))
    if (step.starts_with("window") || step.starts_with("outputs"))
      out += (out.empty() ? "" : "\n") + step;
  return out;
}

TEST(WindowPlan, CallsOfTheSamePartitionsAndOrderShareAWindow) {
  // What ranks the rows itself needs no order of them. A named window may build on another one.
  ExpectResults(Windows, R"(
SUM(j) OVER w, COUNT(*) OVER w, RANK() OVER v FROM t WINDOW v AS (ORDER BY d), w AS (v ROWS UNBOUNDED PRECEDING)
  window: d:Float64; ConvertInt32toNumber(j:Int32); 1:Int32 | by 0 | order 0 | RunningSumNumber 1 |
    RunningCount 2
  window: d:Float64 | by 0 | Rank 0
  outputs: SUM(j) OVER w:Number; COUNT(*) OVER w:UInt32; RANK() OVER v:UInt32
MAX(i) OVER w, AVG(i) OVER w, MAX(i) OVER w, i FROM t WINDOW w AS (PARTITION BY i, s, i)
  window: i:Int32; s:LongVarXeChar; ConvertInt32toFloat64(i:Int32) | by 2 | Max 0 | AvgFloat64 2
  outputs: MAX(i) OVER w:Int32; AVG(i) OVER w:Float64; MAX(i) OVER w:Int32; i:Int32
RANK() /* ( */ OVER "a""(", MAX(i) OVER (/*)*/) FROM t WINDOW "a""(" AS ()
  window: 1:Int32; i:Int32 | by 0 | Rank 0 | Max 1
  outputs: RANK() /* ( */ OVER "a""(":UInt32; MAX(i) OVER (/*)*/):Int32
AVG_ALL(d) OVER () AS a, COUNT(DISTINCT s) OVER () FROM t ORDER BY a_average, RANK() OVER () - 1
  window: d:Float64; s:LongVarXeChar; 1:Int32 | by 0 | AvgAllFloat64 0 | Count 1 | Rank 2
  outputs: AVG_ALL(d) OVER ()_count:UInt32; AVG_ALL(d) OVER ()_average:Float64;
    AVG_ALL(d) OVER ()_standard_error:Float64; AVG_ALL(d) OVER ()_coefficient_of_variation:Float64;
    COUNT(DISTINCT s) OVER ():UInt32;
    SubtractNumber(ConvertUInt32toNumber(RANK() OVER ():UInt32), 1:Number)
)");
}

TEST(WindowPlan, FramesAndOrdersGoToTheirAggregates) {
  ExpectResults(Windows, R"(
SUM(d) OVER (ORDER BY s DESC NULLS FIRST ROWS 2 PRECEDING), AVG(i) OVER (ORDER BY s ROWS 1 + 1 PRECEDING) FROM t
  window: s:LongVarXeChar; d:Float64 | by 0 | order 0 desc first | SumFloat64 1
  window: s:LongVarXeChar; ConvertInt32toFloat64(i:Int32) | by 0 | order 0 | AvgFloat64 1
  outputs: SUM(d) OVER (ORDER BY s DESC NULLS FIRST ROWS 2 PRECEDING):Float64;
    AVG(i) OVER (ORDER BY s ROWS 1 + 1 PRECEDING):Float64
FIRST(i) OVER (ORDER BY d ROWS BETWEEN UNBOUNDED PRECEDING AND UNBOUNDED FOLLOWING) FROM t
  window: d:Float64; i:Int32 | by 0 | order 0 | First 1
  outputs: FIRST(i) OVER (ORDER BY d ROWS BETWEEN UNBOUNDED PRECEDING AND UNBOUNDED FOLLOWING):Int32
NTILE(4) OVER o, PERCENTILE(d) OVER o, TOP_N(d, 3) OVER (), BOTTOM_N(d, 3) OVER () FROM t WINDOW o AS (ORDER BY d DESC)
  window: d:Float64 | by 0 | Ntile 0 | Percentile 0 | PreferredN 0 | PreferredN 0
  outputs: NTILE(4) OVER o:UInt32; PERCENTILE(d) OVER o:Float64; TOP_N(d, 3) OVER ():UInt32;
    BOTTOM_N(d, 3) OVER ():UInt32
)");
}

// A rank by several keys has none that may be NULL; one key is taken as it is where its NULLs are
// last.
TEST(WindowPlan, RanksOverNulls) {
  ExpectResults(Windows, R"(
RANK() OVER (ORDER BY i DESC NULLS FIRST) AS a, RANK() OVER (ORDER BY i) AS b FROM t
  window: IsNullInt32(i:Int32); IfNull(i:Int32, 0:Int32); i:Int32 | by 0 | Rank 0 1 | Rank 2
  outputs: RANK() OVER (ORDER BY i DESC NULLS FIRST):UInt32; RANK() OVER (ORDER BY i):UInt32
RANK() OVER (ORDER BY s IS NULL, c, dt) FROM t
  window: IsNullLongVarXeChar(s:LongVarXeChar); IsNullXeChar(c:XeChar); IfNull(c:XeChar, '     ':XeChar);
    IsNullDate(dt:Date); IfNull(dt:Date, 2000-01-01:Date) | by 0 | Rank 0 1 2 3 4
  outputs: RANK() OVER (ORDER BY s IS NULL, c, dt):UInt32
)");
}

TEST(WindowPlan, WindowsOverGroups) {
  ExpectResults(Explain, R"(
SELECT s, RANK() OVER (ORDER BY SUM(d)) AS r, SUM(SUM(d)) OVER () FROM t GROUP BY s ORDER BY r
  keys: s:LongVarXeChar
  inputs: d:Float64
  aggregates: SUM(d)
  window: SUM(d):Float64 | by 0 | Rank 0 | SumFloat64 0
  outputs: s:LongVarXeChar; RANK() OVER (ORDER BY SUM(d)):UInt32; SUM(SUM(d)) OVER ():Float64
  names: s, r, sum
  order: 1
)");
}

TEST(WindowPlan, Errors) {
  const auto place = [](const std::string& rest) {
    return Split(ErrorOf("SELECT " + rest), ':')[0];
  };
  ExpectResults(place, R"(
i FROM t WHERE RANK() OVER () = 1 => 58038 @22 ;; i FROM t GROUP BY RANK() OVER () => 58038 @25
SUM(RANK() OVER ()) FROM t => 58038 @11 ;; SUM(RANK() OVER ()) OVER () FROM t => 58038 @11
i FROM t LIMIT RANK() OVER () => 58038 @22 ;; i FROM t HAVING RANK() OVER () = 1 => 58038 @23
RANK() OVER () r FROM t GROUP BY r => 58038 @40 ;; RANK() OVER () FROM t GROUP BY 1 => 58038 @38
RANK() OVER (ORDER BY RANK() OVER ()) FROM t => 58038 @29 ;; RANK() FROM t => 58039 @7
UPPER(s) OVER () FROM t => 58042 @7 ;; JSON_VALUE(s, '$') OVER () FROM t => 58042 @7
RANK(1) OVER () FROM t => 58013 @7 ;; RANK(*) OVER () FROM t => 58013 @7
TOP_N(i, 2) OVER (ROWS 1 PRECEDING) FROM t => 58043 @7 ;; PERCENTILE(i) OVER (ROWS 1 PRECEDING) FROM t => 58043 @7
RANK() OVER (ROWS 1 PRECEDING) FROM t => planned ;; LAG(i) OVER (ORDER BY s, d RANGE 1 PRECEDING) FROM t => 58049 @19
LAG(i, d) OVER (ORDER BY i) FROM t => 59001 @7 ;; LAG(i, 1, s) OVER (ORDER BY i) FROM t => 59021 @17
SUM(i) OVER (ROWS -1 PRECEDING) FROM t => 58017 @25 ;; SUM(1) OVER (ROWS NULL PRECEDING) => 58017 @25
SUM(i) OVER (ROWS j PRECEDING) FROM t => 58017 @25 ;; SUM(1) OVER (ROWS 5000000000 PRECEDING) => planned
NTILE(i) OVER (ORDER BY j) FROM t => 58035 @13 ;; NTILE(1.5) OVER (ORDER BY j) FROM t => 59001 @13
NTILE(2) OVER (ORDER BY s) FROM t => 59001 @7 ;; NTILE(2) OVER () FROM t => 58044 @7
PERCENTILE(i) OVER (ORDER BY j) FROM t => 58044 @7 ;; TOP_N(i, 2) OVER (ORDER BY i) FROM t => 58044 @7
RANK() OVER w FROM t WINDOW v AS () => 58036 @19 ;; 1 WINDOW a AS (b), b AS () => 58036 @21
1 WINDOW w AS (), w AS () => 58015 @30 ;; 1 FROM t WINDOW w AS (ORDER BY no) => 59015 @38
RANK() OVER (w ORDER BY i) FROM t WINDOW w AS (ORDER BY i) => 58037 @19
RANK() OVER (w PARTITION BY i) FROM t WINDOW w AS () => 58037 @19
SUM(i) OVER (w) FROM t WINDOW w AS (ROWS 1 PRECEDING) => 58037 @19
i, RANK() OVER (ORDER BY SUM(j)) FROM t => 58008 @7 ;; RANK() FILTER (WHERE b) OVER (ORDER BY i) FROM t => 58046 @28
)");
}

}  // namespace
}  // namespace sqxer::testing
