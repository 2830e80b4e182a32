#pragma once

#include "SQXERExpression.h"

namespace sqxer::test {

/// A leaf that gives what the test tells it to and counts how often it was asked.
template <class Value>
class Stub : public RExpression {
 public:
  /// `length`: what Bind reports; 0 is the width of the type.
  explicit Stub(XeDataType type, const Value& value = {}, RExprReturn status = kTrue,
                uint32 length = 0)
      : value_(value),
        status_(status),
        length_(length != 0 ? length : XeFieldDescriptor::GetObjectLength(type, 0)) {
    resultDataType_ = type;
  }

  void Bind(XeAListStream*, RExpression*& replacement, MetaDataInfo& info) override {
    ++binds_;
    replacement = nullptr;
    if (bindError_ != 0) SUGThrow(ErrorMessage(bindError_));
    info.objectLength_ = length_;
    info.isNullable_ = isNullable_;
    info.fieldName_ = L"stub";
  }
  RExprReturn Eval(void* out) override {
    ++evaluations_;
    if (status_ == kTrue) *static_cast<Value*>(out) = value_;
    return status_;
  }
  RExprType GetExpressionType() override { return kExpressionBegin; }
  RExpression* GetIthOperand(int) override { XeLogicError("a stub has no operands"); }
  void SetIthOperand(int, RExpression*) override { XeLogicError("a stub has no operands"); }

  /// Open to the test, also after the tree took the node over (for the life of the tree).
  Value value_;
  RExprReturn status_;
  uint32 length_;
  bool isNullable_ = true;
  int binds_ = 0;
  int evaluations_ = 0;
  /// The error that Bind raises, 0 for none.
  int bindError_ = 0;
};

}  // namespace sqxer::test
