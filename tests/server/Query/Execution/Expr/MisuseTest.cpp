// Misuse of the classes: it ends in a sentence of the handler of broken invariants, and never in a
// signal.

#include "AggregateTesting.h"
#include "SQXERExprArithmetic.h"
#include "SQXERExprCase2.h"
#include "SQXERExprCast.h"
#include "SQXERExprExtract.h"
#include "SQXERExprFunction.h"
#include "SQXERExprIn.h"
#include "SQXERExprLike.h"
#include "SQXERExprLogical.h"

namespace sqxer::test {
namespace {

RExpression* One() { return new ConstantInt32(1); }
RExpression* Text() { return new ConstantLongVarXeChar(L"a"); }

void Bind(RExpression* node, XeAListStream* stream = nullptr) {
  MetaDataInfo info;
  BindTree(std::unique_ptr<RExpression>(node), stream, info);
}

TEST(Misuse, AnOperandIsMissing) {
  RExpression* const none = nullptr;
  RExpression* (*const kNodes[])() = {
      [] { return static_cast<RExpression*>(nullptr); },
      []() -> RExpression* { return new Add(nullptr, One()); },
      []() -> RExpression* { return new EQ(One(), nullptr); },
      []() -> RExpression* { return new LogicalNot(nullptr); },
      []() -> RExpression* { return new UnaryMinus(nullptr); },
      []() -> RExpression* { return new Cast(nullptr, XeInt4Data, 4, 0, L""); },
      []() -> RExpression* { return new Like(Text(), nullptr); },
      []() -> RExpression* {
        return new In(One(), {One(), nullptr}, {}, false);
      },
      []() -> RExpression* { return new Between(One(), nullptr, One()); },
      []() -> RExpression* {
        return new Coalesce({nullptr, One()});
      },
      []() -> RExpression* { return new Case(nullptr, {nullptr}, {One()}); },
      []() -> RExpression* { return new IfNull(nullptr, One()); },
      []() -> RExpression* { return new Sqrt(nullptr); },
      []() -> RExpression* { return new Abs(nullptr); },
      []() -> RExpression* { return new Pow(nullptr, {One()}); },
      []() -> RExpression* { return new Pow(One()); },
      []() -> RExpression* { return new Mod(nullptr, {One()}); },
      []() -> RExpression* { return new Round(nullptr, {One()}); },
      []() -> RExpression* { return new Upper(nullptr); },
      []() -> RExpression* { return new DictLookup(One(), {}, nullptr, nullptr); },
      []() -> RExpression* { return new Repeat(Text(), {nullptr}); },
  };
  for (auto* const make : kNodes) {
    SCOPED_TRACE(&make - kNodes);
    ExpectBroken([&] { Bind(make()); });
  }
  ExpectBroken([&] {
    TestRecord input({{Int4}}), target({{Int4}});
    Driven(new MovingSum(Columns(0), nullptr, nullptr, true, none), input, target);
  });
}

TEST(Misuse, AStreamOrItsRecordIsMissing) {
  TestRecord row({{Int4}});
  XeAListStream noLayout(nullptr, row.buffer()), noRecord(&row.layout(), nullptr);
  XeRecordMetaData noOffsets;
  noOffsets.AddField(XeInt4Data, 4, true, L"a");
  XeAListStream notLaidOut(&noOffsets, row.buffer());
  for (XeAListStream* stream :
       std::initializer_list<XeAListStream*>{nullptr, &noLayout, &noRecord, &notLaidOut}) {
    ExpectBroken([&] { Bind(new Extract(0), stream); });
    ExpectBroken([&] { Bind(new Add(One(), new Extract(0)), stream); });
  }
  TestRecord target({{Int4}});
  MetaDataInfo info;
  const auto bind = [&](XeRecordMetaData& input, XeRecordMetaData& output) {
    BindAggregate(std::unique_ptr<Aggregate>(Make<Sum, false>()), input, output, 0, info);
  };
  ExpectBroken([&] { bind(noOffsets, target.layout()); });
  ExpectBroken([&] { bind(row.layout(), noOffsets); });
}

TEST(Misuse, ANodeStandsTwiceInATree) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  RExpression* const one = One();
  EXPECT_DEATH(Bind(new Add(one, one)), "broken invariant: a node is an operand twice");
  EXPECT_DEATH(Bind(new In(One(), {one}, {new Add(One(), one)}, false)), "operand twice");
  delete one;
}

/// A kind of aggregates, and the orders of calls that must stop: a letter each for Initialize,
/// Compute, Finalize and Output. What keeps sums alone goes on without harm.
struct Kind {
  const char* name;
  Aggregate* (*make)();
  std::vector<std::string> stops = {};
  /// Of its first result; those behind it are doubles.
  XeDataType result = Double;
};
void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.name; }

