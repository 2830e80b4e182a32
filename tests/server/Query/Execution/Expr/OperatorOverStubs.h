#pragma once

#include <array>
#include <cmath>
#include <memory>
#include <optional>

#include "SQXERTypedVariant.h"
#include "support/Asserts.h"
#include "support/Stub.h"

namespace sqxer::test {

/// An operator bound over `count` stubs of one type, which stay open to the test.
template <class Value, int count>
class OverStubs {
 public:
  template <class Node, class... Extra>
  static OverStubs Make(Extra... extra) {
    OverStubs tree;
    for (Stub<Value>*& stub : tree.operands_) stub = new Stub<Value>(kTypeOfValue<Value>);
    RExpression* node =
        std::apply([&](auto*... operand) -> RExpression* { return new Node(operand..., extra...); },
                   tree.operands_);
    node->SetSourcePosition(kPosition);
    MetaDataInfo info;
    tree.root_ = BindTree(std::unique_ptr<RExpression>(node), nullptr, info);
    return tree;
  }

  static constexpr int kPosition = 17;
  RExpression& root() { return *root_; }
  Stub<Value>& operator[](int i) { return *operands_[static_cast<std::size_t>(i)]; }

  template <class... Values>
  RExprReturn Eval(void* out, const Values&... values) {
    int i = 0;
    ((operands_[static_cast<std::size_t>(i++)]->value_ = values), ...);
    return root_->Eval(out);
  }
  void SetStatus(int i, RExprReturn status) {
    operands_[static_cast<std::size_t>(i)]->status_ = status;
  }
  void ResetCounts() {
    for (Stub<Value>* stub : operands_) {
      stub->evaluations_ = 0;
      stub->status_ = kTrue;
    }
  }

 private:
  OverStubs() = default;
  std::array<Stub<Value>*, count> operands_{};
  std::unique_ptr<RExpression> root_;
};

/// Expects that each operand's status other than a value is returned at once, with no later operand
/// evaluated and nothing written.
template <class Tree>
void ExpectStatusPassesUp(Tree& tree, int count) {
  for (int stop = 0; stop < count; ++stop) {
    for (const RExprReturn status : {kFalse, kUnknown, kError, kEod}) {
      tree.ResetCounts();
      tree.SetStatus(stop, status);
      alignas(16) uint8 out[32];
      EXPECT_EQ(tree.root().Eval(out), status);
      EXPECT_EQ(tree.root().GetRetCode(), status);
      for (int i = 0; i < count; ++i) EXPECT_EQ(tree[i].evaluations_, i <= stop ? 1 : 0);
    }
  }
  tree.ResetCounts();
}

/// The arguments of a type error.
inline std::vector<XeString> TypeError(const XeString& name, XeDataType first,
                                       XeDataType second = XeUnknown) {
  XeString types = SUXeDataTypeUtility::GetXeDataTypeName(first);
  if (second != XeUnknown) types += L"," + SUXeDataTypeUtility::GetXeDataTypeName(second);
  return {name, types};
}

/// A leaf of a type that is bound but not evaluated.
inline RExpression* Leaf(XeDataType type, uint32 length = 0) {
  return new Stub<VelmarNumber>(type, {}, kTrue, length);
}

inline std::unique_ptr<RExpression> Bound(RExpression* root, MetaDataInfo* info = nullptr) {
  MetaDataInfo own;
  return BindTree(std::unique_ptr<RExpression>(root), nullptr, info != nullptr ? *info : own);
}

/// Equal in value and, for doubles, in sign; a NaN is like a NaN.
template <class Value>
bool Alike(const Value& a, const Value& b) {
  return a == b;
}
inline bool Alike(float64 a, float64 b) {
  return std::isnan(a) ? std::isnan(b) : a == b && std::signbit(a) == std::signbit(b);
}

}  // namespace sqxer::test
