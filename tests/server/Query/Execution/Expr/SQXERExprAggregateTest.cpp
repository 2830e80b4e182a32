#include <algorithm>
#include <limits>
#include <random>
#include <set>

#include "AggregateTesting.h"

namespace sqxer::test {
namespace {

constexpr auto NIL = std::nullopt;
constexpr float64 kInf = std::numeric_limits<float64>::infinity();
constexpr float64 kNaN = std::numeric_limits<float64>::quiet_NaN();
constexpr float64 kMaxDouble = std::numeric_limits<float64>::max();
constexpr float64 kMaxInt = 2147483647, kMinInt = -2147483648.0, kMaxUInt = 4294967295.0;

TEST(AggregateBinding, RefusesTypesAndColumns) {
  // clang-format off
  const std::pair<Aggregate* (*)(), bool> kCases[] = {
      {&Make<Sum, false>, true}, {&Make<Avg>, true}, {&Make<AvgAll>, true}, {&Make<Range>, true},
      {&Make<Median>, true}, {&Make<Stddev, true>, true}, {&MakeCumulative<RunningSum>, true},
      {&MakeCumulative<MovingSum, 1>, true}, {&MakeCumulative<MovingAvg, 1>, true},
      {&MakeCumulative<RunningMax>, false}, {&MakeCumulative<RunningMin>, false},
      {&Make<Max>, false}, {&Make<ListAgg, true>, false}, {&Make<NullIfNotUnique>, false},
      {&Make<Count, true, false>, false}};
  // clang-format on
  const std::size_t blocks = MemoryGateway::BlocksInUse();
  TestRecord target({{Numeric}}), integer({{Int4}}), narrow({{VarChar, 8}}, false);
  for (const auto& [make, numbersOnly] : kCases) {
    const auto refuse = [make = make, &target](TestRecord& input, const XeString& type) {
      Aggregate* const generic = make();
      generic->SetSourcePosition(5);
      const XeString name = NodeName(*generic);
      ExpectErrorAt(5, 59001, {name, type}, [&] { Driven(generic, input, target); });
    };
    for (int number = Bit; number <= Bool; ++number) {
      const auto type = static_cast<XeDataType>(number);
      TestRecord input({{type, 8}});
      const bool isRefused = numbersOnly ? FindNumericInput(type) == nullptr : type == XeObjectData;
      // Sums, means and medians take intervals, for a result of that type.
      const bool isAdded = type == Span && (make == &Make<Sum, false> || make == &Make<Avg> ||
                                            make == &Make<Median>);
      if (isRefused && !isAdded) {
        refuse(input, SUXeDataTypeUtility::GetXeDataTypeName(type));
      }
    }
    refuse(narrow, L"VARCHAR");
    ExpectError(46030, {L"2", L"1"}, [&, make = make] { Driven(make(), integer, target, 2); });
  }
  TestRecord pair({{Int4}, {Int4}}), triple({{UInt4}, {Int4}, {Double}});
  auto* const third = new Max(Columns(3), nullptr, nullptr, false);
  ExpectError(46030, {L"3", L"1"}, [&] { Driven(third, integer, target); });
  ExpectError(46030, {L"2", L"2"}, [&] { Driven(Make<Range>(), integer, pair, 1); });
  ExpectError(46030, {L"3", L"3"}, [&] { Driven(Make<AvgAll>(), integer, triple); });
  EXPECT_EQ(MemoryGateway::BlocksInUse(), blocks) << "a failed bind leaks";
}

TEST(SumAndAvg, AtTheEndsOfTheTypes) {
  const std::vector<XeString> intEnd = {L"SumInt32", L"2147483647"},
                              uintEnd = {L"SumUInt32", L"4294967295"},
                              realEnd = {L"SumFloat64", L"1.7976931348623158e+308"}, none = {};
  const struct {
    XeDataType type;
    Values values;
    /// Not looked at where the sum is an error.
    std::optional<float64> sum;
    std::optional<float64> average;
    std::vector<XeString> error = {};
  } kCases[] = {
      // clang-format off
      {Int4, {kMaxInt - 1, 1}, kMaxInt, 1073741823}, {Int4, {kMinInt, kMaxInt, 1}, 0, 0},
      {Int4, {kMaxInt, 1}, NIL, -1073741824, intEnd}, {Int4, {-7, 0}, -7, -3},
      {Int4, {kMaxInt, 1, -1}, NIL, 715827882, intEnd},
      {Int4, {kMinInt, -1}, NIL, 1073741823, intEnd},
      {Int1, Values(1000, -128), -128000, -128},
      {UInt1, Values(1000, 255), 255000, 255},
      {UInt2, Values(40000, 65535), NIL, -41839, intEnd},
      {UInt4, {kMaxInt, 1}, 2147483648.0, 1073741824}, {UInt4, {kMaxUInt, 2}, NIL, 0, uintEnd},
      {UInt4, {kMaxUInt, NIL}, kMaxUInt, kMaxUInt},
      {Float, {3e38, 3e38}, 2 * float64{3e38f}, float64{3e38f}},
      {Double, {1e308, 1e308}, NIL, kInf, realEnd}, {Double, {kInf}, NIL, kInf, realEnd},
      {Double, {-1e308, -1e308}, NIL, -kInf, realEnd}, {Double, {1, kNaN}, kNaN, kNaN},
      {Double, {kMaxDouble, 1, -kMaxDouble}, 0, 0}, {Numeric, {1, 0, 0}, 1, 1.0 / 3},
      // clang-format on
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(&c - kCases);
    const XeDataType computed = c.type == Float ? Double : c.type < Int4 ? Int4 : c.type;
    TestRecord input({{c.type}}), target({{computed}});
    Aggregate* const generic = Make<Sum, false>();
    generic->SetSourcePosition(17);
    Driven sum(generic, input, target), average(Make<Avg>(), input, target);
    if (c.error.empty()) {
      ExpectNumber(c.sum, sum.Run(c.values));
    } else {
      ExpectErrorAt(17, 59161, c.error, [&] { sum.Run(c.values); });
      ExpectNumber(1, sum.Run({1}));
    }
    ExpectNumber(c.average, average.Run(c.values));
  }
}

// Groups so long that most repeats never reach the sorter, and what one leaves for the next.
TEST(DistinctAggregates, CountWhatASetHolds) {
  std::mt19937 engine(3);
  for (const XeDataType type : {Int4, Double}) {
    TestRecord input({{type}}), target({{UInt4}});
    Driven count(Make<Count, true, false>(), input, target);
    for (const int most : {5000, 5001, 3, 200000}) {
      Values values(most == 3 ? 10 : 20000);
      for (auto& value : values) value = std::uniform_int_distribution(-most, most)(engine);
      EXPECT_EQ(count.Run(values), std::set(values.begin(), values.end()).size()) << most;
    }
  }
}

/// A variant whose count can be lost, as it is after 2^32 rows.
struct Forgetful : AvgAllOf<float64> {
  using AvgAllOf::AvgAllOf;
  using AvgAllOf::count_;
};
TEST(SumAndAvg, ValuesWithoutACountAreADivisionByZero) {
  TestRecord input({{Double}}), target({{UInt4}, {Double}, {Double}, {Double}});
  AggregateColumnVectors columns{std::unique_ptr<UInt16Vector>(Columns(0)), nullptr, nullptr};
  Forgetful aggregate(input.layout(), *FindNumericInput(Double), columns, false);
  aggregate.SetTargetDescriptor(target.layout(), 0);
  aggregate.Initialize(false);
  aggregate.Compute(input.buffer(), input.size());
  aggregate.count_ = 0;
  ExpectError(59008, {}, [&] { aggregate.Finalize(); });
}

TEST(ResultsOfSeveralFields, WriteNeighbouringIndicators) {
  TestRecord input({{Int4}});
  TestRecord target({{Int4}, {UInt4}, {Int4}, {Double}, {Double}, {Int4}, {Int4}});
  Driven all(Make<AvgAll>(), input, target, 1), range(Make<Range>(), input, target, 5);
  const auto output = [&](Driven& aggregate, const Values& values, int preset) {
    aggregate.Run(values);
    std::memset(target.nullByte(0), preset, 7);
    target.Set(1, uint32{77}).SetNull(1, preset != 0);
    aggregate->Output(target.buffer());
    std::string digits;
    for (int i = 0; i < 7; ++i) digits += static_cast<char>('0' + target.nullByte(0)[i]);
    return digits;
  };
  // NULL is three bytes from the mean's on, and the count stays as it is; a value clears a fourth.
  EXPECT_EQ(output(all, {NIL}, 0), "0011100");
  EXPECT_EQ(target.Get<uint32>(1), 77u);
  EXPECT_EQ(output(all, {1, 3}, 1), "1100001");
  EXPECT_EQ(output(range, {NIL}, 0), "0000011");
  EXPECT_EQ(output(range, {1, 3}, 1), "1111100");
}

TEST(TargetsThatAreNeverNull, ReceiveTheStateOfAGroupWithoutValues) {
  TestRecord input({{Int4}});
  TestRecord target({{Int4, 0, false},
                     {Int4, 0, false},
                     {UInt4, 0, false},
                     {Int4, 0, false},
                     {Double, 0, false},
                     {Double, 0, false}});
  for (Aggregate* generic : {Make<Sum, false>(), Make<Avg>(), Make<Max>(), Make<First>()}) {
    EXPECT_EQ(Driven(generic, input, target).Run({}), 0);
  }
  EXPECT_EQ(Driven(Make<AvgAll>(), input, target, 2).Run({}, 2), 0);
  EXPECT_EQ(Driven(Make<Range>(), input, target).Run({}), kMinInt);
  EXPECT_EQ(target.GetNumber(1), kMaxInt);
  EXPECT_EQ(target.buffer()[0], 0);
}

TEST(StoredValues, AreCutToAShorterTarget) {
  for (Aggregate* (*make)() : {&Make<Max>, &Make<First>}) {
    for (const XeDataType type : {VarChar, Char, VarBin, Bin}) {
      TestRecord input({{type, 40}}), target({{type, 3}}), expected({{type, 3}});
      Driven(make(), input, target).Run<XeString>({L"abcdefgh"});
      expected.SetText(0, L"abc");
      EXPECT_TRUE(std::equal(target.buffer(), target.buffer() + target.size(), expected.buffer()))
          << type;
    }
  }
}

TEST(StoredValues, KeepToFieldsOfTheirForm) {
  const auto bind = [](XeDataType type, XeDataType result, bool wide = true) {
    TestRecord input({{type, 4}}, wide), target({{result, 4}});
    Driven(Make<First>(), input, target);
  };
  for (const auto& [a, b] : {std::pair(VarChar, LongChar), {VarBin, LongBin}, {DateTime, Stamp}}) {
    bind(a, b);
    bind(b, a);
  }
  bind(Numeric, XeMoneyData);
  for (const auto& [a, b] :
       {std::pair(Char, VarChar), {VarChar, VarBin}, {Int4, UInt4}, {Date, DateTime}}) {
    ExpectError(59030, {}, [&, a = a, b = b] { bind(a, b); });
  }
  ExpectError(59030, {L"VARCHAR of one byte a character", L"VARCHAR"},
              [&] { bind(VarChar, VarChar, false); });
}

TEST(StoredValues, OfAGroupWithoutRowsStayInTheBuffer) {
  TestRecord input({{Int4}}), target({{Int4}});
  Driven unique(Make<NullIfNotUnique>(), input, target);
  EXPECT_EQ(unique.Run({}), 0);
  EXPECT_EQ(unique.Run({6, 6}), 6);
  EXPECT_EQ(unique.Run({}), 6);
  EXPECT_EQ(unique.Run({NIL, 6}), NIL);
  Driven orNull(Make<NullIfNotUnique, true>(), input, target);
  const std::unique_ptr<Aggregate> source(orNull->GetSourceAggregator());
  Driven parts(source->GetPartialsAggregator(Columns(0)), input, target);
  for (Driven* each : {&orNull, &parts}) {
    EXPECT_EQ(each->Run({}), NIL);
    EXPECT_EQ(each->Run({6, 6}), 6);
    EXPECT_EQ(each->Run({}), NIL);
    EXPECT_EQ(each->Run({6, NIL}), NIL);
  }
}

TEST(AggregateResults, CanBeSeededFromOneValue) {
  TestRecord input({{Int1}}), target({{Int4}, {UInt4}});
  Driven sum(Make<Sum, false>(), input, target),
      count(Make<Count, false, false>(), input, target, 1);
  const auto seed = [&](Driven& aggregate, int field) {
    return aggregate->InitializeResult(target.data(field), target.nullByte(field), input.data(0), 1,
                                       input.nullByte(0));
  };
  input.SetNumber(0, -3);
  EXPECT_EQ(seed(sum, 0) + seed(count, 1), 8u);
  EXPECT_EQ(target.GetNumber(0), -3);
  EXPECT_EQ(target.GetNumber(1), 1);
  input.SetNull(0);
  EXPECT_EQ(seed(sum, 0), 0u);
  EXPECT_EQ(seed(count, 1), 4u);
  EXPECT_EQ(target.GetNumber(0), NIL);
  EXPECT_EQ(target.GetNumber(1), 0);
}

/// An extreme whose sizes are open to the test.
template <class Kind>
struct Open : Kind {
  Open() : Kind(Columns(0), nullptr, nullptr, false) {}
  using Kind::bufferSize_;
  using Kind::currentRecordDataSize_;
};

TEST(SourceSize, IsWhatTheRecordStillHolds) {
  TestRecord input({{VarChar, 10}}), target({{VarChar, 10}});
  auto* const open = new Open<Max>;
  Driven max(open, input, target);
  const uint32 offset = input.field(0).GetDataOffset(), nullOffset = input.field(0).GetNullOffset();
  for (const auto& [size, expected] :
       {std::pair{offset + 100, 44u}, {1u, 0u}, {offset + 12, 12u}}) {
    max->SetSourceOffset(offset, nullOffset, size);
    EXPECT_EQ(open->currentRecordDataSize_, expected);
  }
  // A record that ends with the text's last character.
  max.Run<XeString>({L"ab", L"ac", L"aa"});
  EXPECT_EQ(target.GetText(0), L"ac");
  max->RestoreSourceOffset();
  EXPECT_EQ(open->currentRecordDataSize_, 44u);
}

template <class Kind>
void ExpectStopBeforeOverrun(const std::string& name) {
  TestRecord record({{Int4}});
  auto* const open = new Open<Kind>;
  Driven aggregate(open, record, record);
  aggregate->Initialize(false);
  open->bufferSize_ = 3;
  testing::internal::CaptureStderr();
  ExpectBroken([&] { aggregate.Compute(); });
  EXPECT_EQ(testing::internal::GetCapturedStderr(), name + " writing past buffer end 4 3 4\n");
}
TEST(SourceSize, StopsBeforeABufferIsOverrun) {
  ExpectStopBeforeOverrun<Max>("MAX");
  ExpectStopBeforeOverrun<Min>("MIN");
  ExpectStopBeforeOverrun<NullIfNotUnique>("NULLIFNOTUNIQUE");
}

TEST(AggregateParts, KeepTheBreaks) {
  Count count(Columns(0), Columns(1), Columns(2), true, true, true);
  const std::unique_ptr<Aggregate> source(count.GetSourceAggregator());
  const std::unique_ptr<Aggregate> partials(count.GetPartialsAggregator(Columns(7)));
  EXPECT_EQ(NodeName(*partials), L"Sum");
  for (const auto* part : {&source, &partials}) {
    EXPECT_EQ((*part)->GetControlBreakColumns()->front(), 1);
    EXPECT_EQ((*part)->GetDistinctBreakColumns()->front(), 2);
    EXPECT_TRUE((*part)->IsCumulativeAggregate());
    EXPECT_TRUE((*part)->IsDistinctHandled());
  }
  ExpectBroken([] { Sum(new UInt16Vector, nullptr, nullptr, false, false); });
}

TEST(UnalignedRecords, AreReadAndWritten) {
  for (const XeDataType type : {Int4, UInt4, Double, Numeric}) {
    for (Aggregate* generic : {Make<Sum, false>(), Make<Sum, true>(), Make<Avg>(), Make<Max>()}) {
      alignas(16) uint8 in[48] = {}, out[48] = {0, 1, 2, 3, 4, 5, 6, 7, 8};
      TestRecord record({{type}});
      Driven aggregate(generic, record, record);
      aggregate->SetSourceOffset(3, 1, sizeof(in));
      aggregate->SetTargetOffset(5, 1);
      aggregate->Initialize(false);
      aggregate->Compute(in, sizeof(in));
      aggregate->Finalize();
      aggregate->Output(out);
      EXPECT_EQ(out[1], 0);
      EXPECT_TRUE(std::equal(&out[5], &out[5] + aggregate->GetTargetFixedLenSize(), &in[3]));
    }
  }
}

}  // namespace
}  // namespace sqxer::test
