// Runs the command itself: options, output formats, exit statuses and what goes to which stream.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "CommandTesting.h"

namespace sqxer::test {
namespace {

// The compiler's macro tells that the libraries use it, too.
#ifdef __AVX2__
TEST_F(Command, TellsThatTheProcessorIsTooOld) {
  // What the loader masks is missing to the check as well.
  const Result result = Shell("GLIBC_TUNABLES=glibc.cpu.hwcaps=-AVX2 sqxer 'SELECT 1'");
  EXPECT_EQ(result.status, 4);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err.find("sqxer: this processor lacks instructions of the level x86-64-v"), 0u)
      << result.err;
}
#endif

TEST_F(Command, PrintsEveryFormat) {
  folder_.Write("t.csv",
                "n,text,d,b,day\n1,plain,0.1,true,2012-01-31\n"
                ",\"a,\"\"b\"\"\nc\",NaN,false,\n-30,\"\",1e300,,2012-02-01\n"
                "4,\"\t\\\u65E5\u672Ce\u0301\",,,\n");
  const std::string sql = "SELECT *, NUMERIC '1.50' AS \"x,\"\"\" FROM t";
  EXPECT_EQ(Sqxer("-o csv", sql).out,
            "n,text,d,b,day,\"x,\"\"\"\n1,plain,0.1,true,2012-01-31,1.5\n"
            ",\"a,\"\"b\"\"\nc\",NaN,false,,1.5\n-30,\"\",1e+300,,2012-02-01,1.5\n"
            "4,\t\\\u65E5\u672Ce\u0301,,,,1.5\n");
  EXPECT_EQ(Sqxer("-o json", sql).out,
            R"({"n":1,"text":"plain","d":0.1,"b":true,"day":"2012-01-31","x,\"":1.5})"
            "\n"
            R"({"n":null,"text":"a,\"b\"\nc","d":"NaN","b":false,"day":null,"x,\"":1.5})"
            "\n"
            R"({"n":-30,"text":"","d":1e+300,"b":null,"day":"2012-02-01","x,\"":1.5})"
            "\n"
            "{\"n\":4,\"text\":\"\\t\\\\\u65E5\u672Ce\u0301\",\"d\":null,\"b\":null,"
            "\"day\":null,\"x,\\\"\":1.5}\n");
  EXPECT_EQ(Sqxer("-o table", sql).out,
            "    n | text     |      d | b     | day        | x,\"\n"
            "------+----------+--------+-------+------------+-----\n"
            "    1 | plain    |    0.1 | true  | 2012-01-31 | 1.5\n"
            " NULL | a,\"b\"\\nc |    NaN | false | NULL       | 1.5\n"
            "  -30 |          | 1e+300 | NULL  | 2012-02-01 | 1.5\n"
            "    4 | \\t\\\u65E5\u672Ce\u0301 |   NULL | NULL  | NULL       | 1.5\n"
            "(4 rows)\n");
  EXPECT_EQ(Sqxer("--no-header", "SELECT n FROM t LIMIT 2").out, "1\n\n");
  EXPECT_EQ(Sqxer("-o table", "EXPLAIN SELECT 1, 'a,b'").out,
            "output ?column?\n  ConstantInt32 1 -> INTEGER\n"
            "output ?column?\n  ConstantLongVarXeChar 'a,b' -> LONG VARCHAR\n");
}

TEST_F(Command, ReadsItsOwnCsvBackUnchanged) {
  folder_.Write(
      "t.csv",
      "i,big,d,s,c,day,ts,tm,b\n"
      "1,3000000000,0.1,\" x\",ab,2012-01-31,2012-01-31 23:59:59.5,23:59:59.000000001,"
      "true\n"
      "-2147483648,-99999999999999999999999999999999999999,-Infinity,\"\",,0001-01-01,,,\n"
      ",,5e-324,\"line\r\nend, \"\"q\"\"\",\"\",,9999-12-31 00:00:00,00:00:00,false\n");
  ASSERT_EQ(Sqxer("--schema 't=c:char(4)'", "SELECT * FROM t").status, 0);
  std::filesystem::copy_file(folder_.File("out.txt"), folder_.File("u.csv"));
  const Result again = Sqxer("--schema 'u=c:char(4)'", "SELECT * FROM u");
  EXPECT_EQ(again.out, ReadFile(folder_.File("u.csv")));
  // A NULL in a result of one column is an empty line.
  EXPECT_EQ(Shell("sqxer 'SELECT i FROM t' > one.csv; sqxer 'SELECT i FROM one'").out,
            "i\n1\n-2147483648\n\n");
}

