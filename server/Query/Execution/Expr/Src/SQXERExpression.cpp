#include "SQXERExpression.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "SQXERExprParam.h"
#include "SQXEROperandBinding.h"

namespace sqxer {

namespace {

/// Whether a node below this one, or itself, is in `met` already. Adds them all.
bool HasSharedNode(RExpression& node, std::unordered_set<const RExpression*>& met) {
  if (!met.insert(&node).second) return true;
  for (int i = 0; i < node.GetOperandCount(); ++i) {
    RExpression* const operand = node.GetIthOperand(i);
    if (operand != nullptr && HasSharedNode(*operand, met)) return true;
  }
  return false;
}

}  // namespace

void MetaDataInfo::Initialize() {
  objectLength_ = 0;
  isNullable_ = false;
  fieldName_.clear();
  aliasName_.clear();
  scale_ = 0;
  paramDescriptorArray_.clear();
  paramExpressions_.clear();
}

void MetaDataInfo::AddParametersOf(const MetaDataInfo& operand) {
  paramDescriptorArray_.insert(paramDescriptorArray_.end(), operand.paramDescriptorArray_.begin(),
                               operand.paramDescriptorArray_.end());
  paramExpressions_.insert(paramExpressions_.end(), operand.paramExpressions_.begin(),
                           operand.paramExpressions_.end());
}

RExpression::~RExpression() = default;

RExpression* RExpression::ReleaseExpression() { return nullptr; }

int RExpression::GetParamNumber() { XeLogicError("GetParamNumber of a node that is no parameter"); }

void RExpression::throwExecutionError(int code, const XeString& operatorName, XeDataType first,
                                      XeDataType second, std::source_location where) {
  XeString types = SUXeDataTypeUtility::GetXeDataTypeName(first);
  if (second != XeUnknown) types += L"," + SUXeDataTypeUtility::GetXeDataTypeName(second);
  SUGThrow(ErrorMessage(code, {operatorName, types}), where);
}

void RExpression::CheckDataTypeAndThrowError(const RExpression* operand,
                                             const std::vector<XeDataType>& allowed,
                                             const XeString& operatorName) {
  const XeDataType type = operand->GetResultDataType();
  if (std::find(allowed.begin(), allowed.end(), type) == allowed.end()) {
    throwExecutionError(59001, operatorName, type, XeUnknown);
  }
}

void RExpression::RaiseError(int code, std::vector<XeString> arguments, const XeString& value,
                             std::source_location where) const {
  ErrorMessage error(code, std::move(arguments), value);
  error.SetSourcePosition(sourcePosition_);
  SUGThrow(std::move(error), where);
}

void BindInPlace(RExpression*& slot, XeAListStream* stream, RExpression*& replacement,
                 MetaDataInfo& info) {
  if (slot == nullptr) XeLogicError("an operand is null where the node needs one");
  replacement = nullptr;
  try {
    slot->Bind(stream, replacement, info);
  } catch (...) {
    // A replacement handed back before the throw has taken over the operands and has no owner yet.
    if (replacement != slot) delete replacement;
    replacement = nullptr;
    try {
      throw;
    } catch (ErrorMessage& error) {
      error.SetSourcePosition(slot->GetSourcePosition());
      throw;
    }
  }
  if (replacement != nullptr && replacement != slot) {
    replacement->SetSourcePosition(slot->GetSourcePosition());
    replacement->SetIsRootNode(slot->GetIsRootNode());
    delete slot;
    slot = replacement;
  }
  replacement = nullptr;
  if (const auto* parameter = dynamic_cast<const Param*>(slot)) {
    info.paramDescriptorArray_.push_back(parameter->GetFieldDescriptor());
    info.paramExpressions_.push_back(slot);
  }
  slot->SetBoundShape({info.objectLength_, info.isNullable_});
}

std::unique_ptr<RExpression> BindTree(std::unique_ptr<RExpression> root, XeAListStream* stream,
                                      MetaDataInfo& info) {
  info.Initialize();
  if (root == nullptr) XeLogicError("a tree without a root is bound");
  if (std::unordered_set<const RExpression*> met; HasSharedNode(*root, met)) {
    // It cannot be deleted either: a node has one owner.
    (void)root.release();
    XeLogicError("a node is an operand twice");
  }
  root->SetIsRootNode(true);
  RExpression* slot = root.get();
  RExpression* replacement = nullptr;
  BindInPlace(slot, stream, replacement, info);
  // Only now: until the binding is done `root` stands for the tree, and on a throw it still does.
  (void)root.release();
  return std::unique_ptr<RExpression>(slot);
}

UnaryOperator::UnaryOperator(RExpression* operand) : RExpression(1), only_(operand) {}

UnaryOperator::UnaryOperator(RExpression* operand, XeDataType resultType)
    : RExpression(1), only_(operand) {
  resultDataType_ = resultType;
}

UnaryOperator::~UnaryOperator() { delete only_; }

void UnaryOperator::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  if (skipReBindChildren_) {
    const OperandShape shape = ShapeOf(*only_);
    info.objectLength_ = shape.length;
    info.isNullable_ = shape.nullable;
  } else {
    BindInPlace(only_, stream, replacement, info);
  }
  replacement = nullptr;
  info.fieldName_ = XeRecordMetaData::exprFieldName_;
  resultDataType_ = only_->GetResultDataType();
}

RExprReturn UnaryOperator::Eval(void*) { XeLogicError("Eval of a node that is not bound"); }

RExpression* UnaryOperator::GetIthOperand(int index) {
  if (index != 0) XeLogicError("operand index of a one-operand node");
  return only_;
}

void UnaryOperator::SetIthOperand(int index, RExpression* operand) {
  if (index != 0) XeLogicError("operand index of a one-operand node");
  only_ = operand;
}

RExpression* UnaryOperator::ReleaseExpression() { return std::exchange(only_, nullptr); }

BinaryOperator::BinaryOperator(RExpression* left, RExpression* right)
    : RExpression(2), left_(left), right_(right) {}

BinaryOperator::~BinaryOperator() {
  delete left_;
  delete right_;
}

void BinaryOperator::Bind(XeAListStream*, RExpression*&, MetaDataInfo&) {
  XeLogicError("Bind of the bare two-operand base");
}

RExprReturn BinaryOperator::Eval(void*) { XeLogicError("Eval of a node that is not bound"); }

RExpression* BinaryOperator::GetIthOperand(int index) {
  if (index != 0 && index != 1) XeLogicError("operand index of a two-operand node");
  return index == 0 ? left_ : right_;
}

void BinaryOperator::SetIthOperand(int index, RExpression* operand) {
  if (index != 0 && index != 1) XeLogicError("operand index of a two-operand node");
  (index == 0 ? left_ : right_) = operand;
}

}  // namespace sqxer
