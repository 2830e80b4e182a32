#include <chrono>
#include <thread>

#include "OperatorOverStubs.h"
#include "SQXERBatch.h"
#include "SQXERExprConstant.h"
#include "SQXERExprExtract.h"
#include "SQXERExprLogical.h"
#include "server/Utility/UtilityTesting.h"

namespace sqxer::test {
namespace {

/// Values, each with a key by which C++ orders it as SQL should.
template <class Value, class Key>
using Keyed = std::vector<std::pair<Value, Key>>;

template <class Value>
Keyed<Value, long double> Numbers() {
  Keyed<Value, long double> keyed;
  for (const Value& value : BoundaryValues<Value>()) keyed.emplace_back(value, AsDouble(value));
  return keyed;
}

/// The generator lists days and times in ascending order.
template <class Value>
Keyed<Value, std::size_t> Times() {
  Keyed<Value, std::size_t> keyed;
  for (const Value& value : BoundaryValues<Value>()) keyed.emplace_back(value, keyed.size());
  return keyed;
}

template <class Value, class Key, class Node, class Expect>
void CheckComparison(const Keyed<Value, Key>& values, const XeString& name, Expect expect) {
  auto tree = OverStubs<Value, 2>::template Make<Node>();
  EXPECT_EQ(NodeName(*tree.root), name);
  for (const auto& a : values) {
    for (const auto& b : values) {
      uint8 out = 7;
      EXPECT_EQ(tree.Eval(&out, a.first, b.first), kTrue);
      EXPECT_EQ(out, expect(a.second, b.second))
          << testing::PrintToString(std::tuple(name, a.second, b.second));
    }
  }
  tree.ExpectStatusPassesUp();
}

template <class V, class K>
void CheckOrder(const Keyed<V, K>& values, const XeString& suffix) {
  using Key = const K&;
  CheckComparison<V, K, EQ>(values, L"EQ" + suffix, [](Key a, Key b) { return a == b; });
  CheckComparison<V, K, NE>(values, L"NE" + suffix, [](Key a, Key b) { return !(a == b); });
  CheckComparison<V, K, LT>(values, L"LT" + suffix, [](Key a, Key b) { return a < b; });
  CheckComparison<V, K, LE>(values, L"LE" + suffix, [](Key a, Key b) { return a <= b; });
  CheckComparison<V, K, GT>(values, L"GT" + suffix, [](Key a, Key b) { return a > b; });
  CheckComparison<V, K, GE>(values, L"GE" + suffix, [](Key a, Key b) { return a >= b; });

  auto between = OverStubs<V, 3>::template Make<Between>();
  EXPECT_EQ(NodeName(*between.root), L"Between" + suffix);
  for (const auto& [value, key] : values) {
    for (const auto& [low, lowKey] : values) {
      for (const auto& [high, highKey] : values) {
        uint8 out = 7;
        EXPECT_EQ(between.Eval(&out, value, low, high), kTrue);
        EXPECT_EQ(out, key >= lowKey && key <= highKey)
            << testing::PrintToString(std::tuple(key, lowKey, highKey));
      }
    }
  }
  between.ExpectStatusPassesUp();

  auto isNull = OverStubs<V, 1>::template Make<IsNull>();
  EXPECT_EQ(NodeName(*isNull.root), L"IsNull" + suffix);
  for (const RExprReturn status : {kFalse, kTrue, kUnknown, kError, kEod}) {
    isNull.SetStatuses({status});
    uint8 out = 7;
    const bool answers = status == kTrue || status == kUnknown;
    EXPECT_EQ(isNull.Eval(&out, values[0].first), answers ? kTrue : status);
    EXPECT_EQ(out, !answers ? 7 : status == kUnknown);
    EXPECT_EQ(isNull.root->GetRetCode(), status);
  }
}

TEST(Comparison, Grids) {
  CheckOrder(Numbers<int32>(), L"Int32");
  CheckOrder(Numbers<uint32>(), L"UInt32");
  CheckOrder(Numbers<float64>(), L"Float64");
  CheckOrder(Numbers<VelmarNumber>(), L"Number");
  CheckOrder(Times<XeDate>(), L"Date");
  CheckOrder(Times<XeTime>(), L"Time");
  CheckOrder(Times<XeDateTime>(), L"DateTime");
  // By code point, trailing blanks aside.
  std::vector<XeString> texts = BoundaryTexts(5);
  Keyed<wchar_t*, XeString> fixed;
  Keyed<RefLongVarChar, XeString> varying;
  for (XeString& text : texts) {
    const XeString key = text.substr(0, text.find_last_not_of(L' ') + 1);
    fixed.emplace_back(text.data(), key);
    varying.emplace_back(RefLongVarChar{static_cast<uint32>(text.size()), text.data()}, key);
  }
  CheckOrder(fixed, L"XeChar");
  CheckOrder(varying, L"LongVarXeChar");
}

TEST(Logical, IsNullableWhereAnOperandIs) {
  for (int mask = 0; mask < 4; ++mask) {
    TestRecord record({{Bool, 0, (mask & 1) != 0}, {Bool, 0, (mask & 2) != 0}});
    for (RExpression* root :
         std::initializer_list<RExpression*>{new LogicalAnd(new Extract(0), new Extract(1)),
                                             new LogicalOr(new Extract(0), new Extract(1))}) {
      EXPECT_EQ(record.Bind(root)->GetResultDataType(), Bool);
      EXPECT_EQ(record.info.isNullable_, mask != 0);
    }
    record.Bind(new IsNull(new Extract(0)));
    EXPECT_FALSE(record.info.isNullable_);
  }
}

/// Pair by pair, as in a comparison; but a text that follows a bare time takes its type.
std::optional<XeDataType> MeetSoFar(XeDataType soFar, XeDataType operand) {
  const bool isTimeText = soFar == Time && SUXeDataTypeUtility::IsXeTextType(operand);
  return isTimeText ? Time : Meet(soFar, operand);
}

TEST(Between, OperandsMeetInOneType) {
  const XeDataType types[] = {Bit,    Char,    LongChar, Int4, UInt4,
                              Double, Numeric, Date,     Time, DateTime};
  const std::size_t before = MemoryGateway::BlocksInUse();
  for (int i = 0; i < 1000; ++i) {
    const XeDataType compare = types[i / 100], low = types[i / 10 % 10], high = types[i % 10];
    SCOPED_TRACE(testing::Message() << compare << ", " << low << ", " << high);
    const auto bind = [&] {
      return Bound(new Between(Leaf(compare, 8), Leaf(low, 8), Leaf(high, 8)));
    };
    const auto first = MeetSoFar(compare, low);
    const auto common = first ? MeetSoFar(*first, high) : std::nullopt;
    if (!first) {
      ExpectError(59001, TypeError(L"Binary Logical", compare, low), bind);
    } else if (!common) {
      ExpectError(59001, TypeError(L"Binary Logical", *first, high), bind);
    } else if (*common == Bit) {
      ExpectError(59002, TypeError(L"Between", Bit), bind);
    } else {
      const auto tree = bind();
      const XeDataType own[] = {compare, low, high};
      for (int k = 0; k < 3; ++k) {
        EXPECT_EQ(NodeName(*tree->GetIthOperand(k)), Wrapper(own[k], *common));
        EXPECT_EQ(tree->GetIthOperand(k)->GetResultDataType(), *common);
      }
    }
  }
  EXPECT_EQ(MemoryGateway::BlocksInUse(), before);
}

TEST(Between, TextLiteralsAreReadWhenBound) {
  const auto bind = [](XeDataType type, const wchar_t* low, const wchar_t* high) {
    return Bound(new Between(Leaf(type), new ConstantXeChar(low), new ConstantLongVarXeChar(high)));
  };
  const auto ints = bind(Int4, L"1", L"2"), times = bind(Time, L"23:59", L"soon"),
             stamps = bind(DateTime, L"2012-01-31", L"2012-02-01 10:00");
  EXPECT_EQ(NodeName(*ints->GetIthOperand(1)), L"ConstantInt32");
  EXPECT_EQ(NodeName(*stamps->GetIthOperand(1)), L"ConstantDateTime");
  EXPECT_EQ(NodeName(*stamps->GetIthOperand(2)), L"ConstantDateTime");
  EXPECT_EQ(NodeName(*times->GetIthOperand(1)), L"ConstantTime");
  // What does not read as a time is no error until a row needs it; a number is needed at once.
  ExpectError(59172, {L"soon", L"TIME"}, [&] { EvalAs<XeTime>(*times->GetIthOperand(2)); });
  ExpectError(59001, TypeError(L"Binary Logical", Int4, Char), [&] { bind(Int4, L"x", L"2"); });
  const auto signs =
      Bound(new Between(new ConstantUInt32(5), new ConstantInt32(-1), new ConstantInt32(9)));
  EXPECT_EQ(EvalAs<uint8>(*signs), 0) << "-1 is compared as 4294967295";
}

TEST(Connectives, EveryPairOfTruthsAndStatuses) {
  // A status and, for kTrue, a byte. The statuses follow TRUE, so that a byte left behind by it
  // would show.
  using Truth = std::pair<RExprReturn, uint8>;
  constexpr Truth kNo{kTrue, 0}, kYes{kTrue, 1}, kNull{kUnknown, 0};
  const Truth operands[] = {kNo, kNull, kYes, {kFalse, 0}, {kError, 0}, {kEod, 0}};
  auto both = OverStubs<uint8, 2>::Make<LogicalAnd>();
  auto either = OverStubs<uint8, 2>::Make<LogicalOr>();
  const auto run = [](auto& tree, const Truth& left, const Truth& right) {
    tree.SetStatuses({left.first, right.first});
    uint8 out = 1;
    const RExprReturn status = tree.Eval(&out, left.second, right.second);
    return Truth(status, status == kTrue ? out : 0);
  };
  const auto isTruth = [](const Truth& o) { return o.first == kTrue || o.first == kUnknown; };
  for (const Truth& left : operands) {
    for (const Truth& right : operands) {
      SCOPED_TRACE(testing::PrintToString(std::pair(left, right)));
      const bool unknown = left == kNull || right == kNull;
      EXPECT_EQ(run(both, left, right), !isTruth(left) || left == kNo     ? left
                                        : !isTruth(right) || right == kNo ? right
                                        : unknown                         ? kNull
                                                                          : kYes);
      EXPECT_EQ(both.operands[1]->evaluations_, isTruth(left) && left != kNo);
      // OR hands no status upward: what is neither TRUE nor NULL counts as FALSE.
      EXPECT_EQ(run(either, left, right), left == kYes || right == kYes ? kYes
                                          : unknown                     ? kNull
                                                                        : kNo);
      EXPECT_EQ(either.operands[1]->evaluations_, left != kYes);
    }
  }
}

TEST(Connectives, Not) {
  auto tree = OverStubs<uint8, 1>::Make<LogicalNot>();
  for (const uint8 value : {0, 1}) {
    uint8 out = 7;
    EXPECT_EQ(tree.Eval(&out, value), kTrue);
    EXPECT_EQ(out, 1 - value);
  }
  tree.ExpectStatusPassesUp();
}

/// Truth values for batches: true in the rows whose number a divisor divides.
class Multiples final : public Stub<uint8> {
 public:
  static constexpr uint32 kSlow = 2;

