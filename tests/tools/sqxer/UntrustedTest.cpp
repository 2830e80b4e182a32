// The command with statements of others: what --untrusted refuses, and what stays the caller's own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "CommandTesting.h"
#include "TerminalTesting.h"

namespace sqxer::test {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST_F(Command, UntrustedStatementsStayInTheFolder) {
  folder_.Write("t.csv", "a\n1\n");
  Shell("mkdir in && echo 'b\n2' > in/u.csv && ln -s ../t.csv in/link.csv");
  EXPECT_EQ(Sqxer("--untrusted -C in", "SELECT * FROM u").out, "b\n2\n");
  EXPECT_EQ(Sqxer("--untrusted -C in", "SELECT * FROM 'in/u.csv'").out, "b\n2\n");
  for (const char* const sql : {"SELECT * FROM 't.csv'", "SELECT * FROM link",
                                "SELECT * FROM 'in/../t.csv'", "SELECT * FROM 'in/link.csv'"}) {
    EXPECT_THAT(
        Sqxer("--untrusted -C in", sql).err,
        StartsWith("error 57190: an untrusted session reads the regular files of its folder "
                   "alone, and this is none of them: "))
        << sql;
  }
  EXPECT_THAT(Shell("echo 1 | sqxer --untrusted \"SELECT * FROM '-'\"").err,
              HasSubstr("error 57190: "));
  EXPECT_THAT(Sqxer("--untrusted", "COPY t TO 'o.csv'").err, StartsWith("error 57191: "));
  EXPECT_THAT(Sqxer("--untrusted", "SET StatementTimeout = 0").err, StartsWith("error 57192: "));
  EXPECT_FALSE(std::filesystem::exists(folder_.File("o.csv")));
  // What the caller names and wants.
  EXPECT_EQ(Sqxer("--untrusted -C in -t given=t.csv", "SELECT * FROM given").out, "a\n1\n");
  EXPECT_EQ(Sqxer("--untrusted -C in t.csv", "SELECT * FROM t").out, "a\n1\n");
  EXPECT_EQ(Sqxer("--untrusted --out r.csv", "SELECT a FROM t").err, "");
  EXPECT_EQ(ReadFile(folder_.File("r.csv")), "a\n1\n");
  EXPECT_EQ(Sqxer("--untrusted --set StatementTimeout=0", "SHOW StatementTimeout").out,
            "StatementTimeout\n0\n");
}

TEST_F(Command, UntrustedShellsWriteNothingAndRememberNothing) {
  folder_.Write("outside.sql", "SELECT 'from outside' AS a;\n");
  folder_.Write("in.sql", "");
  Shell("mkdir in && echo \"SELECT 'from within' AS a;\" > in/q.sql");
  {
    Terminal terminal(folder_.Path(), {"--untrusted", "-C", "in"});
    terminal.WaitFor(kPrompt);
    EXPECT_THAT(terminal.Run("\\o result.csv"), HasSubstr("error: \\o writes a file"));
    EXPECT_THAT(terminal.Run("\\i outside.sql"), HasSubstr("error 57190: "));
    EXPECT_THAT(terminal.Run("\\i in/../outside.sql"), HasSubstr("error 57190: "));
    EXPECT_THAT(terminal.Run("\\i in/q.sql"), HasSubstr("from within"));
    EXPECT_THAT(terminal.Run("\\set StatementTimeout 0"), HasSubstr("error 57192: "));
    EXPECT_THAT(terminal.Run("\\set StatementTimeout 500"), Not(HasSubstr("error")));
    EXPECT_THAT(terminal.Run("\\set StatementTimeout"), HasSubstr("StatementTimeout=500"));
    EXPECT_THAT(terminal.Run("SELECT 41 + 1 AS x;"), HasSubstr(" 42"));
    terminal.Type("\x04");
    EXPECT_EQ(terminal.WaitForEnd(), 0);
  }
  EXPECT_FALSE(std::filesystem::exists(folder_.File("result.csv")));
  EXPECT_EQ(Shell("find . -name history").out, "");
}

TEST_F(Command, LimitsOfMemoryEndStatementsWithOneSentence) {
  const std::string sql =
      "SELECT a.n, b.n FROM generate_series(1, 3000) AS a(n) RIGHT JOIN generate_series(1, 3000) "
      "AS "
      "b(n) ON a.n < b.n";
  EXPECT_EQ(Sqxer("--set MemoryLimit=20MiB", sql).Sentences(),
            "error 57178: the rows of a join need more memory than the switch MemoryLimit gives, "
            "20MiB: filter the rows before they are joined, or read fewer columns of them\n");
  EXPECT_EQ(Sqxer("--set MemoryLimit=x", "SELECT 1").status, 2);
}

}  // namespace
}  // namespace sqxer::test
