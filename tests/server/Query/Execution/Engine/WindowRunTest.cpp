#include <cerrno>
#include <filesystem>

#include "../server/Utility/Src/SpillFile.h"
#include "Compiler.h"
#include "QueryRun.h"
#include "SessionTesting.h"
#include "TextTable.h"

namespace sqxer::test {
namespace {

SpillFile::Calls realCalls;
ssize_t bytesUntilFull = 0;

ssize_t WriteUntilFull(int file, const void* bytes, std::size_t count, off_t offset) {
  bytesUntilFull -= static_cast<ssize_t>(count);
  if (bytesUntilFull < 0) return errno = ENOSPC, -1;
  return realCalls.write(file, bytes, count, offset);
}

using WindowRunTest = SessionTest;

TEST_F(WindowRunTest, AFullDiskLeavesNothingToTheNextRun) {
  const auto countFiles = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  };
  std::string content = "s,x\n";
  for (int i = 0; i < 900; ++i) {
    content += std::string(1, "abc"[i * i % 7 % 3]) + "," + std::to_string(i * 37 % 101) + "\n";
  }
  const auto table = LoadCsv(folder_.Write("t.csv", content));
  Session session;
  session.AddTable(table);
  const std::size_t buffer = SqrtSorter::GetInitialBufferBytes();
  SqrtSorter::SetInitialBufferBytes(1000);
  realCalls = SpillFile::SetCalls(SpillFile::Calls());
  SpillFile::SetCalls({realCalls.open, &WriteUntilFull, realCalls.read});
  ConfigScope config;
  config->tempDirectory_ = folder_.File("spilled");
  config->groupMemory_ = 100;
  std::filesystem::create_directory(config->tempDirectory_);
  const auto files = countFiles();
  {
    // One window with functions of every kind, and results of groups that are kept apart.
    QueryRun run(CompileStatement("SELECT x, SUM(x) OVER (w ROWS UNBOUNDED PRECEDING), TOP_N(x, 5) "
                                  "OVER (), MEDIAN(x) OVER (w ROWS BETWEEN UNBOUNDED PRECEDING AND "
                                  "UNBOUNDED FOLLOWING), LISTAGG(x) OVER (PARTITION BY s) "
                                  "FROM t WINDOW w AS (PARTITION BY s ORDER BY x)",
                                  session),
                 table.get());
    CapturingSink sink;
    bytesUntilFull = INT64_MAX;
    run.Run(sink);
    const auto expected = sink.rows;
    const ssize_t needed = INT64_MAX - bytesUntilFull;
    for (ssize_t part = 0; part < 40; ++part) {
      bytesUntilFull = needed * part / 40;
      EXPECT_THAT(
          ErrorOf(folder_.Path(), [&] { run.Run(sink); }),
          testing::StartsWith(
              "sorting cannot write temporary files in \"spilled\": No space left on device"));
      bytesUntilFull = INT64_MAX;
      run.Run(sink);
      EXPECT_EQ(sink.rows, expected);
    }
  }
  EXPECT_EQ(countFiles(), files);
  EXPECT_TRUE(std::filesystem::is_empty(config->tempDirectory_));
  SpillFile::SetCalls(realCalls);
  SqrtSorter::SetInitialBufferBytes(buffer);
}

}  // namespace
}  // namespace sqxer::test
