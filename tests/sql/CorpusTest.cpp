#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <regex>

#include "ChunkReplay.h"
#include "Compiler.h"
#include "CsvCopy.h"
#include "GroupParts.h"
#include "QueryRun.h"
#include "SQXERBatch.h"
#include "Session.h"
#include "TestFile.h"
#include "server/Query/Execution/Engine/TemporaryFolder.h"
#include "server/Utility/UtilityTesting.h"

namespace sqxer::test {
namespace {

namespace fs = std::filesystem;

/// Writes a table of a case as a file of the session's folder.
void Add(Session& session, const TemporaryFolder& folder, const TableDefinition& table) {
  const std::string header = std::regex_replace(table.columns, std::regex(":[^,]*"), "");
  folder.Write(table.name + ".csv", header + "\n" + table.rows);
  session.SetDirectory(folder.Path());
  session.SetSchema(table.name, table.columns);
}

void SetSwitch(const std::string& assignment) {
  const std::size_t equals = assignment.find('=');
  SUSystemConfig::GetSystemConfig().Set(assignment.substr(0, equals),
                                        assignment.substr(equals + 1));
}

/// What an evaluation gave: rows as lines, or one line with the error.
struct Outcome {
  std::vector<std::string> lines;
  std::string type;
  bool failed = false;
};

enum class Place { kShown, kLeftOut };

/// `rowsOfChunk`: the result passes through chunks of so many rows, or through none where that is
/// 0.
Outcome Evaluate(Session& session, const std::string& sql, Place place, uint64 rowsOfChunk = 0) {
  Outcome outcome;
  try {
    CsvCopy sink;
    ChunkReplay replay(sink, rowsOfChunk);
    session.Execute(sql, rowsOfChunk != 0 ? static_cast<ResultSink&>(replay) : sink);
    EXPECT_TRUE(sink.ended);
    EXPECT_EQ(sink.tag, session.GetTag());
    if (!sink.tag.empty()) {
      outcome.lines = {"[" + sink.tag + "]"};
      return outcome;
    }
    sink.ExpectReadsBack();
    for (const auto& row : sink.rows) outcome.lines.push_back(RowText(row));
    if (sink.columns.size() == 1) {
      outcome.type = BaseStringUtil::StringToUtf8(
          SUXeDataTypeUtility::GetXeDataTypeName(sink.columns.front().type));
    }
  } catch (const ErrorMessage& error) {
    outcome.failed = true;
    std::string line = "error " + std::to_string(error.GetCode()) + ": " + error.what();
    if (place == Place::kShown && error.GetSourcePosition() >= 0) {
      const LineColumn at = FindLineColumn(sql, error.GetSourcePosition());
      const std::string row = std::to_string(error.GetRowNumber());
      line += " (line " + std::to_string(at.line) + ", column " + std::to_string(at.column) +
              (error.GetRowNumber() >= 0 ? ", input row " + row : "") + ")";
    }
    outcome.lines = {line};
  }
  return outcome;
}

void RunScalar(Session& session, const Scalar& scalar) {
  SCOPED_TRACE("line " + std::to_string(scalar.line) + ": " + scalar.expression);
  const Outcome plain = Evaluate(session, "SELECT " + scalar.expression, Place::kLeftOut);
  EXPECT_THAT(plain.lines, testing::ElementsAre(scalar.expected));
  if (!scalar.type.empty()) {
    EXPECT_EQ(plain.type, scalar.type);
  }
  if (!scalar.literalReason.empty()) return;

  const MovedExpression moved = MoveLiterals(scalar.expression);
  if (moved.table.columns.empty()) return;
  const TemporaryFolder folder;
  Session fresh;
  Add(fresh, folder, moved.table);
  const Outcome again =
      Evaluate(fresh, "SELECT " + moved.expression + " FROM literals", Place::kLeftOut);
  EXPECT_EQ(again.lines, plain.lines)
      << "with literals in columns: " << moved.expression << " of " << moved.table.columns;
  if (!plain.failed) {
    EXPECT_EQ(again.type, plain.type) << moved.expression;
  }
}

class CorpusCase : public testing::Test {
 public:
  explicit CorpusCase(TestCase test) : test_(std::move(test)) {}

