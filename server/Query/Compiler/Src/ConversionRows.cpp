#include <algorithm>

#include "FunctionRows.h"
#include "SQXERExprCast.h"
#include "SQXERExprFunctionInteger.h"
#include "SQXERExprTryCast.h"
#include "Utility/XeRecordMetaData.h"

namespace sqxer {
namespace {

using Kind = FunctionRow::Kind;

/// A text without a stated length has room for any value of its operand.
int PrecisionOf(const TypedExpression& call) {
  const ColumnInfo& target = call.column;
  if (target.length > 0 || target.type != XeLongVarCharData) return static_cast<int>(target.length);
  const TypedExpression& operand = *call.arguments[0];
  const uint32 room =
      XeFieldDescriptor::GetTextLength(operand.type, operand.length, operand.column.scale);
  return static_cast<int>(std::max(room, uint32{1}));
}

/// The cast of an operand, which becomes its own. Decimals of a declared precision are rounded to
/// it behind the cast, which keeps all digits. `isQuiet`: see Cast::RefuseQuietly.
std::unique_ptr<RExpression> CastOperand(const TypedExpression& call,
                                         std::unique_ptr<RExpression> operand, bool isQuiet) {
  const ColumnInfo& target = call.column;
  if (target.type == XeBoolean) return MakeNodeOf<CastToBoolean>(operand);
  const bool isDeclared = target.type == XeNumericData && target.length > 0;
  if (isDeclared && static_cast<int>(target.length) == SqlTypeName::kBigint &&
      SUXeDataTypeUtility::IsXeTextType(call.arguments[0]->type)) {
    return MakeNodeOf<BigintOfText>(operand);
  }
  auto cast = isDeclared ? MakeNodeOf<Cast>(operand, XeNumericData, 0, 0)
                         : MakeNodeOf<Cast>(operand, target.type, PrecisionOf(call), target.scale);
  if (isQuiet) cast->RefuseQuietly();
  if (!isDeclared) return cast;
  const auto precision = static_cast<int>(target.length);
  if (precision == SqlTypeName::kBigint) return MakeNodeOf<FitBigint>(cast);
  return MakeNodeOf<FitNumeric>(cast, precision, target.scale);
}

std::unique_ptr<RExpression> MakeCast(const TypedExpression& call, Operands& o) {
  return CastOperand(call, std::move(o[0]), false);
}

std::unique_ptr<RExpression> MakeTryCast(const TypedExpression& call, Operands& o) {
  auto watched = MakeNodeOf<WatchedOperand>(o[0]);
  WatchedOperand* const operand = watched.get();
  return MakeNodeOf<TryCast>(CastOperand(call, std::move(watched), true), operand);
}

template <XeDataType target>
std::unique_ptr<RExpression> MakeDateReading(const TypedExpression& call, Operands& o) {
  const XeString& format = std::get<XeString>(call.arguments[1]->constant.value);
  return MakeNodeOf<Cast>(o[0], target, 0, 0, format);
}

constexpr const char* kTextAndFormat = "a text (or a date or time), and a format as a literal text";

}  // namespace

void AppendConversionRows(std::vector<FunctionRow>& rows) {
  const std::vector<FunctionRow> conversions = {
      {Kind::kOperator, "cast", 1, "CAST(a AS type)",
       "Cast, as CastToInt16, CastToInt32, CastToFloat32, CastToFloat64, CastToNumeric, "
       "CastToChar, "
       "CastToBinary, CastToDate, CastToTime or CastToDateTime; CastToBoolean",
       "a value; SMALLINT, INTEGER, BIGINT, REAL, DOUBLE PRECISION, NUMERIC, CHAR(n), VARCHAR(n), "
       "TEXT, "
       "BIT, BOOLEAN, DATE, TIME or TIMESTAMP",
       "the type named", kNullIfAny,
       "The value as one of another type. A text must read as the type as a whole; a number beyond "
       "an integer type is an error, its fraction is cut. CHAR(n) and VARCHAR(n) cut to n "
       "characters. NUMERIC(p, s) rounds to s digits behind the point, halves away from zero, and "
       "is an "
       "error where more than p digits would be left. BIGINT is a NUMERIC of whole numbers of 64 "
       "bits, a text as one has digits alone. A "
       "truth value is 1 or 0 as a number, true or "
       "false as a text; a BOOLEAN comes out of a text (true, t, yes, y, on, 1 and their "
       "opposites).",
       "SELECT CAST('12' AS integer) + 1", "13", PrepareCast, MakeCast},
      {Kind::kOperator, "try_cast", 1, "TRY_CAST(a AS type)", "TryCast over Cast", "as CAST",
       "the type named", "NULL where CAST would refuse the value",
       "The value as one of another type, or NULL where it cannot be. Errors of the value itself "
       "stay "
       "errors.",
       "SELECT TRY_CAST('12x' AS integer) IS NULL", "true", PrepareCast, MakeTryCast},
      {Kind::kForm, "::", 1, "a::type", "as CAST", "as CAST", "the type named", kNullIfAny,
       "The same as CAST.", "SELECT -2.7::integer", "-2"},
      {Kind::kFunction, "to_date", 2, "TO_DATE(text, format)", "CastToDate", kTextAndFormat, "DATE",
       kNullIfAny,
       "The date of a text in a format (docs/formats.md). After a text that does not follow it, "
       "the format is dropped and this and all later texts are read as ISO 8601.",
       "SELECT TO_DATE('31.01.2012', 'DD.MM.YYYY')", "2012-01-31", PrepareDateReading,
       MakeDateReading<XeDateData>},
      {Kind::kFunction, "to_time", 2, "TO_TIME(text, format)", "CastToTime", kTextAndFormat, "TIME",
       kNullIfAny, "The time of day of a text in a format, in the same way.",
       "SELECT TO_TIME('7:05 PM', 'HH:MI PM')", "19:05:00", PrepareDateReading,
       MakeDateReading<XeTimeData>},
      {Kind::kFunction, "to_timestamp", 2, "TO_TIMESTAMP(text, format)", "CastToDateTime",
       kTextAndFormat, "TIMESTAMP", kNullIfAny,
       "The date and time of a text in a format, in the same way.",
       "SELECT TO_TIMESTAMP('20120131 0705', 'YYYYMMDD HHMI')", "2012-01-31 07:05:00",
       PrepareDateReading, MakeDateReading<XeDateTimeData>},
      {Kind::kReader, "generate_series", AtLeast(2), "GENERATE_SERIES(first, last [, step])",
       "a table of its own",
       "whole numbers; or two dates or timestamps and an interval; known before rows are",
       "INTEGER or NUMERIC; TIMESTAMP", "no rows if an argument is NULL",
       "In FROM: the numbers from the first to the last one, 1 or `step` apart; or the moments, of "
       "which each is the one before plus the interval: from January 31st by months all others are "
       "on the 28th or 29th.",
       "SELECT SUM(i) FROM GENERATE_SERIES(1, 10, 2) AS g (i)", "25"},
      {Kind::kReader, "json_value", 2, "JSON_VALUE(column, 'path')", "ExtractJson",
       "a column of texts that are JSON documents; a path such as `$.a.b[2].c`, `$.\"a b\"` or "
       "`$['a b']`, in which elements count from 0",
       "what holds all values at the path: INTEGER for integers of 32 bits, DOUBLE for other "
       "numbers too, else text",
       "NULL if the row has no document, the document no such value, or the value is null",
       "The value at a path of a document. Objects and arrays are the text as it is written, truth "
       "values the texts true and false. A text that is no JSON document is an error, or NULL with "
       "`--set JsonErrors=null`.",
       "SELECT kind FROM events WHERE JSON_VALUE(payload, '$.items[0].price') > 10", "order"},
  };
  rows.insert(rows.end(), conversions.begin(), conversions.end());
}

}  // namespace sqxer
