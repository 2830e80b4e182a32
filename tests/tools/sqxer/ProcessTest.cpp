// The command as a process: its streams, a terminal, limits of the system.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <regex>

#include "CommandTesting.h"
#include "support/Sanitizers.h"

namespace sqxer::test {
namespace {

constexpr const char* kNoMemory = "error: not enough memory for this statement\n";

/// A table of 80 MB results: more than stays in memory.
std::string WideQuery(const TemporaryFolder& folder) {
  std::string rows = "a\n";
  for (int i = 0; i < 100; ++i) rows += std::string(4000, static_cast<char>('a' + i % 26)) + "\n";
  folder.Write("t.csv", rows);
  std::string columns = "a";
  for (int i = 1; i < 200; ++i) columns += ",a";
  return "SELECT " + columns + " FROM t";
}

TEST_F(Command, KeepsLargeResultsOfATableInAFile) {
  const std::string sql = WideQuery(folder_);
  EXPECT_EQ(Shell("sqxer -o table " + Quoted(sql) +
                  " | tail -n +3 | head -n -1 | tr -d ' ' | tr '|' '\\n' | uniq | cksum")
                .out,
            Shell("tail -n +2 t.csv | cksum").out);
  EXPECT_EQ(Shell("sqxer --no-header " + Quoted(sql) + " | tr ',' '\\n' | uniq | cksum").out,
            Shell("tail -n +2 t.csv | cksum").out);
}

TEST_F(Command, ClosedStreamsAreNeverTakenForFiles) {
  const std::string sql = Quoted(WideQuery(folder_));
  const std::string closed =
      "error: the result cannot be written: standard output: Bad file descriptor\n";
  // Before any work: the table is not looked for.
  for (const std::string& line :
       {"sqxer " + sql + " >&-", std::string("sqxer 'SELECT * FROM nope' >&-"),
        std::string("sqxer --help >&-"), std::string("sqxer 'SELECT 1' 1</dev/null"),
        "sqxer " + sql + " <&- >&-"}) {
    SCOPED_TRACE(line);
    const Result result = Shell(line);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, closed);
  }
  EXPECT_EQ(Shell("sqxer " + sql + " <&- >&- 2>&-").status, 1);
  // What goes to standard error goes to no file of the command's.
  EXPECT_EQ(Shell("sqxer --timing " + sql + " 2>&- <&- | cksum").out,
            Shell("sqxer " + sql + " | cksum").out);
  const Result noInput = Shell("sqxer <&-");
  EXPECT_EQ(noInput.status, 3);
  EXPECT_EQ(noInput.err, "error 57002: \"standard input\" cannot be read: Bad file descriptor\n");
}

TEST_F(Command, FilesBeyondTheLimitOfTheProcessAreErrors) {
  const std::string sql = Quoted(WideQuery(folder_));
  Result result = Shell("ulimit -f 10; sqxer 'SELECT a, a FROM t' > out2.txt");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "error: the result cannot be written: standard output: File too large\n");
  result = Shell("ulimit -f 10; TMPDIR=. sqxer -o table " + sql + " | cat; exit ${PIPESTATUS[0]}");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err,
            "error 59180: sorting cannot write temporary files in \".\": File too large\n");
}

TEST_F(Command, ExhaustedMemoryIsOneSentenceWhereverItRunsOut) {
  // Parameters are read before there is a statement.
  const Result big = Shell("ulimit -v 500000; sqxer --param 'char(400000000):x' 'SELECT $1'");
#if defined(SQXER_ADDRESS_SANITIZER) || defined(SQXER_THREAD_SANITIZER)
  GTEST_SKIP() << "sanitizers have a malloc of their own";
#endif
  EXPECT_EQ(big.status, 1);
  EXPECT_EQ(big.err, kNoMemory);
  Shell("(echo k,v; seq -f '%g,1' 500) > t.csv");
  // While options are read, and in the statement. Between them the libraries that read UTF-8 and
  // grammar take room, which does not fail in a way that they live through.
  int failed = 0;
  for (int after = 0; after < 12000; after += after < 200 ? 20 : 600) {
    SCOPED_TRACE(after);
    const Result result =
        Shell("FAIL_AFTER=" + std::to_string(after < 200 ? after : after + 1700) +
              " LD_PRELOAD=" + Quoted(FAILING_MALLOC) + " " SQXER_BINARY_DIR "/bin/sqxer " +
              Quoted("SELECT k, SUM(v), MEDIAN(k), COUNT(DISTINCT k), LISTAGG(v) FROM t GROUP BY k "
                     "ORDER BY 2"));
    if (result.status == 0) continue;
    ++failed;
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, kNoMemory);
    EXPECT_EQ(result.out, "");
  }
  EXPECT_GE(failed, 15);
}

