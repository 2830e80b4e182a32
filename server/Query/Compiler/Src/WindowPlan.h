#pragma once

#include <functional>
#include <string>
#include <vector>

#include "AggregateList.h"
#include "QueryPlan.h"
#include "TypedExpression.h"

namespace sqxer {

/// The calls with OVER that a query's expressions hold: those with the same partitions and the same
/// order of rows share a window.
class WindowPlan {
 public:
  using Build = std::function<PlanExpression(const TypedExpressionPtr& input)>;

  explicit WindowPlan(const std::string& sql) : sql_(sql) {}

  /// Notes the calls in an expression.
  void Note(const TypedExpressionPtr& expression);
  bool IsEmpty() const { return windows_.empty(); }

  /// An expression whose calls are noted, reading their results: the fields from `firstResult` on.
  TypedExpressionPtr OverWindows(const TypedExpressionPtr& expression, int firstResult) const;
  /// `build` makes the trees of the inputs.
  std::vector<PlanWindow> MakeWindows(const Build& build) const;

 private:
  struct Window {
    /// Any of its calls: all have the same keys.
    TypedExpressionPtr call;
    int partitionKeys = 0;
    std::vector<PlanSortKey> order;
    AggregateList functions;
  };
  Window& FindWindow(const TypedExpressionPtr& call);

  const std::string& sql_;
  std::vector<Window> windows_;
};

}  // namespace sqxer
