#include "FunctionRows.h"
#include "SQXERExprConstant.h"
#include "SQXERExprFunction.h"

namespace sqxer {
namespace {

using Kind = FunctionRow::Kind;

constexpr const char* kNumber = "a number";
constexpr const char* kTwoNumbers = "two numbers";
constexpr const char* kDouble = "DOUBLE";
constexpr const char* kDoubleOrNumeric =
    "DOUBLE over DOUBLE, else NUMERIC (`--set IntegerMathAsDouble=on` makes integers DOUBLE)";
constexpr const char* kInteger = "INTEGER";

/// A function of numbers by the name of its node.
template <class Node>
FunctionRow Numeric(const char* name, int count, const char* form, const char* node,
                    const char* result, const char* description, const char* example,
                    const char* exampleResult) {
  return {Kind::kFunction,
          name,
          count,
          form,
          node,
          count == 1 ? kNumber : kTwoNumbers,
          result,
          kNullIfAny,
          description,
          example,
          exampleResult,
          PrepareAs<'n'>,
          MakeFunction<Node>};
}

/// Of a number and one that counts.
FunctionRow Counting(FunctionRow row) {
  row.prepare = PrepareAs<'n', 'w'>;
  return row;
}

/// Rounds or truncates to whole numbers.
template <class Node>
std::unique_ptr<RExpression> MakeToWhole(const TypedExpression&, Operands& o) {
  o.push_back(std::make_unique<ConstantInt32>(0));
  return MakeNodeOf<Node>(o[0], GivenOperands(o, 1, 2));
}

/// A seed counts once: further rows go on from there.
std::unique_ptr<RExpression> MakeRand(const TypedExpression&, Operands& o) {
  std::unique_ptr<RExpression> none;
  return MakeNodeOf<Rand>(o.empty() ? none : o[0], ExpressionVector(), true);
}

std::unique_ptr<RExpression> MakeModf(const TypedExpression&, Operands& o) {
  return MakeNodeOf<ModfOfEmptySlot>(MakeNodeOf<Modf>(o[0], GivenOperands(o, 1, 2)));
}

FunctionRow Volatile(FunctionRow row) {
  row.isVolatile = true;
  return row;
}

}  // namespace

void AppendNumericRows(std::vector<FunctionRow>& rows) {
  const FunctionRow ceil =
      Numeric<Ceil>("ceil", 1, "CEIL(x)", "Ceil", kDoubleOrNumeric,
                    "The smallest whole number that is not below x.", "SELECT CEIL(-2.5)", "-2");
  const FunctionRow power =
      Numeric<Pow>("power", 2, "POWER(x, y)", "Pow", kDoubleOrNumeric,
                   "x to the power of y, computed in doubles. 0 to a negative power is an error.",
                   "SELECT POWER(2, 10)", "1024");
  const FunctionRow log = Numeric<Log10>("log", 1, "LOG(x)", "Log10", kDouble,
                                         "The logarithm to the base 10. Of 0 and of negative "
                                         "numbers it is an error.",
                                         "SELECT LOG(1000)", "3");
  const FunctionRow truncate = Counting(Numeric<Truncate>(
      "trunc", 2, "TRUNC(x, digits)", "Truncate", kDouble,
      "x with so many digits behind the point, the rest cut; negative digits cut before the point. "
      "A rest within about 1e-14 of the next digit is carried, any other is not: TRUNC(0.3, 1) is "
      "0.3, and TRUNC(5.09, 2) is 5.08, since the double is below 5.09. From 309 digits on, of "
      "either "
      "sign, the result is NaN. What is below zero and cut to it is -0.",
      "SELECT TRUNC(1234.5678, -2)", "1200"));
  FunctionRow modf = Numeric<Modf>(
      "modf", 2, "MODF(a, b)", "Modf", kDouble,
      "Kept for callers that know its result slot: the signed fraction of what stands there, "
      "divided by a. In SQL nothing stands there, so it is 0. b takes no part, unless it is NULL. "
      "a "
      "of 0 is an error.",
      "SELECT MODF(1, 2)", "0");
  modf.make = MakeModf;
  const FunctionRow mod =
      Numeric<Mod>("mod", 2, "MOD(a, b)", "Mod",
                   "DOUBLE if a is DOUBLE and b is not NUMERIC, else NUMERIC (`--set "
                   "IntegerMathAsDouble=on` makes integers DOUBLE)",
                   "The remainder of a / b, with the sign of a. A divisor of 0 is an error.",
                   "SELECT MOD(-7, 3)", "-1");
  const auto asOperator = [](FunctionRow row) {
    row.kind = Kind::kOperator;
    return row;
  };
  const FunctionRow percent = asOperator(Alias(mod, "%", "a % b", "SELECT -7 % 3"));
  FunctionRow round = Numeric<Round>(
      "round", 1, "ROUND(x)", "Round", kDouble,
      "x rounded to a whole number. Halves go up, those of negative numbers toward zero.",
      "SELECT ROUND(2.5)", "3");
  round.make = MakeToWhole<Round>;
  FunctionRow trunc = Numeric<Truncate>("trunc", 1, "TRUNC(x)", "Truncate", kDouble,
                                        "x without its fraction.", "SELECT TRUNC(-2.7)", "-2");
  trunc.make = MakeToWhole<Truncate>;
  FunctionRow random =
      Volatile({Kind::kFunction, "random", 0, "RANDOM()", "Rand", "none", kDouble, "never NULL",
                "A number from 0 to 1, another one in every row.",
                "SELECT RANDOM() BETWEEN 0 AND 1", "true", PrepareAs<'n'>, MakeRand});
  FunctionRow seeded = Alias(random, "rand", "RAND(seed)", "SELECT RAND(5) BETWEEN 0 AND 1");
  seeded.argumentCount = 1;
  seeded.arguments = kNumber;
  seeded.nulls = kNullIfAny;
  seeded.description = "The same; the numbers follow from the seed, which counts in the first row.";
  rows.insert(
      rows.end(),
      {
          Numeric<Abs>("abs", 1, "ABS(x)", "Abs", kDoubleOrNumeric, "The absolute value.",
                       "SELECT ABS(-2.5)", "2.5"),
          asOperator(Numeric<Abs>("@", 1, "@ x", "Abs", kDoubleOrNumeric, "The absolute value.",
                                  "SELECT @ -2.5", "2.5")),
          asOperator(Numeric<Sqrt>("|/", 1, "|/ x", "Sqrt", kDoubleOrNumeric, "The square root.",
                                   "SELECT |/ 6.25", "2.5")),
          ceil,
          Alias(ceil, "ceiling", "CEILING(x)", "SELECT CEILING(-2.5)"),
          Numeric<Floor>("floor", 1, "FLOOR(x)", "Floor", kDoubleOrNumeric,
                         "The largest whole number that is not above x.", "SELECT FLOOR(-2.5)",
                         "-3"),
          Numeric<Square>("square", 1, "SQUARE(x)", "Square", kDoubleOrNumeric, "x times x.",
                          "SELECT SQUARE(1.5)", "2.25"),
          Numeric<Sqrt>("sqrt", 1, "SQRT(x)", "Sqrt", kDoubleOrNumeric,
                        "The square root. Of a negative number it is an error.",
                        "SELECT SQRT(6.25)", "2.5"),
          Numeric<Exp>("exp", 1, "EXP(x)", "Exp", kDouble, "e to the power of x.", "SELECT EXP(0)",
                       "1"),
          Numeric<Log>("ln", 1, "LN(x)", "Log", kDouble,
                       "The natural logarithm. Of 0 and of negative numbers it is an error.",
                       "SELECT LN(1)", "0"),
          log,
          Alias(log, "log10", "LOG10(x)", "SELECT LOG10(1000)"),
          power,
          asOperator(Alias(power, "^", "x ^ y", "SELECT 2 ^ 10")),
          Alias(power, "pow", "POW(x, y)", "SELECT POW(2, 10)"),
          mod,
          percent,
          modf,
          round,
          Counting(Numeric<Round>(
              "round", 2, "ROUND(x, digits)", "Round", kDouble,
              "x rounded to so many digits behind the point; negative digits round "
              "before it. Halves go up, those of negative numbers toward zero. The "
              "result is the whole part plus a fraction, which may miss the nearest "
              "double by its last digit (`ROUND(1.14, 2)` is 1.1400000000000001); from "
              "about 13 digits on more of them are noise (`ROUND(1.3, 14)` is "
              "1.30000000000001), and from 309 digits on, of either sign, the result "
              "is NaN. What is below zero and rounds to it is -0.",
              "SELECT ROUND(2.675, 2)", "2.68")),
          trunc,
          truncate,
          Alias(truncate, "truncate", "TRUNCATE(x, digits)", "SELECT TRUNCATE(1234.5678, -2)"),
          Numeric<Sign>("sign", 1, "SIGN(x)", "Sign", kInteger,
                        "-1, 0 or 1: whether x is below, at or above 0 (NaN counts as above).",
                        "SELECT SIGN(-2.5)", "-1"),
          Numeric<Degrees>("degrees", 1, "DEGREES(x)", "Degrees", kDouble,
                           "Radians in degrees, with 22/7 for pi.", "SELECT DEGREES(22)", "1260"),
          Numeric<Radians>("radians", 1, "RADIANS(x)", "Radians", kDouble,
                           "Degrees in radians, with 22/7 for pi.", "SELECT RADIANS(1260)", "22"),
          Numeric<Sin>("sin", 1, "SIN(x)", "Sin", kDouble, "The sine of an angle in radians.",
                       "SELECT SIN(0)", "0"),
          Numeric<Cos>("cos", 1, "COS(x)", "Cos", kDouble, "The cosine.", "SELECT COS(0)", "1"),
          Numeric<Tan>("tan", 1, "TAN(x)", "Tan", kDouble, "The tangent.", "SELECT TAN(0)", "0"),
          Numeric<Cot>("cot", 1, "COT(x)", "Cot", kDouble,
                       "The cotangent; the largest double where the tangent is 0.", "SELECT COT(0)",
                       "1.7976931348623157e+308"),
          Numeric<Asin>("asin", 1, "ASIN(x)", "Asin", kDouble,
                        "The angle in radians of a sine. Beyond -1 to 1 it is an error.",
                        "SELECT ASIN(0)", "0"),
          Numeric<Acos>("acos", 1, "ACOS(x)", "Acos", kDouble,
                        "The angle of a cosine. Beyond -1 to 1 it is an error.", "SELECT ACOS(1)",
                        "0"),
          Numeric<Atan>("atan", 1, "ATAN(x)", "Atan", kDouble, "The angle of a tangent.",
                        "SELECT ATAN(0)", "0"),
          Numeric<Atan2>("atan2", 2, "ATAN2(y, x)", "Atan2", kDouble,
                         "The angle of the point (x, y), from -pi to pi.", "SELECT ATAN2(0, 1)",
                         "0"),
          Numeric<Sinh>("sinh", 1, "SINH(x)", "Sinh", kDouble, "The hyperbolic sine.",
                        "SELECT SINH(0)", "0"),
          Numeric<Cosh>("cosh", 1, "COSH(x)", "Cosh", kDouble, "The hyperbolic cosine.",
                        "SELECT COSH(0)", "1"),
          Numeric<Tanh>("tanh", 1, "TANH(x)", "Tanh", kDouble, "The hyperbolic tangent.",
                        "SELECT TANH(0)", "0"),
          Counting(Numeric<ExtractBitFromInt>(
              "extract_bit", 2, "EXTRACT_BIT(x, n)", "ExtractBitFromInt", kDouble,
              "Bit n, from 1 for the lowest, of x as a 32-bit integer; n below 1 is an error.",
              "SELECT EXTRACT_BIT(5, 3)", "1")),
          {Kind::kFunction, "pi", 0, "PI()", "Pi", "none", kDouble, "never NULL",
           "3.14159265358979, fourteen digits behind the point.", "SELECT PI()", "3.14159265358979",
           PrepareAs<'n'>, MakeFunction<Pi>},
          random,
          Alias(random, "rand", "RAND()", "SELECT RAND() BETWEEN 0 AND 1"),
          seeded,
      });
}

}  // namespace sqxer
