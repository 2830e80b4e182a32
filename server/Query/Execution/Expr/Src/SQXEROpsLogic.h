#pragma once

#include <concepts>

#include "Utility/XeTypes.h"

namespace sqxer {

/// A truth value of three-valued logic. Unknown stands for "could be either": a connective is
/// unknown exactly when the unknown operand could still turn the result.
enum class Truth : uint8 { kFalse = 0, kTrue = 1, kUnknown = 2 };

/// A stateless connective. `Decides(left)` tells that no right operand can change the result, which
/// then is the left operand.
template <class Op>
concept LogicOp = requires(Truth a, Truth b) {
  { Op::Decides(a) } -> std::same_as<bool>;
  { Op::Apply(a, b) } -> std::same_as<Truth>;
};

struct AndOp {
  static constexpr bool Decides(Truth left) { return left == Truth::kFalse; }
  static constexpr Truth Apply(Truth a, Truth b) {
    if (a == Truth::kFalse || b == Truth::kFalse) return Truth::kFalse;
    return a == Truth::kUnknown || b == Truth::kUnknown ? Truth::kUnknown : Truth::kTrue;
  }
};

struct OrOp {
  static constexpr bool Decides(Truth left) { return left == Truth::kTrue; }
  static constexpr Truth Apply(Truth a, Truth b) {
    if (a == Truth::kTrue || b == Truth::kTrue) return Truth::kTrue;
    return a == Truth::kUnknown || b == Truth::kUnknown ? Truth::kUnknown : Truth::kFalse;
  }
};

struct NotOp {
  static constexpr Truth Apply(Truth a) {
    if (a == Truth::kUnknown) return Truth::kUnknown;
    return a == Truth::kTrue ? Truth::kFalse : Truth::kTrue;
  }
};

}  // namespace sqxer
