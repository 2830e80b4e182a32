#pragma once

#include <concepts>
#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "SQXERExprFunctionBase.h"

namespace sqxer {

/// Some operands of a call, from one position up to another, for a constructor that takes a list.
class GivenOperands {
 public:
  GivenOperands(std::vector<std::unique_ptr<RExpression>>& operands, std::size_t from,
                std::size_t to)
      : operands_(operands), from_(from), to_(to) {
    for (std::size_t i = from; i < to; ++i) pointers_.push_back(operands[i].get());
  }
  /// They have no other owner from then on.
  ExpressionVector Give() && noexcept {
    for (std::size_t i = from_; i < to_; ++i) static_cast<void>(operands_[i].release());
    return std::move(pointers_);
  }

 private:
  std::vector<std::unique_ptr<RExpression>>& operands_;
  const std::size_t from_;
  const std::size_t to_;
  ExpressionVector pointers_;
};

namespace detail {

template <class T>
constexpr bool kIsOwner = false;
template <class T>
constexpr bool kIsOwner<std::unique_ptr<T>> = true;

template <class T>
decltype(auto) Given(T&& argument) noexcept {
  if constexpr (kIsOwner<std::remove_cvref_t<T>>) {
    return argument.release();
  } else if constexpr (std::same_as<std::remove_cvref_t<T>, GivenOperands>) {
    return std::move(argument).Give();
  } else {
    return std::forward<T>(argument);
  }
}

}  // namespace detail

/// Makes a node or an aggregate, whose constructor takes over the operands and columns that it is
/// given, whatever it throws: here these are unique pointers and GivenOperands, which lose them.
/// Other arguments that can throw while they are handed on are to be rvalues.
template <class Node, class... Arguments>
std::unique_ptr<Node> MakeNodeOf(Arguments&&... arguments) {
  // The node's memory is there before the first argument is given up.
  return std::unique_ptr<Node>(new Node(detail::Given(std::forward<Arguments>(arguments))...));
}

}  // namespace sqxer
