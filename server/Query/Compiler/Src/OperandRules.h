#pragma once

#include <span>
#include <string_view>

#include "TypedExpression.h"

namespace sqxer {

/// What is done to the arguments of an operator before it is asked about them: what a person who
/// types SQL expects beyond the operator's own rules. Each rule changes the arguments in place.
///
/// A NULL or text literal takes the type that its partner needs. Any other constant, NULL of a type
/// included, is typed as a column of its type would be. A bit counts as an integer. Signed and
/// unsigned integers meet as decimals, because the operators alone would take a negative number for
/// a large unsigned one; a literal that both types hold takes the partner's type instead. A count
/// is decimal in arithmetic, so that it can fall below zero.
///
/// Errors, at the literal's position: those of reading its text as the partner's type.
using OperandRule = void (*)(TypedArguments& arguments);

/// Error 59001 (the node, the type) for an argument that is binary.
void RefuseBinary(const TypedArguments& arguments, const wchar_t* node);

/// + - *
void PrepareArithmetic(TypedArguments& arguments);
void PrepareDivision(TypedArguments& arguments);
/// Unary minus.
void PrepareNegation(TypedArguments& arguments);
/// Unary plus, which has no node to ask: its operand must be a number (59001).
void PreparePlus(TypedArguments& arguments);
void PrepareConcatenation(TypedArguments& arguments);
/// The six comparisons and BETWEEN. Booleans compare as 0 and 1.
void PrepareComparison(TypedArguments& arguments);
void PrepareConnective(TypedArguments& arguments);
/// NOT takes only truth values (58018).
void PrepareNot(TypedArguments& arguments);
void PrepareNullTest(TypedArguments& arguments);
/// LIKE, with or without an escape. Error 58025 for an escape that varies in length; a parameter
/// does not.
void PrepareLike(TypedArguments& arguments);
/// IN and NOT IN. The constants come to stand before the other members. Error 59001 for binary.
void PrepareMembership(TypedArguments& arguments);
/// COALESCE, and all rules below that choose a value: fixed texts of different lengths meet in the
/// long form, and text literals are filled up to the length of fixed ones. A NULL without a type
/// keeps none here.
void PrepareCoalesce(TypedArguments& arguments);
/// IFNULL and NULLIF. Error 59001 for binary, which NULLIF cannot compare.
void PrepareIfNull(TypedArguments& arguments);
void PrepareNullIf(TypedArguments& arguments);
/// LAG and LEAD: the value and the one in its place, the third argument, come to one type.
void PrepareLag(TypedArguments& arguments);
/// GREATEST and LEAST. Error 59001 for binary.
void PrepareExtreme(TypedArguments& arguments);
/// The bit operators: whole numbers of 32 bits as they are, else all as decimals. Error 59001 (the
/// type) for DOUBLE and what is no number.
void PrepareBits(TypedArguments& arguments);
/// Decimals alone as they are, where one is DOUBLE all as such.
void PrepareDoublesOrDecimals(TypedArguments& arguments);
/// REGEXP_REPLACE, whose fourth argument is a text of options or a position.
void PrepareRegexpReplace(TypedArguments& arguments);
/// CASE with conditions: the conditions, the results, perhaps the one of ELSE.
void PrepareCaseWhen(TypedArguments& arguments);
/// CASE with a value: the value, what it is compared with, the results, perhaps the one of ELSE.
void PrepareCase(TypedArguments& arguments);
/// How many of the arguments of a CASE are results.
std::size_t CountCaseResults(std::size_t arguments, bool hasValue);
void PrepareCast(TypedArguments& arguments);
/// SUBSTRING. Where the second of two arguments is a text it is a pattern; error 58003 for one of
/// three.
void PrepareSubString(TypedArguments& arguments);
/// A function of a text and a format, which is a text constant (58025).
void PrepareDateReading(TypedArguments& arguments);
/// A function of a text and a locale, which is a text constant (58025).
void PrepareSortKey(TypedArguments& arguments);

/// The arguments of a function, by a letter each; the last one also stands for those behind it.
/// 't' a text, 'n' a number, 'w' a number that counts: one that is no INTEGER becomes DOUBLE, which
/// the node truncates, 'v' a date or time, 'i' an interval. What a NULL or text literal becomes
/// follows from it; other types are left to the node.
void PrepareByKind(TypedArguments& arguments, std::string_view kinds);
template <char... kinds>
void PrepareAs(TypedArguments& arguments) {
  static constexpr char kKinds[] = {kinds...};
  PrepareByKind(arguments, {kKinds, sizeof kKinds});
}

/// Which of some words a text constant is, upper and lower case alike. Error 58033 (what the words
/// are, the words, the text) for any other argument.
std::size_t ReadWord(const TypedExpression& argument, const wchar_t* what,
                     std::span<const wchar_t* const> words);

/// The argument as the condition of a clause or operator (`of`): a truth value, else error 58018
/// (the clause, the type).
TypedExpressionPtr AsCondition(const TypedExpressionPtr& argument, const XeString& of);

}  // namespace sqxer
