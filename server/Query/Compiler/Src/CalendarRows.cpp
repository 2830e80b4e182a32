#include <algorithm>
#include <tuple>

#include "FunctionRows.h"
#include "PlanError.h"
#include "SQXERExprFunction.h"
#include "SQXERExprFunctionDates.h"

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

/// The parts that other nodes than CalendarExtract give.
using MakeNode = std::unique_ptr<RExpression> (*)(std::unique_ptr<RExpression> moment);
template <class Node>
std::unique_ptr<RExpression> NewPart(std::unique_ptr<RExpression> moment) {
  return MakeNodeOf<Node>(moment);
}
constexpr Word<MakeNode> kFurtherParts[] = {
    {L"epoch", &NewPart<Epoch>},
    {L"isodow", &NewPart<IsoDayOfWeek>},
    {L"isoweek", &NewPart<IsoWeek>},
    {L"isoyear", &NewPart<IsoYear>},
    {L"decade", &NewPart<Decade>},
    {L"century", &NewPart<Century>},
    {L"millennium", &NewPart<Millennium>},
    {L"milliseconds", &NewPart<Milliseconds>},
    {L"microseconds", &NewPart<Microseconds>},
    {L"julian", &NewPart<Julian>},
};

/// The further part that a word is; null for another one.
const Word<MakeNode>* FindFurtherPart(const TypedExpression& argument) {
  if (!argument.IsTextConstant() || argument.constant.IsNull()) return nullptr;
  const XeString& text = std::get<XeString>(argument.constant.value);
  const auto* const found = std::ranges::find_if(kFurtherParts, [&](const auto& word) {
    return BaseStringUtil::IsCaseInsensitiveMatch(word.text, text);
  });
  return found == std::end(kFurtherParts) ? nullptr : found;
}

void PreparePart(TypedArguments& arguments) {
  ReadWord(*arguments[0], kParts);
  PrepareAs<'t', 'v'>(arguments);
}

void PrepareAnyPart(TypedArguments& arguments) {
  if (FindFurtherPart(*arguments[0]) == nullptr) {
    constexpr std::size_t kCount = std::size(kParts);
    const wchar_t* words[kCount + std::size(kFurtherParts)];
    std::ranges::transform(kParts, words, &Word<int>::text);
    std::ranges::transform(kFurtherParts, words + kCount, &Word<MakeNode>::text);
    ReadWord(*arguments[0], L"part of a date or time", words);
  }
  PrepareAs<'t', 'v'>(arguments);
  const auto* const part = FindFurtherPart(*arguments[0]);
  const bool isOfDay = part != nullptr && part->value != &NewPart<Milliseconds> &&
                       part->value != &NewPart<Microseconds> && part->value != &NewPart<Epoch>;
  if (isOfDay && arguments[1]->type == XeTimeData)
    ThrowPlanError(59001, arguments[1]->position, {L"CalendarExtract", L"TIME"});
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
  return MakeNodeOf<Node>(o[1], static_cast<XeDateTime::ExtractOpcode>(opcode));
}

std::unique_ptr<RExpression> MakeAnyPart(const TypedExpression& call, Operands& o) {
  const auto* const part = FindFurtherPart(*call.arguments[0]);
  if (part != nullptr && part->value == &NewPart<Epoch> && call.arguments[1]->type == XeTimeData)
    return NewPart<EpochOfTime>(std::move(o[1]));
  if (part != nullptr) return part->value(std::move(o[1]));
  return MakePart<CalendarExtract, XeDateTime::extractYear>(call, o);
}

template <XeDateTime::ExtractOpcode part>
std::unique_ptr<RExpression> MakeName(const TypedExpression&, Operands& o) {
  return MakeNodeOf<CalendarExtract>(o[0], part);
}

template <class Node>
std::unique_ptr<RExpression> MakeWithUnit(const TypedExpression& call, Operands& o) {
  return MakeNodeOf<Node>(ReadWord(*call.arguments[0], kUnits).value, GivenOperands(o, 1, 3));
}

constexpr const char* kPartResult =
    "INTEGER; a text for `month_name` and `day_name`, NUMERIC for `epoch`, `julian` and "
    "`milliseconds`";

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
      "`day_name`. Week 1 holds 1 January and weeks start on the switch FirstDayOfWeek. Of the ISO "
      "calendar, whose weeks start on Monday and belong to the year of their Thursday: `isodow` "
      "(from 1 "
      "for Monday), `isoweek`, `isoyear`. Further `decade`, `century`, `millennium`, `epoch` "
      "(seconds "
      "since 1970), `julian` (days), and the seconds of the minute as `milliseconds` and "
      "`microseconds`.";
  constexpr const char* kPartArguments = "a part, and a date, time or timestamp";
  add("extract", 2, "EXTRACT(part FROM value)", "CalendarExtract", kPartArguments, kPartResult,
      kParts, "SELECT EXTRACT(quarter FROM DATE '2012-05-31')", "2", PrepareAnyPart, MakeAnyPart,
      0);
  add("date_part", 2, "DATE_PART('part', value)", "CalendarExtract", kPartArguments, kPartResult,
      "The same as EXTRACT.", "SELECT DATE_PART('isoweek', DATE '2012-01-01')", "52",
      PrepareAnyPart, MakeAnyPart, 0);
  const auto part = [&](const char* name, const char* form, const char* description,
                        const char* example, const char* exampleResult,
                        decltype(FunctionRow::make) make) {
    add(name, 1, form, "CalendarExtract", "a date or timestamp", "INTEGER", description, example,
        exampleResult, PrepareAs<'v'>, make, -1);
  };
  part("year", "YEAR(value)", "EXTRACT(year FROM value).", "SELECT YEAR(DATE '2012-05-31')", "2012",
       MakeName<XeDateTime::extractYear>);
  part("quarter", "QUARTER(value)", "EXTRACT(quarter FROM value).",
       "SELECT QUARTER(DATE '2012-05-31')", "2", MakeName<XeDateTime::extractQuarterOfTheYear>);
  part("month", "MONTH(value)", "EXTRACT(month FROM value).", "SELECT MONTH(DATE '2012-05-31')",
       "5", MakeName<XeDateTime::extractMonth>);
  part("day", "DAY(value)", "EXTRACT(day FROM value).", "SELECT DAY(DATE '2012-05-31')", "31",
       MakeName<XeDateTime::extractDay>);
  part("hour", "HOUR(value)", "EXTRACT(hour FROM value).",
       "SELECT HOUR(TIMESTAMP '2012-05-31 10:20:30')", "10", MakeName<XeDateTime::extractHour>);
  part("minute", "MINUTE(value)", "EXTRACT(minute FROM value).",
       "SELECT MINUTE(TIMESTAMP '2012-05-31 10:20:30')", "20", MakeName<XeDateTime::extractMinute>);
  part("second", "SECOND(value)", "EXTRACT(second FROM value).",
       "SELECT SECOND(TIMESTAMP '2012-05-31 10:20:30')", "30", MakeName<XeDateTime::extractSecond>);
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
  // What others call them.
  for (const auto& [name, other, form, example] :
       {std::tuple("dateadd", "timestampadd", "DATEADD(unit, n, value)",
                   "SELECT DATEADD(month, 1, DATE '2012-01-31')"),
        std::tuple("datediff", "timestampdiff", "DATEDIFF(unit, a, b)",
                   "SELECT DATEDIFF(month, DATE '2012-01-31', DATE '2012-02-01')")}) {
    const auto same = std::ranges::find(rows, std::string_view(other), &FunctionRow::name);
    rows.push_back(Alias(*same, name, form, example));
  }
}

}  // namespace sqxer
