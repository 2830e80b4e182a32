#pragma once

#include <memory>

#include "FunctionRows.h"
#include "SQXERExprAggregate.h"
#include "SQXERMakeNode.h"

namespace sqxer {

constexpr const char* kSkipsNulls = "NULLs are left out; NULL when no value is left";

/// Makes an aggregate over the columns of a call; `more` is what its constructor takes behind the
/// three vectors of columns; it takes over what they own.
template <class Node, class... More>
std::unique_ptr<Aggregate> MakeNode(const AggregateCall& call, More... more) {
  std::unique_ptr<UInt16Vector> columns, distinctBreaks;
  if (!call.columns.empty()) columns = std::make_unique<UInt16Vector>(call.columns);
  if (call.distinct) distinctBreaks = std::make_unique<UInt16Vector>(1, call.columns[0]);
  return MakeNodeOf<Node>(columns, nullptr, distinctBreaks, std::move(more)...);
}

/// Makes one with a result per group.
template <class Node>
std::unique_ptr<Aggregate> MakeForGroups(AggregateCall& call) {
  return MakeNode<Node>(call, false);
}
/// Makes one with a result per group that removes duplicates itself.
template <class Node>
std::unique_ptr<Aggregate> MakeDistinct(AggregateCall& call) {
  return MakeNode<Node>(call, false, call.distinct);
}

/// The value of an argument that is a number without columns. The error of that code at its place
/// for one that is computed anew each time.
PlanConstant ReadNumber(std::unique_ptr<RExpression> number, int code);

}  // namespace sqxer