TEST_F(Command, EndsAtOnceAndSilentlyWhenItsReaderGoes) {
  Shell("(echo a; seq 100000; echo 0) > t.csv");
  for (const char* command :
       {"sqxer 'SELECT a FROM t; SELECT 1 / 0'", "sqxer -o json 'SELECT a FROM t ORDER BY a'",
        "sqxer -o table 'SELECT a FROM t'", "sqxer 'SELECT 1 / a FROM t'", "sqxer --functions",
        "sqxer --out /dev/stdout 'SELECT a FROM t'"}) {
    SCOPED_TRACE(command);
    const Result result =
        Shell(std::string("{ sleep 0.1; ") + command + "; echo \"status $?\" >&2; } | true");
    EXPECT_EQ(result.err, "status 0\n");
  }
  EXPECT_EQ(Shell("sqxer 'SELECT a FROM t' | head -2; echo ${PIPESTATUS[0]}").out, "a\n1\n0\n");
  // Not the status of what has failed before.
  EXPECT_EQ(Shell("sqxer 'SELECT 1 / 0; SELECT a FROM t' | head -1; exit ${PIPESTATUS[0]}").status,
            1);
}

TEST_F(Command, ReadsPipesWithoutAnEnd) {
  const std::string set = "sqxer --header yes --set TableMemory=1MiB ";
  const struct {
    std::string line;
    const char* out;
  } kCases[] = {
      {"yes 1,2 | " + set + "'SELECT * FROM \"-\"' | head -2", "1,2\n1,2\n"},
      {"yes 1,2 | " + set + "-o json 'SELECT \"1\" AS a FROM \"-\" WHERE \"2\" > 1' | head -1",
       "{\"a\":1}\n"},
      {"yes 1,2 | " + set + "'SELECT \"1\" + 1 AS a FROM \"-\" WHERE \"2\" > 1 LIMIT 2'",
       "a\n2\n2\n"},
      {"yes 1,2 | " + set + "-o table 'EXPLAIN SELECT SUM(\"1\") AS s FROM \"-\"' | tail -1",
       "  ExtractNumber SUM(\"1\") -> NUMERIC\n"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.line);
    const Result result = Shell(c.line);
    EXPECT_EQ(result.out, c.out);
    EXPECT_EQ(result.err, "");
  }
}

TEST_F(Command, PipesThatAreNotKeptEndInTheirErrors) {
  Shell(
      "(echo a,b; yes 1,x | head -1000000) > t.csv; gzip -k t.csv; head -c 3000 t.csv.gz > cut.gz");
  const std::string set = "sqxer --set TableMemory=1KiB -t t=- ";
  const std::string unpacked =
      "error 57021: \"-\" cannot be unpacked: its gzip data end too early (line 1, column 22)\n";
  // Nothing that is not complete is presented as if it were.
  Result result = Shell(set + "'SELECT COUNT(*) FROM t' < cut.gz");
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.Sentences(), unpacked);
  result = Shell("(cat t.csv; echo y,z; cat t.csv) | " + set + "'SELECT a, b FROM t'");
  EXPECT_EQ(result.status, 3);
  std::smatch rows;
  const std::string sentences = result.Sentences();
  EXPECT_TRUE(std::regex_match(
      sentences, rows,
      std::regex(
          "error 57035: line 1000002 of \"-\" has a value that the column \"a\" cannot take, "
          "which the rows before it made int4: declare its type with --schema, or raise the "
          "switch TableMemory: \"y\" \\(line 1, column 18\\)\nerror: the result is not complete, "
          "it ends after "
          "([0-9]+) rows\n")))
      << result.err;
  EXPECT_EQ(std::to_string(std::ranges::count(result.out, '\n') - 1), rows[1]);
  // An error of a row says where the row stands in all of the input.
  result = Shell("(cat t.csv; echo 0,z) | " + set + "'SELECT SUM(1 / a) FROM t'");
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(result.Sentences().ends_with("input row 1000001)\n")) << result.err;
#if !defined(SQXER_ADDRESS_SANITIZER) && !defined(SQXER_THREAD_SANITIZER)
  // 200 MB in the room of less. Addresses are counted: the C library would reserve 128 MiB of them
  // for a second arena whenever the thread that reads has to wait for the first one.
  result = Shell(
      "ulimit -v 150000; (echo a,b; yes 1,text%d | head -20000000) | MALLOC_ARENA_MAX=1 sqxer "
      "--threads 1 --set TableMemory=8MiB 'SELECT b, SUM(a) AS s FROM \"-\" GROUP BY b'");
  EXPECT_EQ(result.out, "b,s\ntext%d,20000000\n");
