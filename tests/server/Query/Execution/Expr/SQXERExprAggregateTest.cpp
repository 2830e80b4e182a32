#include <algorithm>
#include <limits>

#include "AggregateTesting.h"
#include "Utility/SUSystemConfig.h"
#include "support/BoundaryValues.h"

namespace sqxer::test {
namespace {

constexpr auto NIL = std::nullopt;
constexpr float64 kInf = std::numeric_limits<float64>::infinity();
constexpr float64 kNaN = std::numeric_limits<float64>::quiet_NaN();
constexpr float64 kMaxDouble = std::numeric_limits<float64>::max();
constexpr float64 kMaxInt = 2147483647, kMinInt = -2147483648.0, kMaxUInt = 4294967295.0;

TEST(SumAggregate, StopsWhereTheTypeEnds) {
  const XeString intName = L"SumInt32", uintName = L"SumUInt32", doubleName = L"SumFloat64";
  const XeString intMax = L"2147483647", uintMax = L"4294967295", top = L"1.7976931348623158e+308";
  struct Case {
    XeDataType type;
    Values values;
    std::optional<float64> sum;
    std::vector<XeString> error = {};
  };
  const Case cases[] = {
      {XeInt4Data, {kMaxInt - 1, 1}, kMaxInt},
      {XeInt4Data, {kMaxInt, 1}, NIL, {intName, intMax}},
      {XeInt4Data, {kMaxInt, 1, -1}, NIL, {intName, intMax}},
      {XeInt4Data, {kMinInt, -1}, NIL, {intName, intMax}},
      {XeInt4Data, {kMinInt, kMaxInt, 1}, 0},
      {XeInt1Data, Values(1000, -128), -128000},
      {XeUInt1Data, Values(1000, 255), 255000},
      {XeUInt2Data, Values(40000, 65535), NIL, {intName, intMax}},
      {XeUInt4Data, {kMaxInt, 1}, 2147483648.0},
      {XeUInt4Data, {kMaxUInt - 1, 1}, kMaxUInt},
      {XeUInt4Data, {kMaxUInt, 1}, NIL, {uintName, uintMax}},
      {XeFloatData, {3e38, 3e38}, 2 * float64{3e38f}},
      {XeDoubleData, {1e308, 1e308}, NIL, {doubleName, top}},
      {XeDoubleData, {-1e308, -1e308}, NIL, {doubleName, top}},
      {XeDoubleData, {kMaxDouble, 1, -kMaxDouble}, 0},
      {XeDoubleData, {kInf}, NIL, {doubleName, top}},
      {XeDoubleData, {1, kNaN}, kNaN},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(&c - cases));
    TestRecord input({{c.type}}), target({{c.type == XeInt4Data || c.type == XeUInt4Data ? c.type
                                           : c.type >= XeFloatData ? XeDoubleData
                                                                   : XeInt4Data}});
    Driven sum(MakeSum<false>(), input, target);
    if (c.error.empty()) {
      EXPECT_TRUE(SameNumber(c.sum, sum.Run(c.values)));
    } else {
      ExpectError(59161, c.error, [&] { sum.Run(c.values); });
      EXPECT_TRUE(SameNumber(1, sum.Run({1}))) << "the group after an error";
    }
  }
}

TEST(SumAggregate, OverflowCarriesTheSqlPositionWhereverItIsRaised) {
  for (const bool distinct : {false, true}) {
    TestRecord input({{XeInt4Data}, {XeNumericData}}), target({{XeInt4Data}, {XeNumericData}});
    Aggregate* generic = distinct ? MakeSum<true>() : MakeSum<false>();
    generic->SetSourcePosition(17);
    Driven sum(generic, input, target);
    ExpectError(
        59161, {L"SumInt32", L"2147483647"},
        [&] {
          sum.Run({kMaxInt, 1, 1});
        },
        17);
    EXPECT_TRUE(SameNumber(3, sum.Run({1, 2}))) << "the group after an error";

    Aggregate* decimal = new Sum(Columns(1), nullptr, nullptr, false, distinct);
    decimal->SetSourcePosition(23);
    Driven numbers(decimal, input, target, 1);
    numbers->Initialize(false);
    try {
      input.Set(1, VelmarNumber::velmarnumberMax);
      numbers.Compute();
      input.Set(1, VelmarNumber::Divide(VelmarNumber::velmarnumberMax, VelmarNumber(int32{2})));
      numbers.Compute();
      numbers.Finish();
      ADD_FAILURE() << "no overflow";
    } catch (const ErrorMessage& error) {
      EXPECT_EQ(error.GetCode(), 59161);
      EXPECT_EQ(error.GetSourcePosition(), 23);
    }
  }
}

TEST(DistinctAggregates, JudgeValuesAndNotBytes) {
  struct Case {
    XeDataType type;
    Values values;
    float64 count;
    std::optional<float64> sum;
  };
  const Case cases[] = {
      {XeInt1Data, {-1, 5, -1, NIL, 5}, 2, 4},          {XeDoubleData, {0.0, -0.0}, 1, 0},
      {XeDoubleData, {kNaN, 1, -kNaN}, 2, kNaN},        {XeNumericData, {1.5, 1.50, 2}, 2, 3.5},
      {XeUInt4Data, {kMaxUInt, kMaxUInt}, 1, kMaxUInt}, {XeDoubleData, {NIL, NIL}, 0, NIL},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(&c - cases));
    TestRecord input({{c.type}});
    TestRecord target({{c.type == XeInt1Data ? XeInt4Data : c.type}, {XeUInt4Data}});
    Driven sum(MakeSum<true>(), input, target), count(MakeCount<true>(), input, target, 1);
    EXPECT_TRUE(SameNumber(c.sum, sum.Run(c.values)));
    EXPECT_TRUE(SameNumber(c.count, count.Run(c.values, 1)));
  }
  // More values than a sort buffer holds.
  const std::size_t buffer = SqrtSorter::GetInitialBufferBytes();
  SqrtSorter::SetInitialBufferBytes(1024);
  TestRecord input({{XeInt4Data}}), target({{XeUInt4Data}});
  Driven count(MakeCount<true>(), input, target);
  Values many;
  for (int i = 0; i < 5000; ++i) many.push_back(i * 7919 % 3001);
  EXPECT_TRUE(SameNumber(3001, count.Run(many)));
  SqrtSorter::SetInitialBufferBytes(buffer);
}

