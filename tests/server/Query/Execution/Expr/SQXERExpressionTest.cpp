#include <functional>

#include "OperatorOverStubs.h"
#include "SQXERExprArithmetic.h"
#include "SQXERExprCase2.h"
#include "SQXERExprCast.h"
#include "SQXERExprConstant.h"
#include "SQXERExprConvert.h"
#include "SQXERExprExtract.h"
#include "SQXERExprFunction.h"
#include "SQXERExprIn.h"
#include "SQXERExprLogical.h"
#include "SQXERExpression.h"

namespace sqxer::test {
namespace {

constexpr uint32 kOddLength = 77;

/// Operators that bind their operands by one of the common routines and stop there.
struct Arithmetic : BinaryOperator {
  using BinaryOperator::BinaryOperator;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override {
    BindArithmeticCommon(stream, replacement, info);
  }
};
struct Comparison : BinaryOperator {
  using BinaryOperator::BinaryOperator;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override {
    BindLogicalCommon(stream, replacement, info);
  }
};

void CheckArithmetic(XeDataType left, XeDataType right) {
  TestRecord record({});
  const auto bind = [&] {
    return record.Bind(new Arithmetic(Leaf(left, kOddLength), Leaf(right, 3)));
  };
  if (!Meet(left, Bit)) {
    EXPECT_EQ(bind()->GetResultDataType(), XeUnknown) << "left to the operator";
  } else if (!Meet(right, Bit)) {
    ExpectError(59001, TypeError(L"Binary Arithematic", left, right), bind);
  } else {
    const XeDataType result = *Meet(left, right);
    const auto tree = bind();
    EXPECT_EQ(tree->GetResultDataType(), result);
    EXPECT_EQ(NodeName(*tree->GetIthOperand(0)), Wrapper(left, result));
    EXPECT_EQ(NodeName(*tree->GetIthOperand(1)), Wrapper(right, result));
    for (int i : {0, 1}) EXPECT_EQ(tree->GetIthOperand(i)->GetResultDataType(), result);
    // Only some conversions tell their length; without one it is the left operand's.
    const bool signsMix = left != right && left != Bit && right != Bit && result == UInt4;
    const bool leftLength = signsMix || (left == right && result != Numeric);
    EXPECT_EQ(record.info.objectLength_,
              leftLength ? kOddLength : XeFieldDescriptor::GetObjectLength(result, 0));
    EXPECT_EQ(record.info.fieldName_, XeRecordMetaData::exprFieldName_);
    EXPECT_TRUE(record.info.isNullable_);
  }
}

void CheckComparison(XeDataType left, XeDataType right) {
  TestRecord record({});
  const auto bind = [&] {
    return record.Bind(new Comparison(Leaf(left, kOddLength), Leaf(right, kOddLength)));
  };
  if (const auto common = Meet(left, right)) {
    const auto tree = bind();
    EXPECT_EQ(tree->GetResultDataType(), Bool);
    EXPECT_EQ(record.info.objectLength_, 1u);
    // Two pairs are not converted as in arithmetic: the unsigned right of a double is read as
    // signed, and an integer that became unsigned still says that it is signed.
    EXPECT_EQ(NodeName(*tree->GetIthOperand(0)), Wrapper(left, *common));
    EXPECT_EQ(NodeName(*tree->GetIthOperand(1)),
              Wrapper(left == Double && right == UInt4 ? Int4 : right, *common));
    for (int i : {0, 1}) {
      const bool signedStill = common == UInt4 && (i == 0 ? left : right) == Int4;
      EXPECT_EQ(tree->GetIthOperand(i)->GetResultDataType(), signedStill ? Int4 : *common);
    }
  } else if (left >= XeObjectData || (left == LongChar && right == VarChar) ||
             (left == Span && right == Span)) {
    EXPECT_NO_THROW(bind());
  } else {
    ExpectError(59001, TypeError(L"Binary Logical", left, right), bind);
  }
}

TEST(Binding, EveryPairOfTypesIsPromotedOrRefused) {
  for (int l = Bit; l < XeMaxType; ++l) {
    for (int r = Bit; r < XeMaxType; ++r) {
      const auto left = static_cast<XeDataType>(l), right = static_cast<XeDataType>(r);
      SCOPED_TRACE(testing::Message() << left << " with " << right);
      CheckArithmetic(left, right);
      CheckComparison(left, right);
    }
  }
}

TEST(Binding, OperatorsRefuseTypes) {
  constexpr XeDataType kSpan = Span, None = XeUnknown;
  const std::size_t blocks = MemoryGateway::BlocksInUse();
  const struct {
    RExpression* node;
    int code;
    const wchar_t* name;
    XeDataType first, second = None;
  } kCases[] = {
      {new EQ(Leaf(Bool), Leaf(Bool)), 59002, L"Equals To", Bool},
      {new NE(Leaf(Bool), Leaf(Bool)), 59002, L"Equal", Bool},
      {new LE(Leaf(Bool), Leaf(Bool)), 59002, L"Less Than Equal TO", Bool},
      {new GE(Leaf(Bool), Leaf(Bool)), 59002, L"Greater Than Equals To", Bool},
      {new LT(Leaf(Bool), Leaf(Bool)), 59002, L"Less Than", Bool},
      {new GT(Leaf(Bit), Leaf(Bit)), 59002, L"Greater Than", Bit},
      {new IsNull(Leaf(Bit)), 59002, L"IsNull", Bit},
      {new IsNull(Leaf(Bin, 2)), 59002, L"IsNull", Bin},
      {new LogicalAnd(Leaf(Bool), Leaf(Int4)), 59001, L"Logical And", Int4},
      {new LogicalOr(Leaf(Date), Leaf(Bool)), 59001, L"Logical Or", Date},
      {new LogicalNot(Leaf(Int4)), 59001, L"Logical Not", Int4},
      {new Between(Leaf(Bool), Leaf(Bool), Leaf(Bool)), 59001, L"Binary Logical", Bool, Bool},
      // Known pairs of dates and intervals name the type that would come of them.
      {new Add(Leaf(kSpan), Leaf(DateTime)), 59001, L"Add", DateTime},
      {new Add(Leaf(kSpan), Leaf(kSpan)), 59001, L"Add", kSpan},
      {new Subtract(Leaf(DateTime), Leaf(DateTime)), 59001, L"Subtract", kSpan},
      {new Subtract(Leaf(DateTime), Leaf(kSpan)), 59001, L"Subtract", DateTime},
      {new Multiply(Leaf(kSpan), Leaf(Int4)), 59001, L"Multiply", kSpan},
      {new Divide(Leaf(kSpan), Leaf(Int4)), 59001, L"Divide", kSpan},
      {new Subtract(Leaf(kSpan), Leaf(DateTime)), 59001, L"Subtract", kSpan, DateTime},
      {new Divide(Leaf(Char, 3), Leaf(Int4), true), 59001, L"Divide", Char, Int4},
      {new Add(Leaf(Bit), Leaf(Bit)), 59001, L"Add", Bit, Bit},
      {new Concat(Leaf(Char, 3), Leaf(Int4)), 59001, L"Concat", Char, Int4},
      {new UnaryMinus(Leaf(Bit)), 59001, L"UnaryMinus", Bit},
  };
  for (const auto& c : kCases) {
    ExpectError(c.code, TypeError(c.name, c.first, c.second), [&] { Bound(c.node); });
  }
  EXPECT_EQ(MemoryGateway::BlocksInUse(), blocks);
}

TEST(Binding, TextLiteralsTakeTheTypeOfTheirPartner) {
  TestRecord record({{Int4}, {UInt4}, {Double}, {Numeric}, {Bit}, {Date}});
  // clang-format off
  const std::tuple<int, const wchar_t*, const wchar_t*> kCases[] = {
      {0, L"12abc", L"ConstantInt32"}, {1, L"4000000000", L"ConstantUInt32"},
      {0, L"", L"ConstantInt32"}, {2, L"1.5", L"ConstantFloat64"}, {4, L"1", L"ConstantBit"},
      {3, L"abc", L"ConstantNumber"}, {0, L"abc", nullptr},
      {5, L"2012-01-31", L"ConvertXeChartoXeDate"}};
  // clang-format on
  for (const auto& [column, text, node] : kCases) {
    for (const int side : {0, 1}) {
      RExpression* operands[] = {new Extract(column), new Extract(column)};
      delete std::exchange(operands[side], new ConstantXeChar(text));
      operands[side]->SetSourcePosition(9);
      const auto bind = [&] { return record.Bind(new Comparison(operands[0], operands[1])); };
      if (node == nullptr) {
        ExpectError(59001, {}, bind);
      } else {
        const auto tree = bind();
        EXPECT_EQ(NodeName(*tree->GetIthOperand(side)), node);
        EXPECT_EQ(tree->GetIthOperand(side)->GetSourcePosition(), 9);
      }
    }
  }
}

/// An operator that hands its operand to a replacement, and may then fail.
struct Replacing : UnaryOperator {
  Replacing(RExpression* operand, int error) : UnaryOperator(operand), error_(error) {}
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override {
    UnaryOperator::Bind(stream, replacement, info);
    replacement = new ConvertInt32toFloat64(ReleaseExpression());
    if (error_ != 0) SUGThrow(ErrorMessage(error_));
  }
  const int error_;
};

/// A node that is its own replacement.
struct SelfReplacing : Stub<int32> {
  using Stub::Stub;
  void Bind(XeAListStream*, RExpression*& replacement, MetaDataInfo&) override {
    replacement = this;
  }
};

TEST(Binding, ReplacementTakesTheNodesPlace) {
  auto* root = new Replacing(Leaf(Int4), 0);
  root->SetSourcePosition(17);
  const auto tree = Bound(root);
  EXPECT_EQ(NodeName(*tree), L"ConvertInt32toFloat64");
  EXPECT_EQ(tree->GetSourcePosition(), 17);
  EXPECT_TRUE(tree->GetIsRootNode());
  EXPECT_FALSE(tree->GetIthOperand(0)->GetIsRootNode());
  auto* self = new SelfReplacing(Int4);
  EXPECT_EQ(Bound(self).get(), self);
}

TEST(Binding, ErrorCarriesTheInnermostPositionAndNothingLeaks) {
  const std::size_t blocks = MemoryGateway::BlocksInUse();
  for (const int failing : {0, 1, 2, 3}) {
    auto *left = Leaf(Int4), *right = Leaf(failing == 3 ? Char : Double);
    left->bindError_ = failing == 0 ? 59008 : 0;
    right->bindError_ = failing == 1 ? 59008 : 0;
    auto* inner = new Arithmetic(left, right);
    auto* outer = new Replacing(inner, failing == 2 ? 59008 : 0);
    left->SetSourcePosition(10);
    right->SetSourcePosition(20);
    outer->SetSourcePosition(30);
    inner->SetSourcePosition(40);
    ExpectErrorAt(10 * (failing + 1), failing == 3 ? 59001 : 59008, {}, [&] { Bound(outer); });
  }
  EXPECT_EQ(MemoryGateway::BlocksInUse(), blocks);
}

TEST(Binding, BoundOperandsAreNotBoundAgain) {
  auto *left = Leaf(Int4), *right = Leaf(Double);
  auto* node = new Arithmetic(left, right);
  node->SetSkipReBindChildren(true);
  const auto tree = Bound(node);
  EXPECT_EQ(left->binds_ + right->binds_, 0);
  EXPECT_EQ(tree->GetResultDataType(), Double);
}

TEST(Binding, OperandsBoundBeforeTellWhatTheyToldThen) {
  TestRecord record({{Char, 4}, {VarChar, 6, false}, {Char, 4, false}, {VarChar, 1}});
  record.SetText(0, L"ab").SetText(1, L"ab").SetText(2, L"a_").SetText(3, L"!");
  using Operand = std::function<RExpression*(int)>;
  const std::function<RExpression*(const Operand&)> makers[] = {
      [](const Operand& o) { return new EQ(o(0), o(1)); },
      [](const Operand& o) { return new LT(o(1), o(0)); },
      [](const Operand& o) { return new Between(o(1), o(2), o(0)); },
      [](const Operand& o) { return new Like(o(0), o(1), o(3)); },
      [](const Operand& o) {
        return new In(o(0), {}, {o(1), o(2)}, false);
      },
      [](const Operand& o) { return new Concat(o(0), o(1)); },
      [](const Operand& o) { return new Concat(o(0), o(2)); },
      [](const Operand& o) { return new IfNull(o(0), o(1)); },
      [](const Operand& o) {
        return new Coalesce({o(0), o(1)});
      },
      [](const Operand& o) { return new Upper(o(2)); },
      [](const Operand& o) {
        return new Replace(o(1), {o(2), o(0)});
      },
      [](const Operand& o) { return new Cast(o(0), XeLongVarCharData, 9, 0); },
      [](const Operand& o) { return new IsNull(o(0)); },
      [](const Operand& o) { return new UnaryMinus(new CharacterLength(o(0))); },
  };
  const Operand fresh = [](int field) { return new Extract(field); };
  const Operand bound = [&](int field) { return record.BindOperand(new Extract(field)).release(); };
  const auto describe = [&](RExpression& tree) {
    const auto value = tree.GetResultDataType() == Bool   ? std::to_wstring(*EvalAs<uint8>(tree))
                       : tree.GetResultDataType() == Int4 ? std::to_wstring(*EvalAs<int32>(tree))
                                                          : *EvalText(tree);
    return DescribeTree(tree) + value + L" " + std::to_wstring(record.info.objectLength_) +
           (record.info.isNullable_ ? L" nullable" : L"");
  };
  for (const auto& make : makers) {
    const XeString expected = describe(*record.Bind(make(fresh)));
    RExpression* over = make(bound);
    if (RExpression* operand = over->GetIthOperand(0); operand->GetOperandCount() > 0) {
      operand->SetSkipReBindChildren(true);
    } else {
      over->SetSkipReBindChildren(true);
    }
    EXPECT_EQ(describe(*record.Bind(over)), expected);
  }
}

TEST(Describe, ATreeOfColumnsAndConstants) {
  TestRecord record({{Int4, 0, true, L"quantity"}});
  const auto tree = record.Bind(new Arithmetic(new Extract(0), new ConstantFloat64(0.1)));
  EXPECT_EQ(DescribeTree(*tree), NodeName(*tree) +
                                     L" -> DOUBLE\n  ConvertInt32toFloat64 -> DOUBLE\n"
                                     L"    ExtractInt32 quantity -> INTEGER\n"
                                     L"  ConstantFloat64 0.1 -> DOUBLE\n");
  const std::unique_ptr<RExpression> text(new ConstantXeChar(L"it's"));
  EXPECT_EQ(DescribeTree(*text), L"ConstantXeChar 'it''s' -> CHAR\n");
}

}  // namespace
}  // namespace sqxer::test
