#include <random>

#include "FunctionTesting.h"
#include "SQXERExprConstant.h"

namespace sqxer::test {
namespace {

RExpression* C(int32 value) { return new ConstantInt32(value); }

const XeDateTime kLeapDay(2012, 2, 29, 13, 45, 56, 7);  // a Wednesday

TEST(CalendarFunction, EveryPart) {
  ConfigScope config;
  config->fiscalYearStartMonth_ = 10;
  const std::vector<std::string> kParts = Split(
      "2012,2,29,13,45,56,1,9,60,2,9,60,5,February ,4,Wednesday,"
      "2012,5,29,13,45,56,2,23,152,2,9,60,5,February ,4,Wednesday",
      ',');
  const std::vector<std::string> kOfTime =
      Split("1900,1,1,13,45,56,1,1,1,1,1,1,1,January  ,2", ',');
  for (int32 part = 0; part < XeDateTime::maxExtractOpcode; ++part) {
    const auto outcome = [&](const auto& value) {
      return part < 16 ? Outcome<CalendarExtract>(value, C(part))
                       : Outcome<FiscalExtract>(value, C(part));
    };
    const auto at = static_cast<std::size_t>(part);
    EXPECT_EQ(outcome(kLeapDay), kParts[at]) << part;
    const bool isClock = part % 16 >= 3 && part % 16 <= 5;
    EXPECT_EQ(outcome(kLeapDay.GetDate()), isClock ? "0" : kParts[at]) << part;
    if (at < kOfTime.size()) {
      EXPECT_EQ(outcome(kLeapDay.GetTime()), kOfTime[at]) << part;
    }
  }
  EXPECT_EQ(Outcome<CalendarExtract>(XeDate(-4713, 1, 1), C(XeDateTime::extractYear)), "-4713");
  for (const int32 part : {7, 13, 15, 29, 31}) {  // what has no day has neither week nor name
    const auto outcome = part < 16 ? Outcome<CalendarExtract>(XeDate(2011, 2, 29), C(part))
                                   : Outcome<FiscalExtract>(XeDate(2011, 2, 29), C(part));
    EXPECT_EQ(outcome, "59171 2011-02-29");
  }
}

TEST(CalendarFunction, FollowsTheConfiguration) {
  ConfigScope config;
  config->longMonthNames_ = false;
  const auto month = [](const XeDateTime& value, XeDateTime::ExtractOpcode part) {
    return Outcome<CalendarExtract>(value, C(part));
  };
  EXPECT_EQ(month(kLeapDay, XeDateTime::extractNameOfTheMonth), "Feb      ");
  EXPECT_EQ(month(kLeapDay, XeDateTime::extractNameOfTheDay), "Wednesday");
  config->longDayNames_ = false;
  config->Set("Locale", "de_DE");
  EXPECT_EQ(month(kLeapDay, XeDateTime::extractNameOfTheDay), "Mi        ");
  // The second day of 2012 is a Monday: the first of week 2 there, within week 1 elsewhere.
  TestRecord record({});
  auto* const value = new Stub<XeDateTime>(DateTime, XeDateTime(2012, 1, 2));
  const auto week = record.Bind(new CalendarExtract(value, XeDateTime::extractWeekOfTheYear));
  EXPECT_EQ(EvalAs<int32>(*week), 2);
  // What is bound keeps its settings.
  config->firstDayOfWeek_ = 1;
  EXPECT_EQ(EvalAs<int32>(*week), 2);
}

TEST(CalendarFunction, RefusesAtBinding) {
  for (const int32 part : {-1, 16, 31, 32}) {
    EXPECT_EQ(Outcome<CalendarExtract>(kLeapDay, C(part)), "59005 Calendar_Extract");
  }
  for (const int32 part : {-1, 5, 15, 32}) {
    EXPECT_EQ(Outcome<FiscalExtract>(kLeapDay, C(part)), "59005 Fiscal_Extract");
  }
  EXPECT_EQ(Outcome<CalendarExtract>(kLeapDay), "59005 Calendar_Extract");
  const auto refused = [](RExpression* function, const XeString& name, XeDataType type) {
    ExpectErrorAt(kPosition, 59001, TypeError(name, type), [&] { Bound(function); });
  };
  for (const XeDataType type : {Bit, Int4, Double, Numeric, Char, LongChar, Bin, Bool}) {
    refused(Function<CalendarExtract>(Leaf(type), C(0)), L"CalendarExtract", type);
    refused(Function<CalendarExtract>(kLeapDay, Leaf(type)), L"CalendarExtract", type);
    refused(Function<FiscalExtract>(Leaf(type), C(16)), L"FiscalExtract", type);
    refused(Function<TimestampAdd>(C(0), 1, Leaf(type)), L"TimestampAdd", type);
    refused(Function<TimestampDiff>(C(0), Leaf(type), kLeapDay), L"TimestampDiff", type);
    refused(Function<TimestampDiff>(C(0), kLeapDay, Leaf(type)), L"TimestampDiff", type);
    refused(Function<TimestampDiff>(Leaf(type), kLeapDay, kLeapDay), L"TimestampDiff", type);
  }
  for (const XeDataType type : {Bit, UInt4, Char, LongChar, Date, Bool}) {
    refused(Function<TimestampAdd>(C(0), Leaf(type), kLeapDay), L"TimestampAdd", type);
  }
  refused(Function<TimestampAdd>(C(0), 1, Leaf(Time)), L"TimestampAdd", Time);
  for (const int32 unit : {-1, 9}) {
    ExpectBroken([&] { Bound(Function<TimestampAdd>(C(unit), 1, kLeapDay)); });
    ExpectBroken([&] { Bound(Function<TimestampDiff>(C(unit), kLeapDay, kLeapDay)); });
  }
}

TEST(TimestampFunction, KnownResults) {
  const XeDateTime late(2011, 12, 31, 23, 59, 59, 999999999);
  const auto add = [](int32 unit, auto count, const auto& value) {
    return Outcome<TimestampAdd>(C(unit), count, value);
  };
  const auto diff = [](int32 unit, const auto& from, const auto& to) {
    return Outcome<TimestampDiff>(C(unit), from, to);
  };
  const XeDateTime noon(2012, 3, 1, 12);
  // clang-format off
  const std::pair<std::string, std::string> kCases[] = {
      {add(0, 1, late), "2012-01-01 00:00:00.000999999"}, {add(1, -1, XeDate(1970, 1, 1)), "1969-12-31 23:59:59"},
      {add(2, 1, late), "2012-01-01 00:00:59.999999999"}, {add(3, -24, kLeapDay), "2012-02-28 13:45:56.000000007"},
      {add(4, 366, kLeapDay), "2013-03-01 13:45:56.000000007"}, {add(5, -2, XeDate(2012, 1, 10)), "2011-12-27 00:00:00"},
      {add(6, 1, XeDate(2011, 1, 31)), "2011-02-28 00:00:00"}, {add(7, 1, XeDate(2011, 11, 30)), "2012-02-29 00:00:00"},
      {add(8, -1, kLeapDay), "2011-02-28 13:45:56.000000007"},
      {add(4, 1.9, XeDate(2011, 1, 31)), "2011-02-01 00:00:00"},
      {add(4, VelmarNumber(-1.9), XeDate(2011, 1, 31)), "2011-01-30 00:00:00"},
      // Products wrap: 613566757 weeks are 2^32 + 3 days, 1431655765 quarters 2^32 - 1 months.
      {add(5, 613566757, XeDate(2000, 1, 1)), "2000-01-04 00:00:00"}, {add(7, 1431655765, XeDate(2000, 1, 1)), "1999-12-01 00:00:00"},
      {add(5, 306783379, XeDate(2000, 1, 1)), "59171 2000-01-01 - 2147483643 days"},
      {add(7, INT32_MIN, XeDate(2000, 1, 1)), "59171 2000-01-01 - 2147483648 months"},
      {add(8, 7989, XeDate(2011, 1, 1)), "59171 2011-01-01 + 7989 years"},
      {add(0, -1, XeDate(-4713, 1, 1)), "59171 -4713-01-01 00:00:00 - 1 milliseconds"},
      {diff(0, XeTime(1, 0, 0), XeTime(0, 59, 59, 999000001)), "0"}, {diff(1, kLeapDay, noon), "80043"},
      {diff(2, noon, kLeapDay), "-1334"}, {diff(3, XeDate(1969, 12, 31), XeDate(1970, 1, 2)), "48"},
      {diff(4, noon, XeDate(2012, 2, 28)), "-2"}, {diff(5, XeDate(2012, 2, 14), kLeapDay), "2"},
      // Boundaries, not elapsed time.
      {diff(6, XeDate(2012, 1, 31), XeDate(2012, 2, 1)), "1"}, {diff(6, XeDate(2012, 1, 1), XeDate(2010, 12, 31)), "-13"},
      {diff(7, XeDate(2011, 9, 30), XeDate(2012, 1, 1)), "2"}, {diff(8, XeDate(2011, 12, 31), XeDate(2012, 1, 1)), "1"},
      {diff(8, XeDate(-1, 1, 1), XeDate(1, 1, 1)), "2"},
      {diff(0, XeDate(2012, 1, 1), XeDate(2012, 1, 25)), "2073600000"},
      {diff(0, XeDate(2012, 1, 26), XeDate(2012, 1, 1)), "59161 TimestampDiff 2147483647"},
      {diff(4, XeDate(2011, 2, 29), kLeapDay), "59171 2011-02-29"}};
  // clang-format on
  for (const auto& [outcome, expected] : kCases) EXPECT_EQ(outcome, expected);
}

TEST(TimestampFunction, DaysBetweenDatesAreThoseBetweenMidnights) {
  std::mt19937 engine(7);
  std::uniform_int_distribution year(-4714, 10000), month(0, 13), day(0, 31);
  for (int i = 0; i < 2000; ++i) {
    const XeDate from(year(engine), month(engine), day(engine)), to(2012, month(engine), 29);
    for (const int32 unit : {XeDateTime::kDay, XeDateTime::kWeek}) {
      EXPECT_EQ(Outcome<TimestampDiff>(C(unit), from, to),
                Outcome<TimestampDiff>(C(unit), XeDateTime(from), XeDateTime(to)));
    }
  }
}

TEST(TimestampFunction, OperandsInOrderAndTheirStatuses) {
  const auto check = [](auto* first, auto* second, RExpression* function, RExprType kind) {
    TestRecord record({});
    const auto tree = record.Bind(function);
    EXPECT_EQ(tree->GetExpressionType(), kind);
    EXPECT_TRUE(record.info.isNullable_);
    for (const RExprReturn status : {kFalse, kUnknown, kError, kEod}) {
      XeDateTime out;
      second->status_ = status;
      EXPECT_EQ(tree->Eval(&out), status);
      std::swap(first->status_, second->status_);
      const int before = second->evaluations_;
      EXPECT_EQ(tree->Eval(&out), status);
      EXPECT_EQ(second->evaluations_, before);
      first->status_ = kTrue;
    }
  };
  auto* const count = Arg(int32{1});
  auto* const value = Arg(kLeapDay);
  check(count, value, new TimestampAdd(XeDateTime::kDay, {count, value}), kTimestampAddExpression);
  auto* const from = Arg(kLeapDay);
  auto* const to = Arg(kLeapDay);
  check(from, to, new TimestampDiff(XeDateTime::kDay, {from, to}), kTimestampDiffExpression);
}

}  // namespace
}  // namespace sqxer::test
