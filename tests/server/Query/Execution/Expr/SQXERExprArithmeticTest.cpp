#include <gtest/gtest.h>

#include "OperatorOverStubs.h"
#include "SQXERExprArithmetic.h"
#include "SQXERExprConstant.h"
#include "support/BoundaryValues.h"
#include "support/TestRecord.h"

namespace sqxer::test {
namespace {

/// What an operation must give: a value, or an error.
struct Expected {
  long double value = 0;
  int code = 0;
  std::vector<XeString> arguments = {};
};

const Expected kByZero{0, 59008, {}};

/// An exact integer that fits a type, or the overflow of it.
template <class Value>
Expected Fit(long double exact, const wchar_t* name) {
  using Limits = std::numeric_limits<Value>;
  if (exact >= Limits::min() && exact <= Limits::max()) return {exact};
  if (exact < 0 && std::is_unsigned_v<Value>) return {0, 59162, {name, L"0"}};
  return {0, 59161, {name, std::is_unsigned_v<Value> ? L"4294967295" : L"2147483647"}};
}

Expected Finite(long double exact, const wchar_t* name) {
  if (std::fabs(exact) > std::numeric_limits<float64>::max()) {
    return {0, 59161, {name, L"1.7976931348623158e+308"}};
  }
  return {exact};
}

/// Runs an operator over all pairs of its type's boundary values.
template <class Value, class Node>
void CheckGrid(const char* variant, Expected (*expect)(long double a, long double b)) {
  SCOPED_TRACE(variant);
  auto tree = OverStubs<Value, 2>::template Make<Node>();
  EXPECT_EQ(NodeName(tree.root()), XeString(variant, variant + std::strlen(variant)));
  EXPECT_EQ(tree.root().GetResultDataType(), kTypeOfValue<Value>);
  ExpectStatusPassesUp(tree, 2);
  std::vector<Value> values = BoundaryValues<Value>();
  for (const int more : {2, 3, 7}) values.push_back(static_cast<Value>(more));
  if (std::is_integral_v<Value>) values.push_back(static_cast<Value>(65536));
  for (const Value a : values) {
    for (const Value b : values) {
      SCOPED_TRACE(testing::Message() << a << " with " << b);
      const Expected expected = expect(a, b);
      Value out = 0;
      if (expected.code != 0) {
        ExpectError(
            expected.code, expected.arguments, [&] { tree.Eval(&out, a, b); }, 17);
      } else {
        EXPECT_EQ(tree.Eval(&out, a, b), kTrue);
        EXPECT_TRUE(Alike(out, static_cast<Value>(expected.value))) << out;
      }
    }
  }
}

using L = long double;

TEST(Arithmetic, Int32Grid) {
  CheckGrid<int32, Add>("AddInt32", [](L a, L b) { return Fit<int32>(a + b, L"AddInt"); });
  CheckGrid<int32, Subtract>("SubtractInt32",
                             [](L a, L b) { return Fit<int32>(a - b, L"SubtractInt"); });
  CheckGrid<int32, Multiply>("MultiplyInt32",
                             [](L a, L b) { return Fit<int32>(a * b, L"MultiplyInt"); });
  CheckGrid<int32, Divide>("DivideInt32", [](L a, L b) {
    return b == 0 ? kByZero : Fit<int32>(std::trunc(a / b), L"DivideInt");
  });
}

TEST(Arithmetic, UInt32Grid) {
  CheckGrid<uint32, Add>("AddUInt32", [](L a, L b) { return Fit<uint32>(a + b, L"AddUInt"); });
  CheckGrid<uint32, Subtract>("SubtractUInt32",
                              [](L a, L b) { return Fit<uint32>(a - b, L"SubtractUInt"); });
  CheckGrid<uint32, Multiply>("MultiplyUInt32",
                              [](L a, L b) { return Fit<uint32>(a * b, L"Multiply"); });
  CheckGrid<uint32, Divide>("DivideUInt32", [](L a, L b) {
    return b == 0 ? kByZero : Fit<uint32>(std::trunc(a / b), L"");
  });
}

TEST(Arithmetic, Float64Grid) {
  CheckGrid<float64, Add>("AddFloat64", [](L a, L b) { return Finite(a + b, L"AddFloat"); });
  CheckGrid<float64, Subtract>("SubtractFloat64", [](L a, L b) { return Expected{a - b}; });
  CheckGrid<float64, Multiply>("MultiplyFloat64",
                               [](L a, L b) { return Finite(a * b, L"MultiplyFloat"); });
  CheckGrid<float64, Divide>("DivideFloat64",
                             [](L a, L b) { return b == 0 ? kByZero : Expected{a / b}; });
}

TEST(Arithmetic, Numbers) {
  const auto check = [](auto tree, const wchar_t* name, const wchar_t* result) {
    EXPECT_EQ(NodeName(tree.root()), name);
    ExpectStatusPassesUp(tree, 2);
    VelmarNumber out;
    EXPECT_EQ(tree.Eval(&out, VelmarNumber(7), VelmarNumber(2)), kTrue);
    EXPECT_EQ(out.asString(), result);
  };
  using Tree = OverStubs<VelmarNumber, 2>;
  check(Tree::Make<Add>(), L"AddNumber", L"9");
  check(Tree::Make<Subtract>(), L"SubtractNumber", L"5");
  check(Tree::Make<Multiply>(), L"MultiplyNumber", L"14");
  check(Tree::Make<Divide>(), L"DivideNumber", L"3.5");

  VelmarNumber out;
  auto divide = Tree::Make<Divide>();
  ExpectError(
      59008, {}, [&] { divide.Eval(&out, VelmarNumber::one, VelmarNumber(0.0)); }, 17);
  // The decimal type raises this one itself, without knowing of places in SQL.
  auto multiply = Tree::Make<Multiply>();
  try {
    multiply.Eval(&out, VelmarNumber::velmarnumberMax, VelmarNumber::velmarnumberMax);
    ADD_FAILURE() << "no overflow";
  } catch (const ErrorMessage& error) {
    EXPECT_EQ(error.GetCode(), 59161);
    EXPECT_EQ(error.GetSourcePosition(), 17);
  }
}

TEST(Arithmetic, WhatTheOutputHoldsAfterAnError) {
  const auto after = [](auto tree, auto a, auto b) {
    auto out = a;
    out = 99;
    EXPECT_THROW(tree.Eval(&out, a, b), ErrorMessage);
    return out;
  };
  using Int = OverStubs<int32, 2>;
  using UInt = OverStubs<uint32, 2>;
  EXPECT_EQ(after(Int::Make<Add>(), INT32_MAX, 1), INT32_MIN);
  EXPECT_EQ(after(UInt::Make<Add>(), UINT32_MAX, 1u), 99u);
  EXPECT_EQ(after(Int::Make<Subtract>(), INT32_MIN, 1), INT32_MAX);
  EXPECT_EQ(after(UInt::Make<Subtract>(), 3u, 5u), 3u);
  EXPECT_EQ(after(UInt::Make<Multiply>(), 65537u, 65536u), 65536u);
  EXPECT_EQ(after(Int::Make<Divide>(), 7, 0), 7);
}

TEST(Arithmetic, DivideOfIntegersAsDoubles) {
  const auto divide = [](RExpression* left, RExpression* right) {
    MetaDataInfo info;
    const auto tree = Bound(new Divide(left, right, true), &info);
    EXPECT_EQ(NodeName(*tree), L"DivideFloat64");
    EXPECT_EQ(info.objectLength_, 8u);
    return EvalAs<float64>(*tree);
  };
  EXPECT_EQ(divide(new ConstantInt32(7), new ConstantInt32(-2)), -3.5);
  EXPECT_EQ(divide(new ConstantUInt32(UINT32_MAX), new ConstantUInt32(2)), 2147483647.5);
  EXPECT_EQ(divide(new ConstantInt32(7), new ConstantFloat64(2.0)), 3.5);
  const auto numbers = Bound(
      new Divide(new ConstantNumber(VelmarNumber(7)), new ConstantNumber(VelmarNumber(2)), true));
  EXPECT_EQ(NodeName(*numbers), L"DivideNumber");
}

template <class Value, class Apply>
void CheckNegation(const wchar_t* name, Apply expect) {
  auto tree = OverStubs<Value, 1>::template Make<UnaryMinus>();
  EXPECT_EQ(NodeName(tree.root()), name);
  ExpectStatusPassesUp(tree, 1);
  for (const Value& value : BoundaryValues<Value>()) {
    Value out{};
    EXPECT_EQ(tree.Eval(&out, value), kTrue);
    EXPECT_TRUE(Alike(out, expect(value)));
  }
}

TEST(Arithmetic, UnaryMinusWraps) {
  CheckNegation<int32>(L"UnaryMinusInt32",
                       [](int32 v) { return v == INT32_MIN ? INT32_MIN : 0 - v; });
  CheckNegation<uint32>(L"UnaryMinusUInt32",
                        [](uint32 v) { return static_cast<uint32>((uint64{1} << 32) - v); });
  CheckNegation<float64>(L"UnaryMinusFloat64", [](float64 v) { return v * -1.0; });
  CheckNegation<VelmarNumber>(L"UnaryMinusNumber", [](const VelmarNumber& v) {
    return VelmarNumber::Multiply(v, VelmarNumber::negativeOne);
  });
}

TEST(Arithmetic, TypesThatDoNotFit) {
  const auto refuse = [](auto make, const wchar_t* name, XeDataType left, XeDataType right,
                         XeDataType first, XeDataType second) {
    const std::size_t before = MemoryGateway::BlocksInUse();
    ExpectError(59001, TypeError(name, first, second),
                [&] { Bound(make(Leaf(left, 3), Leaf(right, 3))); });
    EXPECT_EQ(MemoryGateway::BlocksInUse(), before);
  };
  const auto add = [](RExpression* a, RExpression* b) { return new Add(a, b); };
  const auto subtract = [](RExpression* a, RExpression* b) { return new Subtract(a, b); };
  const auto multiply = [](RExpression* a, RExpression* b) { return new Multiply(a, b); };
  const auto divide = [](RExpression* a, RExpression* b) { return new Divide(a, b, true); };
  const auto concat = [](RExpression* a, RExpression* b) { return new Concat(a, b); };
  constexpr XeDataType kStamp = XeDateTimeData, kSpan = XeIntervalData, kNone = XeUnknown;

  // Known pairs of dates and intervals name the type that would come of them.
  refuse(add, L"Add", kSpan, kStamp, kStamp, kNone);
  refuse(add, L"Add", kSpan, kSpan, kSpan, kNone);
  refuse(add, L"Add", kStamp, kSpan, kStamp, kNone);
  refuse(subtract, L"Subtract", kStamp, kStamp, kSpan, kNone);
  refuse(subtract, L"Subtract", kStamp, kSpan, kStamp, kNone);
  refuse(subtract, L"Subtract", kSpan, kSpan, kSpan, kNone);
  refuse(multiply, L"Multiply", kSpan, XeInt4Data, kSpan, kNone);
  refuse(divide, L"Divide", kSpan, XeInt4Data, kSpan, kNone);

  refuse(add, L"Add", kStamp, kStamp, kStamp, kStamp);
  refuse(subtract, L"Subtract", kSpan, kStamp, kSpan, kStamp);
  refuse(multiply, L"Multiply", kStamp, XeInt4Data, kStamp, XeInt4Data);
  refuse(add, L"Add", XeDateData, kSpan, XeDateData, kSpan);
  refuse(divide, L"Divide", XeCharData, XeInt4Data, XeCharData, XeInt4Data);
  refuse(add, L"Add", XeBitData, XeBitData, XeBitData, XeBitData);
  refuse(add, L"Binary Arithematic", XeInt4Data, XeCharData, XeInt4Data, XeCharData);
  refuse(concat, L"Concat", XeCharData, XeInt4Data, XeCharData, XeInt4Data);
  refuse(concat, L"Concat", XeDateData, XeLongVarCharData, XeDateData, XeLongVarCharData);
  ExpectError(59001, TypeError(L"UnaryMinus", XeBitData),
              [] { Bound(new UnaryMinus(Leaf(XeBitData))); });
}

TEST(Arithmetic, AGenericNodeIsNotEvaluated) {
  Add add(Leaf(XeInt4Data), Leaf(XeInt4Data));
  int32 out;
  ExpectBroken([&] { add.Eval(&out); });
}

/// The text that Concat makes of two operands, each possibly NULL, or nothing.
using MaybeText = std::optional<XeString>;

RExpression* Text(XeDataType type, MaybeText& text, uint32 length) {
  const RExprReturn status = text ? kTrue : kUnknown;
  if (!text) text.emplace();
  if (type == XeCharData) return new Stub<wchar_t*>(type, text->data(), status, length);
  return new Stub<RefLongVarChar>(type, {static_cast<uint32>(text->size()), text->data()}, status,
                                  length);
}

TEST(Concat, TextsAndNulls) {
  const MaybeText null;
  const XeString z200(200, L'z');
  struct Case {
    MaybeText left;
    uint32 leftLength;
    MaybeText right;
    uint32 rightLength;
    MaybeText fixed;
    MaybeText varying;
  };
  const std::vector<Case> cases = {
      {L"ab ", 3, L"cd", 2, L"ab cd", L"ab cd"},
      {L"ab ", 3, null, 2, L"ab   ", L"ab "},
      {null, 3, L"cd", 2, L"cd   ", L"cd"},
      {null, 3, null, 2, null, null},
      {L"", 3, L"", 2, L"     ", L""},
      {L"", 0, L"", 0, L"", L""},
      // Fixed texts longer than they were declared are cut, varying ones are not.
      {L"abcd", 1, L"efgh", 2, L"abc", L"abcdefgh"},
      {L"a", 1, L"efgh", 2, L"aef", L"aefgh"},
      {z200, 200, L"!", 1, z200 + L"!", z200 + L"!"},
      {L"a", 1, z200, 1, L"az", L"a" + z200},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(&c - cases.data()));
    for (const XeDataType type : {XeCharData, XeLongVarCharData}) {
      MaybeText left = c.left, right = c.right;
      MetaDataInfo info;
      const auto tree = Bound(
          new Concat(Text(type, left, c.leftLength), Text(type, right, c.rightLength)), &info);
      EXPECT_EQ(NodeName(*tree), type == XeCharData ? L"ConcatXeChar" : L"ConcatLongVarXeChar");
      EXPECT_EQ(tree->GetResultDataType(), type);
      // The second evaluation finds the buffer in use.
      for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(EvalText(*tree), type == XeCharData ? c.fixed : c.varying);
      }
      EXPECT_EQ(info.objectLength_, c.leftLength + c.rightLength);
      EXPECT_EQ(info.fieldName_, XeRecordMetaData::exprFieldName_);
      EXPECT_EQ(info.aliasName_, XeRecordMetaData::exprFieldName_);
    }
  }
}

