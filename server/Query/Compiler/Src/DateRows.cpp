#include <algorithm>

#include "FunctionRows.h"
#include "SQXERExprFunctionDates.h"
#include "TruncUnits.h"

namespace sqxer {
namespace {

struct UnitWord {
  const wchar_t* text;
  TruncUnit unit;
};
constexpr UnitWord kUnits[] = {
    {L"microseconds", TruncUnit::kMicrosecond},
    {L"milliseconds", TruncUnit::kMillisecond},
    {L"second", TruncUnit::kSecond},
    {L"minute", TruncUnit::kMinute},
    {L"hour", TruncUnit::kHour},
    {L"day", TruncUnit::kDay},
    {L"week", TruncUnit::kWeek},
    {L"month", TruncUnit::kMonth},
    {L"quarter", TruncUnit::kQuarter},
    {L"year", TruncUnit::kYear},
    {L"decade", TruncUnit::kDecade},
    {L"century", TruncUnit::kCentury},
    {L"millennium", TruncUnit::kMillennium},
};

}  // namespace

TruncUnit ReadTruncUnit(const TypedExpression& argument) {
  const wchar_t* texts[std::size(kUnits)];
  std::ranges::transform(kUnits, texts, &UnitWord::text);
  return kUnits[ReadWord(argument, L"unit of time", texts)].unit;
}

namespace {

using Kind = FunctionRow::Kind;

constexpr const char* kMoment = "a date, time or timestamp";

void PrepareTrunc(TypedArguments& arguments) {
  ReadTruncUnit(*arguments[0]);
  PrepareAs<'t', 'v'>(arguments);
}

std::unique_ptr<RExpression> MakeTrunc(const TypedExpression& call, Operands& o) {
  return MakeNodeOf<DateTrunc>(o[1], ReadTruncUnit(*call.arguments[0]));
}

bool IsOfType(const TypedExpressionPtr& argument, XeDataType type) {
  return argument->type == type;
}
bool IsWholeNumber(const TypedExpressionPtr& argument) { return IsOfType(argument, XeInt4Data); }
bool IsDate(const TypedExpressionPtr& argument) { return IsOfType(argument, XeDateData); }

bool IsDateAndNumber(const TypedArguments& arguments) {
  return IsDate(arguments[0]) && IsWholeNumber(arguments[1]);
}
bool IsNumberAndDate(const TypedArguments& arguments) {
  return IsWholeNumber(arguments[0]) && IsDate(arguments[1]);
}
bool AreDates(const TypedArguments& arguments) {
  return IsDate(arguments[0]) && IsDate(arguments[1]);
}
void PrepareNothing(TypedArguments&) {}

std::unique_ptr<RExpression> MakeDaysFirst(const TypedExpression&, Operands& o) {
  return MakeNodeOf<AddDays>(o[1], GivenOperands(o, 0, 1));
}

FunctionRow Sum(const char* name, const char* form, const char* node, const char* arguments,
                const char* result, const char* description, const char* example,
                const char* exampleResult, decltype(FunctionRow::make) make,
                bool (*accepts)(const TypedArguments&)) {
  FunctionRow row = ScalarRow(name, 2, form, node, arguments, result, description, example,
                              exampleResult, PrepareNothing, make);
  row.kind = Kind::kOperator;
  row.accepts = accepts;
  return row;
}

}  // namespace

void AppendDateRows(std::vector<FunctionRow>& rows) {
  FunctionRow trunc = ScalarRow("date_trunc", 2, "DATE_TRUNC('unit', value)", "DateTrunc",
                                "a unit, and a date, time or timestamp", "TIMESTAMP",
                                "The moment at which the unit began: `microseconds`, "
                                "`milliseconds`, `second`, `minute`, `hour`, "
                                "`day`, `week` (from Monday on), `month`, `quarter`, `year`, "
                                "`decade`, `century` or `millennium`.",
                                "SELECT DATE_TRUNC('month', TIMESTAMP '2012-05-31 10:20:30')",
                                "2012-05-01 00:00:00", PrepareTrunc, MakeTrunc);
  trunc.word = 0;
  rows.insert(
      rows.end(),
      {
          trunc,
          ScalarRow("last_day", 1, "LAST_DAY(value)", "LastDay", kMoment, "DATE",
                    "The last day of the month.", "SELECT LAST_DAY(DATE '2012-02-10')",
                    "2012-02-29", PrepareAs<'v'>, MakeFunction<LastDay>),
          ScalarRow("make_date", 3, "MAKE_DATE(year, month, day)", "MakeDate",
                    "three whole numbers", "DATE",
                    "The day of these numbers; a year of -1 is 1 BC.",
                    "SELECT MAKE_DATE(2012, 2, 29)", "2012-02-29", PrepareAs<'w'>,
                    MakeFunction<MakeDate>),
          ScalarRow("make_timestamp", 6, "MAKE_TIMESTAMP(year, month, day, hour, minute, second)",
                    "MakeTimestamp", "five whole numbers, and seconds with their fraction",
                    "TIMESTAMP", "The moment of these numbers.",
                    "SELECT MAKE_TIMESTAMP(2012, 2, 29, 8, 15, 23.5)", "2012-02-29 08:15:23.5",
                    PrepareAs<'w', 'w', 'w', 'w', 'w', 'n'>, MakeFunction<MakeTimestamp>),
          Sum("+", "date + n", "AddDays", "a date and a whole number", "DATE",
              "So many days later.", "SELECT DATE '2012-02-28' + 2", "2012-03-01",
              MakeFunction<AddDays>, IsDateAndNumber),
          Sum("+", "n + date", "AddDays", "a whole number and a date", "DATE", "The same.",
              "SELECT 1 + DATE '2012-02-29'", "2012-03-01", MakeDaysFirst, IsNumberAndDate),
          Sum("-", "date - n", "SubtractDays", "a date and a whole number", "DATE",
              "So many days earlier.", "SELECT DATE '2012-03-01' - 1", "2012-02-29",
              MakeFunction<SubtractDays>, IsDateAndNumber),
          Sum("-", "date - date", "DaysBetween", "two dates", "INTEGER",
              "The days from the second to the first.",
              "SELECT DATE '2012-03-01' - DATE '2012-02-01'", "29", MakeFunction<DaysBetween>,
              AreDates),
      });
}

}  // namespace sqxer
