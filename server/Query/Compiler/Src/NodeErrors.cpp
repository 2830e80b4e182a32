#include "FunctionTable.h"

namespace sqxer {
namespace {

struct NodeErrors {
  std::string_view node;
  const char* errors;
};

// A node raises 59001 for operands of other types, unless it says otherwise here.
constexpr NodeErrors kNodeErrors[] = {
    {"Add", "59161 (overflow)"},
    {"Subtract", "59161 (overflow), 59162 (below 0 for unsigned integers)"},
    {"Multiply", "59161 (overflow)"},
    {"Divide", "59008 (division by zero), 59161 (overflow)"},
    {"EQ", "59001, 59002 (types that do not compare)"},
    {"NE", "59001, 59002 (types that do not compare)"},
    {"LT", "59001, 59002 (types that do not compare)"},
    {"LE", "59001, 59002 (types that do not compare)"},
    {"GT", "59001, 59002 (types that do not compare)"},
    {"GE", "59001, 59002 (types that do not compare)"},
    {"Between", "59001, 59002 (types that do not compare)"},
    {"Like", "59025 (an escape that is not one character, or ends the pattern)"},
    {"In", "59030 (types that do not meet)"},
    {"Case",
     "59020, 59021 (types that do not meet), 59022 (no equality), 59032, 59033 (only NULL)"},
    {"Coalesce", "59020 (types that do not meet), 59033 (only NULL)"},
    {"IfNull", "59021 (types that do not meet)"},
    {"NullIf", "59021 (types that do not meet)"},
    {"Cast",
     "59002 (no such target), 59013 (beyond the target), 59172 (a text that does not read)"},
    {"CastToDate", "59170 (format), 59172 (a text that does not read)"},
    {"CastToTime", "59170 (format), 59172 (a text that does not read)"},
    {"CastToDateTime", "59170 (format), 59172 (a text that does not read)"},
    {"ExtractJson", "58030, 58031 (arguments), 59190 (path), 59191 (no JSON document)"},
    {"Square", "59161 (overflow)"},
    {"Sqrt", "59009 (a negative number)"},
    {"Exp", "59161 (overflow)"},
    {"Log", "59010 (a negative number), 59161 (0)"},
    {"Log10", "59010 (a negative number), 59161 (0)"},
    {"Pow", "59010 (no such power), 59161 (overflow)"},
    {"Mod", "59008 (a divisor of 0)"},
    {"Modf", "59008 (a of 0)"},
    {"Asin", "59010 (beyond -1 to 1)"},
    {"Acos", "59010 (beyond -1 to 1)"},
    {"ExtractBitFromInt", "59162 (n below 1)"},
    {"SubString", "59007 (a length below 1)"},
    {"Left", "59007 (n below 1)"},
    {"Right", "59007 (n below 1)"},
    {"Trim", "59029 (more than one character to trim)"},
    {"NLSSort", "58025 (a locale that is no literal), 59013 (a key too long), 59174 (locale)"},
    {"CalendarExtract", "58033 (part), 59171 (no day of the calendar)"},
    {"FiscalExtract", "58033 (part), 59171 (no day of the calendar)"},
    {"TimestampAdd", "58033 (unit), 59013 (count), 59171 (beyond the years that dates have)"},
    {"TimestampDiff", "58033 (unit), 59161 (overflow), 59171 (no day of the calendar)"},
    {"DateTrunc", "58033 (unit), 59171 (no day of the calendar)"},
    {"MakeDate", "59171 (no day of the calendar)"},
    {"MakeTimestamp", "59171 (no day of the calendar, no time of day)"},
    {"AddDays", "59171 (beyond the years that dates have)"},
    {"SubtractDays", "59171 (beyond the years that dates have)"},
    {"AddInterval", "59171 (beyond the years that dates have)"},
    {"SubtractInterval", "59171 (beyond the years that dates have), 59050 (no negation)"},
    {"AddIntervals", "59050 (beyond intervals)"},
    {"SubtractIntervals", "59050 (beyond intervals)"},
    {"NegateInterval", "59050 (beyond intervals)"},
    {"MultiplyInterval", "59050 (beyond intervals)"},
    {"MultiplyByInterval", "59050 (beyond intervals)"},
    {"DivideInterval", "59008 (division by zero), 59050 (beyond intervals)"},
    {"ExtractIntervalPart", "58033 (part)"},
    {"IntervalTrunc", "58033 (unit), 59052 (weeks)"},
    {"DateBin", "59051 (a width with months, or not above 0), 59171 (beyond the calendar)"},
    {"JustifyDays", "59050 (beyond intervals)"},
    {"JustifyHours", "59050 (beyond intervals)"},
    {"JustifyWhole", "59050 (beyond intervals)"},
    {"MakeInterval", "58070 (name), 59013 (a number), 59050 (beyond intervals)"},
    {"AtTimeZone", "58025, 58071 (zone), 59171 (beyond the years that dates have)"},
    {"LPad", "59034 (a text too long)"},
    {"RPad", "59034 (a text too long)"},
    {"ConcatAll", "59034 (a text too long)"},
    {"ConcatWs", "59034 (a text too long)"},
    {"Format", "59034 (a text too long), 59036 (format)"},
    {"SplitPart", "59035 (part 0)"},
    {"RegexpLike", "59175 (pattern), 59176 (options)"},
    {"RegexpCount", "59175 (pattern), 59176 (options), 59035 (a position below 1)"},
    {"RegexpSubstr", "59175 (pattern), 59176 (options), 59035 (a number below 1)"},
    {"RegexpReplace",
     "59175 (pattern), 59176 (options), 59035 (a number below 1), 59034 (a text too long)"},
    {"SimilarTo", "59175 (pattern), 59025 (an escape of several characters)"},
    {"Greatest", "59020 (types that do not meet)"},
    {"Least", "59020 (types that do not meet)"},
    {"IsDistinct", "59021 (types that do not meet), 59022 (no equality)"},
    {"ShiftLeftInt32", "59161 (a NUMERIC beyond 64 bits)"},
    {"BitAndInt32", "59161 (a NUMERIC beyond 64 bits)"},
    {"ToCharMoment", "59034 (a text too long)"},
    {"ToCharNumeric", "59060 (format), 59034 (a text too long)"},
    {"NumberOfText", "59060 (format), 59061 (a text without a number)"},
    {"Div", "59008 (division by zero)"},
    {"LcmInt32", "59161 (overflow)"},
    {"WidthBucketFloat64", "59037 (bounds that are equal, no bucket)"},
    {"LogOfBase", "59010 (a number or base that has none)"},
    {"Log2", "59010 (a negative number), 59161 (0)"},
    {"Canonical", "58025, 58032 (table)"},
    {"DictLookup", "58025, 58032 (table)"},
    {"Sum", "59161 (overflow), 59050 (beyond intervals)"},
    {"Avg", "59050 (beyond intervals)"},
    {"RunningSum", "59161 (overflow)"},
    {"MovingSum", "58017 (n), 59161 (overflow)"},
    {"MovingAvg", "58017 (n)"},
    {"Ntile", "58035, 59028 (n), 58044 (ORDER BY)"},
    {"Percentile", "58044 (ORDER BY)"},
    {"PreferredN", "58035, 59028 (n), 58044 (ORDER BY)"},
    {"Regression", "59008 (4294967296 rows)"},
    {"Trendline",
     "58033 (kind), 58035, 59166 (degree). 59161, 59164, 59165, 59167 and 59168 become the text of "
     "the model"},
    {"Bin", "58033 (kind), 58035, 59028 (n), 58044 (ORDER BY), 59180 (temporary files)"},
};

}  // namespace

const char* ErrorsOfNode(std::string_view node) {
  node = node.substr(0, node.find(','));
  for (const NodeErrors& entry : kNodeErrors)
    if (entry.node == node) return entry.errors;
  return nullptr;
}

}  // namespace sqxer
