#pragma once

#include <memory>
#include <vector>

#include "SQXERExpression.h"

namespace sqxer {

/// The operands of a node as vectors, for a node that has no loop of its own: what stands in their
/// places gives the values of one row after the other.
class BatchOperands {
 public:
  explicit BatchOperands(RExpression& node);
  ~BatchOperands();

  /// Evaluates the operands for the rows, and the node for each of them. False as
  /// RExpression::EvalBatch has it.
  bool Evaluate(const BatchRows& rows, BatchVector& out);

 private:
  class Cell;
  class Rows;
  struct Operand {
    int index;
    std::unique_ptr<Cell> cell;
  };

  RExpression& node_;
  /// Those that are not the same in every row.
  std::vector<Operand> operands_;
};

}  // namespace sqxer