#endif
}

TEST_F(Command, WritesRowsAsTheyCome) {
  // The error is in the last row.
  Shell("(echo a; seq 1 100000; echo 0) > t.csv");
  for (const char* format : {"csv --no-header", "json"}) {
    SCOPED_TRACE(format);
    const Result result = Sqxer(std::string("-o ") + format, "SELECT 1000000 / a FROM t");
    EXPECT_EQ(result.status, 1);
    std::smatch rows;
    const std::string sentences = result.Sentences();
    EXPECT_TRUE(std::regex_match(
        sentences, rows,
        std::regex("error 59008: [^\n]*input row 100001\\)\nerror: the result is not complete, it "
                   "ends after ([0-9]+) rows\n")))
        << result.err;
    EXPECT_GT(result.out.size(), std::size_t{64} << 10);
    EXPECT_TRUE(result.out.ends_with('\n'));
    EXPECT_EQ(std::to_string(std::ranges::count(result.out, '\n')), rows[1]);
  }
#if !defined(SQXER_ADDRESS_SANITIZER) && !defined(SQXER_THREAD_SANITIZER)
  // 80 MB with the room that the table takes, and no file.
  const std::string sql = Quoted(WideQuery(folder_));
  const Result result = Shell("ulimit -v 100000; TMPDIR=/nope sqxer " + sql + " | wc -c");
  EXPECT_EQ(result.err, "");
  EXPECT_GT(std::stoul(result.out), 80'000'000u);
#endif
}

