#pragma once

#include <vector>

#include "AggregateSet.h"

namespace sqxer {

/// The functions of one window, bound, and how each is driven:
///
///   cumulative   gives the result of a row as soon as it has taken the row in
///   per row      takes in the whole group, then gives a result for one row after the other
///   per group    takes in the whole group, and gives one result for all of its rows
///
/// Results go to one record per row. Errors carry the place of their function in the SQL.
class WindowFunctions {
 public:
  /// Binds them: they read `input`, and write the fields of `result` from the first on.
  WindowFunctions(const std::vector<PlanAggregate>& plan, WorkRecord& input, WorkRecord& result);

  /// All results of a row are there when Take returns.
  bool AreCumulative() const { return perRow_.empty() && perGroup_.empty(); }
  /// Take writes into the row's result record.
  bool WriteOnTake() const { return !cumulative_.empty() || leaveNullsOut_; }
  /// The fields that EndGroup writes.
  const UInt16Vector& GetGroupFields() const { return groupFields_; }

  /// The calls for one group: StartGroup, Take for each row, EndGroup, OutputRow for each row in
  /// the same order, with the record that Take has written to. `input` and `result` are records of
  /// the layouts given to the constructor, at any address.
  /// StartGroup and EndGroup leave nothing of another group in the record: a function that saw no
  /// value may leave a result as it stands.
  void StartGroup(uint8* result);
  void Take(uint8* input, uint8* result);
  void EndGroup(uint8* result);
  void OutputRow(uint8* result) {
    if (!perRow_.empty()) OutputRows(result);
  }

 private:
  struct Function : BoundAggregate {
    /// The rows whose value is NULL are not the function's, and their result is NULL. Meanwhile the
    /// indicator of the result tells which they are.
    bool leavesNullsOut;
    /// The indicator of the value: byte 0 of the record, always zero, for one that is never NULL.
    uint32 inputNull;
    uint32 resultNull;
  };

  void OutputRows(uint8* result);

  const uint32 inputSize_;
  const uint32 resultSize_;
  std::vector<Function> cumulative_;
  std::vector<Function> perRow_;
  std::vector<Function> perGroup_;
  bool leaveNullsOut_ = false;
  UInt16Vector groupFields_;
};

}  // namespace sqxer
