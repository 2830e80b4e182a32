#include "OperatorOverStubs.h"
#include "SQXERExprArithmetic.h"

namespace sqxer::test {
namespace {

/// What an operation must give: a value, or an error.
struct Expected {
  long double value = 0;
  int code = 0;
  std::vector<XeString> arguments = {};
};

const Expected kByZero{0, 59008, {}};

/// An exact result that fits a type, or the overflow of it.
template <class Value>
Expected Fit(long double exact, const wchar_t* name) {
  using Limits = std::numeric_limits<Value>;
  constexpr bool kReal = std::is_floating_point_v<Value>, kUnsigned = std::is_unsigned_v<Value>;
  if (std::isnan(exact) || (exact >= Limits::lowest() && exact <= Limits::max())) return {exact};
  if (exact < 0 && kUnsigned) return {0, 59162, {name, L"0"}};
  const wchar_t* const greatest = kReal       ? L"1.7976931348623158e+308"
                                  : kUnsigned ? L"4294967295"
                                              : L"2147483647";
  return {0, 59161, {name, greatest}};
}

/// Runs an operator over all pairs of its type's boundary values.
template <class Value, class Node>
void CheckGrid(const XeString& variant, Expected (*expect)(long double a, long double b)) {
  auto tree = OverStubs<Value, 2>::template Make<Node>();
  EXPECT_EQ(NodeName(*tree.root), variant);
  EXPECT_EQ(tree.root->GetResultDataType(), kTypeOfValue<Value>);
  tree.ExpectStatusPassesUp();
  std::vector<Value> values = BoundaryValues<Value>();
  for (const int more : {2, 3, 7}) values.push_back(static_cast<Value>(more));
  if (std::is_integral_v<Value>) values.push_back(static_cast<Value>(65536));
  for (const Value a : values) {
    for (const Value b : values) {
      SCOPED_TRACE(testing::Message() << variant.c_str() << ": " << a << " with " << b);
      const Expected expected = expect(a, b);
      Value out = 0;
      if (expected.code != 0) {
        ExpectErrorAt(17, expected.code, expected.arguments, [&] { tree.Eval(&out, a, b); });
      } else {
        EXPECT_EQ(tree.Eval(&out, a, b), kTrue);
        EXPECT_TRUE(Alike(out, static_cast<Value>(expected.value))) << out;
      }
    }
  }
}

using L = long double;
using I = int32;
using U = uint32;
using F = float64;

TEST(Arithmetic, Grids) {
  CheckGrid<I, Add>(L"AddInt32", [](L a, L b) { return Fit<I>(a + b, L"AddInt"); });
  CheckGrid<I, Subtract>(L"SubtractInt32", [](L a, L b) { return Fit<I>(a - b, L"SubtractInt"); });
  CheckGrid<I, Multiply>(L"MultiplyInt32", [](L a, L b) { return Fit<I>(a * b, L"MultiplyInt"); });
  CheckGrid<I, Divide>(L"DivideInt32", [](L a, L b) {
    return b == 0 ? kByZero : Fit<I>(std::trunc(a / b), L"DivideInt");
  });
  CheckGrid<U, Add>(L"AddUInt32", [](L a, L b) { return Fit<U>(a + b, L"AddUInt"); });
  CheckGrid<U, Subtract>(L"SubtractUInt32",
                         [](L a, L b) { return Fit<U>(a - b, L"SubtractUInt"); });
  CheckGrid<U, Multiply>(L"MultiplyUInt32", [](L a, L b) { return Fit<U>(a * b, L"Multiply"); });
  CheckGrid<U, Divide>(L"DivideUInt32",
                       [](L a, L b) { return b == 0 ? kByZero : Expected{std::trunc(a / b)}; });
  // Doubles: a difference and a quotient may be infinite.
  CheckGrid<F, Add>(L"AddFloat64", [](L a, L b) { return Fit<F>(a + b, L"AddFloat"); });
  CheckGrid<F, Subtract>(L"SubtractFloat64", [](L a, L b) { return Expected{a - b}; });
  CheckGrid<F, Multiply>(L"MultiplyFloat64",
                         [](L a, L b) { return Fit<F>(a * b, L"MultiplyFloat"); });
  CheckGrid<F, Divide>(L"DivideFloat64",
                       [](L a, L b) { return b == 0 ? kByZero : Expected{a / b}; });
}

TEST(Arithmetic, Numbers) {
  using Tree = OverStubs<VelmarNumber, 2>;
  auto divide = Tree::Make<Divide>(), multiply = Tree::Make<Multiply>();
  for (Tree* tree : {&divide, &multiply}) tree->ExpectStatusPassesUp();
  EXPECT_EQ(NodeName(*divide.root), L"DivideNumber");
  EXPECT_EQ(NodeName(*multiply.root), L"MultiplyNumber");
  const VelmarNumber &zero = VelmarNumber::zero, &most = VelmarNumber::velmarnumberMax;
  VelmarNumber out;
  ExpectErrorAt(17, 59008, {}, [&] { divide.Eval(&out, most, zero); });
  // The decimal type raises this one itself, without knowing of places in SQL.
  ExpectErrorAt(17, 59161, {}, [&] { multiply.Eval(&out, most, most); });
}

TEST(Arithmetic, WhatTheOutputHoldsAfterAnError) {
  const auto after = [](auto tree, auto a, auto b) {
    decltype(a) out = 99;
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

template <class Value, class Apply>
void CheckNegation(const wchar_t* name, Apply expect) {
  auto tree = OverStubs<Value, 1>::template Make<UnaryMinus>();
  EXPECT_EQ(NodeName(*tree.root), name);
  tree.ExpectStatusPassesUp();
  for (const Value& value : BoundaryValues<Value>()) {
    Value out{};
    EXPECT_EQ(tree.Eval(&out, value), kTrue);
    EXPECT_TRUE(Alike(out, static_cast<Value>(expect(value))));
  }
}

TEST(Arithmetic, UnaryMinusWraps) {
  CheckNegation<int32>(L"UnaryMinusInt32", [](int64 v) { return v == INT32_MIN ? v : -v; });
  CheckNegation<uint32>(L"UnaryMinusUInt32", [](uint64 v) { return (uint64{1} << 32) - v; });
  CheckNegation<float64>(L"UnaryMinusFloat64", [](float64 v) { return -v; });
  CheckNegation<VelmarNumber>(L"UnaryMinusNumber", [](const VelmarNumber& v) {
    return VelmarNumber::Multiply(v, VelmarNumber::negativeOne);
  });
}

TEST(Concat, FixedTextsLongerThanTheyWereDeclaredAreCut) {
  const auto concat = [](XeString left, uint32 leftLength, XeString right, uint32 rightLength) {
    const auto tree = Bound(new Concat(new Stub<wchar_t*>(Char, left.data(), kTrue, leftLength),
                                       new Stub<wchar_t*>(Char, right.data(), kTrue, rightLength)));
    // The second evaluation finds the buffer in use.
    return *EvalText(*tree) + L"|" + *EvalText(*tree);
  };
  const XeString z200(200, L'z');
  EXPECT_EQ(concat(L"ab ", 3, L"cd", 2), L"ab cd|ab cd");
  EXPECT_EQ(concat(L"abcd", 1, L"efgh", 2), L"abc|abc");
  EXPECT_EQ(concat(L"a", 1, z200, 1), L"az|az");
  EXPECT_EQ(concat(z200, 200, L"!", 1), z200 + L"!|" + z200 + L"!");
}

TEST(Concat, NullableOnlyWhenBothAreAndStatusPassesUp) {
  for (int mask = 0; mask < 4; ++mask) {
    auto *left = Leaf(Char, 4), *right = Leaf(Char, 4);
    left->isNullable_ = mask & 1;
    right->isNullable_ = mask & 2;
    left->status_ = mask == 0 ? kEod : kUnknown;
    right->status_ = kError;
    TestRecord record({});
    const auto tree = record.Bind(new Concat(left, right));
    EXPECT_EQ(record.info.isNullable_, mask == 3);
    wchar_t* out;
    EXPECT_EQ(tree->Eval(&out), mask == 0 ? kEod : kError);
    EXPECT_EQ(right->evaluations_, mask != 0);
  }
}

}  // namespace
}  // namespace sqxer::test