TEST_F(Command, FilesOfResultsAppearWhenComplete) {
  Shell(
      "(echo a; seq 1 100000; echo 0) > t.csv; echo old > old.csv; chmod 640 old.csv; ln -s "
      "old.csv link.csv");
  const auto expectFiles = [&](const char* names) {
    EXPECT_EQ(Shell("ls -A | grep -v txt | tr '\\n' ' '").out, names);
  };
  // Whatever fails, first or last, the old file stays and nothing stands beside it.
  for (const char* line : {"sqxer --out old.csv 'SELECT 1 / a FROM t'",
                           "sqxer --out old.csv 'SELECT nope FROM t; SELECT a FROM t'",
                           "ulimit -f 10; sqxer --out old.csv 'SELECT a FROM t'",
                           "timeout 1 " SQXER_BINARY_DIR
                           "/bin/sqxer --out old.csv --repeat 1000000 'SELECT COUNT(*) FROM t'"}) {
    SCOPED_TRACE(line);
    const Result result = Shell(line);
    EXPECT_NE(result.status, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(ReadFile(folder_.File("old.csv")), "old\n");
    expectFiles("link.csv old.csv t.csv ");
  }
  EXPECT_EQ(Shell("ulimit -f 10; sqxer --out old.csv 'SELECT a FROM t'").err,
            "error: the result cannot be written: old.csv: File too large\n");
  EXPECT_EQ(Shell("sqxer --out no/new.csv 'SELECT nope'").err,
            "error: the result cannot be written: no/new.csv: No such file or directory\n");
  EXPECT_EQ(Shell("sqxer --out . 'SELECT nope'").err,
            "error: the result cannot be written: .: Is a directory\n");
  // What is read may be written; links and permissions stay.
  EXPECT_EQ(Shell("sqxer --out link.csv 'SELECT 1 AS x; SELECT 2 AS y'").out, "");
  EXPECT_EQ(Shell("cat old.csv; stat -c %a old.csv; readlink link.csv").out,
            "x\n1\ny\n2\n640\nold.csv\n");
  EXPECT_EQ(Shell("umask 027; sqxer --out t.csv 'SELECT MAX(a) AS a FROM t'; cat t.csv; sqxer -o "
                  "table --out new 'SELECT 1 AS x'; tail -1 new; stat -c %a new")
                .out,
            "a\n100000\n(1 row)\n640\n");
  expectFiles("link.csv new old.csv t.csv ");
}

TEST_F(Command, SqlTypedAtATerminalEndsWithOneEndOfFile) {
  const Result result = OnTerminal("sqxer > typed.txt", "SELECT 1 AS x;\n\x04");
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_EQ(ReadFile(folder_.File("typed.txt")), "x\n1\n");
}

/// Whether the bar has shown the phase, and how much of it is done.
bool HasShown(const std::string& shown, const std::string& phase) {
  return std::regex_search(shown, std::regex("\r" + phase + " *\\[#* *\\] {1,3}[0-9]+%"));
}

TEST_F(Command, TheBarTellsEachPhase) {
  // It comes after a second. Each run ends as soon as enough is seen.
  Shell("(echo k,v; seq -f '%g,1' 5000) > t.csv");
  sqlite3* database = nullptr;
  ASSERT_EQ(sqlite3_open(folder_.File("x.db").c_str(), &database), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(database,
                         "CREATE TABLE long AS WITH RECURSIVE n(a) AS (SELECT 1 UNION ALL SELECT "
                         "a + 1 FROM n WHERE a < 4000000) SELECT a, a AS b, a AS c FROM n",
                         nullptr, nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(database);
  const auto expectShown = [&](const std::string& line, const std::vector<std::string>& phases) {
    SCOPED_TRACE(line);
    const Result result = OnTerminal(line, "", [&](const std::string& shown) {
      return std::ranges::all_of(phases,
                                 [&](const std::string& phase) { return HasShown(shown, phase); });
    });
    for (const std::string& phase : phases) EXPECT_TRUE(HasShown(result.out, phase)) << phase;
    return result.out;
  };
  // How fast, and for how long yet; of a pipe nobody knows.
  const auto expectLine = [&](const std::string& line, const std::string& pattern) {
    const std::regex expected("\r" + pattern);
    const Result result = OnTerminal(
        line, "", [&](const std::string& shown) { return std::regex_search(shown, expected); });
    EXPECT_TRUE(std::regex_search(result.out, expected)) << result.out;
  };
  expectLine("sqxer -t long=x.db:long 'SELECT SUM(a) FROM long' > o.txt",
             "reading  \\[#+ *\\] +[0-9]+%  [0-9.]+[kM]? rows/s, [0-9]+ s left");
  expectLine(
      "yes 1 | sqxer --set TableMemory=1KiB --header no 'SELECT SUM(column1) FROM \"-\"' > o.txt",
      "reading  [0-9.]+ [kMG]B  [0-9.]+ [kMG]B/s");
  // The many runs of a statement whose table is read in no time.
  const std::string runs = "sqxer --repeat 1000000 ";
  const std::string shown =
      expectShown(runs + "'SELECT k, SUM(v) FROM t GROUP BY k ORDER BY 2' > o.txt",
                  {"grouping", "sorting", "writing"});
  EXPECT_FALSE(HasShown(shown, "reading"));
  expectShown(runs + "'SELECT SUM(v) OVER (PARTITION BY k) FROM t' > o.txt",
              {"sorting", "writing"});
  // It is gone when the result comes.
  const Result ended =
      OnTerminal("sqxer --repeat 300 'SELECT COUNT(DISTINCT k), MEDIAN(v) FROM t'", "");
  EXPECT_EQ(ended.status, 0);
  EXPECT_EQ(ended.out.find('\r' + std::string("grouping")) != std::string::npos,
            ended.out.find("\r\x1b[K") != std::string::npos)
      << ended.out;
  EXPECT_TRUE(ended.out.ends_with("(1 row)\r\n")) << ended.out;
}

}  // namespace
}  // namespace sqxer::test
