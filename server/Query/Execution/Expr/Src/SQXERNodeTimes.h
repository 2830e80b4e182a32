#pragma once

#include <chrono>
#include <unordered_map>
#include <vector>

#include "SQXERExpression.h"

namespace sqxer {

/// What the nodes of trees take that the thread evaluates by batches, each without its operands. A
/// node that runs Eval for each row counts with its operands. The clock is read for some of the
/// batches, which count for the others.
class SQXEREXPR_API NodeTimes {
 public:
  NodeTimes() = default;
  NodeTimes(const NodeTimes&) = delete;
  NodeTimes& operator=(const NodeTimes&) = delete;

  /// Makes it that of the thread, as long as it lives.
  class SQXEREXPR_API Scope {
   public:
    explicit Scope(NodeTimes& times);
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    NodeTimes* const outer_;
  };

  /// What a node has taken, about; null for one that no clock was read for.
  const std::chrono::nanoseconds* Find(const RExpression& node) const;
  /// The nodes are no more: others may come to lie where they were.
  void ForgetNodes() { times_.clear(); }
  /// Of all nodes together, those that are forgotten, too.
  std::chrono::nanoseconds GetWhole() const { return whole_; }

 private:
  friend class NodeTimer;
  using Clock = std::chrono::steady_clock;
  struct Open {
    Clock::time_point start;
    Clock::duration operands{0};
  };

  /// Of the trees, the first ones, then one of so many on average.
  static constexpr uint32 kFirstTrees = 64;
  static constexpr uint32 kTreesOfSample = 8;

  /// A tree is evaluated: whether the clock is read for it.
  bool BeginTree();
  void Begin() { open_.push_back({Clock::now()}); }
  void End(const RExpression& node);

  static thread_local NodeTimes* current;

  std::unordered_map<const RExpression*, std::chrono::nanoseconds> times_;
  std::chrono::nanoseconds whole_{0};
  std::vector<Open> open_;
  /// How deep in a tree that no clock is read for.
  uint32 depth_ = 0;
  uint64 trees_ = 0;
  uint32 random_ = 1;
  int weight_ = 1;
};

/// As DescribeTree, with what each node has taken. `times` may be null.
SQXEREXPR_API XeString DescribeTree(RExpression& root, BatchMarks marks, const NodeTimes* times);

}  // namespace sqxer
