#include "FunctionRows.h"
#include "SQXERExprFunctionInteger.h"
#include "SQXERExprFunctionNumeric.h"

namespace sqxer {
namespace {

using Kind = FunctionRow::Kind;

constexpr const char* kTwoNumbers = "two numbers";
constexpr const char* kTwoIntegers = "two whole numbers; of a NUMERIC the fraction is cut";
constexpr const char* kIntegerOrNumeric = "INTEGER over INTEGER, else NUMERIC";

/// The variant for INTEGER, or the one for NUMERIC, which preparing has left as the only types.
template <class OfInt32, class OfNumeric>
std::unique_ptr<RExpression> MakeByType(const TypedExpression& call, Operands& o) {
  return call.arguments[0]->type == XeInt4Data ? MakeFunction<OfInt32>(call, o)
                                               : MakeFunction<OfNumeric>(call, o);
}

std::unique_ptr<RExpression> MakeWidthBucket(const TypedExpression& call, Operands& o) {
  return call.arguments[0]->type == XeDoubleData ? MakeFunction<WidthBucketFloat64>(call, o)
                                                 : MakeFunction<WidthBucketNumeric>(call, o);
}

/// The number of buckets counts.
void PrepareWidthBucket(TypedArguments& arguments) {
  TypedArguments bounds(arguments.begin(), arguments.begin() + 3);
  TypedArguments count(arguments.begin() + 3, arguments.end());
  PrepareDoublesOrDecimals(bounds);
  PrepareAs<'w'>(count);
  arguments = bounds;
  arguments.insert(arguments.end(), count.begin(), count.end());
}

FunctionRow Bits(const char* name, int count, const char* form, const char* node,
                 const char* description, const char* example, const char* exampleResult,
                 decltype(FunctionRow::make) make) {
  FunctionRow row = ScalarRow(name, count, form, node, count == 1 ? "a whole number" : kTwoIntegers,
                              "INTEGER over INTEGER, else NUMERIC, whose bits are 64", description,
                              example, exampleResult, PrepareBits, make);
  row.kind = Kind::kOperator;
  return row;
}

template <class Node>
FunctionRow OfDouble(const char* name, const char* form, const char* node, const char* result,
                     const char* description, const char* example, const char* exampleResult) {
  return ScalarRow(name, 1, form, node, "a number", result, description, example, exampleResult,
                   PrepareAs<'n'>, MakeFunction<Node>);
}

FunctionRow AsOperator(FunctionRow row) {
  row.kind = Kind::kOperator;
  return row;
}

}  // namespace

void AppendIntegerRows(std::vector<FunctionRow>& rows) {
  const FunctionRow cbrt =
      OfDouble<Cbrt>("cbrt", "CBRT(x)", "Cbrt", "DOUBLE", "The cube root.", "SELECT CBRT(27)", "3");
  rows.insert(
      rows.end(),
      {
          Bits("&", 2, "a & b", "BitAndInt32, BitAndNumeric", "The bits that both have.",
               "SELECT 12 & 10", "8", MakeByType<BitAndInt32, BitAndNumeric>),
          Bits("|", 2, "a | b", "BitOrInt32, BitOrNumeric", "The bits that either has.",
               "SELECT 12 | 10", "14", MakeByType<BitOrInt32, BitOrNumeric>),
          Bits("#", 2, "a # b", "BitXorInt32, BitXorNumeric", "The bits that one of them has.",
               "SELECT 12 # 10", "6", MakeByType<BitXorInt32, BitXorNumeric>),
          Bits("~", 1, "~a", "BitNotInt32, BitNotNumeric", "The bits that it has not.", "SELECT ~5",
               "-6", MakeByType<BitNotInt32, BitNotNumeric>),
          Bits("<<", 2, "a << n", "ShiftLeftInt32, ShiftLeftNumeric",
               "The bits n places up; n counts modulo 32 (64 of a NUMERIC).", "SELECT 3 << 4", "48",
               MakeByType<ShiftLeftInt32, ShiftLeftNumeric>),
          Bits(">>", 2, "a >> n", "ShiftRightInt32, ShiftRightNumeric",
               "The bits n places down; the sign stays.", "SELECT -48 >> 4", "-3",
               MakeByType<ShiftRightInt32, ShiftRightNumeric>),
          ScalarRow("div", 2, "DIV(a, b)", "Div", kTwoNumbers, "NUMERIC",
                    "The quotient without its fraction. A divisor of 0 is an error.",
                    "SELECT DIV(-7, 2)", "-3", PrepareAs<'n'>, MakeFunction<Div>),
          ScalarRow("gcd", 2, "GCD(a, b)", "GcdInt32, GcdNumeric", kTwoNumbers, kIntegerOrNumeric,
                    "The greatest number that divides both; 0 for 0 and 0.", "SELECT GCD(12, -18)",
                    "6", PrepareBits, MakeByType<GcdInt32, GcdNumeric>),
          ScalarRow("lcm", 2, "LCM(a, b)", "LcmInt32, LcmNumeric", kTwoNumbers, kIntegerOrNumeric,
                    "The least number that both divide; 0 where one is 0.", "SELECT LCM(4, 6)",
                    "12", PrepareBits, MakeByType<LcmInt32, LcmNumeric>),
          ScalarRow(
              "width_bucket", 4, "WIDTH_BUCKET(x, low, high, n)",
              "WidthBucketFloat64, WidthBucketNumeric", "four numbers", "INTEGER",
              "Which of n equal parts of the range from low to high x lies in, from 1: 0 before "
              "low, n + 1 from high on. Bounds may descend.",
              "SELECT WIDTH_BUCKET(5.35, 0.024, 10.06, 5)", "3", PrepareWidthBucket,
              MakeWidthBucket),
          ScalarRow("log", 2, "LOG(b, x)", "LogOfBase", kTwoNumbers, "DOUBLE",
                    "The logarithm of x to the base b.", "SELECT LOG(2, 64)", "6", PrepareAs<'n'>,
                    MakeFunction<LogOfBase>),
          OfDouble<Log2>(
              "log2", "LOG2(x)", "Log2", "DOUBLE",
              "The logarithm to the base 2. Of 0 and of negative numbers it is an error.",
              "SELECT LOG2(1024)", "10"),
          cbrt,
          AsOperator(Alias(cbrt, "||/", "||/ x", "SELECT ||/ 27")),
          OfDouble<IsNan>("isnan", "ISNAN(x)", "IsNan", "BOOLEAN", "Whether x is NaN.",
                          "SELECT ISNAN('NaN'::double precision)", "true"),
          OfDouble<IsFinite>("isfinite", "ISFINITE(x)", "IsFinite", "BOOLEAN",
                             "Whether x is neither infinite nor NaN.", "SELECT ISFINITE(1e308)",
                             "true"),
          OfDouble<IsInfinite>("isinf", "ISINF(x)", "IsInfinite", "BOOLEAN",
                               "Whether x is infinite.",
                               "SELECT ISINF('Infinity'::double precision)", "true"),
      });
}

}  // namespace sqxer
