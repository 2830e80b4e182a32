#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Generator.h"
#include "World.h"

namespace sqxer::fuzz {

/// Two ways to ask that must answer alike.
enum class Oracle {
  kBatches,
  kThreads,
  kMemory,
  kConstants,
  kPartsOfRows,
  kPartsOfAggregates,
  kPartsOfGroups,
  kCount,
  kDistinct,
  kWindow,
};
inline constexpr int kOracles = 10;
const char* NameOf(Oracle oracle);

/// What an oracle is asked about.
struct Case {
  Oracle oracle;
  Statement statement;
  /// Of the oracles of parts and counts: the condition.
  std::optional<Expression> condition;
  /// Of kConstants: the row whose values become constants.
  std::size_t row = 0;
};

Case MakeCase(Oracle oracle, Generator& generator, const Surroundings& surroundings,
              Random& random);

/// A statement, how it was run, and what it gave.
struct Answer {
  std::string sql;
  Way way;
  Outcome outcome;
};

struct Verdict {
  /// Both sides gave rows, or could be compared as errors.
  bool isCompared = false;
  /// Some statement gave rows.
  bool hasSucceeded = false;
  /// What differs; empty where all is well. The last one differs from the first.
  std::string difference;
  std::vector<Answer> answers;
};

Verdict Judge(const Case& asked, World& world);

/// All expressions of a case, each before those within it.
std::vector<Expression*> ExpressionsOf(Case& asked);

}  // namespace sqxer::fuzz
