#pragma once

#include <vector>

#include "AggregateSet.h"

namespace sqxer {

/// How a function of a window is driven.
enum class FunctionKind {
  /// Gives the result of a row as soon as it has taken the row in.
  kCumulative,
  /// Takes in the whole group, then gives a result for one row after the other.
  kPerRow,
  /// Takes in the whole group, and gives one result for all of its rows.
  kPerGroup,
};

FunctionKind KindOf(const PlanAggregate& function);

/// The functions of one window, bound. Errors carry the place of their function in the SQL.
class WindowFunctions {
 public:
  /// They read `input` records. The per-group ones write the first fields of `group`, the others
  /// those of `row`, each in the plan's order.
  /// `areRanks`: all are ranks, and rows come in ranking order.
  WindowFunctions(const std::vector<PlanAggregate>& plan, WorkRecord& input, WorkRecord& row,
                  WorkRecord& group, bool areRanks);

  /// All results of a row are there when Take returns.
  bool AreCumulative() const { return perRow_.empty() && perGroup_.empty(); }
  /// Take writes into the row record, and OutputRow needs to find that there.
  bool WriteOnTake() const { return !cumulative_.empty() || leaveNullsOut_; }
  /// In the plan's order.
  Aggregate& Get(std::size_t index) { return *inPlanOrder_[index]; }
  /// Whether some function reads a field of the input records.
  bool Reads(std::size_t field) const;

  /// The calls for one group: StartGroup, Take for each row, EndGroup, OutputRow for each row in
  /// the same order.
  void StartGroup();
  void Take(uint8* input);
  /// In the place of Take where all functions are ranks: see Rank::ComputeInOrder.
  void TakeRank(bool isTie);
  void EndGroup();
  void OutputRow() {
    if (!perRow_.empty()) OutputRows();
  }

 private:
  struct Function : BoundAggregate {
    /// The rows whose value is NULL are not the function's, and their result is NULL. Until it is
    /// output, the indicator of the result tells which they are.
    bool leavesNullsOut = false;
    /// The indicator of the value: byte 0 of the record, always zero, for one that is never NULL.
    uint32 inputNull = 0;
    uint32 resultNull = 0;
  };

  void OutputRows();

  const uint32 inputSize_;
  const WorkRecord& row_;
  const WorkRecord& group_;
  std::vector<Function> cumulative_;
  std::vector<Function> perRow_;
  std::vector<Function> perGroup_;
  std::vector<Aggregate*> inPlanOrder_;
  bool leaveNullsOut_ = false;
};

}  // namespace sqxer
