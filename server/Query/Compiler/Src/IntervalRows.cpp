#include <algorithm>

#include "FunctionRows.h"
#include "PlanError.h"
#include "SQXERExprConstant.h"
#include "SQXERExprFunctionInterval.h"
#include "SQXERExprFunctionTimeZone.h"
#include "TruncUnits.h"

namespace sqxer {
namespace {

using Kind = FunctionRow::Kind;

bool IsOpen(const TypedExpressionPtr& argument) {
  return argument->IsOpenNull() || argument->IsOpenText();
}
bool IsInterval(const TypedExpressionPtr& argument) { return argument->type == XeIntervalData; }
bool IsTime(const TypedExpressionPtr& argument) { return argument->type == XeTimeData; }
bool IsTimestamp(const TypedExpressionPtr& argument) { return argument->type == XeDateTimeData; }
bool IsMoment(const TypedExpressionPtr& argument) {
  return argument->type == XeDateData || IsTimestamp(argument);
}
bool IsNumber(const TypedExpressionPtr& argument) {
  return SUXeDataTypeUtility::IsXeNumericType(argument->type) || argument->type == XeBitData ||
         IsOpen(argument);
}

// Which arguments the operators take. What is open becomes what the other operand needs.

bool IsMomentAndInterval(const TypedArguments& arguments) {
  return IsMoment(arguments[0]) && IsInterval(arguments[1]);
}
bool IsMomentAndAddend(const TypedArguments& arguments) {
  return IsMomentAndInterval(arguments) || (IsTimestamp(arguments[0]) && IsOpen(arguments[1]));
}
bool IsIntervalAndMoment(const TypedArguments& arguments) {
  return IsInterval(arguments[0]) && IsMoment(arguments[1]);
}
bool IsTimeAndInterval(const TypedArguments& arguments) {
  return IsTime(arguments[0]) && IsInterval(arguments[1]);
}
bool IsIntervalAndTime(const TypedArguments& arguments) {
  return IsInterval(arguments[0]) && IsTime(arguments[1]);
}
bool AreIntervals(const TypedArguments& arguments) {
  const bool isFirst = IsInterval(arguments[0]);
  const bool isSecond = IsInterval(arguments[1]);
  return (isFirst && isSecond) || (isFirst && IsOpen(arguments[1])) ||
         (IsOpen(arguments[0]) && isSecond);
}
bool AreMoments(const TypedArguments& arguments) {
  const bool isFirst = IsTimestamp(arguments[0]);
  const bool isSecond = IsTimestamp(arguments[1]);
  return (isFirst && (IsMoment(arguments[1]) || IsOpen(arguments[1]))) ||
         (isSecond && (IsMoment(arguments[0]) || IsOpen(arguments[0])));
}
bool AreTimes(const TypedArguments& arguments) {
  return IsTime(arguments[0]) && IsTime(arguments[1]);
}
bool IsIntervalAlone(const TypedArguments& arguments) { return IsInterval(arguments[0]); }
bool IsIntervalAndNumber(const TypedArguments& arguments) {
  return IsInterval(arguments[0]) && IsNumber(arguments[1]);
}
bool IsNumberAndInterval(const TypedArguments& arguments) {
  return IsNumber(arguments[0]) && IsInterval(arguments[1]);
}
bool IsOfInterval(const TypedArguments& arguments) { return IsInterval(arguments[1]); }

/// The node takes the operands in the other order.
template <class Node>
std::unique_ptr<RExpression> MakeTurned(const TypedExpression&, Operands& o) {
  return MakeNodeOf<Node>(o[1], GivenOperands(o, 0, 1));
}

struct PartWord {
  const wchar_t* text;
  std::unique_ptr<RExpression> (*make)(std::unique_ptr<RExpression> value);
};
template <IntervalPart part>
std::unique_ptr<RExpression> NewPart(std::unique_ptr<RExpression> value) {
  return MakeNodeOf<ExtractIntervalPart<part>>(value);
}
constexpr PartWord kParts[] = {
    {L"year", &NewPart<IntervalPart::kYear>},
    {L"quarter", &NewPart<IntervalPart::kQuarter>},
    {L"month", &NewPart<IntervalPart::kMonth>},
    {L"day", &NewPart<IntervalPart::kDay>},
    {L"hour", &NewPart<IntervalPart::kHour>},
    {L"minute", &NewPart<IntervalPart::kMinute>},
    {L"second", &NewPart<IntervalPart::kSecond>},
    {L"milliseconds", &NewPart<IntervalPart::kMilliseconds>},
    {L"microseconds", &NewPart<IntervalPart::kMicroseconds>},
    {L"decade", &NewPart<IntervalPart::kDecade>},
    {L"century", &NewPart<IntervalPart::kCentury>},
    {L"millennium", &NewPart<IntervalPart::kMillennium>},
    {L"epoch", &NewPart<IntervalPart::kEpoch>},
};

const PartWord& ReadPart(const TypedExpression& argument) {
  const wchar_t* texts[std::size(kParts)];
  std::ranges::transform(kParts, texts, &PartWord::text);
  return kParts[ReadWord(argument, L"part of an interval", texts)];
}

void PreparePart(TypedArguments& arguments) {
  ReadPart(*arguments[0]);
  PrepareAs<'t', 'i'>(arguments);
}
std::unique_ptr<RExpression> MakePart(const TypedExpression& call, Operands& o) {
  return ReadPart(*call.arguments[0]).make(std::move(o[1]));
}

void PrepareTrunc(TypedArguments& arguments) {
  if (ReadTruncUnit(*arguments[0]) == TruncUnit::kWeek)
    ThrowPlanError(59052, arguments[0]->position, {L"week"});
  PrepareAs<'t', 'i'>(arguments);
}
std::unique_ptr<RExpression> MakeTrunc(const TypedExpression& call, Operands& o) {
  return MakeNodeOf<IntervalTrunc>(o[1], ReadTruncUnit(*call.arguments[0]));
}

/// The zone that an argument names. Errors 58025 for what is no constant, 58075 (its text) for what
/// names none.
TimeZoneRef ReadZone(const TypedExpression& argument) {
  TimeZoneRef zone;
  if (argument.IsTextConstant()) {
    zone = TimeZone::Find(std::get<XeString>(argument.constant.value));
  } else if (const auto* distance = std::get_if<XeInterval>(&argument.constant.value)) {
    if (IsDistanceOfZone(*distance)) zone = TimeZone::AtDistance(distance->microseconds / 1000);
  } else {
    ThrowPlanError(kNotALiteral, argument.position, {L"AT TIME ZONE", L"zone"});
  }
  if (zone == nullptr)
    ThrowPlanError(kNoSuchZone, argument.position,
                   {std::get<XeString>(ConstantAsText(argument.constant).value)});
  return zone;
}
/// A zone of each row is a text, or an interval.
bool IsZoneOfRow(const TypedExpression& zone) {
  const bool isZone = SUXeDataTypeUtility::IsXeTextType(zone.type) || zone.type == XeIntervalData;
  return !zone.IsConstant() && isZone;
}
void PrepareZone(TypedArguments& arguments) {
  PrepareAs<'v', 't'>(arguments);
  if (IsZoneOfRow(*arguments[1])) return;
  if (!arguments[1]->IsConstant() || !arguments[1]->constant.IsNull()) ReadZone(*arguments[1]);
}
template <bool isFromUtc>
std::unique_ptr<RExpression> MakeZoned(const TypedExpression& call, Operands& o) {
  using ByDistance = std::conditional_t<isFromUtc, FromUtcByDistance, ToUtcByDistance>;
  const TypedExpression& zone = *call.arguments[1];
  // The moment is evaluated as beside a NULL zone of a row, and what is wrong in it told.
  if (zone.IsConstant() && zone.constant.IsNull()) {
    o[1] = std::make_unique<ConstantTypedNull>(XeIntervalData, sizeof(XeInterval));
    return MakeFunction<ByDistance>(call, o);
  }
  if (!IsZoneOfRow(zone)) return MakeNodeOf<AtTimeZone>(o[0], ReadZone(zone), isFromUtc);
  if (zone.type == XeIntervalData) return MakeFunction<ByDistance>(call, o);
  return MakeFunction<std::conditional_t<isFromUtc, FromUtcByZone, ToUtcByZone>>(call, o);
}

FunctionRow Operator(const char* name, const char* form, const char* node, const char* arguments,
                     const char* result, const char* description, const char* example,
                     const char* exampleResult, OperandRule prepare,
                     decltype(FunctionRow::make) make, bool (*accepts)(const TypedArguments&)) {
  FunctionRow row = ScalarRow(name, 2, form, node, arguments, result, description, example,
                              exampleResult, prepare, make);
  row.kind = Kind::kOperator;
  row.accepts = accepts;
  return row;
}

constexpr const char* kResult = "INTERVAL";

void AppendOperators(std::vector<FunctionRow>& rows) {
  constexpr const char* kMomentAndInterval = "a date or timestamp, and an interval";
  constexpr const char* kIntervals = "two intervals";
  FunctionRow negation =
      Operator("-", "-interval", "NegateInterval", "an interval", kResult,
               "The negation, part by part.", "SELECT -INTERVAL '1 day 02:00'", "-1 days -02:00:00",
               PrepareAs<'i'>, MakeFunction<NegateInterval>, IsIntervalAlone);
  negation.argumentCount = 1;
  rows.insert(
      rows.end(),
      {
          Operator("+", "moment + interval", "AddInterval", kMomentAndInterval, "TIMESTAMP",
                   "The moment later by the months of the interval, where a day that the month "
                   "does not have becomes its last one, then by its days, then by its time.",
                   "SELECT DATE '2012-01-31' + INTERVAL '1 month 1 hour'", "2012-02-29 01:00:00",
                   PrepareAs<'v', 'i'>, MakeFunction<AddInterval>, IsMomentAndAddend),
          Operator("+", "interval + moment", "AddInterval", "an interval, and a date or timestamp",
                   "TIMESTAMP", "The same.", "SELECT INTERVAL '1 day' + DATE '2012-02-28'",
                   "2012-02-29 00:00:00", PrepareAs<'i', 'v'>, MakeTurned<AddInterval>,
                   IsIntervalAndMoment),
          Operator("+", "time + interval", "AddIntervalToTime", "a time, and an interval", "TIME",
                   "The time of day later by the time of the interval; midnight follows 23:59.",
                   "SELECT TIME '23:00' + INTERVAL '2 hours'", "01:00:00", PrepareAs<'v', 'i'>,
                   MakeFunction<AddIntervalToTime>, IsTimeAndInterval),
          Operator("+", "interval + time", "AddIntervalToTime", "an interval, and a time", "TIME",
                   "The same.", "SELECT INTERVAL '90 minutes' + TIME '10:00'", "11:30:00",
                   PrepareAs<'i', 'v'>, MakeTurned<AddIntervalToTime>, IsIntervalAndTime),
          Operator("+", "interval + interval", "AddIntervals", kIntervals, kResult,
                   "The sum, part by part: months, days, time.",
                   "SELECT INTERVAL '1 month 20 days' + INTERVAL '20 days'", "1 mon 40 days",
                   PrepareAs<'i'>, MakeFunction<AddIntervals>, AreIntervals),
          Operator("-", "moment - interval", "SubtractInterval", kMomentAndInterval, "TIMESTAMP",
                   "The moment earlier by the interval, in the same order of its parts.",
                   "SELECT TIMESTAMP '2012-03-31 10:00' - INTERVAL '1 month'",
                   "2012-02-29 10:00:00", PrepareAs<'v', 'i'>, MakeFunction<SubtractInterval>,
                   IsMomentAndInterval),
          Operator("-", "time - interval", "SubtractIntervalFromTime", "a time, and an interval",
                   "TIME", "The time of day earlier by the time of the interval.",
                   "SELECT TIME '01:00' - INTERVAL '2 hours'", "23:00:00", PrepareAs<'v', 'i'>,
                   MakeFunction<SubtractIntervalFromTime>, IsTimeAndInterval),
          Operator("-", "interval - interval", "SubtractIntervals", kIntervals, kResult,
                   "The difference, part by part.", "SELECT INTERVAL '1 month' - INTERVAL '1 day'",
                   "1 mon -1 days", PrepareAs<'i'>, MakeFunction<SubtractIntervals>, AreIntervals),
          Operator("-", "moment - moment", "MomentDifference", "two timestamps, or one and a date",
                   kResult,
                   "The time from the second to the first, as days and a time. The difference of "
                   "two dates is a whole number.",
                   "SELECT TIMESTAMP '2012-03-01 12:00' - TIMESTAMP '2012-02-01'",
                   "29 days 12:00:00", PrepareAs<'v'>, MakeFunction<MomentDifference>, AreMoments),
          Operator("-", "time - time", "TimeDifference", "two times", kResult,
                   "The time from the second to the first.", "SELECT TIME '10:00' - TIME '11:30'",
                   "-01:30:00", PrepareAs<'v'>, MakeFunction<TimeDifference>, AreTimes),
          negation,
          Operator("*", "interval * n", "MultiplyInterval", "an interval, and a number", kResult,
                   "The product. What is no whole number of months goes on into the days (30 a "
                   "month), and of days into the time.",
                   "SELECT INTERVAL '1 month' * 1.5", "1 mon 15 days", PrepareAs<'i', 'n'>,
                   MakeFunction<MultiplyInterval>, IsIntervalAndNumber),
          Operator("*", "n * interval", "MultiplyByInterval", "a number, and an interval", kResult,
                   "The same.", "SELECT 3 * INTERVAL '20 minutes'", "01:00:00", PrepareAs<'n', 'i'>,
                   MakeFunction<MultiplyByInterval>, IsNumberAndInterval),
          Operator("/", "interval / n", "DivideInterval", "an interval, and a number", kResult,
                   "The quotient, likewise. Division by zero is an error.",
                   "SELECT INTERVAL '1 month 1 day' / 2", "15 days 12:00:00", PrepareAs<'i', 'n'>,
                   MakeFunction<DivideInterval>, IsIntervalAndNumber),
      });
}

}  // namespace

void AppendIntervalRows(std::vector<FunctionRow>& rows) {
  AppendOperators(rows);
  constexpr const char* kPartResult =
      "INTEGER; NUMERIC for `hour`, `second`, `milliseconds` and `epoch`";
  FunctionRow part = ScalarRow(
      "extract", 2, "EXTRACT(part FROM interval)", "ExtractIntervalPart", "a part, and an interval",
      kPartResult,
      "The part of an interval, with its sign: `millennium`, `century`, `decade`, `year`, "
      "`quarter`, `month` (-11 to 11), `day`, `hour`, `minute`, `second` with its fraction, the "
      "seconds as `milliseconds` and `microseconds`, and `epoch`, all of it in seconds, where a "
      "year has 365.25 days and a month 30.",
      "SELECT EXTRACT(epoch FROM INTERVAL '1 day 00:00:01.5')", "86401.5", PreparePart, MakePart);
  part.word = 0;
  part.accepts = IsOfInterval;
  FunctionRow trunc = ScalarRow(
      "date_trunc", 2, "DATE_TRUNC('unit', interval)", "IntervalTrunc", "a unit, and an interval",
      kResult, "The interval without what lies below the unit, which is no `week`.",
      "SELECT DATE_TRUNC('hour', INTERVAL '1 day 02:03:04')", "1 day 02:00:00", PrepareTrunc,
      MakeTrunc);
  trunc.word = 0;
  trunc.accepts = IsOfInterval;
  constexpr const char* kZoned = "a date or timestamp, and a zone as a text or as an interval";
  rows.insert(
      rows.end(),
      {
          part,
          Alias(part, "date_part", "DATE_PART('part', interval)",
                "SELECT DATE_PART('epoch', INTERVAL '1 day 00:00:01.5')"),
          trunc,
          ScalarRow("age", 2, "AGE(a, b)", "Age", "two dates or timestamps", kResult,
                    "The time from b to a in years, months and days of the calendar and a time. "
                    "AGE(b) is the one from b to CURRENT_DATE.",
                    "SELECT AGE(DATE '2012-03-15', DATE '2010-12-31')", "1 year 2 mons 15 days",
                    PrepareAs<'v'>, MakeFunction<Age>),
          ScalarRow("date_bin", 3, "DATE_BIN(interval, value, origin)", "DateBin",
                    "an interval without months, and two dates or timestamps", "TIMESTAMP",
                    "The beginning of the bin that the value lies in: bins are as wide as the "
                    "interval, and one begins at the origin.",
                    "SELECT DATE_BIN('15 minutes', TIMESTAMP '2012-05-31 10:20:30', "
                    "DATE '2012-01-01')",
                    "2012-05-31 10:15:00", PrepareAs<'i', 'v', 'v'>, MakeFunction<DateBin>),
          ScalarRow("justify_days", 1, "JUSTIFY_DAYS(interval)", "JustifyDays", "an interval",
                    kResult, "30 days become a month each.",
                    "SELECT JUSTIFY_DAYS(INTERVAL '35 days')", "1 mon 5 days", PrepareAs<'i'>,
                    MakeFunction<JustifyDays>),
          ScalarRow("justify_hours", 1, "JUSTIFY_HOURS(interval)", "JustifyHours", "an interval",
                    kResult, "24 hours become a day each.",
                    "SELECT JUSTIFY_HOURS(INTERVAL '27 hours')", "1 day 03:00:00", PrepareAs<'i'>,
                    MakeFunction<JustifyHours>),
          ScalarRow("justify_interval", 1, "JUSTIFY_INTERVAL(interval)", "JustifyWhole",
                    "an interval", kResult,
                    "Both, and all parts of one sign where that is possible.",
                    "SELECT JUSTIFY_INTERVAL(INTERVAL '1 mon -1 hour')", "29 days 23:00:00",
                    PrepareAs<'i'>, MakeFunction<JustifyWhole>),
          ScalarRow("make_interval", 7,
                    "MAKE_INTERVAL(years, months, weeks, days, hours, mins, secs)", "MakeInterval",
                    "six whole numbers, and seconds with their fraction", kResult,
                    "The interval of these numbers. Arguments may be named, and left out: they are "
                    "0 then.",
                    "SELECT MAKE_INTERVAL(years => 1, weeks => 2)", "1 year 14 days",
                    PrepareAs<'w', 'w', 'w', 'w', 'w', 'w', 'n'>, MakeFunction<MakeInterval>),
          ScalarRow("to_utc", 2, "TO_UTC(value, zone)", "AtTimeZone, ToUtcByZone, ToUtcByDistance",
                    kZoned, "TIMESTAMP",
                    "The moment in UTC at which the clocks of the zone show the value. A zone is "
                    "one of the tz database, of each row or of all, or an interval below a day by "
                    "which its clocks are ahead. A time "
                    "that they leave out counts by the clock before; of two moments it is the "
                    "second one.",
                    "SELECT TO_UTC(TIMESTAMP '2012-07-01 12:00', 'Europe/Berlin')",
                    "2012-07-01 10:00:00", PrepareZone, MakeZoned<false>),
          ScalarRow("from_utc", 2, "FROM_UTC(value, zone)",
                    "AtTimeZone, FromUtcByZone, FromUtcByDistance", kZoned, "TIMESTAMP",
                    "What the clocks of the zone show at a moment of UTC.",
                    "SELECT FROM_UTC(TIMESTAMP '2012-07-01 12:00', 'America/New_York')",
                    "2012-07-01 08:00:00", PrepareZone, MakeZoned<true>),
          {Kind::kForm, "timezone", 2, "value AT TIME ZONE zone",
           "AtTimeZone, FromUtcByZone, ToUtcByZone, FromUtcByDistance, ToUtcByDistance", kZoned,
           "TIMESTAMP", kNullIfAny,
           "TO_UTC(value, zone); FROM_UTC(value, zone) where the value is written as a moment of "
           "UTC: as TO_UTC, as AT TIME ZONE that means it, NOW() or CURRENT_TIMESTAMP.",
           "SELECT TIMESTAMP '2012-07-01 12:00' AT TIME ZONE 'Europe/Berlin' AT TIME ZONE "
           "'Asia/Tokyo'",
           "2012-07-01 19:00:00"},
      });
}

void AppendClockRows(std::vector<FunctionRow>& rows) {
  const auto clock = [&](const char* name, const char* form, const char* result,
                         const char* description, const char* example) {
    rows.push_back({Kind::kReader, name, 0, form, "none: a constant", "none", result, "never NULL",
                    description, example, "true"});
  };
  clock("now", "NOW()", "TIMESTAMP",
        "The moment of the statement, in UTC; STATEMENT_TIMESTAMP() and TRANSACTION_TIMESTAMP() "
        "are the same.",
        "SELECT NOW() = STATEMENT_TIMESTAMP()");
  clock("current_timestamp", "CURRENT_TIMESTAMP", "TIMESTAMP",
        "The same. CURRENT_TIMESTAMP(n) rounds to n digits of the second.",
        "SELECT CURRENT_TIMESTAMP = NOW()");
  clock("localtimestamp", "LOCALTIMESTAMP", "TIMESTAMP",
        "The same as a time without a zone: AT TIME ZONE takes it for what clocks show.",
        "SELECT LOCALTIMESTAMP = NOW()");
  clock("current_date", "CURRENT_DATE", "DATE", "Its day.",
        "SELECT CURRENT_DATE = CAST(NOW() AS DATE)");
  clock("localtime", "CURRENT_TIME, LOCALTIME", "TIME", "Its time of day.",
        "SELECT CURRENT_TIME = CAST(NOW() AS TIME)");
}

}  // namespace sqxer
