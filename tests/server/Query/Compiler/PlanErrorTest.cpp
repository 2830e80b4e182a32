#include <gtest/gtest.h>

#include "PlanTesting.h"

namespace sqxer::testing {
namespace {

TEST(PlanError, Syntax) {
  ExpectResults(ErrorOf, R"(
SELECT 'abc => 58001 @7: unterminated quoted string at or near "'abc"
SELECT 1; SELECT 2 => 58001 @9: one statement is planned at a time
EXPLAIN DELETE FROM t => 58002 @0: there is no such statement here: queries, EXPLAIN, CREATE and DROP of views and tables, INSERT, COPY, DESCRIBE, SUMMARIZE, SHOW, SET and RESET are understood
)");
  EXPECT_EQ(ErrorOf(""), "58001 @0: the statement is empty");
  // The position counts bytes, the grammar's own count characters.
  EXPECT_EQ(ErrorOf("SELECT '\u00e9' FROM t WHRE x"), "58001 @24: syntax error at or near \"x\"");
  EXPECT_EQ(ErrorOf(std::string("SELECT 1\0, 2", 12)), "58001 @8: the statement holds a zero byte");
  EXPECT_EQ(ErrorOf("SELECT '\xff'"), "58001 @0: the statement is not valid UTF-8");
}

TEST(PlanError, CommentsCostNoMoreThanTheirLength) {
  const auto times = [](std::size_t count, std::string_view text) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) all += text;
    return all;
  };
  // Each takes minutes where all signs are looked at again for each comment.
  constexpr std::size_t kMany = 100'000;
  EXPECT_EQ(ErrorOf("SELECT " + times(kMany, "/*") + times(kMany, "*/") + " 1"), "planned");
  EXPECT_EQ(ErrorOf("SELECT " + times(kMany, "/**/") + times(kMany, "/*\u00e9*/\n") + " x"),
            "58022 @1100008: there is no column without a table, add FROM: \"x\"");
  EXPECT_EQ(ErrorOf("SELECT 1 /* \u00e9 */ " + times(kMany, "/*")),
            "58001 @18: unterminated /* comment at or near \"/*\"");
  const std::string tooLarge =
      ": the statement is too large, one may have this many levels, nodes or columns: 1000";
  EXPECT_EQ(ErrorOf("SELECT " + times(kMany, "+") + "1"), "58005 @1007" + tooLarge);
  EXPECT_EQ(ErrorOf("SELECT 1" + times(kMany, "/**/+") + "1"), "58005 @1011" + tooLarge);
  EXPECT_EQ(SplitStatements(times(kMany, "/*;*/") + "SELECT 1;" + times(kMany, "+")).size(), 1u);
}

// The grammar's library cuts names after 63 bytes.
TEST(PlanError, LongNamesStayWhole) {
  const std::string name(100, 'X');
  EXPECT_EQ(ErrorOf("SELECT \"" + name + "\"\"y\" FROM t"),
            "59015 @7: there is no column of this name: \"" + name + "\"y\"");
  EXPECT_EQ(ErrorOf("SELECT i AS \"\u00e4" + name + "\", 1 AS " + name + "1 FROM t ORDER BY " +
                    name + "2"),
            "59015 @241: there is no column of this name: \"" + std::string(100, 'x') + "2\"");
  EXPECT_EQ(ErrorOf("SELECT 1 " + name + "1 \"" + name + "2\""),
            "58001 @111: syntax error at or near \"" + name + "2\"");
  EXPECT_EQ(ErrorOf("SELECT DATE '" + std::string(1000, 'x') + "'"),
            "59172 @12: this text does not read as DATE: \"" + std::string(400, 'x') + "...\"");
}

