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
