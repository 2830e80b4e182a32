#pragma once

#include <array>
#include <cmath>
#include <map>
#include <set>

#include "SQXERTypedVariant.h"
#include "support/Asserts.h"
#include "support/BoundaryValues.h"
#include "support/Stub.h"
#include "support/TestRecord.h"

namespace sqxer::test {

/// A leaf of a type that is bound but not evaluated.
inline Stub<int32>* Leaf(XeDataType type, uint32 length = 0) {
  return new Stub<int32>(type, 0, kTrue, length);
}

/// Binds a tree without columns.
inline std::unique_ptr<RExpression> Bound(RExpression* root) { return TestRecord({}).Bind(root); }

/// The arguments of a type error.
inline std::vector<XeString> TypeError(const XeString& name, XeDataType first,
                                       XeDataType second = XeUnknown) {
  XeString types = SUXeDataTypeUtility::GetXeDataTypeName(first);
  if (second != XeUnknown) types += L"," + SUXeDataTypeUtility::GetXeDataTypeName(second);
  return {name, types};
}

/// The type in which two operands meet, if they do: of two numbers the one whose type comes earlier
/// becomes of the later type.
inline std::optional<XeDataType> Meet(XeDataType left, XeDataType right) {
  static const std::vector<XeDataType> numbers = {Bit, Int4, UInt4, Numeric, Double};
  // clang-format off
  static const std::set<std::pair<XeDataType, XeDataType>> becomes = {
      {Char, Char}, {Char, LongChar}, {Char, Date}, {Char, DateTime},
      {LongChar, LongChar}, {LongChar, Date}, {LongChar, DateTime},
      {Bin, Bin}, {Bin, LongBin}, {LongBin, LongBin},
      {Date, Date}, {Date, DateTime}, {Time, Time}, {Time, DateTime}, {DateTime, DateTime}};
  // clang-format on
  const auto first = std::find(numbers.begin(), numbers.end(), left);
  const auto second = std::find(numbers.begin(), numbers.end(), right);
  if (first != numbers.end() && second != numbers.end()) return *std::max(first, second);
  if (becomes.contains({left, right})) return right;
  return becomes.contains({right, left}) ? std::optional(left) : std::nullopt;
}

/// What stands in the place of a Leaf that has to become of another type.
inline XeString Wrapper(XeDataType from, XeDataType to) {
  // clang-format off
  static const std::map<XeDataType, XeString> names = {
      {Bit, L"Bit"}, {Bool, L"Bit"}, {Int4, L"Int32"}, {UInt4, L"UInt32"}, {Double, L"Float64"},
      {Numeric, L"Number"}, {Char, L"XeChar"}, {LongChar, L"LongVarXeChar"}, {Bin, L"Binary"},
      {LongBin, L"LongVarBinary"}, {Date, L"XeDate"}, {Time, L"XeTime"},
      {DateTime, L"XeDateTime"}};
  // clang-format on
  if (from == to) return L"test::Stub<int>";
  const XeString source = from == LongChar ? L"XeLongVarChar" : names.at(from);
  return L"Convert" + source + L"to" + names.at(to);
}

/// An operator at a position of the SQL, bound over stubs of one type that stay open to the test.
template <class Value, std::size_t count>
struct OverStubs {
  static constexpr int kPosition = 17;
  std::array<Stub<Value>*, count> operands{};
  std::unique_ptr<RExpression> root;

  template <class Node>
  static OverStubs Make() {
    OverStubs tree;
    for (Stub<Value>*& stub : tree.operands) stub = new Stub<Value>(kTypeOfValue<Value>);
    RExpression* node;
    if constexpr (std::is_constructible_v<Node, RExpression*, std::vector<RExpression*>>) {
      node = new Node(tree.operands[0], {tree.operands.begin() + 1, tree.operands.end()});
    } else {
      node = std::apply([](auto*... stub) { return new Node(stub...); }, tree.operands);
    }
    node->SetSourcePosition(kPosition);
    tree.root = Bound(node);
    return tree;
  }
  template <class... Values>
  RExprReturn Eval(void* out, const Values&... values) {
    std::size_t i = 0;
    ((operands[i++]->value_ = values), ...);
    const std::size_t blocks = AllocationCount();
    const RExprReturn status = root->Eval(out);
    EXPECT_EQ(AllocationCount(), blocks) << "the row path takes memory";
    return status;
  }
  /// A status for each operand, and new counts.
  void SetStatuses(const std::array<RExprReturn, count>& statuses) {
    for (std::size_t i = 0; i < count; ++i) {
      operands[i]->status_ = statuses[i];
      operands[i]->evaluations_ = 0;
    }
  }
  /// Expects that an operand's status other than a value is returned at once, with no later operand
  /// evaluated.
  void ExpectStatusPassesUp() {
    std::array<RExprReturn, count> statuses;
    statuses.fill(kTrue);
    for (std::size_t stop = 0; stop < count; statuses[stop++] = kTrue) {
      for (const RExprReturn status : {kFalse, kUnknown, kError, kEod}) {
        statuses[stop] = status;
        SetStatuses(statuses);
        alignas(16) uint8 out[32];
        EXPECT_EQ(root->Eval(out), status);
        EXPECT_EQ(root->GetRetCode(), status);
        for (std::size_t i = 0; i < count; ++i) EXPECT_EQ(operands[i]->evaluations_, i <= stop);
      }
    }
    SetStatuses(statuses);
  }
};

/// Equal in value and, for doubles, in sign; a NaN is like a NaN.
template <class Value>
bool Alike(const Value& a, const Value& b) {
  if constexpr (std::is_floating_point_v<Value>) {
    return a != a ? b != b : a == b && std::signbit(a) == std::signbit(b);
  }
  return a == b;
}

}  // namespace sqxer::test