TEST(PlanError, ClausesThatAreNotUnderstoodAreNamed) {
  const auto clause = [](const std::string& sql) {
    const std::string error = ErrorOf(sql);
    const std::size_t at = error.find(": this is not understood, write the query without it: ");
    return at == error.npos ? error : error.substr(6, at - 6) + error.substr(at + 53);
  };
  ExpectResults(clause, R"(
SELECT i FROM t, t => @17 more than one table in FROM ;; VALUES (1) => @0 VALUES
SELECT (SELECT 1) => @7 a subquery ;; WITH a AS (SELECT 1) SELECT 1 => @0 WITH
SELECT i INTO x => @9 INTO ;; SELECT => @0 an empty select list
SELECT 1 INTERSECT SELECT 2 => @9 INTERSECT ;; SELECT 1 EXCEPT SELECT 2 => @9 EXCEPT
SELECT SUM(i) WITHIN GROUP (ORDER BY i) => @7 WITHIN GROUP of this function, or of several columns
SELECT i FROM ONLY t => @19 ONLY
SELECT 1 FOR UPDATE => @9 FOR UPDATE or FOR SHARE ;; SELECT 1 = ANY ($1) => @9 ANY or ALL of an array that is not written out
SELECT 1 ORDER BY 1 FETCH FIRST 2 ROWS WITH TIES => @44 WITH TIES
SELECT i FROM t a(x) => @14 other names for a table's columns
SELECT i FROM a.csv => @14 a schema before the table's name (quote a path: "a.csv", or with a table of SQLite: "a.db:csv")
SELECT 1 ORDER BY 1 USING < => @26 ORDER BY USING ;; SELECT a.UPPER('x') => @7 a schema before a function
SELECT i BETWEEN SYMMETRIC 1 AND 2 => @9 BETWEEN SYMMETRIC
SELECT TIME(3) '10:00' => @7 a precision or array bounds of this type
SELECT B'101' => @7 a bit string literal ;; SELECT i[1] => @7 a subscript or field of a value
SELECT SUM(t.*) => @11 * outside the select list and COUNT(*)
EXPLAIN (COSTS) SELECT 1 => @9 an option of EXPLAIN other than ANALYZE and NODES
EXPLAIN (NODES) SELECT 1 => @9 NODES without ANALYZE
)");
}

TEST(PlanError, NamesGroupsAndTypes) {
  const auto sentence = [](const std::string& rest) { return ErrorOf("SELECT " + rest); };
  ExpectResults(sentence, R"(
t.i FROM t AS x => 58016 @7: the query reads no table of this name: "t"
dup FROM t => 58015 @7: this name is ambiguous, it may mean "Dup", "DUP": "dup"
* => 58021 @7: * needs a table, add FROM
i => 58022 @7: there is no column without a table, add FROM: "i"
1 @@ 2 => 58004 @9: there is no operator "@@" (--functions lists what there is)
DISTINCT i FROM t ORDER BY j => 58019 @34: SELECT DISTINCT can only be sorted by what it selects
'abc' + 1 => 58010 @7: this text does not read as INTEGER: "abc"
1e400 => 58011 @7: this number is beyond the range of DOUBLE: 1e400
NOT i FROM t => 58018 @11: NOT needs a truth value, such as a comparison, and not INTEGER
1 a, 2 a ORDER BY a => 58015 @25: this name is ambiguous, it may mean several result columns: "a"
SUM(1) AS x GROUP BY x => 58006 @28: GROUP BY cannot use an aggregate (HAVING filters groups): x
i FROM t ORDER BY 'x'
  58020 @25: a constant that is no position in the select list does not fit in ORDER BY
)");
  // Sentences that the corpus shows, and those of the operators themselves.
  const auto place = [](const std::string& rest) {
    return Split(ErrorOf("SELECT " + rest), ':')[0];
  };
  ExpectResults(place, R"(
i FROM nope => 57001 @14 ;; i AS x FROM t WHERE x > 1 => 59015 @27 ;; COUNT() => 58013 @7
i + 1 FROM t GROUP BY i + 2 => 58008 @7 ;; SUM(i) FROM t GROUP BY 1 => 58006 @30
i FROM t GROUP BY 2 => 58009 @25 ;; i FROM t ORDER BY -1 => 58009 @25 ;; 1 + s FROM t => 59001 @9
i FROM t LIMIT i + 1 => 58017 @24 ;; i FROM t OFFSET 1.5 => 58017 @23 ;; '1' + '2' => 59001 @11
i FROM t LIMIT TRUE => 58017 @22 ;; i FROM t HAVING 1 => 58018 @23 ;; s = i FROM t => 59001 @9
i = '12' || 'x' FROM t => 59001 @9 ;; i BETWEEN 'a' AND 2 FROM t => 58010 @17
b = 'maybe' FROM t => 59172 @11 ;; dt = 'nonsense' FROM t => 59172 @12 ;; b = 1 FROM t => 59002 @9
b <> d FROM t => 59002 @9 ;; i AND b FROM t => 59001 @9 ;; -s FROM t => 59001 @7
+b FROM t => 59001 @8 ;; s || i FROM t => planned ;; RANGE(b) FROM t => 59001 @7
MIN(DISTINCT i), MAX(DISTINCT s), RANGE(DISTINCT d) FROM t => planned
)");
}