template <class Kind>
Aggregate* MakePair() {
  return new Kind(new UInt16Vector{0, 1}, nullptr, nullptr, false);
}
template <BinKind kind>
Aggregate* MakeBin() {
  return new sqxer::Bin(Columns(0), nullptr, nullptr, false, new ConstantInt32(2), kind);
}
Aggregate* MakePercentile() {
  return new Percentile(Columns(0), nullptr, nullptr, false, {kAscending});
}
Aggregate* MakeNtile() {
  return new Ntile(Columns(0), nullptr, nullptr, false, new ConstantInt32(2), {kAscending});
}
Aggregate* MakeRank() {
  return new Rank(Columns(0), nullptr, nullptr, false, {kAscending}, false, false);
}
Aggregate* MakeTop() {
  return new PreferredN(Columns(0), nullptr, nullptr, false, PreferredN::TopN,
                        new ConstantInt32(2));
}

const std::vector<std::string> kHeld = {"CF", "F", "ICFF", "ICFC"}, kSlid = {"CF", "F"};
const Kind kKinds[] = {
    {"Sum", &Make<Sum, false>},
    {"DistinctSum", &Make<Sum, true>, kHeld},
    {"DistinctCount", &Make<Count, true, false>, kHeld, UInt4},
    {"SortedCount", &Make<Count, true, true>, {}, UInt4},
    {"CountStar", &Make<CountStar>, {}, UInt4},
    {"Avg", &Make<Avg>},
    {"AvgAll", &Make<AvgAll>, {}, UInt4},
    {"Max", &Make<Max>},
    {"NullIfNotUnique", &Make<NullIfNotUnique>},
    {"First", &Make<First>},
    {"Range", &Make<Range>},
    {"RunningSum", &MakeCumulative<RunningSum>},
    {"MovingSum", &MakeCumulative<MovingSum, 3>, kSlid},
    {"MovingAvg", &MakeCumulative<MovingAvg, 3>, kSlid},
    {"Median", &Make<Median>, kHeld},
    {"Stddev", &Make<Stddev, false>},
    {"ListAgg", &Make<ListAgg, false>, {}, VarChar},
    {"DistinctListAgg", &Make<ListAgg, true>, kHeld, VarChar},
    {"Covariance", &MakePair<Covariance>},
    {"Correlation", &MakePair<Correlation>},
    {"Regression", &MakePair<Regression>},
    {"Percentile", &MakePercentile},
    {"Ntile", &MakeNtile, kSlid, UInt4},
    {"Rank", &MakeRank, {"CF", "F", "ICFF", "ICFC", "O", "IO"}, UInt4},
    {"Top", &MakeTop, {}, UInt4},
    {"BinsOfWidth", &MakeBin<BinKind::kRegular>, {}, UInt4},
    {"BinsOfDepth", &MakeBin<BinKind::kEqualDepth>, kHeld, UInt4},
};

class AggregateMisuse : public testing::TestWithParam<Kind> {
 protected:
  static void Drive(const std::string& steps) {
    TestRecord input({{Double}, {Double}});
    TestRecord target({{GetParam().result, GetParam().result == VarChar ? 99u : 0u},
                       {Double},
                       {Double},
                       {Double}});
    input.SetNumber(0, 1);
    input.SetNumber(1, 2);
    Driven on(GetParam().make(), input, target);
    for (const char step : steps) {
      if (step == 'I') on->Initialize(false);
      if (step == 'C') on->Compute(input.buffer(), input.size());
      if (step == 'F') on->Finalize();
      if (step == 'O') on->Output(target.buffer());
    }
  }
};

TEST_P(AggregateMisuse, StopsWhereValuesAreHeldAndHarmsNobodyElsewhere) {
  for (const std::string steps : {"CF", "F", "ICFF", "ICFC", "O", "IO"}) {
    SCOPED_TRACE(steps);
    if (std::ranges::count(GetParam().stops, steps) > 0) {
      ExpectBroken([&] { Drive(steps); });
    } else {
      Drive(steps);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Every, AggregateMisuse, testing::ValuesIn(kKinds),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace sqxer::test
