#include <gtest/gtest.h>

#include "PlanTesting.h"
#include "Utility/XeAssert.h"

namespace sqxer::testing {
namespace {

struct Case {
  std::string sql;
  std::string error;
};

void ExpectErrors(std::initializer_list<Case> cases) {
  for (const Case& c : cases) EXPECT_EQ(ErrorOf(c.sql), c.error) << c.sql;
}

TEST(PlanError, Syntax) {
  ExpectErrors({
      {"", "58001 @0: the statement is empty"},
      {"SELECT i FROM", "58001 @13: syntax error at end of input"},
      // The position counts bytes, the grammar's own count characters.
      {"SELECT '\u00e9\u00e9' FROM t WHRE x", "58001 @26: syntax error at or near \"x\""},
      {"SELECT 'abc", "58001 @7: unterminated quoted string at or near \"'abc\""},
      {"SELECT 1; SELECT 2", "58001 @9: one statement is planned at a time"},
      {"DELETE FROM t", "58002 @0: only SELECT and EXPLAIN SELECT are understood"},
      {"  EXPLAIN INSERT INTO t VALUES (1)",
       "58002 @2: only SELECT and EXPLAIN SELECT are understood"},
  });
  EXPECT_EQ(ErrorOf(std::string("SELECT 1\0, 2", 12)), "58001 @8: the statement holds a zero byte");
  EXPECT_EQ(ErrorOf("SELECT '\xff'"), "58001 @0: the statement is not valid UTF-8");
}

TEST(PlanError, ClausesThatAreNotUnderstoodAreNamed) {
  struct Refusal {
    const char* sql;
    int position;
    const char* clause;
  };
  const Refusal refusals[] = {
      {"SELECT i FROM t, t", 17, "more than one table in FROM"},
      {"SELECT i FROM t JOIN t b ON true", 16, "JOIN"},
      {"SELECT i FROM (SELECT 1) x", 9, "a subquery in FROM"},
      {"SELECT (SELECT 1)", 7, "a subquery"},
      {"WITH a AS (SELECT 1) SELECT 1", 0, "WITH"},
      {"SELECT 1 UNION SELECT 2", 9, "UNION"},
      {"SELECT 1 INTERSECT SELECT 2", 9, "INTERSECT"},
      {"SELECT 1 EXCEPT SELECT 2", 9, "EXCEPT"},
      {"VALUES (1)", 0, "VALUES"},
      {"SELECT SUM(i) OVER () FROM t", 7, "OVER (a window)"},
      {"SELECT i FROM t WINDOW w AS ()", 16, "WINDOW"},
      {"SELECT SUM(i) FILTER (WHERE b) FROM t", 7, "FILTER"},
      {"SELECT SUM(i ORDER BY j) FROM t", 7, "ORDER BY within a function"},
      {"SELECT i FROM t GROUP BY ROLLUP (i)", 25, "GROUPING SETS, ROLLUP or CUBE"},
      {"SELECT i FROM t GROUP BY DISTINCT i", 16, "GROUP BY DISTINCT"},
      {"SELECT i FROM t FOR UPDATE", 16, "FOR UPDATE or FOR SHARE"},
      {"SELECT i INTO x FROM t", 9, "INTO"},
      {"SELECT DISTINCT ON (i) i FROM t", 7, "DISTINCT ON"},
      {"SELECT i FROM t ORDER BY i FETCH FIRST 2 ROWS WITH TIES", 51, "WITH TIES"},
      {"SELECT FROM t", 0, "an empty select list"},
      {"SELECT i FROM t a(x)", 14, "other names for a table's columns"},
      {"SELECT i FROM ONLY t", 19, "ONLY"},
      {"SELECT i FROM birds.csv", 14,
       "a schema before the table's name (quote a path: \"birds.csv\")"},
      {"SELECT i FROM t ORDER BY i USING <", 33, "ORDER BY USING"},
      {"SELECT i IN (1, 2) FROM t", 9, "IN"},
      {"SELECT s LIKE 'x' FROM t", 9, "LIKE"},
      {"SELECT i BETWEEN SYMMETRIC 1 AND 2 FROM t", 9, "BETWEEN SYMMETRIC"},
      {"SELECT CASE WHEN b THEN 1 END FROM t", 7, "CASE"},
      {"SELECT COALESCE(i, 1) FROM t", 7, "COALESCE"},
      {"SELECT CAST(i AS text) FROM t", 7, "CAST of anything but a text literal"},
      {"SELECT INTERVAL '1 day'", 7, "a literal of the type interval"},
      {"SELECT NUMERIC(3, 1) '1.5'", 7, "a type with a length, a precision or array bounds"},
      {"SELECT B'101'", 7, "a bit string literal"},
      {"SELECT $1", 7, "a query parameter"},
      {"SELECT i[1] FROM t", 7, "a subscript or field of a value"},
      {"SELECT SUM(t.*) FROM t", 11, "* outside the select list and COUNT(*)"},
      {"EXPLAIN ANALYZE SELECT 1", 8, "EXPLAIN with options"},
  };
  for (const Refusal& r : refusals)
    EXPECT_EQ(ErrorOf(r.sql),
              "58003 @" + std::to_string(r.position) +
                  ": this is not understood, write the query without it: " + r.clause)
        << r.sql;
}

TEST(PlanError, Names) {
  ExpectErrors({
      {"SELECT zzz FROM t", "59015 @7: there is no column of this name: \"zzz\""},
      {"SELECT i AS x FROM t WHERE x > 1", "59015 @27: there is no column of this name: \"x\""},
      {"SELECT x.i FROM t", "58016 @7: the query reads no table of this name: \"x\""},
      {"SELECT t.i FROM t AS x", "58016 @7: the query reads no table of this name: \"t\""},
      {"SELECT dup FROM t",
       "58015 @7: this name is ambiguous, it may mean \"Dup\", \"DUP\": \"dup\""},
      {"SELECT i AS a, j AS a FROM t ORDER BY a",
       "58015 @38: this name is ambiguous, it may mean several result columns: \"a\""},
      {"SELECT *", "58021 @7: * needs a table, add FROM"},
      {"SELECT i", "58022 @7: there is no column without a table, add FROM: \"i\""},
      {"SELECT i % 2 FROM t",
       "58004 @9: there is no operator of this name (--functions lists what there is): \"%\""},
      {"SELECT median(i) FROM t",
       "58004 @7: there is no function of this name (--functions lists what there is): \"median\""},
      {"SELECT SUM(i, j) FROM t", "58013 @7: SUM takes another number of arguments than these: 2"},
      {"SELECT SUM(*) FROM t", "58013 @7: SUM takes another number of arguments than these: *"},
      {"SELECT COUNT() FROM t", "58013 @7: COUNT takes another number of arguments than these: 0"},
  });
  EXPECT_EQ(ErrorOf("SELECT i FROM nope").substr(0, 9), "57001 @14");
}

// The grammar's library cuts names after 63 bytes.
TEST(PlanError, LongNamesStayWhole) {
  const std::string name(100, 'X');
  const std::string lower(100, 'x');
  const std::string missing = "59015 @7: there is no column of this name: ";
  ExpectErrors({
      {"SELECT \"" + name + "\"\"y\" FROM t", missing + "\"" + name + "\"y\""},
      {"SELECT " + name + " FROM t", missing + "\"" + lower + "\""},
      {"SELECT i AS \"\u00e4" + name + "\", 1 AS " + name + "1 FROM t ORDER BY " + name + "2",
       "59015 @241: there is no column of this name: \"" + lower + "2\""},
      {"SELECT 1 " + name + "1 \"" + name + "2\"",
       "58001 @111: syntax error at or near \"" + name + "2\""},
      {"SELECT DATE '" + std::string(1000, 'x') + "'",
       "59172 @12: this text does not read as DATE: \"" + std::string(400, 'x') + "...\""},
  });
}

TEST(PlanError, Groups) {
  ExpectErrors({
      {"SELECT i, SUM(j) FROM t",
       "58008 @7: a query with groups can use this column only in GROUP BY or in an aggregate: "
       "\"i\""},
      {"SELECT i + 1 FROM t GROUP BY i + 2",
       "58008 @7: a query with groups can use this column only in GROUP BY or in an aggregate: "
       "\"i\""},
      {"SELECT SUM(SUM(i)) FROM t", "58007 @11: an aggregate cannot stand inside another one: SUM"},
      {"SELECT i FROM t WHERE SUM(i) > 1",
       "58006 @22: WHERE cannot use an aggregate (HAVING filters groups): SUM"},
      {"SELECT SUM(i) AS x FROM t GROUP BY x",
       "58006 @35: GROUP BY cannot use an aggregate (HAVING filters groups): x"},
      {"SELECT SUM(i) FROM t GROUP BY 1",
       "58006 @30: GROUP BY cannot use an aggregate (HAVING filters groups): 1"},
      {"SELECT i FROM t GROUP BY 2",
       "58009 @25: GROUP BY names a position that is not in the select list: 2"},
      {"SELECT i FROM t ORDER BY -1",
       "58009 @25: ORDER BY names a position that is not in the select list: -1"},
      {"SELECT i FROM t ORDER BY 'x'",
       "58020 @25: a constant that is no position in the select list does not fit in ORDER BY"},
      {"SELECT DISTINCT i FROM t ORDER BY j",
       "58019 @34: SELECT DISTINCT can only be sorted by what it selects"},
      {"SELECT RANGE(i) + 1 FROM t",
       "58014 @7: an aggregate with several results can only be a whole select item: RANGE"},
      {"SELECT AVG(DISTINCT i) FROM t", "58012 @7: DISTINCT is not available here: AVG"},
      {"SELECT i FROM t LIMIT -1", "58017 @22: LIMIT takes a whole number that is not negative"},
      {"SELECT i FROM t LIMIT i + 1", "58017 @24: LIMIT takes a whole number that is not negative"},
      {"SELECT i FROM t OFFSET 1.5", "58017 @23: OFFSET takes a whole number that is not negative"},
      {"SELECT i FROM t LIMIT TRUE", "58017 @22: LIMIT takes a whole number that is not negative"},
      {"SELECT MIN(DISTINCT i), MAX(DISTINCT s), RANGE(DISTINCT d) FROM t", "planned"},
  });
}

TEST(PlanError, Types) {
  ExpectErrors({
      {"SELECT 'abc' + 1", "58010 @7: this text does not read as INTEGER: \"abc\""},
      {"SELECT i = '12abc' FROM t", "58010 @11: this text does not read as INTEGER: \"12abc\""},
      {"SELECT i = '12' || 'x' FROM t", "58010 @16: this text does not read as INTEGER: \"12x\""},
      {"SELECT i BETWEEN 'a' AND 2 FROM t", "58010 @17: this text does not read as INTEGER: \"a\""},
      {"SELECT b = 'maybe' FROM t", "58010 @11: this text does not read as BOOLEAN: \"maybe\""},
      {"SELECT DATE '2020-13-01'", "59172 @12: this text does not read as DATE: \"2020-13-01\""},
      {"SELECT i FROM t WHERE dt = 'nonsense'",
       "59172 @27: this text does not read as DATE: \"nonsense\""},
      {"SELECT 1e400", "58011 @7: this number is beyond the range of DOUBLE: 1e400"},
      {"SELECT i FROM t WHERE i",
       "58018 @22: WHERE needs a truth value, such as a comparison, and not INTEGER"},
      {"SELECT i FROM t HAVING 1",
       "58018 @23: HAVING needs a truth value, such as a comparison, and not INTEGER"},
      {"SELECT NOT i FROM t",
       "58018 @11: NOT needs a truth value, such as a comparison, and not INTEGER"},
  });
  // Raised by the operators themselves, at their places.
  for (const Case& c : std::initializer_list<Case>{
           {"SELECT s + 1 FROM t", "59001 @9: \"Add\""},
           {"SELECT 1 + s FROM t", "59001 @9: \"Binary Arithematic\""},
           {"SELECT '1' + '2'", "59001 @11: \"Add\""},
           {"SELECT dt + 1 FROM t", "59001 @10: \"Add\""},
           {"SELECT s = i FROM t", "59001 @9: \"Binary Logical\""},
           {"SELECT tm = dt FROM t", "59001 @10: \"Binary Logical\""},
           {"SELECT b = 1 FROM t", "59002 @9: \"Equals To\""},
           {"SELECT b <> d FROM t", "59002 @9: \"Equal\""},
           {"SELECT i AND b FROM t", "59001 @9: \"Logical And\""},
           {"SELECT s || i FROM t", "59001 @9: \"Concat\""},
           {"SELECT -s FROM t", "59001 @7: \"UnaryMinus\""},
           {"SELECT +b FROM t", "59001 @8: \"UnaryPlus\""},
           {"SELECT SUM(s) FROM t", "59001 @7: \"Sum\""},
           {"SELECT AVG(dt) FROM t", "59001 @7: \"Avg\""},
           {"SELECT RANGE(b) FROM t", "59001 @7: \"Range\""},
       }) {
    std::string error = ErrorOf(c.sql);
    EXPECT_EQ(error.substr(0, std::string(c.error).size()), c.error) << c.sql;
  }
}

// No pair of types under any operator or aggregate may end in a stop of the process.
TEST(PlanError, EveryPairOfTypesIsPlannedOrRefused) {
  XeAssert::SetHandler([](const char*, int, const char* text) { throw std::logic_error(text); });
  std::vector<std::string> operands = {"NULL",
                                       "'a'",
                                       "'1'",
                                       "1",
                                       "-1",
                                       "1.5",
                                       "1e0",
                                       "TRUE",
                                       "DATE '2020-01-01'",
                                       "TIME '10:00'",
                                       "TIMESTAMP '2020-01-01 10:00'",
                                       "UINT4 '7'"};
  for (const char* column : {"i", "u", "d", "n", "b", "bit", "u1", "f", "c", "s", "dt", "tm", "ts"})
    operands.push_back(column);
  int planned = 0;
  auto tryOne = [&](const std::string& expression) {
    std::string sql = "SELECT " + expression + " FROM t";
    EXPECT_NO_THROW(planned += ErrorOf(sql) == "planned" && !Explain(sql).empty()) << sql;
  };
  for (const std::string& a : operands) {
    for (const char* unary : {"-", "+", "NOT "}) tryOne(unary + a);
    for (const char* test : {" IS NULL", " IS TRUE"}) tryOne(a + test);
    for (const char* f : {"SUM", "COUNT", "AVG", "AVG_ALL", "MIN", "MAX", "FIRST", "LAST", "RANGE",
                          "NULL_IF_NOT_UNIQUE", "SUM(DISTINCT ", "COUNT(DISTINCT "})
      tryOne(f + std::string(std::string(f).back() == ' ' ? "" : "(") + a + ")");
    for (const std::string& b : operands) {
      for (const char* binary : {" + ", " - ", " * ", " / ", " || ", " = ", " <> ", " < ",
                                 " <= ", " > ", " >= ", " AND ", " OR "})
        tryOne(a + binary + b);
      tryOne("i BETWEEN " + a + " AND " + b);
      tryOne(a + " BETWEEN " + b + " AND dt");
      tryOne(a + " BETWEEN u AND " + b);
    }
  }
  EXPECT_GT(planned, 3000);
  XeAssert::SetHandler(nullptr);
}

TEST(PlanError, DeepAndLargeStatementsAreRefusedBeforeTheyHurt) {
  auto repeat = [](const std::string& text, int times) {
    std::string out;
    for (int i = 0; i < times; ++i) out += text;
    return out;
  };
  for (const std::string& sql :
       {"SELECT 1" + repeat(" + 1", 100000),
        "SELECT " + repeat("(", 100000) + "1" + repeat(")", 100000),
        "SELECT " + repeat("CASE WHEN b AND b THEN ", 5000) + "1" + repeat(" END", 5000),
        "SELECT 1, 1" + repeat(" UNION SELECT 1, 1", 5000),
        "SELECT b" + repeat(" IS TRUE", 40) + " FROM t"})
    EXPECT_EQ(ErrorOf(sql).substr(0, 6), "58005 ") << sql.substr(0, 40);
  EXPECT_EQ(ErrorOf("SELECT i" + repeat(" + i", 800) + " FROM t"), "planned");
  EXPECT_EQ(ErrorOf("SELECT i FROM t WHERE i = 0" + repeat(" OR i = 1 AND j = 2", 2000)),
            "planned");
}

}  // namespace
}  // namespace sqxer::testing