TEST(CountAggregate, CountsDistinctTextsAsTheyCompare) {
  const std::vector<std::optional<XeString>> texts = {L"",  L"a",  L"a ", NIL,   L"a",
                                                      L"A", L"b!", L"bb", L"bb", L"bb  "};
  for (const XeDataType type : {XeCharData, XeVarCharData, XeLongVarCharData}) {
    for (const bool sorted : {false, true}) {
      for (const bool foldCase : {false, true}) {
        SUSystemConfig::GetSystemConfig().caseSensitiveCompare_ = !foldCase;
        TestRecord input({{type, 4}}), target({{XeUInt4Data, 0, false}});
        Driven count((sorted ? MakeCount<true, true>() : MakeCount<true>()), input, target);
        SUSystemConfig::GetSystemConfig().caseSensitiveCompare_ = true;
        for (int group = 0; group < 2; ++group) {
          count.RunTexts(texts);
          EXPECT_EQ(target.Get<uint32>(0), foldCase ? 4u : 5u) << type << sorted;
        }
      }
    }
  }
}

TEST(AvgAggregate, TruncatesWrapsAndDivides) {
  struct Case {
    XeDataType type;
    Values values;
    std::optional<float64> average;
  };
  const Case cases[] = {
      {XeInt4Data, {-7, 0}, -3},
      {XeInt4Data, {7, 0}, 3},
      {XeInt4Data, {kMaxInt, 1}, -1073741824},
      {XeInt4Data, {kMinInt}, kMinInt},
      {XeUInt4Data, {kMaxUInt, 2}, 0},
      {XeUInt4Data, {kMaxUInt, NIL}, kMaxUInt},
      {XeDoubleData, {-7, 0}, -3.5},
      {XeDoubleData, {1e308, 1e308}, kInf},
      {XeNumericData, {1, 0}, 0.5},
      {XeNumericData, {1, 0, 0}, 1.0 / 3},
  };
  for (const Case& c : cases) {
    TestRecord input({{c.type}}), target({{c.type}});
    Driven avg(Make<Avg>(), input, target);
    EXPECT_TRUE(SameNumber(c.average, avg.Run(c.values))) << &c - cases;
  }
}

