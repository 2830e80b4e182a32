// What the command reads: options of text files, paths in SQL, standard input, pipes and patterns.
#include <gtest/gtest.h>

#include "CommandTesting.h"

namespace sqxer::test {
namespace {

TEST_F(Command, ReadsTextFilesAsItsOptionsSay) {
  folder_.Write("t.csv", "a;b|c\n1;x|NA\n2;z|y\n");
  folder_.Write("latin.csv", "a\ncaf\xE9\n");
  folder_.Write("rows.csv", "1,x\n2,y\n");
  const struct {
    const char* arguments;
    const char* out;
  } kCases[] = {
      {"'SELECT * FROM t'", "a,b|c\n1,x|NA\n2,z|y\n"},
      {"--delimiter '|' 'SELECT c FROM t'", "c\nNA\ny\n"},
      {"--delimiter tab -o json 'SELECT * FROM latin' --encoding latin1",
       "{\"a\":\"caf\u00E9\"}\n"},
      {"--header no 'SELECT column2, column1 + 1 FROM rows'", "column2,?column?\nx,2\ny,3\n"},
      {"--header yes 'SELECT * FROM rows'", "1,x\n2,y\n"},
      {"--delimiter ';' --null 1 'SELECT a FROM t'", "a\n\n2\n"},
      {"--threads 1 'SELECT SUM(a) FROM t'", "sum\n3\n"},
      {"--threads 3 'SELECT SUM(a) FROM t'", "sum\n3\n"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.arguments);
    const Result result = Shell(std::string("sqxer ") + c.arguments);
    EXPECT_EQ(result.out, c.out);
    EXPECT_EQ(result.err, "");
  }
  // Only what stands without quotation marks is NULL.
  folder_.Write("null.csv", "a,b\nNA,\"NA\"\n");
  EXPECT_EQ(Sqxer("--null NA", "SELECT * FROM \"null.csv\"").out, "a,b\n,NA\n");
}

TEST_F(Command, RefusesOptionsOfTextFilesThatAreNone) {
  const struct {
    const char* arguments;
    const char* error;
  } kCases[] = {
      {"--threads 0", "sqxer: --threads: must be a whole number above 0 and not 0 "},
      {"--threads few", "sqxer: --threads: must be a whole number above 0 and not few "},
      {"--threads 1025", "sqxer: --threads: must be at most 1024 and not 1025 "},
      {"--delimiter ''", "sqxer: --delimiter: must be one ASCII character "},
      {"--delimiter ,,", "sqxer: --delimiter: must be one ASCII character "},
      {"--delimiter '\"'", "sqxer: --delimiter: must be one ASCII character "},
      {"--header maybe", "sqxer: --header: "},
      {"--encoding nope",
       "error 57023: no encoding of texts has this name, give one such as latin1 or UTF-16LE: "
       "\"nope\"\n"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.arguments);
    const Result result = Sqxer(c.arguments, "SELECT 1");
    EXPECT_EQ(result.status, 2);
    EXPECT_TRUE(result.err.starts_with(c.error)) << result.err;
  }
}

TEST_F(Command, WarnsOnceOfAHeaderThatLooksLikeData) {
  folder_.Write("rows.csv", "1,x\n2,y\n");
  const std::string warning =
      "warning: the first line of \"./rows.csv\" looks like data: --header no makes it a row, "
      "--header yes ends this warning\n";
  const Result result = Sqxer("-C . --no-header", "SELECT * FROM rows LIMIT 1; SELECT * FROM rows");
  EXPECT_EQ(result.out, "2,y\n2,y\n");
  EXPECT_EQ(result.err.substr(result.err.find("rows.csv")), warning.substr(warning.find("rows")));
  EXPECT_EQ(result.err.find('\n') + 1, result.err.size());
}

TEST_F(Command, TakesPathsInQuotationMarksOfBothKinds) {
  folder_.Write("it's.csv", "a\n1\n");
  folder_.Write("q\"q.csv", "a\n2\n");
  const std::string longName = std::string(70, 'l') + ".csv";
  folder_.Write(longName, "a\n3\n");
  const std::string sql =
      "SELECT s.a FROM 'it''s.csv' s; SELECT a, TRIM(BOTH 'x' FROM 'xbx') FROM "
      "/* of */ 'q\"q.csv' WHERE a = 2; SELECT a FROM '" +
      longName + "'; " + "SELECT EXTRACT(year FROM DATE '2012-01-01') FROM \"it's.csv\"";
  const Result result = Sqxer("--no-header", sql);
  EXPECT_EQ(result.out, "1\n2,b\n3\n2012\n");
  EXPECT_EQ(result.err, "");
  // Places behind the path are those of the statement.
  EXPECT_EQ(Sqxer("", "SELECT 1 FROM 'it''s.csv' WHERE nope").Sentences(),
            "error 59015: there is no column of this name: \"nope\" (line 1, column 33)\n");
  const struct {
    const char* sql;
    const char* error;
  } kCases[] = {
      {"SELECT 1 IS DISTINCT FROM 'x.csv'", "error 58010: "},
      {"SELECT (SELECT 1 FROM 'x.csv')", "error 57002: "},
      {"SELECT 1 FROM ''", "error 58001: syntax error at or near \"''\" (line 1, column 15)\n"},
      {"SELECT 1 FROM E'x.csv'", "error 58001: "},
      {"SELECT 1 FROM 'x.csv\n y.csv'", "error 57002: \"x.csv  y.csv\" cannot be read: "},
      {"SELECT 1 FROM 'x.csv'\n'y.csv'", "error 58001: "},
      {"SELECT 1 FROM 'x.parquet'", "error 57031: \"x.parquet\" is a Parquet file, which is not "},
      {"SELECT 1 FROM \"d/X.XLSX\"", "error 57031: \"d/X.XLSX\" is an Excel file, which is not "},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.sql);
    EXPECT_TRUE(Sqxer("", c.sql).err.starts_with(c.error)) << ReadFile(folder_.File("err.txt"));
  }
  EXPECT_EQ(Sqxer("-t t=x.xls", "SELECT 1").status, 2);
}

TEST_F(Command, ReadsStandardInputAndPipes) {
  folder_.Write("t.csv", "a,b\n1,x\n2,y\n");
  Shell("mkfifo f.csv pipe");
  const struct {
    const char* line;
    const char* out;
  } kCases[] = {
      {"cat t.csv | sqxer \"SELECT b FROM '-'\"", "b\nx\ny\n"},
      {"sqxer 'SELECT b FROM \"-\"' < t.csv", "b\nx\ny\n"},
      {"echo '{\"a\":1,\"b\":\"x\"}' | sqxer \"SELECT b, a FROM '-'\"", "b,a\nx,1\n"},
      {"(echo; echo ' { \"a\":\"1\"}'; echo '{\"b\":true}') | gzip | sqxer -t t=- 'SELECT b, a "
       "FROM t'",
       "b,a\n,1\ntrue,\n"},
      {"echo '{\"a\":1,\"b\":\"x\"}' > j.txt; sqxer -t t=<(cat j.txt) 'SELECT COUNT(b) FROM t'",
       "count\n1\n"},
      {"cat t.csv | sqxer -t t=- 'SELECT SUM(a) FROM t; SELECT b FROM t'", "sum\n3\nb\nx\ny\n"},
      {"gzip -c t.csv | sqxer -t t=- 'SELECT a FROM t LIMIT 1'", "a\n1\n"},
      {"echo 'SELECT a FROM t' > q.sql; cat t.csv | sqxer -t t=- -f q.sql", "a\n1\n2\n"},
      {"cat t.csv > f.csv & sqxer 'SELECT a FROM f'", "a\n1\n2\n"},
      {"cat t.csv > pipe & sqxer -t t=./pipe 'SELECT a FROM t'", "a\n1\n2\n"},
      {"cat t.csv > pipe & sqxer -t t=pipe 'SELECT a FROM t'", "a\n1\n2\n"},
      {"sqxer -t t=<(cat t.csv) 'SELECT COUNT(*) FROM t'", "count\n2\n"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.line);
    const Result result = Shell(c.line);
    EXPECT_EQ(result.out, c.out);
    EXPECT_EQ(result.err, "");
  }
  const std::string taken =
      "error 57032: standard input cannot be both the SQL and a table: give the SQL as an "
      "argument, "
      "or with -f";
  Result result = Shell("echo \"SELECT * FROM '-'\" | sqxer");
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.Sentences(), taken + " (line 1, column 15)\n");
  result = Shell("echo 'SELECT * FROM t' | sqxer -t t=-");
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err, taken + "\n");
}

