#include "FunctionRows.h"
#include "SQXERExprBranchCompare.h"
#include "SQXERExprCase2.h"
#include "SQXERExprIn.h"
#include "SQXERExprLogical.h"

namespace sqxer {
namespace {

using Kind = FunctionRow::Kind;

template <bool isNegated>
std::unique_ptr<RExpression> MakeIn(const TypedExpression& call, Operands& o) {
  std::size_t constants = 1;
  while (constants < o.size() && call.arguments[constants]->IsConstant()) ++constants;
  return MakeNodeOf<In>(o[0], GivenOperands(o, 1, constants), GivenOperands(o, constants, o.size()),
                        isNegated);
}

template <bool hasValue>
std::unique_ptr<RExpression> MakeCase(const TypedExpression&, Operands& o) {
  const std::size_t firstWhen = hasValue ? 1 : 0;
  const std::size_t firstResult = o.size() - CountCaseResults(o.size(), hasValue);
  std::unique_ptr<RExpression> none;
  return MakeNodeOf<Case>(hasValue ? o[0] : none, GivenOperands(o, firstWhen, firstResult),
                          GivenOperands(o, firstResult, o.size()));
}

std::unique_ptr<RExpression> MakeCoalesce(const TypedExpression&, Operands& o) {
  return MakeNodeOf<Coalesce>(GivenOperands(o, 0, o.size()));
}

template <class Node>
std::unique_ptr<RExpression> MakeExtreme(const TypedExpression&, Operands& o) {
  return MakeNodeOf<Node>(GivenOperands(o, 0, o.size()));
}

constexpr const char* kComparableList =
    "numbers, texts, truth values, or dates and times that meet";
constexpr const char* kCommonType =
    "the type in which the results meet: texts in the long form (in CHAR when no result is a "
    "varying or a shorter text), numbers as in arithmetic (signed and unsigned integers in "
    "NUMERIC), dates and times in TIMESTAMP; constant NULLs count only where there is nothing "
    "else";

}  // namespace

void AppendConditionalRows(std::vector<FunctionRow>& rows) {
  const std::vector<FunctionRow> conditionals = {
      {Kind::kOperator, "like", 2, "a LIKE pattern", "Like", "two texts", "BOOLEAN", kNullIfAny,
       "Whether the whole text follows the pattern: `%` is any run of characters, `_` one "
       "character, and a backslash makes the next one plain. Letter case counts unless "
       "`CaseSensitiveCompare` is off.",
       "SELECT 'birdstrike' LIKE 'bird%'", "true", PrepareLike, Make<Like>},
      {Kind::kOperator, "like", 3, "a LIKE pattern ESCAPE e", "Like",
       "three texts, e of one "
       "character",
       "BOOLEAN", kNullIfAny, "The same with another character than the backslash.",
       "SELECT '50%' LIKE '50!%' ESCAPE '!'", "true", PrepareLike, Make<Like>},
      {Kind::kForm, "ilike", 2, "a [NOT] ILIKE pattern [ESCAPE e]", "Like over Lower", "as LIKE",
       "BOOLEAN", kNullIfAny, "LIKE without letter case.", "SELECT 'Rain' ILIKE 'r%'", "true"},
      {Kind::kForm, "not like", 2, "a NOT LIKE pattern [ESCAPE e]", "LogicalNot over Like",
       "as LIKE", "BOOLEAN", kNullIfAny, "Whether the text does not follow the pattern.",
       "SELECT 'rain' NOT LIKE '_un'", "true"},
      {Kind::kOperator, "in", AtLeast(2), "a IN (b, ...)", "In", kComparableList, "BOOLEAN",
       "NULL if a is NULL; a NULL member matches nothing",
       "Whether the value equals a member. Constants are looked up in an ordered set, other "
       "members "
       "compared one by one.",
       "SELECT 3 IN (1, 2, 3)", "true", PrepareMembership, MakeIn<false>},
      {Kind::kOperator, "not in", AtLeast(2), "a NOT IN (b, ...)", "In, negated", kComparableList,
       "BOOLEAN", "NULL if a is NULL; a NULL member matches nothing",
       "Whether the value equals no member.", "SELECT 2 NOT IN (1, NULL)", "true",
       PrepareMembership, MakeIn<true>},
      {Kind::kOperator, "case when", AtLeast(2), "CASE WHEN c THEN x ... [ELSE y] END", "Case",
       "truth values; results that meet", kCommonType,
       "NULL without ELSE when no condition is true",
       "The result behind the first condition that is true. Others are not evaluated.",
       "SELECT CASE WHEN 1 > 2 THEN 'more' ELSE 'less' END", "less", PrepareCaseWhen,
       MakeCase<false>},
      {Kind::kOperator, "case", AtLeast(3), "CASE a WHEN b THEN x ... [ELSE y] END", "Case",
       "values that compare; results that meet", kCommonType,
       "a NULL value matches a NULL; NULL without ELSE when nothing matches",
       "The result behind the first value that equals the one looked up.",
       "SELECT CASE 2 WHEN 1 THEN 'one' WHEN 2 THEN 'two' END", "two", PrepareCase, MakeCase<true>},
      {Kind::kFunction, "coalesce", AtLeast(1), "COALESCE(a, ...)", "Coalesce", "values that meet",
       kCommonType, "NULL if all are NULL",
       "The first value that is not NULL. Those behind it are not evaluated.",
       "SELECT COALESCE(NULL, 2, 3)", "2", PrepareCoalesce, MakeCoalesce},
      {Kind::kFunction, "nvl", 2, "NVL(a, b)", "Coalesce", "values that meet", kCommonType,
       "NULL if both are NULL", "The same as COALESCE.", "SELECT NVL(NULL, 5)", "5",
       PrepareCoalesce, MakeCoalesce},
      {Kind::kFunction, "greatest", AtLeast(1), "GREATEST(a, ...)", "Greatest",
       "values that compare", kCommonType, "NULL if all are NULL; others are left out",
       "The greatest of the values, compared as by `<`; NaN is above every number.",
       "SELECT GREATEST(3, 12, NULL)", "12", PrepareExtreme, MakeExtreme<Greatest>},
      {Kind::kFunction, "least", AtLeast(1), "LEAST(a, ...)", "Least", "values that compare",
       kCommonType, "NULL if all are NULL; others are left out",
       "The least of the values, compared as by `<`.", "SELECT LEAST('pear', 'apple')", "apple",
       PrepareExtreme, MakeExtreme<Least>},
      {Kind::kOperator, "is distinct from", 2, "a IS [NOT] DISTINCT FROM b", "IsDistinct",
       "two values that compare", "BOOLEAN", "never NULL: NULL equals NULL, and nothing else",
       "Whether the values differ.", "SELECT 1 IS DISTINCT FROM NULL", "true", PrepareNullIf,
       Make<IsDistinct>},
      {Kind::kForm, "iif", 3, "IIF(c, x, y)", "Case", "as CASE", kCommonType, "as CASE",
       "CASE WHEN c THEN x ELSE y END.", "SELECT IIF(1 > 2, 'more', 'less')", "less"},
      {Kind::kForm, "decode", AtLeast(3), "DECODE(a, b, x, ... [, y])", "Case", "as CASE",
       kCommonType, "as CASE", "CASE a WHEN b THEN x ... ELSE y END: NULL finds NULL.",
       "SELECT DECODE(2, 1, 'one', 2, 'two', 'many')", "two"},
      {Kind::kFunction, "ifnull", 2, "IFNULL(a, b)", "IfNull", "two values that meet", kCommonType,
       "NULL if both are NULL", "The first value, or the second where the first is NULL.",
       "SELECT IFNULL(NULL, 5)", "5", PrepareIfNull, Make<IfNull>},
      {Kind::kFunction, "nullif", 2, "NULLIF(a, b)", "NullIf", "two values that compare",
       kCommonType, "NULL if the values are equal, or a is NULL",
       "The first value, or NULL where it equals the second.", "SELECT NULLIF(5, 4)", "5",
       PrepareNullIf, Make<NullIf>},
  };
  rows.insert(rows.end(), conditionals.begin(), conditionals.end());
}

}  // namespace sqxer