/// A variant whose count can be lost, as it is after 2^32 rows.
struct ForgetfulAvg : AvgOf<int32> {
  using AvgOf::AvgOf;
  using AvgOf::count_;
};
struct ForgetfulAvgAll : AvgAllOf<float64> {
  using AvgAllOf::AvgAllOf;
  using AvgAllOf::count_;
};

template <class Forgetful>
void ExpectDivisionByZero(XeDataType type) {
  TestRecord input({{type}}), target({{XeUInt4Data}, {type}, {XeDoubleData}, {XeDoubleData}});
  AggregateColumnVectors columns{std::unique_ptr<UInt16Vector>(Columns(0)), nullptr, nullptr};
  Forgetful aggregate(input.layout(), *FindNumericInput(type), columns, false);
  aggregate.SetTargetDescriptor(target.layout(), 0);
  aggregate.Initialize(false);
  aggregate.Compute(input.buffer(), input.size());
  aggregate.count_ = 0;
  ExpectError(59008, {}, [&] { aggregate.Finalize(); });
}

TEST(AvgAggregate, ValuesWithoutACountAreADivisionByZero) {
  ExpectDivisionByZero<ForgetfulAvg>(XeInt4Data);
  ExpectDivisionByZero<ForgetfulAvgAll>(XeDoubleData);
}

TEST(AvgAllAggregate, SquaresTheRunningSum) {
  for (const XeDataType type : {XeInt4Data, XeUInt4Data, XeDoubleData, XeNumericData}) {
    TestRecord input({{type}}), target({{XeUInt4Data}, {type}, {XeDoubleData}, {XeDoubleData}});
    Driven all(Make<AvgAll>(), input, target);
    all.Run({1, 2, 3});
    const float64 error = std::sqrt((46.0 - 12) / 2) / std::sqrt(3.0);
    const float64 expected[] = {3, 2, error, error};
    for (int i = 0; i < 4; ++i) EXPECT_TRUE(SameNumber(expected[i], GetNumber(target, i))) << i;
    all.Run({4});
    EXPECT_TRUE(std::isnan(target.Get<float64>(2)));
    // Integers wrap, doubles become infinite: neither is an error.
    if (type != XeNumericData) all.Run({65536, 65536, 2147483647});
  }
}

/// The indicator bytes of a record of nullable fields, as digits.
std::string Indicators(TestRecord& record, int from, int count) {
  std::string digits;
  for (int i = 0; i < count; ++i) digits += static_cast<char>('0' + record.nullByte(from)[i]);
  return digits;
}

TEST(ResultsOfSeveralFields, WriteNeighbouringIndicators) {
  TestRecord input({{XeInt4Data}});
  TestRecord target({{XeInt4Data},
                     {XeUInt4Data},
                     {XeInt4Data},
                     {XeDoubleData},
                     {XeDoubleData},
                     {XeInt4Data},
                     {XeInt4Data}});
  Driven all(Make<AvgAll>(), input, target, 1), range(Make<Range>(), input, target, 1);
  const auto output = [&](Driven& aggregate, const Values& values, int preset) {
    aggregate.Run(values, 1);
    std::memset(target.nullByte(0), preset, 7);
    target.Set(1, uint32{77});
    target.SetNull(1, preset != 0);
    aggregate->Output(target.buffer());
    return Indicators(target, 0, 7);
  };
  // NULL is three bytes from the mean's on, and the count stays as it is; a value clears a fourth.
  EXPECT_EQ(output(all, {NIL}, 0), "0011100");
  EXPECT_EQ(target.Get<uint32>(1), 77u);
  EXPECT_EQ(output(all, {1, 3}, 1), "1100001");
  EXPECT_EQ(target.Get<uint32>(1), 2u);
  EXPECT_EQ(output(range, {NIL}, 0), "0110000");
  EXPECT_EQ(output(range, {1, 3}, 1), "1001111");
  EXPECT_EQ(target.Get<int32>(1), 3);
  EXPECT_EQ(target.Get<int32>(2), 1);
}

