#include <gtest/gtest.h>

#include "OperatorOverStubs.h"
#include "SQXERExprConstant.h"
#include "SQXERExprLogical.h"
#include "support/BoundaryValues.h"
#include "support/TestRecord.h"

namespace sqxer::test {
namespace {

/// Boundary values with their place in the type's order; NaN has none. Equal values share a place.
template <class Value>
struct Ranked {
  Value value;
  long double rank;
};

template <class Value>
std::vector<Ranked<Value>> RankedValues() {
  std::vector<Ranked<Value>> ranked;
  for (const Value& value : BoundaryValues<Value>()) {
    if constexpr (std::is_arithmetic_v<Value>) {
      ranked.push_back({value, static_cast<long double>(value)});
    } else if constexpr (std::is_same_v<Value, VelmarNumber>) {
      ranked.push_back({value, value.asDouble()});
    } else {
      // The generator lists days and times in ascending order.
      ranked.push_back({value, static_cast<long double>(ranked.size())});
    }
  }
  return ranked;
}

/// Texts by code point, trailing blanks aside.
template <class Value>
std::vector<Ranked<Value>> RankedTexts(std::vector<XeString>& texts) {
  std::vector<XeString> order;
  const auto trimmed = [](XeString text) {
    while (!text.empty() && text.back() == L' ') text.pop_back();
    return text;
  };
  for (const XeString& text : texts) order.push_back(trimmed(text));
  std::sort(order.begin(), order.end());
  std::vector<Ranked<Value>> ranked;
  for (XeString& text : texts) {
    const auto place = std::lower_bound(order.begin(), order.end(), trimmed(text));
    const long double rank = static_cast<long double>(place - order.begin());
    if constexpr (std::is_same_v<Value, wchar_t*>) {
      ranked.push_back({text.data(), rank});
    } else {
      ranked.push_back({{static_cast<uint32>(text.size()), text.data()}, rank});
    }
  }
  return ranked;
}

template <class Value, class Node>
void CheckComparison(const std::vector<Ranked<Value>>& values, const wchar_t* name,
                     bool (*expect)(long double a, long double b)) {
  auto tree = OverStubs<Value, 2>::template Make<Node>();
  EXPECT_EQ(NodeName(tree.root()), name);
  EXPECT_EQ(tree.root().GetResultDataType(), XeBoolean);
  for (const auto& a : values) {
    for (const auto& b : values) {
      uint8 out = 7;
      EXPECT_EQ(tree.Eval(&out, a.value, b.value), kTrue);
      EXPECT_EQ(out, expect(a.rank, b.rank) ? 1 : 0)
          << testing::PrintToString(XeString(name)) << " of ranks " << a.rank << ", " << b.rank;
    }
  }
  ExpectStatusPassesUp(tree, 2);
}

template <class Value>
void CheckOrder(const std::vector<Ranked<Value>>& values, const XeString& suffix) {
  using L = long double;
  const auto name = [&](const wchar_t* op) { return op + suffix; };
  CheckComparison<Value, EQ>(values, name(L"EQ").c_str(), [](L a, L b) { return a == b; });
  CheckComparison<Value, NE>(values, name(L"NE").c_str(), [](L a, L b) { return !(a == b); });
  CheckComparison<Value, LT>(values, name(L"LT").c_str(), [](L a, L b) { return a < b; });
  CheckComparison<Value, LE>(values, name(L"LE").c_str(), [](L a, L b) { return a <= b; });
  CheckComparison<Value, GT>(values, name(L"GT").c_str(), [](L a, L b) { return a > b; });
  CheckComparison<Value, GE>(values, name(L"GE").c_str(), [](L a, L b) { return a >= b; });

  auto between = OverStubs<Value, 3>::template Make<Between>();
  EXPECT_EQ(NodeName(between.root()), name(L"Between"));
  EXPECT_EQ(between.root().GetExpressionType(), kBetweenExpression);
  for (const auto& value : values) {
    for (const auto& low : values) {
      for (const auto& high : values) {
        uint8 out = 7;
        EXPECT_EQ(between.Eval(&out, value.value, low.value, high.value), kTrue);
        EXPECT_EQ(out, value.rank >= low.rank && value.rank <= high.rank)
            << "ranks " << value.rank << ", " << low.rank << ", " << high.rank;
      }
    }
  }
  ExpectStatusPassesUp(between, 3);

  auto isNull = OverStubs<Value, 1>::template Make<IsNull>();
  EXPECT_EQ(NodeName(isNull.root()), name(L"IsNull"));
  for (const RExprReturn status : {kFalse, kTrue, kUnknown, kError, kEod}) {
    isNull.SetStatus(0, status);
    uint8 out = 7;
    const bool answers = status == kTrue || status == kUnknown;
    EXPECT_EQ(isNull.Eval(&out, values[0].value), answers ? kTrue : status);
    EXPECT_EQ(out, !answers ? 7 : status == kUnknown);
    EXPECT_EQ(isNull.root().GetRetCode(), status);
  }
}

TEST(Comparison, GridsOfNumbers) {
  CheckOrder(RankedValues<int32>(), L"Int32");
  CheckOrder(RankedValues<uint32>(), L"UInt32");
  CheckOrder(RankedValues<float64>(), L"Float64");
  CheckOrder(RankedValues<VelmarNumber>(), L"Number");
}

TEST(Comparison, GridsOfDaysAndTimes) {
  CheckOrder(RankedValues<XeDate>(), L"Date");
  CheckOrder(RankedValues<XeTime>(), L"Time");
  CheckOrder(RankedValues<XeDateTime>(), L"DateTime");
}

TEST(Comparison, GridsOfTexts) {
  std::vector<XeString> texts = BoundaryTexts(5);
  CheckOrder(RankedTexts<wchar_t*>(texts), L"XeChar");
  CheckOrder(RankedTexts<RefLongVarChar>(texts), L"LongVarXeChar");
}

TEST(Comparison, TypesThatCannotBeCompared) {
  const auto refuse = [](RExpression* node, int code, const std::vector<XeString>& arguments) {
    ExpectError(code, arguments, [&] { Bound(node); });
  };
  const auto two = [] { return Leaf(XeBoolean); };
  const std::size_t before = MemoryGateway::BlocksInUse();
  refuse(new EQ(two(), two()), 59002, TypeError(L"Equals To", XeBoolean));
  refuse(new NE(two(), two()), 59002, TypeError(L"Equal", XeBoolean));
  refuse(new LE(two(), two()), 59002, TypeError(L"Less Than Equal TO", XeBoolean));
  refuse(new GE(two(), two()), 59002, TypeError(L"Greater Than Equals To", XeBoolean));
  refuse(new LT(two(), two()), 59002, TypeError(L"Less Than", XeBoolean));
  refuse(new GT(two(), two()), 59002, TypeError(L"Greater Than", XeBoolean));
  refuse(new GT(Leaf(XeBitData), Leaf(XeBitData)), 59002, TypeError(L"Greater Than", XeBitData));
  refuse(new EQ(Leaf(XeInt4Data), Leaf(XeDateData)), 59001,
         TypeError(L"Binary Logical", XeInt4Data, XeDateData));
  for (const XeDataType type : {XeBitData, XeBinaryData, XeLongVarBinaryData, XeIntervalData}) {
    refuse(new IsNull(Leaf(type, 2)), 59002, TypeError(L"IsNull", type));
  }
  refuse(new LogicalAnd(two(), Leaf(XeInt4Data)), 59001, TypeError(L"Logical And", XeInt4Data));
  refuse(new LogicalOr(Leaf(XeDateData), two()), 59001, TypeError(L"Logical Or", XeDateData));
  refuse(new LogicalNot(Leaf(XeInt4Data)), 59001, TypeError(L"Logical Not", XeInt4Data));
  EXPECT_EQ(MemoryGateway::BlocksInUse(), before);
}

TEST(Comparison, DescribesATruthValue) {
  const auto describe = [](RExpression* root) {
    MetaDataInfo info;
    const auto tree = Bound(root, &info);
    EXPECT_EQ(tree->GetResultDataType(), XeBoolean);
    EXPECT_EQ(info.objectLength_, 1u);
    EXPECT_EQ(info.fieldName_, XeRecordMetaData::exprFieldName_);
    return info.isNullable_;
  };
  const auto leaf = [](XeDataType type, bool nullable) {
    auto* stub = new Stub<VelmarNumber>(type);
    stub->isNullable_ = nullable;
    return stub;
  };
  for (int mask = 0; mask < 8; ++mask) {
    const bool a = mask & 1, b = mask & 2, c = mask & 4;
    const auto pair = [&](XeDataType type) { return std::pair(leaf(type, a), leaf(type, b)); };
    const auto [x, y] = pair(XeNumericData);
    EXPECT_EQ(describe(new EQ(x, y)), a || b);
    const auto [p, q] = pair(XeBoolean);
    EXPECT_EQ(describe(new LogicalAnd(p, q)), a || b);
    const auto [r, s] = pair(XeBitData);
    EXPECT_EQ(describe(new LogicalOr(r, s)), a || b);
    const auto [l, h] = pair(XeDateData);
    EXPECT_EQ(describe(new Between(l, h, leaf(XeDateData, c))), a || b || c);
    EXPECT_EQ(describe(new LogicalNot(leaf(XeBoolean, a))), a);
    EXPECT_FALSE(describe(new IsNull(leaf(XeBoolean, a))));
  }
}

/// The type that BETWEEN computes in, told by rules rather than by the table; nothing when the two
/// cannot meet.
std::optional<XeDataType> CommonType(XeDataType soFar, XeDataType operand) {
  const std::vector<XeDataType> numbers = {XeBitData, XeInt4Data, XeUInt4Data, XeNumericData,
                                           XeDoubleData};
  const auto rank = [&](XeDataType t) {
    return std::find(numbers.begin(), numbers.end(), t) - numbers.begin();
  };
  const auto count = static_cast<std::ptrdiff_t>(numbers.size());
  if (rank(soFar) < count && rank(operand) < count)
    return std::max(soFar, operand, [&](auto a, auto b) { return rank(a) < rank(b); });
  if (rank(soFar) < count || rank(operand) < count) return std::nullopt;
  if (soFar == operand) return soFar;
  const bool textFirst = SUXeDataTypeUtility::IsXeTextType(soFar);
  const bool textSecond = SUXeDataTypeUtility::IsXeTextType(operand);
  if (textFirst && textSecond) return XeLongVarCharData;
  if (textSecond) return soFar;
  // A text takes the type of a day that follows it, but not that of a bare time.
  if (textFirst) return operand == XeTimeData ? std::nullopt : std::optional(operand);
  if (soFar == XeDateTimeData || operand == XeDateTimeData) return XeDateTimeData;
  return std::nullopt;
}

TEST(Between, OperandsMeetInOneType) {
  const std::vector<XeDataType> types = {XeBitData,   XeCharData,    XeLongVarCharData, XeInt4Data,
                                         XeUInt4Data, XeDoubleData,  XeNumericData,     XeDateData,
                                         XeTimeData,  XeDateTimeData};
  const std::size_t before = MemoryGateway::BlocksInUse();
  for (const XeDataType compare : types) {
    for (const XeDataType low : types) {
      for (const XeDataType high : types) {
        SCOPED_TRACE(testing::Message() << compare << ", " << low << ", " << high);
        auto* node = new Between(Leaf(compare, 8), Leaf(low, 8), Leaf(high, 8));
        const auto first = CommonType(compare, low);
        const auto common = first ? CommonType(*first, high) : std::nullopt;
        if (!common) {
          ExpectError(59001,
                      first ? TypeError(L"Binary Logical", *first, high)
                            : TypeError(L"Binary Logical", compare, low),
                      [&] { Bound(node); });
        } else if (*common == XeBitData) {
          ExpectError(59002, TypeError(L"Between", XeBitData), [&] { Bound(node); });
        } else {
          const auto tree = Bound(node);
          for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(tree->GetIthOperand(i)->GetResultDataType(), *common);
          }
        }
      }
    }
  }
  EXPECT_EQ(MemoryGateway::BlocksInUse(), before);
  ExpectError(59001, TypeError(L"Binary Logical", XeBoolean, XeBoolean),
              [] { Bound(new Between(Leaf(XeBoolean), Leaf(XeBoolean), Leaf(XeBoolean))); });
}

TEST(Between, ConvertsValuesOnceTypesMeet) {
  const auto between = [](RExpression* value, RExpression* low, RExpression* high) {
    return EvalAs<uint8>(*Bound(new Between(value, low, high)));
  };
  const auto text = [](const wchar_t* t) { return new ConstantXeChar(t); };
  const auto stamp = [](int hour) { return new ConstantDateTime(XeDateTime(2012, 1, 31, hour)); };
  EXPECT_EQ(between(new ConstantInt32(5), text(L"5"), new ConstantFloat64(5.5)), 1);
  EXPECT_EQ(between(new ConstantInt32(5), new ConstantNumber(VelmarNumber(5)), text(L"4.9")), 0);
  EXPECT_EQ(between(new ConstantUInt32(5), new ConstantInt32(-1), new ConstantInt32(9)), 0);
  EXPECT_EQ(between(stamp(0), text(L"2012-01-31"), new ConstantLongVarXeChar(L"2012-02-01")), 1);
  EXPECT_EQ(between(stamp(1), text(L"2012-01-30"), new ConstantDate(XeDate(2012, 1, 31))), 0);
  EXPECT_EQ(between(text(L"b "), text(L"a"), new ConstantLongVarXeChar(L"b")), 1);

  // Retyped once, when bound; what does not read as the type is left as the text it is.
  const auto tree = Bound(new Between(Leaf(XeInt4Data), text(L"1"), text(L"2")));
  EXPECT_EQ(NodeName(*tree->GetIthOperand(1)), L"ConstantInt32");
  EXPECT_EQ(NodeName(*tree->GetIthOperand(2)), L"ConstantInt32");
  ExpectError(59001, TypeError(L"Binary Logical", XeInt4Data, XeCharData),
              [&] { Bound(new Between(Leaf(XeInt4Data), text(L"x"), text(L"2"))); });
}

TEST(Between, TextLiteralsAmongDaysAndTimesAreReadWhenBound) {
  const auto bind = [](XeDataType type, const wchar_t* low, const wchar_t* high) {
    return Bound(new Between(Leaf(type), new ConstantXeChar(low), new ConstantLongVarXeChar(high)));
  };
  const auto names = [](RExpression& tree) {
    return std::pair(NodeName(*tree.GetIthOperand(1)), NodeName(*tree.GetIthOperand(2)));
  };
  auto tree = bind(XeDateTimeData, L"2012-01-31", L"2012-02-01 10:00");
  EXPECT_EQ(names(*tree), std::pair(XeString(L"ConstantDateTime"), XeString(L"ConstantDateTime")));
  EXPECT_EQ(EvalAs<XeDateTime>(*tree->GetIthOperand(2)), XeDateTime(2012, 2, 1, 10));
  tree = bind(XeDateData, L"2012-01-31", L"2012-02-01");
  EXPECT_EQ(names(*tree), std::pair(XeString(L"ConstantDate"), XeString(L"ConstantDate")));
  // What does not read is no error until a row needs it.
  tree = bind(XeTimeData, L"23:59", L"soon");
  EXPECT_EQ(names(*tree),
            std::pair(XeString(L"ConstantTime"), XeString(L"ConvertXeLongVarChartoXeTime")));
  XeTime out;
  ExpectError(59172, {L"soon", SUXeDataTypeUtility::GetXeDataTypeName(XeTimeData)},
              [&] { tree->GetIthOperand(2)->Eval(&out); });
}

TEST(Between, BrokenInvariants) {
  Between generic(Leaf(XeInt4Data), Leaf(XeInt4Data), Leaf(XeInt4Data));
  uint8 out;
  ExpectBroken([&] { generic.Eval(&out); });
  ExpectBroken([&] { generic.GetIthOperand(3); });
  ExpectBroken([&] { generic.SetIthOperand(-1, nullptr); });
}

/// An operand of a connective: a status and, for kTrue, a byte.
struct Operand {
  RExprReturn status;
  uint8 value;
};

TEST(Connectives, EveryPairOfTruthsAndStatuses) {
  // The statuses follow TRUE, so that a byte left behind by it would show.
  const std::vector<Operand> operands = {{kTrue, 0},  {kUnknown, 0}, {kTrue, 1},
                                         {kFalse, 0}, {kError, 0},   {kEod, 0}};
  auto both = OverStubs<uint8, 2>::Make<LogicalAnd>();
  auto either = OverStubs<uint8, 2>::Make<LogicalOr>();
  const auto run = [](auto& tree, const Operand& left, const Operand& right) {
    tree.ResetCounts();
    tree.SetStatus(0, left.status);
    tree.SetStatus(1, right.status);
    uint8 out = 1;
    const RExprReturn status = tree.Eval(&out, left.value, right.value);
    return std::pair(status, status == kTrue ? out : 0);
  };
  using Result = std::pair<RExprReturn, int>;
  const auto isTrue = [](const Operand& o) { return o.status == kTrue && o.value == 1; };
  const auto isFalse = [](const Operand& o) { return o.status == kTrue && o.value == 0; };
  const auto isTruth = [](const Operand& o) { return o.status == kTrue || o.status == kUnknown; };
  for (const Operand& left : operands) {
    for (const Operand& right : operands) {
      SCOPED_TRACE(testing::Message() << left.status << "/" << int{left.value} << " with "
                                      << right.status << "/" << int{right.value});
      const bool unknown = left.status == kUnknown || right.status == kUnknown;

      Result expected = {kTrue, 1};
      if (!isTruth(left)) {
        expected = {left.status, 0};
      } else if (isFalse(left)) {
        expected = {kTrue, 0};
      } else if (!isTruth(right)) {
        expected = {right.status, 0};
      } else if (isFalse(right)) {
        expected = {kTrue, 0};
      } else if (unknown) {
        expected = {kUnknown, 0};
      }
      EXPECT_EQ(Result(run(both, left, right)), expected);
      EXPECT_EQ(both[1].evaluations_, isTruth(left) && !isFalse(left));

      // OR hands no status upward: what is neither TRUE nor NULL counts as FALSE.
      expected = isTrue(left) || isTrue(right) ? Result{kTrue, 1}
                 : unknown                     ? Result{kUnknown, 0}
                                               : Result{kTrue, 0};
      EXPECT_EQ(Result(run(either, left, right)), expected);
      EXPECT_EQ(either[1].evaluations_, !isTrue(left));
    }
  }
  EXPECT_EQ(both.root().GetExpressionType(), kBinaryExpression);
}

TEST(Connectives, Not) {
  auto tree = OverStubs<uint8, 1>::Make<LogicalNot>();
  uint8 out = 7;
  EXPECT_EQ(tree.Eval(&out, uint8{1}), kTrue);
  EXPECT_EQ(out, 0);
  EXPECT_EQ(tree.Eval(&out, uint8{0}), kTrue);
  EXPECT_EQ(out, 1);
  ExpectStatusPassesUp(tree, 1);
}

}  // namespace
}  // namespace sqxer::test
