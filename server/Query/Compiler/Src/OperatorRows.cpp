#include <algorithm>

#include "FunctionRows.h"
#include "SQXERExprArithmetic.h"
#include "SQXERExprBinaryCompare.h"
#include "SQXERExprLogical.h"
#include "Utility/Settings.h"

namespace sqxer {
namespace {

using Kind = FunctionRow::Kind;

std::unique_ptr<RExpression> MakeDivide(const TypedExpression&, Operands& o) {
  bool asDouble = Settings::Current()->GetSwitches().integerDivideAsDouble_;
  return MakeNodeOf<Divide>(o[0], o[1], asDouble);
}

/// A comparison, for which binaries have a node of their own.
template <class Node, class OfBinaries>
std::unique_ptr<RExpression> MakeTest(const TypedExpression& test, Operands& o) {
  const bool ofBinaries = std::ranges::all_of(
      test.arguments, [](const auto& argument) { return argument->type == XeLongVarBinaryData; });
  return ofBinaries ? Make<OfBinaries>(test, o) : Make<Node>(test, o);
}

constexpr const char* kNumbers = "two numbers";
constexpr const char* kNumberResult =
    "DOUBLE if an operand is one, else NUMERIC if one is, else a 32-bit integer";
constexpr const char* kComparable =
    "two numbers, texts, truth values, sort keys, or dates and times";

}  // namespace

void AppendOperatorRows(std::vector<FunctionRow>& rows) {
  rows.insert(
      rows.end(),
      {
          {Kind::kOperator, "+", 2, "a + b", "Add", kNumbers, kNumberResult, kNullIfAny,
           "The sum. Integers beyond 32 bits and doubles beyond their range are an error.",
           "SELECT 2 + 3", "5", PrepareArithmetic, Make<Add>},
          {Kind::kOperator, "-", 2, "a - b", "Subtract", kNumbers, kNumberResult, kNullIfAny,
           "The difference. Two unsigned integers have no difference below 0: that is an error.",
           "SELECT 2 - 3", "-1", PrepareArithmetic, Make<Subtract>},
          {Kind::kOperator, "*", 2, "a * b", "Multiply", kNumbers, kNumberResult, kNullIfAny,
           "The product.", "SELECT 1.5 * 3", "4.5", PrepareArithmetic, Make<Multiply>},
          {Kind::kOperator, "/", 2, "a / b", "Divide", kNumbers, kNumberResult, kNullIfAny,
           "The quotient, of two integers truncated toward zero (`--set IntegerDivideAsDouble=on` "
           "makes "
           "it a double). Division by zero is an error.",
           "SELECT 7 / 2", "3", PrepareDivision, MakeDivide},
          {Kind::kOperator, "-", 1, "-a", "UnaryMinus", "a number",
           "the operand's type; NUMERIC for an unsigned integer", kNullIfAny, "The negation.",
           "SELECT -(2 + 3)", "-5", PrepareNegation, Make<UnaryMinus>},
          {Kind::kForm, "+", 1, "+a", "none: it is the operand", "a number", "the operand",
           kNullIfAny, "The operand itself.", "SELECT +(2 + 3)", "5", PreparePlus},
          {Kind::kOperator, "||", 2, "a || b", "Concat", "two values of any type but binary",
           "a text of both lengths together", "NULL counts as the empty text; two NULLs give NULL",
           "One text after the other. What is no text is cast to one.", "SELECT 'sun' || 'rise'",
           "sunrise", PrepareConcatenation, Make<Concat>},
          {Kind::kOperator, "=", 2, "a = b", "EQ", kComparable, "BOOLEAN", kNullIfAny,
           "Whether the values are equal. Blanks at the end of a text do not count.",
           "SELECT 2 = 2.0", "true", PrepareComparison, MakeTest<EQ, EQLongVarBinary>},
          {Kind::kOperator, "<>", 2, "a <> b", "NE", kComparable, "BOOLEAN", kNullIfAny,
           "Whether the values differ.", "SELECT 'a' <> 'b'", "true", PrepareComparison,
           MakeTest<NE, NELongVarBinary>},
          {Kind::kForm, "!=", 2, "a != b", "NE", kComparable, "BOOLEAN", kNullIfAny,
           "The same as `<>`.", "SELECT 2 != 2", "false"},
          {Kind::kOperator, "<", 2, "a < b", "LT", kComparable, "BOOLEAN", kNullIfAny,
           "Whether the first value is below the second.",
           "SELECT DATE '2012-01-31' < DATE '2012-02-01'", "true", PrepareComparison,
           MakeTest<LT, LTLongVarBinary>},
          {Kind::kOperator, "<=", 2, "a <= b", "LE", kComparable, "BOOLEAN", kNullIfAny,
           "Whether the first value is not above the second.", "SELECT 3 <= 2", "false",
           PrepareComparison, MakeTest<LE, LELongVarBinary>},
          {Kind::kOperator, ">", 2, "a > b", "GT", kComparable, "BOOLEAN", kNullIfAny,
           "Whether the first value is above the second.", "SELECT 10 > 9.5", "true",
           PrepareComparison, MakeTest<GT, GTLongVarBinary>},
          {Kind::kOperator, ">=", 2, "a >= b", "GE", kComparable, "BOOLEAN", kNullIfAny,
           "Whether the first value is not below the second.", "SELECT TIME '10:00' >= '09:30'",
           "true", PrepareComparison, MakeTest<GE, GELongVarBinary>},
          {Kind::kOperator, "between", 3, "a BETWEEN low AND high", "Between",
           "three numbers, texts, truth values, or dates and times", "BOOLEAN", kNullIfAny,
           "Whether the value lies between the bounds, both included. The bounds are not swapped.",
           "SELECT 5 BETWEEN 1 AND 5", "true", PrepareComparison, Make<Between>},
          {Kind::kForm, "not between", 3, "a NOT BETWEEN low AND high", "LogicalNot over Between",
           "as BETWEEN", "BOOLEAN", kNullIfAny, "Whether the value lies outside the bounds.",
           "SELECT 5 NOT BETWEEN 1 AND 4", "true"},
          {Kind::kOperator, "is null", 1, "a IS NULL", "IsNull", "a value of any type", "BOOLEAN",
           "never NULL", "Whether the value is NULL.", "SELECT NULL IS NULL", "true",
           PrepareNullTest, MakeTest<IsNull, IsNullLongVarBinary>},
          {Kind::kForm, "is not null", 1, "a IS NOT NULL", "LogicalNot over IsNull",
           "a value of any type", "BOOLEAN", "never NULL", "Whether the value is not NULL.",
           "SELECT 'a' IS NOT NULL", "true"},
          {Kind::kForm, "is true", 1, "a IS [NOT] TRUE, FALSE, UNKNOWN",
           "LogicalAnd over the operand and its IsNull", "a truth value", "BOOLEAN", "never NULL",
           "Whether the truth value is the one named; UNKNOWN is NULL.",
           "SELECT (1 > NULL) IS TRUE", "false"},
          {Kind::kOperator, "and", 2, "a AND b", "LogicalAnd", "two truth values", "BOOLEAN",
           "FALSE if an operand is, else NULL if one is",
           "Whether both are true. The second is not evaluated when the first is false.",
           "SELECT 1 < 2 AND 2 < 1", "false", PrepareConnective, Make<LogicalAnd>},
          {Kind::kOperator, "or", 2, "a OR b", "LogicalOr", "two truth values", "BOOLEAN",
           "TRUE if an operand is, else NULL if one is",
           "Whether one is true. The second is not evaluated when the first is true.",
           "SELECT 1 < 2 OR 2 < 1", "true", PrepareConnective, Make<LogicalOr>},
          {Kind::kOperator, "not", 1, "NOT a", "LogicalNot", "a truth value", "BOOLEAN", kNullIfAny,
           "Whether it is false.", "SELECT NOT 1 < 2", "false", PrepareNot, Make<LogicalNot>},
      });
}

}  // namespace sqxer
