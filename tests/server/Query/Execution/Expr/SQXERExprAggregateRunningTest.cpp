#include <limits>

#include "AggregateTesting.h"
#include "SQXERExprExtract.h"
#include "support/Stub.h"

namespace sqxer::test {
namespace {

constexpr auto NIL = std::nullopt;
constexpr float64 kInf = std::numeric_limits<float64>::infinity();
constexpr float64 kMaxInt = 2147483647, kMaxUInt = 4294967295.0;

TEST(RunningAndMoving, AtTheEdges) {
  const XeString intEnd = L"2147483647", uintEnd = L"4294967295";
  const XeString realEnd = L"1.7976931348623158e+308";
  const struct {
    Aggregate* (*make)();
    XeDataType type;
    Values values, results;
    /// Raised by the row behind the results.
    std::vector<XeString> error = {};
  } kCases[] = {
      {&MakeCumulative<MovingSum, 3>, Int4, {1, 2, 3, 4}, {1, 3, 6, 9}},
      {&MakeCumulative<MovingAvg, 3>, Int4, {1, 2, 3, 4}, {1, 1, 2, 3}},
      {&MakeCumulative<MovingSum, 2>, Int4, {1, NIL, 2}, {1, 1, 3}},
      // A negative sum of integers is divided as an unsigned number.
      {&MakeCumulative<MovingAvg, 2>, Int4, {NIL, -4, 0, -1}, {NIL, -4, kMaxInt - 1, kMaxInt}},
      {&MakeCumulative<MovingAvg, 2>, Double, {-4, 0, -1}, {-4, -2, -0.5}},
      // The value goes in before the oldest goes out.
      {&MakeCumulative<MovingSum, 1>, Int4, {kMaxInt, 1}, {kMaxInt}, {L"MovingSumInt32", intEnd}},
      {&MakeCumulative<MovingSum, 1>, UInt4, {kMaxUInt, 2}, {kMaxUInt, 2}},
      {&MakeCumulative<MovingAvg, 1>, Int4, {kMaxInt, 1}, {kMaxInt, 1}},
      {&MakeCumulative<MovingSum, 1>, Double, {1, kInf, 2}, {1, kInf, std::nan("")}},
      {&MakeCumulative<RunningSum>, Int2, {NIL, -5, NIL, 7}, {NIL, -5, -5, 2}},
      {&MakeCumulative<RunningSum>, Int4, {kMaxInt, 1}, {kMaxInt}, {L"RunningSumInt32", intEnd}},
      {&MakeCumulative<RunningSum>,
       UInt4,
       {kMaxUInt, 1},
       {kMaxUInt},
       {L"RunningSumUInt32", uintEnd}},
      {&MakeCumulative<RunningSum>,
       Double,
       {1e308, 1e308},
       {1e308},
       {L"RunningSumFloat64", realEnd}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(&c - kCases);
    TestRecord input({{c.type}}), target({{c.type == Int2 ? Int4 : c.type}});
    Aggregate* const generic = c.make();
    generic->SetSourcePosition(9);
    Driven aggregate(generic, input, target);
    if (!c.error.empty()) ExpectErrorAt(9, 59161, c.error, [&] { aggregate.RunByRow(c.values); });
    const Values rows(c.values.begin(), c.values.begin() + std::ssize(c.results));
    const Values results = aggregate.RunByRow(rows);
    for (std::size_t i = 0; i < rows.size(); ++i) ExpectNumber(c.results[i], results[i]);
  }
}

TEST(WindowSize, IsEvaluatedForEveryGroup) {
  TestRecord input({{Int4}}), target({{Int4}});
  auto* const size = new Stub<int32>(Int4);
  size->SetSourcePosition(11);
  Driven sum(new MovingSum(Columns(0), nullptr, nullptr, true, size), input, target);
  for (const int window : {2, 300, 0, 1, -1, 5, 300}) {
    size->value_ = window;
    if (window <= 0) {
      ExpectErrorAt(11, 59028, {}, [&] { sum.Run({1}); });
    } else {
      EXPECT_EQ(sum.Run(Values(299, 1)), std::min(window, 299));
    }
  }
  for (const RExprReturn status : {kFalse, kUnknown, kError, kEod}) {
    size->status_ = status;
    ExpectErrorAt(11, 59028, {}, [&] { sum.Run({1}); });
  }
}

TEST(WindowSize, IsAnIntegerWithoutColumns) {
  TestRecord input({{Int4}}), target({{Int4}});
  const auto bind = [&](RExpression* size) {
    size->SetSourcePosition(4);
    return Driven(new MovingAvg(Columns(0), nullptr, nullptr, true, size), input, target);
  };
  const std::size_t blocks = MemoryGateway::BlocksInUse();
  ExpectErrorAt(4, 59001, {L"MovingAvg", L"DOUBLE"}, [&] { bind(new ConstantFloat64(2.0)); });
  ExpectErrorAt(4, 59015, {L"f0"}, [&] { bind(new Extract(L"f0")); });
  ExpectErrorAt(4, 59028, {}, [&] { bind(new ConstantNull).Run({1}); });
  EXPECT_EQ(MemoryGateway::BlocksInUse(), blocks);
}

}  // namespace
}  // namespace sqxer::test