TEST_F(Command, TellsColumnsOfOneNameApart) {
  folder_.Write("t.csv", "a,column2\n1,2\n");
  const std::string sql = "SELECT a, a, a AS a_1, COUNT(*) OVER (), a, COUNT(*) OVER () FROM t";
  EXPECT_EQ(Sqxer("-o json", sql).out,
            "{\"a\":1,\"a_2\":1,\"a_1\":1,\"count\":1,\"a_3\":1,\"count_1\":1}\n");
  EXPECT_EQ(Sqxer("-o csv", sql).out, "a,a_2,a_1,count,a_3,count_1\n1,1,1,1,1,1\n");
  EXPECT_EQ(Sqxer("-o table", "SELECT a, a FROM t").out, " a | a\n---+---\n 1 | 1\n(1 row)\n");
  // What differs in CSV by blanks alone, or has no name, is one to its reader; nor does it see a
  // byte order mark at its start. For JSON these are names.
  const std::string odd =
      "SELECT 1 AS \"\uFEFFa\", 2 AS \" a\", 3 AS a, 4 AS \" \", 5 AS column4, 6 AS \" b\n\"";
  EXPECT_EQ(Sqxer("-o csv", odd).out,
            "\"\uFEFFa\",a_1,a,column4_1,column4,\" b\n\"\n1,2,3,4,5,6\n");
  EXPECT_EQ(Shell("sqxer " + Quoted(odd) + " > u.csv; sqxer -o json 'SELECT * FROM u'").out,
            "{\"\uFEFFa\":1,\"a_1\":2,\"a\":3,\"column4_1\":4,\"column4\":5,\"b\\n\":6}\n");
}

TEST_F(Command, SaysWhatIsWrongInOneLineAndByItsStatus) {
  folder_.Write("t.csv", "a,s\n1,x\n0,y\n");
  folder_.Write("bad.csv", "a,b\n1,2\n3\n");
  const std::string divided =
      "error 59008: division by zero: leave out the rows whose divisor is 0, or make it NULL there";
  const std::string full = "error: the result cannot be written: standard output: ";
  const struct {
    const char* arguments;
    int status;
    /// What each line on standard error starts with.
    std::vector<std::string> errors;
  } kCases[] = {
      {"'SELECT 1 / a FROM t'", 1, {divided + " (line 1, column 10, input row 2)\n"}},
      {"'SELECT 1;\n\nSELECT 2,\n  1 / 0; SELECT 3'", 1, {divided + " (line 4, column 5)\n"}},
      {"'SELECT \"no\npe\" FROM t'",
       1,
       {"error 59015: there is no column of this name: \"no pe\""}},
      {"'SELECT * FROM bad; SELECT 1 / 0'", 3, {"error 57004: ", "error 59008: "}},
      {"'SELECT 1 / 0; SELECT * FROM bad'", 1, {"error 59008: ", "error 57004: "}},
      {"-t x=nope.csv 'SELECT * FROM x'", 3, {"error 57002: \"nope.csv\" "}},
      {"-f nope.sql", 3, {"error 57002: \"nope.sql\" cannot be read: No such file or directory\n"}},
      {"-t x=nope.txt 'SELECT 1'", 2, {"error 57015: "}},
      {"-t x 'SELECT 1'", 2, {"sqxer: --table: must be NAME=PATH and not x (--help shows the "}},
      {"--set Nope=1 'SELECT 1'", 2, {"error 58040: "}},
      {"--schema t=a:int9 'SELECT 1'", 2, {"error 57014: "}},
      {"--param bit:2 'SELECT $1'", 2, {"error 57019: the parameter $1 does not read as bit: "}},
      {"--repeat 0 'SELECT 1'", 2, {"sqxer: --repeat: "}},
      {"--nope 'SELECT 1'", 2, {"sqxer: "}},
      {"-o xml 'SELECT 1'", 2, {"sqxer: --output: "}},
      {"''", 2, {"sqxer: no SQL is given (--help shows the options)\n"}},
      {"\"$(printf 'SELECT \\xff')\"", 1, {"error: the SQL is not valid UTF-8 text\n"}},
      {"'SELECT 1' >/dev/full", 1, {full + "No space left on device\n"}},
      {"'SELECT 1' >&-", 1, {full + "Bad file descriptor\n"}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.arguments);
    Result result = Shell(std::string("sqxer ") + c.arguments);
    EXPECT_EQ(result.status, c.status);
    result.err = result.Sentences();
    for (const std::string& error : c.errors) {
      EXPECT_TRUE(result.err.starts_with(error)) << result.err;
      result.err.erase(0, result.err.find('\n') + 1);
    }
    EXPECT_EQ(result.err, "");
  }
}