TEST(RangeAggregate, ReachesTheEndsOfEveryType) {
  const auto check = [](XeDataType type, Values values, std::optional<float64> max,
                        std::optional<float64> min) {
    TestRecord input({{type}}), target({{type}, {type}});
    Driven range(Make<Range>(), input, target);
    EXPECT_TRUE(SameNumber(max, range.Run(values)));
    EXPECT_TRUE(SameNumber(min, GetNumber(target, 1)));
  };
  check(XeInt4Data, {kMinInt}, kMinInt, kMinInt);
  check(XeInt4Data, {kMaxInt, kMinInt}, kMaxInt, kMinInt);
  check(XeUInt4Data, {kMaxUInt}, kMaxUInt, kMaxUInt);
  check(XeDoubleData, {-kInf}, -kInf, -kInf);
  check(XeDoubleData, {1, kNaN, 2}, 2, 1);
  check(XeNumericData, {-1e127}, -1e127, -1e127);
  check(XeDoubleData, {}, NIL, NIL);
}

TEST(TargetsThatAreNeverNull, ReceiveTheStateOfAGroupWithoutValues) {
  TestRecord input({{XeInt4Data}});
  TestRecord target({{XeInt4Data, 0, false},
                     {XeInt4Data, 0, false},
                     {XeDoubleData, 0, false},
                     {XeDoubleData, 0, false}});
  for (Aggregate* generic :
       {MakeSum<false>(), Make<Avg>(), Make<AvgAll>(), Make<Max>(), Make<Min>(), Make<First>(),
        Make<Last>(), MakeCount<false>(), Make<CountStar>()}) {
    EXPECT_EQ(Driven(generic, input, target).Run({}), 0);
  }
  EXPECT_EQ(Driven(Make<Range>(), input, target).Run({}), kMinInt);
  EXPECT_EQ(GetNumber(target, 1), kMaxInt);
  EXPECT_EQ(target.buffer()[0], 0);
}

/// The extremes and the ends of a group over the boundary values of a type, given in order.
template <class Value>
void ExpectEnds(XeDataType type, const std::vector<Value>& ascending) {
  TestRecord input({{type}}), target({{type}});
  const auto run = [&](Aggregate* generic, const std::vector<Value>& values) {
    Driven aggregate(generic, input, target);
    aggregate->Initialize(false);
    for (const Value& value : values) {
      input.Set(0, value);
      aggregate.Compute();
    }
    aggregate.Finish();
    return KeyDesc(target.field(0), kAscending, kCompareCodePoints);
  };
  std::vector<Value> mixed(ascending.rbegin(), ascending.rend());
  mixed.insert(mixed.end(), ascending.begin(), ascending.end());
  std::rotate(mixed.begin(), mixed.begin() + 1, mixed.end());
  const auto same = [&](const KeyDesc& key, const Value& expected) {
    TestRecord other({{type}});
    other.Set(0, expected);
    return !target.IsNull(0) && key.CompareValues(target.data(0), other.data(0)) == 0;
  };
  EXPECT_TRUE(same(run(Make<Max>(), mixed), ascending.back())) << type;
  EXPECT_TRUE(same(run(Make<Min>(), mixed), ascending.front())) << type;
  EXPECT_TRUE(same(run(Make<First>(), mixed), mixed.front())) << type;
  EXPECT_TRUE(same(run(Make<Last>(), mixed), mixed.back())) << type;
  run(Make<NullIfNotUnique>(), mixed);
  EXPECT_TRUE(target.IsNull(0)) << type;
  EXPECT_TRUE(
      same(run(Make<NullIfNotUnique>(), std::vector<Value>(3, mixed.front())), mixed.front()))
      << type;
}

