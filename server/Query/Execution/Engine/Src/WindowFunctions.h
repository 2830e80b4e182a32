#pragma once

#include <deque>
#include <optional>
#include <vector>

#include "AggregateSet.h"
#include "FrameAggregator.h"
#include "WindowPartition.h"

namespace sqxer {

/// How a function of a window is driven.
enum class FunctionKind {
  /// Gives the result of a row as soon as it has taken the row in.
  kCumulative,
  /// Takes in the whole group, then gives a result for one row after the other.
  kPerRow,
  /// Gives results for one row after the other, over their frames, when the whole group is kept.
  kFramed,
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
                  WorkRecord& group, bool areRanks, OperatorTimer& timer);

  /// All results of a row are there when Take returns.
  bool AreCumulative() const { return perRow_.empty() && framed_.empty() && perGroup_.empty(); }
  /// Whether Take needs to know which rows are equal in their order.
  bool TakePeers() const { return !framed_.empty(); }
  /// Take writes into the row record, and OutputRow needs to find that there.
  bool WriteOnTake() const { return !cumulative_.empty() || leaveNullsOut_; }
  /// In the plan's order.
  Aggregate& Get(std::size_t index) { return *inPlanOrder_[index]; }
  /// Whether some function reads a field of the input records.
  bool Reads(std::size_t field) const;

  /// The calls for one group: StartGroup, Take for each row, EndGroup, OutputRow for each row in
  /// the same order.
  void StartGroup();
  /// `startsPeers`: the row is not equal to the one before it in their order.
  void Take(uint8* input, bool startsPeers);
  /// In the place of Take where all functions are ranks: see Rank::ComputeInOrder.
  void TakeRank(bool isTie);
  void EndGroup();
  void OutputRow() {
    if (!perRow_.empty() || !framed_.empty()) OutputRows();
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

  /// One with a frame.
  struct Framed : BoundAggregate {
    Framed(BoundAggregate bound, const PlanAggregate& planned, const WorkRecord& input,
           const WorkRecord& row, std::size_t firstResult, WindowPartition& partition);
    void Begin();
    void Output(uint8* row);

    FrameCursor cursor;
    PartitionReader rows;
    /// What gives each row a value itself; null for an aggregate over frames.
    WindowFunction* function;
    std::optional<FrameAggregator> aggregator;
    /// Several results are cleared: not all of them are written of a frame without values.
    struct Bytes {
      uint32 offset;
      uint32 count;
    };
    std::vector<Bytes> cleared;
  };

  void OutputRows();

  const uint32 inputSize_;
  const WorkRecord& row_;
  const WorkRecord& group_;
  std::vector<Function> cumulative_;
  std::vector<Function> perRow_;
  std::vector<Function> perGroup_;
  /// The rows that those with frames look at.
  std::optional<WindowPartition> partition_;
  /// They do not move.
  std::deque<Framed> framed_;
  std::vector<const WindowFrame*> frames_;
  std::vector<Aggregate*> inPlanOrder_;
  bool leaveNullsOut_ = false;
};

}  // namespace sqxer
