#pragma once

#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "SQXERBatchLoops.h"
#include "SQXERExpression.h"
#include "SQXEROpsCompare.h"
#include "SQXEROpsIn.h"

namespace sqxer {

/// operand IN (members), or NOT IN. Built as this generic node, with the constant members apart
/// from the others, and replaced at bind by the variant of the type in which all of them meet.
/// Error 59030 (types) when one of them does not become of that type; a type in which values are
/// not looked up (bit, boolean, binary) is a broken invariant.
///
/// A variant evaluates the constants once, when it is built, into an ordered set. It writes one
/// byte, 1 or 0: the set is searched first, then the other members are evaluated and compared in
/// their order, up to the first match. A NULL operand makes the result NULL. A member that is NULL,
/// or has any other status than a value, does not match and never makes the result NULL: 2 NOT IN
/// (1, NULL) is true. NaN is not found, not even by itself.
class SQXEREXPR_API In : public RExpression {
 public:
  /// Owns the operand and all members.
  In(RExpression* operand, std::vector<RExpression*> constants, std::vector<RExpression*> others,
     bool isNegated);
  ~In() override;

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  /// A broken invariant: only variants are evaluated.
  RExprReturn Eval(void* out) override;
  RExprType GetExpressionType() override { return kInExpression; }
  /// The operand, then the constant members, then the others.
  RExpression* GetIthOperand(int index) override;
  void SetIthOperand(int index, RExpression* operand) override;
  int CountOperands() override {
    return static_cast<int>(1 + constExprInList_.size() + otherExprInList_.size());
  }

  BatchCost GetBatchCost() override;

  /// Whether this is NOT IN.
  bool IsNegated() const { return bIsNegated_; }

 protected:
  RExpression* operand_;
  std::vector<RExpression*> constExprInList_;
  std::vector<RExpression*> otherExprInList_;
  bool bIsNegated_;

 private:
  RExpression*& Slot(int index);
  /// Calls `use` with the place of the operand and of every member.
  template <class Use>
  void ForEachOperand(Use use);
  template <class Variant>
  RExpression* MakeVariant();
};

/// What the variants share: T is the value they look up.
template <class T>
class InNode : public In {
 public:
  using Value = T;
  using In::In;

 protected:
  /// The values of the constant members that have one.
  std::vector<T> ConstantValues() {
    std::vector<T> values;
    values.reserve(constExprInList_.size());
    for (RExpression* constant : constExprInList_) {
      if (constant->Eval(&value2_) == kTrue) values.push_back(value2_);
    }
    return values;
  }

  template <class Set, class Equal>
  RExprReturn EvalIn(const Set& constants, Equal equal, void* out) {
    retCode_ = operand_->Eval(&value1_);
    if (retCode_ != kTrue) return retCode_;
    const bool isMember = constants.Contains(value1_) || IsOther(equal);
    *static_cast<uint8*>(out) = isMember != bIsNegated_;
    return kTrue;
  }
  template <class Set>
  RExprReturn EvalIn(const Set& constants, void* out) {
    return EvalIn(
        constants, [](const T& a, const T& b) { return EqualToOp::Apply(a, b); }, out);
  }

  /// find(operand, rows, values) writes for the rows whether they are members, or are not.
  template <class Find>
  bool FindInBatch(const BatchRows& rows, BatchVector& out, Find&& find) {
    if (!otherExprInList_.empty()) return In::EvalBatch(rows, out);
    BatchVector operand;
    if (!EvaluateBatch(*operand_, rows, operand)) return false;
    uint8* const values = GetBatchBuffers().template Values<uint8>();
    out = BatchVector();
    out.form = ColumnForm::kUInt8;
    out.values = values;
    out.isConstant = operand.isConstant;
    out.validity = operand.validity;
    find(operand, RowsOf(operand, rows), values);
    return true;
  }
  template <class Set>
  bool EvalInBatch(const Set& constants, const BatchRows& rows, BatchVector& out) {
    return FindInBatch(rows, out,
                       [&](const BatchVector& operand, const BatchRows& wanted, uint8* values) {
                         FindMembers(constants, operand, wanted, values);
                       });
  }

  T value1_{};
  T value2_{};

