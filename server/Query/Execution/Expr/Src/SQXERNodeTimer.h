#pragma once

#include "SQXERNodeTimes.h"

namespace sqxer {

/// Times one node that is evaluated for a batch, from construction to destruction, where the
/// thread's nodes are timed.
class NodeTimer {
 public:
  explicit NodeTimer(const RExpression& node);
  ~NodeTimer() {
    if (times_ != nullptr) [[unlikely]]
      End();
  }
  NodeTimer(const NodeTimer&) = delete;
  NodeTimer& operator=(const NodeTimer&) = delete;

 private:
  void End();

  const RExpression& node_;
  NodeTimes* const times_;
  bool isTimed_ = false;
};

}  // namespace sqxer
