#include <algorithm>

#include "FunctionRows.h"
#include "SQXERExprFunction.h"

namespace sqxer {
namespace {

using Kind = FunctionRow::Kind;

template <class Value>
struct Word {
  const wchar_t* text;
  Value value;
};

/// The parts of EXTRACT as opcodes of the calendar; those of the fiscal calendar follow behind.
constexpr Word<int> kParts[] = {
    {L"year", XeDateTime::extractYear},
    {L"quarter", XeDateTime::extractQuarterOfTheYear},
    {L"month", XeDateTime::extractMonth},
    {L"week", XeDateTime::extractWeekOfTheYear},
    {L"day", XeDateTime::extractDay},
    {L"hour", XeDateTime::extractHour},
    {L"minute", XeDateTime::extractMinute},
    {L"second", XeDateTime::extractSecond},
    {L"doy", XeDateTime::extractDayOfTheYear},
    {L"dow", XeDateTime::extractDayOfTheWeek},
    {L"month_of_quarter", XeDateTime::extractMonthOfTheQuarter},
    {L"week_of_quarter", XeDateTime::extractWeekOfTheQuarter},
    {L"day_of_quarter", XeDateTime::extractDayOfTheQuarter},
    {L"week_of_month", XeDateTime::extractWeekOfTheMonth},
    {L"month_name", XeDateTime::extractNameOfTheMonth},
    {L"day_name", XeDateTime::extractNameOfTheDay},
};
constexpr Word<XeDateTime::UnitOfTime> kUnits[] = {
    {L"millisecond", XeDateTime::kMillisecond},
    {L"second", XeDateTime::kSecond},
    {L"minute", XeDateTime::kMinute},
    {L"hour", XeDateTime::kHour},
    {L"day", XeDateTime::kDay},
    {L"week", XeDateTime::kWeek},
    {L"month", XeDateTime::kMonth},
    {L"quarter", XeDateTime::kQuarter},
    {L"year", XeDateTime::kYear},
};

/// The word that an argument is.
template <class Value, std::size_t count>
const Word<Value>& ReadWord(const TypedExpression& argument, const Word<Value> (&words)[count]) {
  const wchar_t* texts[count];
  std::ranges::transform(words, texts, &Word<Value>::text);
  constexpr bool isUnit = std::is_same_v<Value, XeDateTime::UnitOfTime>;
  return words[ReadWord(argument, isUnit ? L"unit of time" : L"part of a date or time", texts)];
}

void PreparePart(TypedArguments& arguments) {
  ReadWord(*arguments[0], kParts);
  PrepareAs<'t', 'v'>(arguments);
}

void PrepareAdd(TypedArguments& arguments) {
  ReadWord(*arguments[0], kUnits);
  PrepareAs<'t', 'w', 'v'>(arguments);
}

void PrepareDifference(TypedArguments& arguments) {
  ReadWord(*arguments[0], kUnits);
  PrepareAs<'t', 'v'>(arguments);
}

template <class Node, int firstOpcode>
std::unique_ptr<RExpression> MakePart(const TypedExpression& call, Operands& o) {
  const int opcode = firstOpcode + ReadWord(*call.arguments[0], kParts).value;
  return std::make_unique<Node>(o[1].release(), static_cast<XeDateTime::ExtractOpcode>(opcode));
}

template <XeDateTime::ExtractOpcode part>
std::unique_ptr<RExpression> MakeName(const TypedExpression&, Operands& o) {
  return std::make_unique<CalendarExtract>(o[0].release(), part);
}

template <class Node>
std::unique_ptr<RExpression> MakeWithUnit(const TypedExpression& call, Operands& o) {
  auto node = std::make_unique<Node>(ReadWord(*call.arguments[0], kUnits).value,
                                     ExpressionVector{o[1].get(), o[2].get()});
  static_cast<void>(o[1].release());
  static_cast<void>(o[2].release());
  return node;
}

constexpr const char* kPartResult = "INTEGER; a text for `month_name` and `day_name`";

}  // namespace

void AppendCalendarRows(std::vector<FunctionRow>& rows) {
  const auto add = [&](const char* name, int count, const char* form, const char* node,
                       const char* arguments, const char* result, const char* description,
                       const char* example, const char* exampleResult, OperandRule prepare,
                       decltype(FunctionRow::make) make, int word) {
    FunctionRow row{Kind::kFunction, name,    count,      form,        node,
                    arguments,       result,  kNullIfAny, description, example,
                    exampleResult,   prepare, make};
    row.word = word;
    row.givesLongText = true;
    rows.push_back(row);
  };
  constexpr const char* kParts =
      "The part of a date or time: `year`, `quarter`, `month`, `week`, `day`, `hour`, `minute`, "
      "`second`, `doy` (day of the year), `dow` (day of the week, from 1 for Sunday), "
      "`month_of_quarter`, `week_of_quarter`, `day_of_quarter`, `week_of_month`, `month_name`, "
      "`day_name`. Week 1 holds 1 January and weeks start on the switch FirstDayOfWeek.";
  constexpr const char* kPartArguments = "a part, and a date, time or timestamp";
  add("extract", 2, "EXTRACT(part FROM value)", "CalendarExtract", kPartArguments, kPartResult,
      kParts, "SELECT EXTRACT(quarter FROM DATE '2012-05-31')", "2", PreparePart,
      MakePart<CalendarExtract, XeDateTime::extractYear>, 0);
  add("calendar_extract", 2, "CALENDAR_EXTRACT('part', value)", "CalendarExtract", kPartArguments,
      kPartResult, "The same.", "SELECT CALENDAR_EXTRACT('day_of_quarter', DATE '2012-05-31')",
      "61", PreparePart, MakePart<CalendarExtract, XeDateTime::extractYear>, 0);
  add("fiscal_extract", 2, "FISCAL_EXTRACT('part', value)", "FiscalExtract", kPartArguments,
      kPartResult,
      "The same part in the fiscal calendar, which starts in the month of the switch "
      "FiscalYearStartMonth and is numbered by the calendar year in which it ends.",
      "SELECT FISCAL_EXTRACT('year', DATE '2012-05-31')", "2012", PreparePart,
      MakePart<FiscalExtract, XeDateTime::extractFiscalYear>, 0);
  add("monthname", 1, "MONTHNAME(value)", "CalendarExtract", "a date or timestamp", "a text",
      "The name of the month in the configured locale, short with `--set LongMonthNames=off`.",
      "SELECT MONTHNAME(DATE '2012-05-31')", "May", PrepareAs<'v'>,
      MakeName<XeDateTime::extractNameOfTheMonth>, -1);
  add("dayname", 1, "DAYNAME(value)", "CalendarExtract", "a date or timestamp", "a text",
      "The name of the day of the week, short with `--set LongDayNames=off`.",
      "SELECT DAYNAME(DATE '2012-05-31')", "Thursday", PrepareAs<'v'>,
      MakeName<XeDateTime::extractNameOfTheDay>, -1);
  add("timestampadd", 3, "TIMESTAMPADD(unit, n, value)", "TimestampAdd",
      "a unit, a number, and a date or timestamp", "TIMESTAMP",
      "n units later: `millisecond`, `second`, `minute`, `hour`, `day`, `week`, `month`, "
      "`quarter`, `year`. A day that the month does not have becomes its last one.",
      "SELECT TIMESTAMPADD(month, 1, DATE '2012-01-31')", "2012-02-29 00:00:00", PrepareAdd,
      MakeWithUnit<TimestampAdd>, 0);
  add("timestampdiff", 3, "TIMESTAMPDIFF(unit, a, b)", "TimestampDiff",
      "a unit, and two dates, times or timestamps", "INTEGER",
      "The units from a to b. Months, quarters and years count the boundaries of the calendar "
      "between them, smaller units the time elapsed.",
      "SELECT TIMESTAMPDIFF(month, DATE '2012-01-31', DATE '2012-02-01')", "1", PrepareDifference,
      MakeWithUnit<TimestampDiff>, 0);
}

}  // namespace sqxer
