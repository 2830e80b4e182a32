#pragma once

#include <type_traits>
#include <vector>

#include "FunctionTable.h"
#include "SQXERExpression.h"

namespace sqxer {

/// The rows of the function table, section by section.
void AppendOperatorRows(std::vector<FunctionRow>& rows);
void AppendConditionalRows(std::vector<FunctionRow>& rows);
void AppendConversionRows(std::vector<FunctionRow>& rows);
void AppendAggregateRows(std::vector<FunctionRow>& rows);

constexpr const char* kNullIfAny = "NULL if an operand is NULL";

/// The operands were taken over.
inline void ReleaseAll(Operands& operands) {
  for (auto& operand : operands) static_cast<void>(operand.release());
}

/// Makes a node that takes one, two or three operands and nothing else.
template <class Node>
std::unique_ptr<RExpression> Make(const TypedExpression&, Operands& o) {
  std::unique_ptr<RExpression> node;
  if constexpr (std::is_constructible_v<Node, RExpression*, RExpression*, RExpression*>) {
    node = std::make_unique<Node>(o[0].get(), o[1].get(), o.size() > 2 ? o[2].get() : nullptr);
  } else if constexpr (std::is_constructible_v<Node, RExpression*, RExpression*>) {
    node = std::make_unique<Node>(o[0].get(), o[1].get());
  } else {
    node = std::make_unique<Node>(o[0].get());
  }
  ReleaseAll(o);
  return node;
}

}  // namespace sqxer