TEST_F(Command, WritesNoHalfResultAndGoesOnAfterAnError) {
  folder_.Write("t.csv", "a\n1\n2\n0\n");
  const Result result = Sqxer("", "SELECT 6 / a AS x FROM t; SELECT SUM(a) AS total FROM t");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "total\n3\n");
}

TEST_F(Command, TakesSqlFromFileAndStandardInputAndShowsWhatItKnows) {
  folder_.Write("q.sql", "-- a comment\nSELECT 1 AS one;\nSELECT 2 AS two");
  folder_.Write("tab.tsv", "k\tv\na\t2\n");
  EXPECT_EQ(Shell("sqxer -f q.sql").out, "one\n1\ntwo\n2\n");
  EXPECT_EQ(Shell("sqxer < q.sql").out, "one\n1\ntwo\n2\n");
  EXPECT_EQ(Shell("sqxer -t a=tab.tsv -t b=tab.tsv --set IntegerDivideAsDouble=on "
                  "'SELECT v / 4 AS q FROM a; SELECT k FROM b'")
                .out,
            "q\n0.5\nk\na\n");
  EXPECT_EQ(Shell("mkdir -p sub; mv tab.tsv sub; sqxer -C sub 'SELECT k FROM \"sub/tab.tsv\"'").out,
            "k\na\n");
  const Result timed = Shell("sqxer --timing --repeat 3 'SELECT 1 AS x'");
  EXPECT_EQ(timed.out, "x\n1\n");
  EXPECT_TRUE(std::regex_match(timed.err,
                               std::regex(R"(\{"statement":1,"load_ms":[0-9.]+,"bind_ms":[0-9.]+,)"
                                          R"("run_ms":[0-9.]+,"runs":3,"spilled_bytes":0\}\n)")))
      << timed.err;
  // Of the window's sorters and of those in the aggregate.
  for (const char* sql :
       {"SELECT RANK() OVER (ORDER BY x) FROM s", "SELECT COUNT(DISTINCT x) FROM s"}) {
    const Result spilled = Shell(
        "(echo x; seq 9999) > s.csv; "
        "RUN_BUFFER_SIZE=1 sqxer --set GroupMemory=1000 --timing " +
        Quoted(sql));
    EXPECT_TRUE(std::regex_search(spilled.err, std::regex(R"("spilled_bytes":[1-9][0-9]{4,})")))
        << spilled.err;
  }
  EXPECT_NE(Shell("sqxer --functions").out.find("   LPAD(s, n)"), std::string::npos);
  EXPECT_NE(Shell("sqxer --functions lpad").out.find("### `LPAD(s, n)`"), std::string::npos);
  EXPECT_EQ(Shell("sqxer --functions lpat").err,
            "error 58004: there is no function \"lpat\": did you mean LPAD?\n");
  EXPECT_NE(Shell("sqxer --help-switches").out.find("GroupMemory=256MiB\n"), std::string::npos);
  EXPECT_NE(Shell("sqxer --help").out.find("Exit status"), std::string::npos);
}

}  // namespace
}  // namespace sqxer::test
