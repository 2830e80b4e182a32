#include "SQXERNodeTimes.h"

#include <utility>

#include "SQXERNodeTimer.h"

namespace sqxer {

thread_local NodeTimes* NodeTimes::current = nullptr;

NodeTimes::Scope::Scope(NodeTimes& times) : outer_(std::exchange(current, &times)) {}
NodeTimes::Scope::~Scope() { current = outer_; }

const std::chrono::nanoseconds* NodeTimes::Find(const RExpression& node) const {
  const auto found = times_.find(&node);
  return found == times_.end() ? nullptr : &found->second;
}

bool NodeTimes::BeginTree() {
  if (trees_++ < kFirstTrees) {
    weight_ = 1;
    return true;
  }
  // By chance, since trees may come in turns.
  random_ = random_ * 1664525 + 1013904223;
  weight_ = static_cast<int>(kTreesOfSample);
  return (random_ >> 16) % kTreesOfSample == 0;
}

void NodeTimes::End(const RExpression& node) {
  const Open one = open_.back();
  open_.pop_back();
  const Clock::duration time = Clock::now() - one.start;
  if (!open_.empty()) open_.back().operands += time;
  const auto own = std::chrono::duration_cast<std::chrono::nanoseconds>(time - one.operands);
  times_[&node] += own * weight_;
  whole_ += own * weight_;
}

NodeTimer::NodeTimer(const RExpression& node) : node_(node), times_(NodeTimes::current) {
  if (times_ == nullptr) [[likely]]
    return;
  const bool isTree = times_->depth_ == 0 && times_->open_.empty();
  isTimed_ = isTree ? times_->BeginTree() : times_->depth_ == 0;
  if (isTimed_) {
    times_->Begin();
  } else {
    ++times_->depth_;
  }
}

void NodeTimer::End() {
  if (isTimed_) {
    times_->End(node_);
  } else {
    --times_->depth_;
  }
}

}  // namespace sqxer
