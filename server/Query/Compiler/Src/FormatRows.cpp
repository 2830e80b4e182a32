#include "FunctionRows.h"
#include "SQXERExprConstant.h"
#include "SQXERExprFunctionFormat.h"
#include "Utility/SUXeDataTypeUtility.h"

namespace sqxer {
namespace {

bool IsMoment(const TypedExpression& argument) {
  return argument.type == XeDateData || argument.type == XeTimeData ||
         argument.type == XeDateTimeData;
}

bool IsOfMoment(const TypedArguments& arguments) { return IsMoment(*arguments[0]); }
bool IsOfInterval(const TypedArguments& arguments) { return arguments[0]->type == XeIntervalData; }

void PrepareToChar(TypedArguments& arguments) {
  if (IsMoment(*arguments[0])) return PrepareAs<'v', 't'>(arguments);
  if (IsOfInterval(arguments)) return PrepareAs<'i', 't'>(arguments);
  PrepareAs<'n', 't'>(arguments);
  const XeDataType type = arguments[0]->type;
  if (type == XeInt4Data || type == XeUInt4Data)
    arguments[0] = ConvertTyped(arguments[0], XeNumericData);
}

std::unique_ptr<RExpression> MakeToChar(const TypedExpression& call, Operands& o) {
  const TypedExpression& value = *call.arguments[0];
  if (IsMoment(value)) return MakeFunction<ToCharMoment>(call, o);
  if (value.type == XeIntervalData) return MakeFunction<ToCharInterval>(call, o);
  return value.type == XeDoubleData ? MakeFunction<ToCharDouble>(call, o)
                                    : MakeFunction<ToCharNumeric>(call, o);
}

void PrepareTypeOf(TypedArguments& arguments) {
  if (arguments[0]->IsOpenNull()) arguments[0] = ConvertTyped(arguments[0], XeLongVarCharData);
}

std::unique_ptr<RExpression> MakeTypeOf(const TypedExpression& call, Operands&) {
  return std::make_unique<ConstantLongVarXeChar>(
      NameOfType(WithoutWidening(call.arguments[0])->type));
}

}  // namespace

const wchar_t* NameOfType(XeDataType type) {
  switch (type) {
    case XeBoolean:
      return L"BOOLEAN";
    case XeBitData:
      return L"BIT";
    case XeInt2Data:
      return L"SMALLINT";
    case XeInt4Data:
      return L"INTEGER";
    case XeUInt4Data:
      return L"UINT4";
    case XeFloatData:
      return L"REAL";
    case XeDoubleData:
      return L"DOUBLE PRECISION";
    case XeNumericData:
      return L"NUMERIC";
    case XeDateData:
      return L"DATE";
    case XeTimeData:
      return L"TIME";
    case XeDateTimeData:
      return L"TIMESTAMP";
    case XeIntervalData:
      return L"INTERVAL";
    case XeCharData:
      return L"CHAR";
    default:
      return SUXeDataTypeUtility::IsXeTextType(type) ? L"TEXT" : L"BINARY";
  }
}

void AppendFormatRows(std::vector<FunctionRow>& rows) {
  FunctionRow ofMoments = ScalarRow(
      "to_char", 2, "TO_CHAR(value, format)", "ToCharMoment",
      "a date, time or timestamp, and a text", "text",
      "The value as a text of a format. Its elements: `YYYY`, `YYY`, `YY`, `Y`, `Y,YYY`, the year "
      "of "
      "ISO weeks `IYYY`, `IYY`, `IY`, `I`; `MM`, `Q`, names `Month`, `Mon`, Roman `RM`; `DD`, "
      "`DDD` "
      "of the year, `D` of the week from Sunday on, `ID` from Monday on, `IDDD`, names `Day`, "
      "`Dy`; "
      "`W` of the month, `WW`, `IW`; `HH24`, `HH12`, `MI`, `SS`, `MS`, `US`, `FF1` to `FF6`, "
      "`SSSS` of the day, `AM` or `P.M.`; `CC`, `J`, `BC` or `A.D.`. Names take the letter case of "
      "the element. `FM` in front of one leaves out what fills it up, `TH` behind it makes an "
      "ordinal; a text in quotation marks is written as it is.",
      "SELECT TO_CHAR(TIMESTAMP '2012-03-05 07:08:09', 'FMDay, FMDDth FMMonth YYYY, HH24:MI')",
      "\"Monday, 5th March 2012, 07:08\"", PrepareToChar, MakeToChar);
  FunctionRow ofIntervals = ofMoments;
  ofIntervals.accepts = IsOfInterval;
  ofIntervals.node = "ToCharInterval";
  ofIntervals.arguments = "an interval and a text";
  ofIntervals.description =
      "The interval as a text of a format: the elements of times, `YYYY` to `Y`, `Y,YYY` and `CC` "
      "of its months by 12, `MM`, `Q` and `RM` of those that are left, `DD` and `W` of its days, "
      "`DDD` and `WW` of both, with months of 30 days. ISO weeks (`IYYY` to `I`, `IW`, `IDDD`) and "
      "`J` are those of the day that years, months and days of the interval would name. Hours go "
      "beyond 24, and each number has the sign of its part. Names, days of the week and what else "
      "tells of the calendar are an error.";
  ofIntervals.example =
      "SELECT TO_CHAR(INTERVAL '1 year 2 mons 3 days 30:05:06', 'YYYY-MM-DD HH24:MI:SS')";
  ofIntervals.exampleResult = "0001-02-03 30:05:06";
  FunctionRow ofNumbers = ofMoments;
  ofMoments.accepts = IsOfMoment;
  ofNumbers.node = "ToCharNumeric, ToCharDouble";
  ofNumbers.arguments = "a number and a text";
  ofNumbers.description =
      "The number as a text of a format, rounded, with as many places: `9` a digit, a blank in "
      "front of "
      "the number; `0` a digit, a zero in front; `.` or `D` the point; `,` or `G` between groups; "
      "`S` the sign where it stands, `MI` a minus, `PL` a plus, `SG` either, `PR` brackets around "
      "a "
      "negative number; `V` moves the point as many digits as follow; `EEEE` a power of ten; `RN` "
      "Roman digits; `TH` an ordinal; `FM` in front leaves out blanks, and zeros at the end. Too "
      "large a number is `#`.";
  ofNumbers.example = "SELECT TO_CHAR(-1234.5, '9,999.00')";
  ofNumbers.exampleResult = "\"-1,234.50\"";
  rows.insert(
      rows.end(),
      {ofNumbers, ofMoments, ofIntervals,
       ScalarRow("to_number", 2, "TO_NUMBER(s, format)", "NumberOfText", "two texts", "NUMERIC",
                 "The number that stands in a text, which is written as TO_CHAR would with the "
                 "format.",
                 "SELECT TO_NUMBER('12,454.8-', '99G999D9S')", "-12454.8", PrepareAs<'t'>,
                 MakeFunction<NumberOfText>),
       ScalarRow("typeof", 1, "TYPEOF(x)", "ConstantLongVarXeChar", "a value", "text",
                 "The name of the value's type, as CAST takes it.", "SELECT TYPEOF(1 + 1.5)",
                 "NUMERIC", PrepareTypeOf, MakeTypeOf)});
  rows.back().nulls = "never NULL";
}

}  // namespace sqxer