 private:
  template <class Set>
  void FindMembers(const Set& constants, const BatchVector& operand, const BatchRows& rows,
                   uint8* values) {
    const std::optional<ColumnBounds<T>> bounds = KnownBounds<T>(operand);
    if (bounds && !constants.HasWithin(bounds->least, bounds->greatest)) {
      std::fill_n(values, rows.count, static_cast<uint8>(bIsNegated_));
      return;
    }
    if constexpr (std::is_arithmetic_v<T>) {
      if (FindFewMembers(std::span<const T>(constants.GetValues()), operand.As<T>(), rows.count,
                         bIsNegated_, values)) {
        return;
      }
    }
    if constexpr (std::integral<T>) {
      if (!bits_) bits_.emplace(constants.GetValues());
      if (bits_->IsUsable()) {
        MapValues(operand.As<T>(), values, rows,
                  [this](T value) { return bits_->Contains(value) != bIsNegated_; });
        return;
      }
    }
    rows.ForEach([&](uint32 row) {
      if (!operand.IsNull(row)) {
        values[row] = constants.Contains(ReadBatchValue<T>(operand, row)) != bIsNegated_;
      }
    });
  }

  /// Made when a batch first looks for many members.
  std::optional<MemberBitsOf<T>> bits_;

  template <class Equal>
  bool IsOther(Equal equal) {
    for (RExpression* member : otherExprInList_) {
      if (member->Eval(&value2_) == kTrue && equal(value1_, value2_)) return true;
    }
    return false;
  }
};

/// The same over text, with the comparison of the settings at construction.
template <class Text>
class TextInNode : public InNode<Text> {
 public:
  using InNode<Text>::InNode;

 protected:
  template <class Set>
  RExprReturn EvalIn(const Set& constants, void* out) {
    const auto equal = [this](const Text& a, const Text& b) {
      return EqualValues(compareFunc_, a, b);
    };
    return InNode<Text>::EvalIn(constants, equal, out);
  }

  const CharCompareFunc_t compareFunc_ = ExecutionUtility::GetCharacterComparisonFunction();
};

class SQXEREXPR_API InInt32 final : public InNode<int32> {
 public:
  using InNode::InNode;
  RExprReturn Eval(void* out) override { return EvalIn(int32Set, out); }
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override {
    return EvalInBatch(int32Set, rows, out);
  }
  bool HasBatchLoop() override { return otherExprInList_.empty(); }

 private:
  const MemberSet<int32> int32Set{ConstantValues()};
};

class SQXEREXPR_API InUInt32 final : public InNode<uint32> {
 public:
  using InNode::InNode;
  RExprReturn Eval(void* out) override { return EvalIn(uint32Set, out); }
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override {
    return EvalInBatch(uint32Set, rows, out);
  }
  bool HasBatchLoop() override { return otherExprInList_.empty(); }

 private:
  const MemberSet<uint32> uint32Set{ConstantValues()};
};

class SQXEREXPR_API InFloat64 final : public InNode<float64> {
 public:
  using InNode::InNode;
  RExprReturn Eval(void* out) override { return EvalIn(float64Set, out); }
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override {
    return EvalInBatch(float64Set, rows, out);
  }
  bool HasBatchLoop() override { return otherExprInList_.empty(); }

 private:
  const MemberSet<float64> float64Set{ConstantValues()};
};

class SQXEREXPR_API InNumber final : public InNode<VelmarNumber> {
 public:
  using InNode::InNode;
  RExprReturn Eval(void* out) override { return EvalIn(numberSet, out); }
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override {
    return EvalInBatch(numberSet, rows, out);
  }
  bool HasBatchLoop() override { return otherExprInList_.empty(); }

 private:
  const MemberSet<VelmarNumber> numberSet{ConstantValues()};
};

/// The set holds the constants' own addresses, which stay as long as the node.
class SQXEREXPR_API InChar final : public TextInNode<wchar_t*> {
 public:
  using TextInNode::TextInNode;
  RExprReturn Eval(void* out) override { return EvalIn(charSet, out); }

 private:
  const MemberSet<wchar_t*, Less_Char> charSet{ConstantValues()};
};

class SQXEREXPR_API InLongVarChar final : public TextInNode<RefLongVarChar> {
 public:
  using TextInNode::TextInNode;
  RExprReturn Eval(void* out) override { return EvalIn(longVarCharSet, out); }
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool HasBatchLoop() override { return otherExprInList_.empty(); }

 private:
  /// Whether no text between those that a block tells of is a member.
  bool AreAllOthers(const BatchVector& texts, const BatchRows& rows);

  const MemberSet<RefLongVarChar, Less_RefLongVarChar> longVarCharSet{ConstantValues()};
};

/// T is XeDate, XeTime or XeDateTime.
template <class T>
class SQXEREXPR_API InDateTimeDataType final : public InNode<T> {
 public:
  using InNode<T>::InNode;
  RExprReturn Eval(void* out) override { return this->EvalIn(dateSet, out); }
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override {
    return this->EvalInBatch(dateSet, rows, out);
  }
  bool HasBatchLoop() override { return this->otherExprInList_.empty(); }

 private:
  const MemberSet<T> dateSet{this->ConstantValues()};
};

}  // namespace sqxer
