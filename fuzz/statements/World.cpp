#include "World.h"

#include <filesystem>
#include <new>
#include <stdexcept>

#include "Compiler.h"
#include "GroupParts.h"
#include "QueryRun.h"
#include "RowScan.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/SUXeDataTypeUtility.h"
#include "Utility/SqrtSorter.h"
#include "sql/BatchDisguise.h"
#include "sql/Capture.h"

namespace sqxer::fuzz {
namespace {

using test::BatchDisguise;

/// What a way changes beside its session, as long as it lives.
class WayScope {
 public:
  WayScope(Way way, Session& session) {
    const bool isSmall = way == Way::kBatchesOfThree || way == Way::kThreads;
    RowScan::SetBatchRows(isSmall ? 3 : way == Way::kBatchesOfOne ? 1 : kMostBatchRows);
    session.SetThreads(way == Way::kThreads ? 3 : 1);
    GroupParts::SetLeastRows(way == Way::kThreads ? 8 : GroupParts::kLeastRows);
    if (way == Way::kTinyMemory) SqrtSorter::SetInitialBufferBytes(1024);
    if (way == Way::kGarbage) disguise_.emplace(BatchDisguise::As::kGarbage);
    if (way == Way::kDictionaries) disguise_.emplace(BatchDisguise::As::kDictionary);
  }
  ~WayScope() { SqrtSorter::SetInitialBufferBytes(bufferBytes_); }
  WayScope(const WayScope&) = delete;
  WayScope& operator=(const WayScope&) = delete;

 private:
  const std::size_t bufferBytes_ = SqrtSorter::GetInitialBufferBytes();
  std::optional<BatchDisguise> disguise_;
};

}  // namespace

const char* NameOf(Way way) {
  static constexpr const char* kNames[] = {"by rows",
                                           "by batches",
                                           "by batches of three rows",
                                           "by batches of one row",
                                           "by batches with garbage under NULLs",
                                           "by batches with dictionaries",
                                           "by three threads",
                                           "with tiny memory",
                                           "without keeping tables"};
  return kNames[static_cast<int>(way)];
}

World::World(const Surroundings& surroundings, const std::string& examples)
    : surroundings_(surroundings), examples_(examples) {
  for (const RandomTable& table : surroundings_.tables) {
    folder_.Write(table.name + ".csv", table.Csv());
  }
}

void World::AddExamples(Session& session, const std::string& folder) {
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string ending = entry.path().extension();
    if (ending == ".csv" || ending == ".jsonl") {
      session.AddTable(entry.path().stem(), entry.path());
    }
  }
}

Session& World::Find(Way way) {
  const int index = way == Way::kRows          ? 0
                    : way == Way::kTinyMemory  ? 1
                    : way == Way::kNothingKept ? 2
                                               : 3;
  std::unique_ptr<Session>& session = sessions_[index];
  if (session) return *session;
  session = std::make_unique<Session>();
  session->SetDirectory(folder_.Path());
  AddExamples(*session, examples_);
  for (const RandomTable& table : surroundings_.tables) {
    session->SetSchema(table.name, table.Schema());
  }
  // Several chunks of few rows.
  TextTableOptions options;
  options.file.threads = 1;
  options.file.leastPieceBytes = options.file.blockBytes = std::size_t{16} << 10;
  session->SetFileOptions(options);
  for (const auto& [name, value] : surroundings_.switches) session->Set(name, value);
  // What takes this long has hung.
  session->Set("StatementTimeout", "20000");
  session->Set("Evaluation", way == Way::kRows ? "rows" : "batches");
  if (way == Way::kTinyMemory) {
    session->Set("GroupMemory", "1");
    session->Set("JoinMemory", "1");
  }
  if (way == Way::kNothingKept) session->Set("TableMemory", "1");
  return *session;
}

Outcome World::Run(Way way, const std::string& sql) {
  if (isStopped_) return {};
  Session& session = Find(way);
  const WayScope scope(way, session);
  ++statements_;
  Outcome outcome;
  try {
    test::CapturingSink sink;
    session.Execute(sql, sink);
    for (const auto& row : sink.rows) outcome.lines.push_back(test::RowText(row));
    for (const ColumnInfo& column : sink.columns) {
      outcome.types +=
          (outcome.types.empty() ? "" : ", ") +
          BaseStringUtil::StringToUtf8(SUXeDataTypeUtility::GetXeDataTypeName(column.type));
    }
    ++succeeded_;
  } catch (const ErrorMessage& error) {
    outcome.isError = true;
    outcome.code = error.GetCode();
    outcome.message = "error " + std::to_string(error.GetCode()) + ": " + error.what();
    std::string line = outcome.message;
    if (error.GetSourcePosition() >= 0) {
      const LineColumn at = FindLineColumn(sql, error.GetSourcePosition());
      line += " (line " + std::to_string(at.line) + ", column " + std::to_string(at.column);
      if (error.GetRowNumber() >= 0) line += ", input row " + std::to_string(error.GetRowNumber());
      line += ")";
    }
    outcome.lines = {line};
  } catch (const std::bad_alloc&) {
    outcome = {true, Outcome::kNoMemory, "no memory", {"no memory"}, ""};
  } catch (const std::length_error&) {
    outcome = {true, Outcome::kNoMemory, "no memory", {"no memory"}, ""};
  }
  return outcome;
}

}  // namespace sqxer::fuzz
