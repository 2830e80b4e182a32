#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace sqxer::engine {

/// What a statement is at. Rows pass through in this order, some phases left out or come to again:
/// groups may be sorted, and grouped again for DISTINCT, and a statement of several queries makes
/// one after the other.
enum class Phase : std::uint8_t { kReading, kJoining, kGrouping, kSorting, kWriting };

/// Called now and then while a statement runs, on the thread that runs it, in phases whose length
/// is known: what of the phase is done, and in all, in bytes or rows. What it throws ends the
/// statement and passes through. It must not use the session but to cancel.
using TellProgress = std::function<void(Phase phase, std::uint64_t done, std::uint64_t total)>;

/// What a statement took.
struct RunReport {
  std::chrono::nanoseconds load{0};
  std::chrono::nanoseconds bind{0};
  /// Of all runs together, as spilledBytes.
  std::chrono::nanoseconds run{0};
  /// What went to temporary files: sorted runs, merged ones again, and rows that wait.
  std::uint64_t spilledBytes = 0;
  /// How many rows, or lines of EXPLAIN, are in the text that Session::Write has written; nothing
  /// where it has written none. Of a statement that has failed: how far the text got.
  std::optional<std::uint64_t> writtenRows = {};
  /// What a statement without rows has done, as PostgreSQL tags commands: "CREATE VIEW", "SELECT 5"
  /// (of CREATE TABLE AS), "INSERT 0 12", "COPY 12", "SET". Empty for one with rows, and for one
  /// that has failed. Session::Write has then written nothing.
  std::string tag = {};
};

}  // namespace sqxer::engine