  Multiples(uint32 divisor, BatchCost cost) : Stub(XeBoolean), divisor_(divisor), cost_(cost) {}
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override {
    asked_ += rows.GetWanted();
    uint8* const values = GetBatchBuffers().Values<uint8>();
    rows.ForEach([&](uint32 row) { values[row] = row % divisor_ == 0; });
    out = BatchVector();
    out.form = ColumnForm::kUInt8;
    out.values = values;
    if (divisor_ == kSlow) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    return true;
  }
  BatchCost GetBatchCost() override { return cost_; }

  uint32 divisor_;
  BatchCost cost_;
  uint32 asked_ = 0;
};

TEST(Connectives, EvaluateOverBatchesWhatDecidesMostAtFirst) {
  ConfigScope config;
  const auto asked = [](BatchCost left, BatchCost right, uint32 batches) {
    auto* const a = new Multiples(Multiples::kSlow, left);
    auto* const b = new Multiples(50, right);
    const auto tree = Bound(new LogicalAnd(a, b));
    BatchRows rows;
    rows.count = 1000;
    for (uint32 i = 0; i < batches; ++i) {
      a->asked_ = b->asked_ = 0;
      BatchVector out;
      EXPECT_TRUE(tree->EvalBatch(rows, out));
      for (uint32 row = 0; row < rows.count; ++row) EXPECT_EQ(out.values[row], row % 50 == 0);
    }
    return std::pair(a->asked_, b->asked_);
  };
  using enum BatchCost;
  EXPECT_EQ(asked(kSafe, kFree, 1), std::pair(20u, 1000u));
  EXPECT_EQ(asked(kSafe, kSafe, 1), std::pair(1000u, 500u));
  EXPECT_EQ(asked(kSafe, kSafe, 4), std::pair(20u, 1000u));
  // What may fail fails before what stands behind it is looked at.
  EXPECT_EQ(asked(kDear, kFree, 4), std::pair(1000u, 1000u));
  EXPECT_EQ(asked(kDear, kSafe, 4), std::pair(1000u, 500u));
  EXPECT_EQ(asked(kSafe, kDear, 4), std::pair(1000u, 500u));
  config->Set("ConditionOrder", "written");
  EXPECT_EQ(asked(kSafe, kSafe, 4), std::pair(1000u, 500u));
}

}  // namespace
}  // namespace sqxer::test