// No pair of types under any operator or aggregate may end in a stop of the process.
TEST(PlanError, EveryPairOfTypesIsPlannedOrRefused) {
  const auto operands = Split(
      "NULL|'a'|'1'|1|-1|1.5|1e0|TRUE|DATE '2020-01-01'|TIME '10:00'|UINT4 '7'|"
      "TIMESTAMP '2020-01-01 10:00'|i|u|d|n|b|bit|u1|f|c|s|dt|tm|ts");
  // x and y stand for the operands.
  const auto patterns = Split(
      "-x;+x;NOT x;x IS NULL;x IS TRUE;SUM(x);COUNT(x);AVG(x);AVG_ALL(x);MIN(x);MAX(x);"
      "FIRST(x);LAST(x);RANGE(x);NULL_IF_NOT_UNIQUE(x);SUM(DISTINCT x);COUNT(DISTINCT x);"
      "x + y;x - y;x * y;x / y;x || y;x = y;x <> y;x < y;x <= y;x > y;x >= y;x AND y;x OR y;"
      "i BETWEEN x AND y;x BETWEEN y AND dt;x BETWEEN u AND y;x LIKE y;x IN (y, 1, i);"
      "CASE x WHEN y THEN 1 END;CASE WHEN b THEN x ELSE y END;COALESCE(x, y);IFNULL(x, y);"
      "NULLIF(x, y);RANK() OVER (PARTITION BY x ORDER BY y, x NULLS FIRST);"
      "SUM(x) OVER (PARTITION BY y ROWS UNBOUNDED PRECEDING);AVG(x) OVER (ROWS y PRECEDING);"
      "NTILE(x) OVER (ORDER BY y);TOP_N(x, y) OVER ()",
      ';');
  int planned = 0;
  for (std::size_t i = 0; i < patterns.size() * operands.size() * operands.size(); ++i) {
    const std::string& x = operands[i / patterns.size() % operands.size()];
    const std::string& y = operands[i / patterns.size() / operands.size()];
    std::string sql = "SELECT ";
    for (const char c : patterns[i % patterns.size()])
      sql += c == 'x' ? x : c == 'y' ? y : std::string(1, c);
    sql += " FROM t";
    planned += ErrorOf(sql) == "planned" && !Explain(sql).empty();
  }
  EXPECT_GT(planned, 3000);
}

TEST(PlanError, DeepAndLargeStatementsAreRefusedBeforeTheyHurt) {
  const auto expect = [](const std::string& start, const std::string& sql) {
    EXPECT_TRUE(ErrorOf(sql).starts_with(start)) << sql.substr(0, 40);
  };
  const auto repeat = [](int times, const std::string& text) {
    std::string out;
    while (times-- > 0) out += text;
    return out;
  };
  expect("58005 ", "SELECT 1" + repeat(100000, " + 1"));
  expect("58005 ", "SELECT " + repeat(100000, "(") + "1" + repeat(100000, ")"));
  expect("58005 ", "SELECT " + repeat(5000, "CASE WHEN b THEN ") + "1" + repeat(5000, " END"));
  expect("58005 ", "SELECT 1, 1" + repeat(5000, " UNION SELECT 1, 1"));
  expect("58005 ", "SELECT b" + repeat(40, " IS TRUE") + " FROM t");
  expect("planned", "SELECT i" + repeat(800, " + i") + " FROM t");
  expect("planned", "SELECT CASE i" + repeat(2000, " WHEN 1 THEN 2") + " ELSE 3 END FROM t");
  expect("planned", "SELECT i FROM t WHERE i = 0" + repeat(2000, " OR i = 1 AND j = 2"));
}

}  // namespace
}  // namespace sqxer::testing
