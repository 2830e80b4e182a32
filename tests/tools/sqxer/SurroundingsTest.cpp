// The command where what surrounds it is full, closed, gone, or changes while it runs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "CommandTesting.h"
#include "TerminalTesting.h"

namespace sqxer::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class Surroundings : public Command {
 protected:
  /// Makes a table that is not read at once.
  void WriteLongTable() {
    Shell("(echo a,b; yes '1,some text that makes the file long' | head -1000000) > t.csv");
  }
  /// What the folder holds beside the streams of the shell line.
  std::string ListFiles() { return Shell("ls -A | grep -v txt | tr '\\n' ' '").out; }
};

TEST_F(Surroundings, FullStreamsEndTheCommandWithOneSentence) {
  const std::string noSpace =
      "error: the result cannot be written: standard output: No space left on device\n";
  for (const char* line :
       {"sqxer 'SELECT 1'", "sqxer -o table 'SELECT 1'", "sqxer --functions", "sqxer --help",
        "sqxer --help-switches", "sqxer -o arrow 'SELECT 1 AS a'"}) {
    SCOPED_TRACE(line);
    const Result result = Shell(std::string(line) + " >/dev/full");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, noSpace);
  }
  // What cannot be told changes no status.
  EXPECT_EQ(Shell("sqxer 'SELECT 1 / 0' 2>/dev/full").status, 1);
  EXPECT_EQ(Shell("sqxer 'SELECT * FROM nope' >/dev/full 2>&1").status, 3);
  const Result timed = Shell("sqxer --timing 'SELECT 1 AS a' 2>/dev/full");
  EXPECT_EQ(timed.status, 0);
  EXPECT_EQ(timed.out, "a\n1\n");
  EXPECT_EQ(Shell("sqxer --out /dev/full 'SELECT 1'").err,
            "error: the result cannot be written: /dev/full: No space left on device\n");
  EXPECT_THAT(Sqxer("", "COPY (SELECT 1 AS a) TO '/dev/full' (FORMAT csv)").err,
              StartsWith("error 57152: \"/dev/full\" cannot be written: No space left on device "));
}

TEST_F(Surroundings, EachAndAllStreamsMayBeClosed) {
  folder_.Write("t.csv", "a\n1\n");
  for (int closed = 0; closed < 8; ++closed) {
    SCOPED_TRACE(closed);
    std::string line = "sqxer --out made.csv 'SELECT a FROM t; SELECT a + 1 AS b FROM t'";
    if (closed & 1) line += " <&-";
    if (closed & 2) line += " >&-";
    if (closed & 4) line += " 2>&-";
    EXPECT_EQ(Shell(line).status, 0);
    EXPECT_EQ(ReadFile(folder_.File("made.csv")), "a\n1\nb\n2\n");
    EXPECT_EQ(ReadFile(folder_.File("t.csv")), "a\n1\n");
  }
  EXPECT_EQ(ListFiles(), "made.csv t.csv ");
}

TEST_F(Surroundings, FilesBeyondALimitLeaveNothing) {
  WriteLongTable();
  folder_.Write("old.csv", "old\n");
  folder_.Write("old.csv.gz", "old\n");
  for (const char* name : {"old.csv", "old.csv.gz", "new.jsonl", "new.arrow"}) {
    SCOPED_TRACE(name);
    const Result result = Shell("ulimit -f 10; sqxer \"COPY (SELECT *, RAND() FROM t) TO '" +
                                std::string(name) + "'\"");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.Sentences(), StartsWith("error 57152: \"" + std::string(name) +
                                               "\" cannot be written: File too large "));
  }
  EXPECT_EQ(ReadFile(folder_.File("old.csv")), "old\n");
  EXPECT_EQ(ReadFile(folder_.File("old.csv.gz")), "old\n");
  EXPECT_EQ(ListFiles(), "old.csv old.csv.gz t.csv ");
}

TEST_F(Surroundings, FilesThatChangeWhileTheyAreReadAreErrors) {
  const struct {
    const char* change;
    const char* error;
  } kCases[] = {
      {"truncate -s 1000 t.csv", "error 57020: \"t.csv\" has changed while it was read"},
      {"cp t.csv other.csv; mv other.csv t.csv", "error 57020: "},
      {"echo 1,2 >> t.csv", "error 57020: "},
      {"rm t.csv", "error 57002: \"t.csv\" cannot be read: No such file or directory"},
  };
  for (const auto& one : kCases) {
    SCOPED_TRACE(one.change);
    WriteLongTable();
    // The statement waits for its reader in the midst of the file.
    const Result result =
        Shell("sqxer --set TableMemory=1 'SELECT * FROM t' | { head -c 1000 >/dev/null; " +
              std::string(one.change) + "; cat >/dev/null; }; exit ${PIPESTATUS[0]}");
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.err, StartsWith(one.error));
    EXPECT_THAT(result.err, HasSubstr("\nerror: the result is not complete, it ends after "));
  }
  Shell("(echo a,b; seq -f '%g,text' 1000000) | gzip -1 > t.csv.gz");
  const Result packed = Shell(
      "sqxer --set TableMemory=1 'SELECT * FROM \"t.csv.gz\"' | { head -c 1000 >/dev/null; "
      "truncate -s 1000 t.csv.gz; cat >/dev/null; }; exit ${PIPESTATUS[0]}");
  EXPECT_EQ(packed.status, 3);
  EXPECT_THAT(packed.err, StartsWith("error 57021: \"t.csv.gz\" cannot be unpacked: its gzip data "
                                     "end too early"));
}

