#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Session.h"
#include "Tables.h"
#include "server/Query/Execution/Engine/TemporaryFolder.h"

namespace sqxer::fuzz {

/// What a statement gave.
struct Outcome {
  bool isError = false;
  /// Of an error; kNoMemory for one of the machine.
  int code = 0;
  /// Its sentence without the place.
  std::string message;
  /// What a test file has: the rows, or one line with the error and its place.
  std::vector<std::string> lines;
  /// The names of the types of its columns.
  std::string types;

  static constexpr int kNoMemory = -1;
  bool operator==(const Outcome&) const = default;
};

/// How statements are run that should give the same.
enum class Way {
  kRows,
  kBatches,
  kBatchesOfThree,
  kBatchesOfOne,
  kGarbage,
  kDictionaries,
  kThreads,
  kTinyMemory,
  kNothingKept,
};
const char* NameOf(Way way);

/// The tables of some surroundings as files, and sessions over them.
class World {
 public:
  /// `examples`: the folder of the tables that the examples of the function table read.
  World(const Surroundings& surroundings, const std::string& examples);

  Outcome Run(Way way, const std::string& sql);
  /// From now on statements give no rows, and are not run.
  void StopRunning() { isStopped_ = true; }
  const Surroundings& GetSurroundings() const { return surroundings_; }
  /// How many statements were run, and how many gave an outcome that is no error.
  uint64 CountStatements() const { return statements_; }
  uint64 CountSucceeded() const { return succeeded_; }

  /// Adds the tables of the examples.
  static void AddExamples(Session& session, const std::string& folder);

 private:
  Session& Find(Way way);

  Surroundings surroundings_;
  std::string examples_;
  test::TemporaryFolder folder_;
  std::unique_ptr<Session> sessions_[4];
  bool isStopped_ = false;
  uint64 statements_ = 0;
  uint64 succeeded_ = 0;
};

}  // namespace sqxer::fuzz