  void TestBody() override {
    const ConfigScope config;
    // Those of the case are put over those that the run as a whole asks for.
    if (const char* run = std::getenv("SQXER_TEST_SET")) {
      for (const std::string& assignment : Split(run, ',')) SetSwitch(assignment);
    }
    for (const std::string& assignment : test_.switches) SetSwitch(assignment);
    Session first;
    const TemporaryFolder folder;
    for (const TableDefinition& table : test_.tables) Add(first, folder, table);
    first.SetParameters(test_.parameters);

    if (test_.kind == TestCase::Kind::kScalar) {
      for (const Scalar& scalar : test_.scalars) RunScalar(first, scalar);
      return;
    }
    for (const uint32 rows : {kMostBatchRows, kSharedRows, uint32{1}, kRowByRow}) {
      // What has no loop is told of batches only.
      if (rows == kRowByRow && test_.sql.starts_with("EXPLAIN")) continue;
      Session fresh;
      const bool areSteps = test_.kind == TestCase::Kind::kSession;
      if (areSteps) {
        for (const TableDefinition& table : test_.tables) Add(fresh, folder, table);
        fresh.SetParameters(test_.parameters);
      }
      Session& session = areSteps ? fresh : first;
      SCOPED_TRACE("batches of " + std::to_string(rows));
      RowScan::SetBatchRows(rows == kRowByRow ? kMostBatchRows : rows);
      // Small batches are shared out among threads, too.
      session.SetThreads(rows == kSharedRows ? 3 : 1);
      GroupParts::SetLeastRows(rows == kSharedRows ? kSharedRows : GroupParts::kLeastRows);
      session.Set("Evaluation", rows == kRowByRow ? "rows" : "batches");
      const uint64 rowsOfChunk = rows == kMostBatchRows ? 0 : kRowsOfChunk;
      for (const TestCase& step : areSteps ? test_.steps : std::vector{test_}) {
        SCOPED_TRACE(step.sql);
        Compare(step, Evaluate(session, step.sql, Place::kShown, rowsOfChunk));
      }
      if (HasFailure()) break;
    }
    RowScan::SetBatchRows(kMostBatchRows);
  }

 private:
  static constexpr uint32 kRowByRow = 0;
  static constexpr uint32 kSharedRows = 3;
  static constexpr uint64 kRowsOfChunk = 4;

  static void Compare(const TestCase& test, const Outcome& outcome) {
    EXPECT_EQ(outcome.failed, test.kind == TestCase::Kind::kError);
    if (test.kind == TestCase::Kind::kUnorderedQuery) {
      EXPECT_THAT(outcome.lines, testing::UnorderedElementsAreArray(test.expected));
    } else {
      EXPECT_THAT(outcome.lines, testing::ElementsAreArray(test.expected));
    }
  }

  TestCase test_;
};

[[maybe_unused]] const bool registered = [] {
  const fs::path root = fs::path(SQXER_SOURCE_DIR) / "tests" / "sql";
  std::vector<fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    if (entry.path().extension() == ".test") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  for (const fs::path& file : files) {
    std::string suite = fs::relative(file, root).replace_extension().string();
    std::replace(suite.begin(), suite.end(), '/', '.');
    for (TestCase& test : ReadTestFile(file.string())) {
      const std::string name = "line_" + std::to_string(test.line);
      testing::RegisterTest(("Corpus." + suite).c_str(), name.c_str(), nullptr, nullptr,
                            file.c_str(), test.line,
                            [test]() -> testing::Test* { return new CorpusCase(test); });
    }
  }
  return true;
}();

}  // namespace
}  // namespace sqxer::test