TEST(Concat, MixedTextsBecomeLong) {
  for (const bool fixedLeft : {true, false}) {
    MaybeText fixed = L"ab ", varying = L"cd ";
    RExpression* const first = Text(XeCharData, fixed, 3);
    RExpression* const second = Text(XeLongVarCharData, varying, 5);
    const auto tree = Bound(fixedLeft ? new Concat(first, second) : new Concat(second, first));
    EXPECT_EQ(tree->GetResultDataType(), XeLongVarCharData);
    // Padding is no part of the long value of a fixed text.
    EXPECT_EQ(EvalText(*tree), fixedLeft ? L"abcd " : L"cd ab");
  }
}

TEST(Concat, NullableOnlyWhenBothAreAndStatusPassesUp) {
  for (int mask = 0; mask < 4; ++mask) {
    auto* left = new Stub<wchar_t*>(XeCharData, nullptr, kEod, 4);
    auto* right = new Stub<wchar_t*>(XeCharData, nullptr, kError, 4);
    left->isNullable_ = mask & 1;
    right->isNullable_ = mask & 2;
    MetaDataInfo info;
    const auto tree = Bound(new Concat(left, right), &info);
    EXPECT_EQ(info.isNullable_, mask == 3);
    wchar_t* out;
    EXPECT_EQ(tree->Eval(&out), kEod);
    EXPECT_EQ(right->evaluations_, 0);
    left->status_ = kUnknown;
    EXPECT_EQ(tree->Eval(&out), kError);
    EXPECT_EQ(tree->GetRetCode(), kError);
  }
}

}  // namespace
}  // namespace sqxer::test