template <class Value>
std::vector<Value> Ordered() {
  std::vector<Value> values = BoundaryValues<Value>();
  std::sort(values.begin(), values.end());
  return values;
}

TEST(StoredValues, OfEveryTypeAreComparedAndKept) {
  ExpectEnds<uint8>(XeBitData, {0, 1});
  ExpectEnds<uint8>(XeBoolean, {0, 1});
  ExpectEnds<int8>(XeInt1Data, Ordered<int8>());
  ExpectEnds<uint8>(XeUInt1Data, Ordered<uint8>());
  ExpectEnds<int16>(XeInt2Data, Ordered<int16>());
  ExpectEnds<uint16>(XeUInt2Data, Ordered<uint16>());
  ExpectEnds<int32>(XeInt4Data, Ordered<int32>());
  ExpectEnds<uint32>(XeUInt4Data, Ordered<uint32>());
  // A NaN follows every number.
  ExpectEnds<float32>(XeFloatData, BoundaryValues<float32>());
  ExpectEnds<float64>(XeDoubleData, BoundaryValues<float64>());
  ExpectEnds<VelmarNumber>(XeNumericData, Ordered<VelmarNumber>());
  ExpectEnds<XeDate>(XeDateData, BoundaryValues<XeDate>());
  ExpectEnds<XeTime>(XeTimeData, BoundaryValues<XeTime>());
  ExpectEnds<XeDateTime>(XeDateTimeData, BoundaryValues<XeDateTime>());
  ExpectEnds<XeDateTime>(XeTimeStampData, BoundaryValues<XeDateTime>());
}

TEST(StoredValues, OfEqualTextsTheFirstIsKept) {
  struct Case {
    std::vector<std::optional<XeString>> texts;
    std::optional<XeString> max, min, first, last, unique;
  };
  const Case cases[] = {
      {{L"b", L"a", L"c"}, L"c", L"a", L"b", L"c", NIL},
      {{L"a ", L"a", L"a  "}, L"a ", L"a ", L"a ", L"a  ", L"a "},
      {{NIL, L"z", NIL}, L"z", L"z", L"z", L"z", NIL},
      {{L"", L"\U0001F426"}, L"\U0001F426", L"", L"", L"\U0001F426", NIL},
      {{L"wide", L"wid"}, L"wide", L"wid", L"wide", L"wid", NIL},
      {{NIL, NIL}, NIL, NIL, NIL, NIL, NIL},
  };
  for (const XeDataType type : {XeVarCharData, XeLongVarCharData, XeCharData}) {
    TestRecord input({{type, 4}}), target({{type, 4}});
    Driven max(Make<Max>(), input, target), min(Make<Min>(), input, target),
        first(Make<First>(), input, target), last(Make<Last>(), input, target),
        unique(Make<NullIfNotUnique>(), input, target);
    EXPECT_EQ(max.info().objectLength_, 4u);
    for (const Case& c : cases) {
      const auto expect = [&](Driven& aggregate, std::optional<XeString> expected) {
        aggregate.RunTexts(c.texts);
        ASSERT_EQ(target.IsNull(0), !expected) << &c - cases;
        if (!expected) return;
        if (type == XeCharData) expected->resize(4, L' ');
        EXPECT_EQ(target.GetText(0), *expected) << &c - cases;
      };
      expect(max, c.max);
      expect(min, c.min);
      expect(first, c.first);
      expect(last, c.last);
      expect(unique, c.unique);
    }
  }
}

