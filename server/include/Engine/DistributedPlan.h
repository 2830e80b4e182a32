#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Engine/Engine.h"

namespace sqxer::engine {

/// A statement over one table whose rows lie in parts, on any number of machines. Others hold the
/// parts, move rows and sort; a plan of the same texts, made anew wherever it is needed, does the
/// steps:
///
///   Partial   the rows of one part, or of some of them, to states
///   Combine   states of several parts to fewer states; any number of times, or never
///   Finish    all states that belong together to rows of the result
///
/// States are rows of columns whose names tell version and plan. Those of one value of the column
/// GetExchange() are to come to one Finish; where it is empty, all of them. Of a statement of the
/// kind kRows Partial gives rows of the result, and there are no other steps.
///
/// The rows of the result are those of a Session over all parts, but for what depends on the order
/// of rows, which a table in parts has not: the last digits of sums of doubles and of statistics
/// made of them, FIRST, LAST and texts put together, and which of equal keys is shown (0.0 and
/// -0.0, texts that differ in blanks at the end).
///
/// One thread at a time; errors are those of Session. Errors of Partial carry the row's number in
/// the stream; those of the other steps have none.
class SQXER_ENGINE_API DistributedPlan {
 public:
  enum class Kind : std::uint8_t {
    /// A filter and expressions: nothing is exchanged.
    kRows,
    /// Groups whose aggregates all have partial results, or states of numbers that can be merged:
    /// these travel.
    kSplit,
    /// Groups of which the rows themselves travel, as far as keys and aggregates read them.
    kWhole,
    /// DISTINCT: the states are result rows without duplicates.
    kDistinct,
    /// Calls with OVER: the columns that the statement reads travel.
    kWindows,
  };

  /// What of ORDER BY, OFFSET and LIMIT is left to whoever has the rows of all Finish steps.
  struct Order {
    /// The last column of these rows: hexadecimal digits that ascend, byte by byte, as ORDER BY has
    /// it, directions, NULLs and collation included. To be dropped afterwards. Empty without ORDER
    /// BY.
    std::string column;
    std::uint64_t offset = 0;
    std::optional<std::uint64_t> limit;
  };

  using Switches = std::vector<std::pair<std::string, std::string>>;

  /// `schema`: the table's columns; it stays the caller's. `switches` are set as Session::Set does.
  /// Error 57120 (reason) for a statement that cannot be split: EXPLAIN, none or two tables, JSON
  /// values, whose type is that of all rows.
  DistributedPlan(std::string sql, const ArrowSchema& schema, const Switches& switches = {},
                  const std::vector<std::string>& parameters = {});
  DistributedPlan(DistributedPlan&&) noexcept;
  DistributedPlan& operator=(DistributedPlan&&) noexcept;
  ~DistributedPlan();

  Kind GetKind() const;
  /// As the statement names it.
  const std::string& GetTable() const;
  /// The table's columns that the statement reads: no others need be in the streams of Partial.
  const std::vector<std::string>& GetInputs() const;
  /// The column of the states, of 64-bit numbers, that are equal where states belong together;
  /// empty where all do.
  const std::string& GetExchange() const;
  const Order& GetOrder() const;

  /// Takes over the stream, as all steps do. `options` are for rows of the result, of kRows. Error
  /// 57112 for other columns than those of the schema.
  Result Partial(ArrowArrayStream* rows, const ResultOptions& options = {});
  /// Errors 57121 to 57124.
  Result Combine(ArrowArrayStream* states);
  /// Of a statement of groups without keys there is one row also if there are no states. Errors
  /// 57121 to 57124.
  Result Finish(ArrowArrayStream* states, const ResultOptions& options = {});

  /// Ends the step that is running, which throws Error::kCancelled soon. From any thread.
  void Cancel() noexcept;

  class Impl;

 private:
  std::unique_ptr<Impl> impl_;
};

}  // namespace sqxer::engine
