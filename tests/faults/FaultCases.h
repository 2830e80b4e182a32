#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "Engine/Engine.h"

namespace sqxer::faults {

/// What a session is asked to do while something fails.
struct Case {
  std::string name;
  /// What the session is told before.
  std::vector<std::pair<std::string, std::string>> switches = {};
  std::vector<std::string> setup = {};
  /// What may fail. It returns all that it gives.
  std::function<std::string(engine::Session& session)> act = {};
  /// A query of what the case changes: as before when it has failed.
  std::string check = {};
  /// The file that it writes in the folder.
  std::string output = {};
  unsigned threads = 1;
  /// It has ICU open a locale, which does not live through every failure of the first time.
  bool opensLocale = false;
  /// It ends with an error whatever happens.
  bool isRefused = false;
  /// Sorts and spools take the least memory that they can, so that they spill.
  bool spills = false;
};

/// Makes the files that the cases read, in the current folder.
void WriteFiles();

/// Statements that reach every operator, and what the interface has beside them.
std::vector<Case> ListCases();

/// All rows of a statement as CSV, or the tag of one that has none.
std::string WriteAll(engine::Session& session, const std::string& sql,
                     const engine::TextOptions& options = {});

}  // namespace sqxer::faults
