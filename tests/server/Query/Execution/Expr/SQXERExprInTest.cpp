#include "OperatorOverStubs.h"
#include "SQXERExprConstant.h"
#include "SQXERExprExtract.h"
#include "SQXERExprIn.h"
#include "SQXERExprParam.h"

namespace sqxer::test {
namespace {

/// Looks up every value in lists of every n-th value as constants, with other members behind them.
/// `key` is what equality should go by.
template <class Value, class KeyOf>
void CheckMembership(const std::vector<Value>& values, const XeString& name, KeyOf key) {
  constexpr XeDataType type = kTypeOfValue<Value>;
  for (std::size_t step = 1; step <= values.size() + 1; ++step) {
    // From the last to the first, each twice, and a NULL.
    std::vector<RExpression*> constants = {new Stub<Value>(type, values[0], kUnknown)};
    for (std::size_t i = values.size(); i >= step; i -= step) {
      for (int k = 0; k < 2; ++k) constants.push_back(new Stub<Value>(type, values[i - 1]));
    }
    const bool isNegated = step % 2 == 0;
    auto *const operand = new Stub<Value>(type), *const none = new Stub<Value>(type),
                *const other = new Stub<Value>(type);
    const auto tree = Bound(new In(operand, constants, {none, other}, isNegated));
    ASSERT_EQ(NodeName(*tree), name);
    for (std::size_t i = 0; i < values.size(); ++i) {
      operand->value_ = none->value_ = values[i];
      none->status_ = i % 2 == 0 ? kUnknown : kEod;
      other->value_ = values[i / 2];
      other->evaluations_ = 0;
      bool isConstant = false;
      for (std::size_t k = values.size(); k >= step; k -= step) {
        isConstant |= key(values[i]) == key(values[k - 1]);
      }
      const bool expected = isConstant || key(values[i]) == key(other->value_);
      EXPECT_EQ(EvalAs<uint8>(*tree), expected != isNegated) << step << ", value " << i;
      EXPECT_EQ(other->evaluations_ == 0, isConstant);
    }
    for (const RExprReturn status : {kFalse, kUnknown, kError, kEod}) {
      operand->status_ = status;
      uint8 out = 7;
      EXPECT_EQ(tree->Eval(&out), status);
      EXPECT_EQ(out, 7);
    }
  }
}

template <class... Values>
void CheckMembershipOf(const std::vector<XeString>& names) {
  auto name = names.begin();
  (CheckMembership(BoundaryValues<Values>(), *name++, std::identity()), ...);
}

TEST(In, EveryTypeInBothSenses) {
  CheckMembershipOf<int32, uint32, float64, VelmarNumber, XeDate, XeTime, XeDateTime>(
      {L"InInt32", L"InUInt32", L"InFloat64", L"InNumber", L"InDateTimeDataType<XeDate>",
       L"InDateTimeDataType<XeTime>", L"InDateTimeDataType<XeDateTime>"});
  std::vector<XeString> texts = BoundaryTexts(5);
  std::vector<wchar_t*> fixed;
  std::vector<RefLongVarChar> varying;
  for (XeString& text : texts) {
    fixed.push_back(text.data());
    varying.push_back(AsText(fixed.back()));
  }
  // Trailing blanks aside.
  const auto trimmed = [](const auto& value) {
    const RefLongVarChar text = AsText(value);
    const std::wstring_view all(text.buffer_, text.length_);
    return all.substr(0, all.find_last_not_of(L' ') + 1);
  };
  CheckMembership(fixed, L"InChar", trimmed);
  CheckMembership(varying, L"InLongVarChar", trimmed);
}

TEST(In, MembersMeetInOneType) {
  const std::size_t before = MemoryGateway::BlocksInUse();
  const auto bind = [](XeDataType operand, XeDataType constant, XeDataType other) {
    // A constant without a value: its type alone counts.
    auto* const null = new Stub<int32>(constant, 0, kUnknown);
    return NodeName(*Bound(new In(Leaf(operand), {null}, {Leaf(other)}, false)));
  };
  EXPECT_EQ(bind(Int4, Int4, Bool), L"InInt32");
  EXPECT_EQ(bind(Bit, UInt4, Bit), L"InUInt32");
  EXPECT_EQ(bind(Int4, UInt4, Int4), L"InNumber");
  EXPECT_EQ(bind(Int4, Numeric, Double), L"InFloat64");
  EXPECT_EQ(bind(Char, Char, LongChar), L"InLongVarChar");
  EXPECT_EQ(bind(Date, Date, Time), L"InDateTimeDataType<XeDateTime>");
  ExpectError(59030, {L"INTEGER", L"CHAR"}, [&] { bind(Int4, Char, Char); });
  ExpectError(59030, {L"LONG VARCHAR", L"DATE"}, [&] { bind(LongChar, LongChar, Date); });
  ExpectBroken([&] { bind(Bit, Bit, Bit); });
  // An error of a constant while the variant is built.
  struct Failing final : Stub<int32> {
    using Stub::Stub;
    RExprReturn Eval(void*) override { SUGThrow(ErrorMessage(59008)); }
  };
  ExpectError(59008, {}, [] {
    Bound(new In(Leaf(Int4), {Leaf(Int4), new Failing(Int4)}, {Leaf(Int4)}, false));
  });
  EXPECT_EQ(MemoryGateway::BlocksInUse(), before);
}

TEST(In, ParametersKeepTheirWholeText) {
  TestRecord parameters({{Char, 6}}), record({{VarChar, 3}});
  parameters.SetText(0, L"abcdef");
  record.SetText(0, L"abc");
  auto* const parameter = new Param({&parameters.layout(), parameters.buffer(), 0});
  EXPECT_EQ(EvalAs<uint8>(*record.Bind(new In(new Extract(0), {}, {parameter}, false))), 0);
}

TEST(In, LongLists) {
  constexpr int kCount = 40'000;
  // Even numbers, scattered.
  std::vector<RExpression*> constants;
  for (int i = 0; i < kCount; ++i) constants.push_back(new ConstantInt32(i * 7919 % kCount * 2));
  auto* const operand = new Stub<int32>(Int4);
  const auto tree = Bound(new In(operand, constants, {new Stub<int32>(Int4, -5)}, false));
  for (int i = -10; i < 2 * kCount + 10; ++i) {
    operand->value_ = i;
    uint8 out = 7;
    tree->Eval(&out);
    ASSERT_EQ(out, i == -5 || (i >= 0 && i < 2 * kCount && i % 2 == 0)) << i;
  }
  EXPECT_EQ(EvalAs<int32>(*tree->GetIthOperand(kCount + 1)), -5);
  ExpectBroken([&] { tree->GetIthOperand(kCount + 2); });
  ExpectBroken([&] { tree->GetIthOperand(-1); });
  EXPECT_EQ(MemberSet<int32>({3, 1, 3, 2}).GetSize(), 3u);
}

TEST(In, DescribesEveryMemberOfALongList) {
  constexpr int kMembers = 40000;  // beyond GetOperandCount
  std::vector<RExpression*> members;
  for (int i = 0; i < kMembers; ++i) members.push_back(new ConstantInt32(i));
  const auto in = Bound(new In(new ConstantInt32(1), members, {}, false));
  const XeString text = DescribeTree(*in);
  EXPECT_EQ(std::ranges::count(text, L'\n'), kMembers + 2);
  EXPECT_TRUE(text.ends_with(L"ConstantInt32 39999 -> INTEGER\n"));
}

}  // namespace
}  // namespace sqxer::test
