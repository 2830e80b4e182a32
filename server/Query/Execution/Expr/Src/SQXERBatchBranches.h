#pragma once

#include <optional>
#include <span>
#include <vector>

#include "SQXERExpression.h"
#include "SQXEROpsArithmetic.h"

namespace sqxer {

/// Puts the result of a conditional expression together: each branch is evaluated for the rows that
/// take it, and for no others. The rows are in one of the node's two selections: in front those
/// that have a result, in the order of the branches, in the other one those that have none yet.
class BatchBranches {
 public:
  BatchBranches(const BatchRows& rows, BatchBuffers& buffers);

  /// The rows without a result yet.
  bool HasRows() const { return rows_.GetWanted() != 0; }
  const BatchRows& GetRows() const { return rows_; }

  /// Gives the rows of which `takes` is true the values that evaluate(rows, values) finds for them.
  /// False when it does.
  template <class Takes, class Evaluate>
  bool Split(Takes&& takes, Evaluate&& evaluate) {
    const uint32 first = taken_;
    uint32 left = 0;
    rows_.ForEach([&](uint32 row) {
      const bool isTaken = takes(row);
      takenRows_[taken_] = otherRows_[left] = static_cast<uint16>(row);
      taken_ += isTaken;
      left += !isTaken;
    });
    rows_.selected = otherRows_;
    rows_.selectedCount = left;
    if (taken_ == first) return true;
    BatchRows taken = rows_;
    taken.selected = takenRows_ + first;
    taken.selectedCount = taken_ - first;
    BatchVector values;
    if (!evaluate(taken, values)) return false;
    branches_.push_back({values, first, taken_});
    return true;
  }
  /// The rows of which `takes` is true have the given values, which are known.
  template <class Takes>
  void Take(const BatchVector& values, Takes&& takes) {
    Split(std::forward<Takes>(takes), [&](const BatchRows&, BatchVector& taken) {
      taken = values;
      return true;
    });
  }
  void TakeAll(const BatchVector& values) {
    Take(values, [](uint32) { return true; });
  }

  /// The result; NULL in the rows that no branch has taken. False when the branches have forms that
  /// do not become one.
  bool Finish(BatchVector& out);

 private:
  struct Branch {
    BatchVector values;
    /// Its rows, from and to.
    uint32 first;
    uint32 last;
  };

  template <class Value, class Read>
  void Gather(ColumnForm form, BatchVector& out, Read&& read);
  void GatherDecimals(BatchVector& out);
  /// The least and the greatest decimal of all branches at a scale; nothing where they have no
  /// number of it in 128 bits.
  std::optional<WideBounds> FindDecimalBounds(int scale) const;
  template <class Stored>
  void GatherScaled(ColumnForm form, int scale, BatchVector& out);

  BatchRows rows_;
  BatchBuffers& buffers_;
  uint16* takenRows_;
  uint16* otherRows_;
  uint32 taken_ = 0;
  std::vector<Branch> branches_;
};

/// The result of a CASE of which every condition and every result was evaluated for every row: that
/// of the first condition that is true, or the last result, if there is one more than conditions.
/// False where the results are of more than one form, or of one that is not made of machine words.
bool BlendBranches(std::span<const BatchVector> conditions, std::span<const BatchVector> results,
                   const BatchRows& rows, BatchBuffers& buffers, BatchVector& out);

/// The batch of the first of some trees that is not NULL, each evaluated for the rows that need it.
bool EvalFirstValue(std::span<RExpression* const> trees, const BatchRows& rows,
                    BatchBuffers& buffers, BatchVector& out);

}  // namespace sqxer