TEST(StoredValues, AreCutToAShorterTarget) {
  for (Aggregate* (*make)() : {&Make<Max>, &Make<First>}) {
    for (const XeDataType type : {XeVarCharData, XeCharData, XeVarBinaryData, XeBinaryData}) {
      TestRecord input({{type, 40}}), target({{type, 3}});
      Driven aggregate(make(), input, target);
      aggregate.RunTexts({L"abcdefgh"});
      if (SUXeDataTypeUtility::IsXeTextType(type)) {
        EXPECT_EQ(target.GetText(0), L"abc");
      } else {
        const uint32 prefix = type == XeBinaryData ? 0 : kLongVarPrefix;
        EXPECT_EQ(std::memcmp(target.data(0) + prefix, "abc", 3), 0);
        if (prefix != 0) {
          EXPECT_EQ(target.Get<uint32>(0), 3u);
        }
      }
      if (type == XeVarCharData) {
        aggregate.RunTexts({L"yz"});
        EXPECT_EQ(target.GetText(0), L"yz");
      }
    }
  }
}

TEST(NullIfNotUniqueAggregate, GivesTheValueOrNull) {
  TestRecord input({{XeInt4Data}}), target({{XeInt4Data}});
  Driven unique(Make<NullIfNotUnique>(), input, target);
  EXPECT_EQ(unique.Run({}), 0) << "no group before: zeros";
  EXPECT_EQ(unique.Run({6, 6}), 6);
  EXPECT_EQ(unique.Run({}), 6) << "a group without rows leaves the buffer";
  EXPECT_EQ(unique.Run({6, 7, 6}), NIL);
  EXPECT_EQ(unique.Run({NIL, 6}), NIL);
  EXPECT_EQ(unique.Run({6, NIL}), NIL);
  EXPECT_NE(dynamic_cast<Max*>(&*unique), nullptr);
}

TEST(AggregateResults, CanBeSeededFromOneValue) {
  struct Case {
    Aggregate* (*make)();
    XeDataType type;
    float64 value;
    XeDataType result;
    float64 expected;
    uint32 bytes;
    /// The result of NULL; nothing for NULL itself.
    std::optional<float64> ofNull = NIL;
  };
  const Case cases[] = {
      {&MakeSum<false>, XeInt1Data, -3, XeInt4Data, -3, 4},
      {&MakeSum<false>, XeUInt2Data, 65535, XeInt4Data, 65535, 4},
      {&MakeSum<false>, XeUInt4Data, kMaxUInt, XeUInt4Data, kMaxUInt, 4},
      {&MakeSum<false>, XeFloatData, 0.5, XeDoubleData, 0.5, 8},
      {&Make<Avg>, XeInt2Data, -300, XeInt4Data, -300, 4},
      {&Make<Avg>, XeNumericData, 1.5, XeNumericData, 1.5, sizeof(VelmarNumber)},
      {&MakeCount<false>, XeDoubleData, 9, XeUInt4Data, 1, 4, 0},
      {&Make<CountStar>, XeDoubleData, 9, XeUInt4Data, 1, 4, 1},
      {&Make<Max>, XeInt1Data, -3, XeInt1Data, -3, 1},
      {&Make<First>, XeDoubleData, 2.5, XeDoubleData, 2.5, 8},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(&c - cases));
    TestRecord input({{c.type}}), target({{c.result}, {c.result, 0, false}});
    Driven aggregate(c.make(), input, target);
    const uint32 size = XeFieldDescriptor::GetObjectLength(c.type, 0);
    input.SetNumber(0, c.value);
    target.SetNull(0);
    EXPECT_EQ(aggregate->InitializeResult(target.data(0), target.nullByte(0), input.data(0), size,
                                          input.nullByte(0)),
              c.bytes);
    EXPECT_TRUE(SameNumber(c.expected, GetNumber(target, 0)));
    EXPECT_EQ(aggregate->InitializeResult(target.data(1), nullptr, input.data(0), size, nullptr),
              c.bytes);
    EXPECT_TRUE(SameNumber(c.expected, GetNumber(target, 1)));
    input.SetNull(0);
    EXPECT_EQ(aggregate->InitializeResult(target.data(0), target.nullByte(0), input.data(0), size,
                                          input.nullByte(0)),
              c.ofNull ? c.bytes : 0);
    EXPECT_TRUE(SameNumber(c.ofNull, GetNumber(target, 0)));
  }
}

}  // namespace
}  // namespace sqxer::test