TEST_F(Surroundings, FoldersThatTakeNoTemporaryFilesAreErrors) {
  Shell("(echo a; seq 20000) > t.csv");
  const std::string sql = " --set GroupMemory=1 'SELECT a, COUNT(*) FROM t GROUP BY a'";
  EXPECT_EQ(Shell("TMPDIR=/nope sqxer" + sql).err,
            "error 59180: sorting cannot write temporary files in \"/nope\": No such file or "
            "directory\n");
  EXPECT_THAT(Shell("sqxer --set TempDirectory=/proc" + sql).err,
              StartsWith("error 59180: sorting cannot write temporary files in \"/proc\": "));
  // A disk that is full, where mounting one is allowed.
  Shell("mkdir full");
  const std::string mounted = "unshare -m bash -c 'mount -t tmpfs -o size=64k tmpfs full ";
  if (Shell(mounted + "'").status != 0) GTEST_SKIP() << "nothing can be mounted";
  const std::string command = SQXER_BINARY_DIR "/bin/sqxer";
  const auto onFull = [&](const std::string& options, const std::string& statement) {
    return Shell(mounted + "&& (echo old > full/old.csv; " + command + options + " \"" + statement +
                 "\"; echo \"status $?\"; ls -A full; cat full/old.csv)'");
  };
  const std::string groups = "SELECT a, COUNT(*) FROM t GROUP BY a";
  Result result = onFull(" --set GroupMemory=1 --set TempDirectory=full", groups);
  EXPECT_EQ(result.out, "status 1\nold.csv\nold\n");
  EXPECT_EQ(result.err,
            "error 59180: sorting cannot write temporary files in \"full\": No space left on "
            "device\n");
  result = onFull(" --out full/old.csv", "SELECT a, RAND() FROM t");
  EXPECT_EQ(result.out, "status 1\nold.csv\nold\n");
  EXPECT_EQ(result.err,
            "error: the result cannot be written: full/old.csv: No space left on device\n");
  for (const char* ending : {"csv", "csv.zst", "arrow"}) {
    SCOPED_TRACE(ending);
    result = onFull(
        "", "COPY (SELECT a, RAND() FROM t) TO \\$\\$full/new." + std::string(ending) + "\\$\\$");
    EXPECT_EQ(result.out, "status 1\nold.csv\nold\n");
    EXPECT_THAT(result.err, HasSubstr("cannot be written: No space left on device"));
  }
}

TEST_F(Surroundings, TheShellGoesOnBehindThem) {
  Shell("(echo a,b; seq -f '%g,x' 20000) > t.csv");
  Terminal terminal(folder_.Path(), {"--set", "GroupMemory=1", "--set", "TempDirectory=gone"});
  terminal.WaitFor(kPrompt);
  const std::string groups = "SELECT COUNT(*) AS n FROM (SELECT a FROM t GROUP BY a) AS g;";
  EXPECT_THAT(terminal.Run(groups), HasSubstr("error 59180: sorting cannot write temporary files "
                                              "in \"gone\": No such file or directory"));
  std::filesystem::create_directory(folder_.File("gone"));
  EXPECT_THAT(terminal.Run(groups), HasSubstr(" 20000\r\n(1 row)"));
  // What has changed since it was read is not mixed with what is read now.
  folder_.Write("t.csv", "a,b\n1,y\n");
  EXPECT_THAT(terminal.Run("SELECT MAX(b) AS m FROM t;"),
              testing::AnyOf(HasSubstr("error 57020: "), HasSubstr(" y\r\n(1 row)")));
  EXPECT_THAT(terminal.Run("COPY (SELECT 1 AS a) TO '/dev/full' (FORMAT csv);"),
              HasSubstr("cannot be written: No space left on device"));
  EXPECT_THAT(terminal.Run("SELECT 41 + 1 AS x;"), HasSubstr(" 42\r\n(1 row)"));
  EXPECT_EQ(Shell("ls -A gone").out, "");
}

}  // namespace
}  // namespace sqxer::test