TEST_F(Command, ReadsFilesOfAPatternAsOneTable) {
  Shell(
      "mkdir logs; printf 'a,b\\n1,x\\n' > logs/2024-1.csv; printf 'a,b\\n2,y\\n' | gzip > "
      "logs/2024-2.csv.gz; printf 'a,c\\n3,z\\n' > logs/2025-1.csv");
  EXPECT_EQ(Sqxer("", "SELECT * FROM 'logs/2024-*.csv'").out, "a,b\n1,x\n");
  EXPECT_EQ(Sqxer("", "SELECT * FROM 'logs/2024-*.csv.gz'").out, "a,b\n2,y\n");
  EXPECT_EQ(Sqxer("-t 't=logs/2024-[0-9].csv'", "SELECT a FROM t").out, "a\n1\n");
  Result result = Sqxer("", "SELECT * FROM 'logs/*.csv'");
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(
      result.Sentences(),
      "error 57024: \"logs/2025-1.csv\" must have the header of \"logs/2024-1.csv\" to be one "
      "table with it: \"c\" and not \"b\" (line 1, column 15)\n");
  result = Sqxer("-t 't=logs/1999-*.csv'", "SELECT * FROM t");
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.Sentences(),
            "error 57028: no file matches the pattern: \"logs/1999-*.csv\" (line 1, column 15)\n");
}

}  // namespace
}  // namespace sqxer::test
