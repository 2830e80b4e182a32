#include "FunctionRows.h"
#include "SQXERExprConstant.h"
#include "SQXERExprFunctionRegular.h"

namespace sqxer {
namespace {

using Kind = FunctionRow::Kind;

constexpr const char* kTwoTexts = "two texts";
constexpr const char* kTextsAndMore = "texts and whole numbers, as above";

std::unique_ptr<RExpression> NewText(const wchar_t* text) {
  return std::make_unique<ConstantLongVarXeChar>(text);
}

/// Adds what a call leaves out, up to so many operands: 'n' is the number 1, 'z' 0, 'a' the mark of
/// what is left open, 't' the empty text.
void FillUp(Operands& o, std::string_view kinds) {
  while (o.size() < kinds.size()) {
    const char kind = kinds[o.size()];
    if (kind == 't') {
      o.push_back(NewText(L""));
    } else {
      o.push_back(std::make_unique<ConstantInt32>(kind == 'n'   ? 1
                                                  : kind == 'z' ? 0
                                                                : RegexpReplaceOp::kAsOptionsSay));
    }
  }
}

std::unique_ptr<RExpression> MakeLike(const TypedExpression& call, Operands& o) {
  FillUp(o, "ttt");
  return MakeFunction<RegexpLike>(call, o);
}
static_assert(RegexpReplaceOp::kAsOptionsSay == RegexpSubstrOp::kFirstGroup);
/// The operators: with letter case, or without.
template <bool ignoresCase>
std::unique_ptr<RExpression> MakeMatch(const TypedExpression& call, Operands& o) {
  o.push_back(NewText(ignoresCase ? L"i" : L""));
  return MakeFunction<RegexpLike>(call, o);
}
std::unique_ptr<RExpression> MakeCount(const TypedExpression& call, Operands& o) {
  FillUp(o, "ttnt");
  return MakeFunction<RegexpCount>(call, o);
}
std::unique_ptr<RExpression> MakeSubstr(const TypedExpression& call, Operands& o) {
  FillUp(o, "ttnntz");
  return MakeFunction<RegexpSubstr>(call, o);
}
std::unique_ptr<RExpression> MakeReplace(const TypedExpression& call, Operands& o) {
  // Options may stand where others have the position.
  if (o.size() == 4 && SUXeDataTypeUtility::IsXeTextType(call.arguments[3]->type)) {
    o.push_back(std::make_unique<ConstantInt32>(1));
    o.push_back(std::make_unique<ConstantInt32>(RegexpReplaceOp::kAsOptionsSay));
    std::rotate(o.begin() + 3, o.begin() + 4, o.end());
  }
  FillUp(o, "tttnat");
  return MakeFunction<RegexpReplace>(call, o);
}
std::unique_ptr<RExpression> MakeSimilar(const TypedExpression& call, Operands& o) {
  if (o.size() == 2) o.push_back(NewText(L"\\"));
  return MakeFunction<SimilarTo>(call, o);
}

FunctionRow Operator(FunctionRow row) {
  row.kind = Kind::kOperator;
  return row;
}

}  // namespace

std::unique_ptr<RExpression> MakeSubStringOfPattern(const TypedExpression& call, Operands& o) {
  FillUp(o, "ttnnta");
  return MakeFunction<RegexpSubstr>(call, o);
}

void AppendRegularRows(std::vector<FunctionRow>& rows) {
  const FunctionRow like =
      ScalarRow("regexp_like", 2, "REGEXP_LIKE(s, pattern)", "RegexpLike", kTwoTexts, "BOOLEAN",
                "Whether a part of the text matches a regular expression: `.` `*` `+` `?` `{2,3}` "
                "`|` `()` `[]` `^` "
                "`$`, classes such as `\\d` `\\w` `\\s` and `[[:alpha:]]`, `\\y` for the edge of a "
                "word, `*?` and "
                "`+?` for the shortest match. There are no back references and no looking around.",
                "SELECT REGEXP_LIKE('route 66', '\\d+')", "true", PrepareAs<'t'>, MakeLike);
  FunctionRow likeOptions = Alias(like, "regexp_like", "REGEXP_LIKE(s, pattern, options)",
                                  "SELECT REGEXP_LIKE('Rain', '^r', 'i')");
  likeOptions.argumentCount = 3;
  likeOptions.arguments = "three texts";
  likeOptions.description =
      "The same with options, letters: `i` without letter case, `c` with it, `n` (or `m`) so that "
      "`^` "
      "and `$` match at every line and `.` stays within one, `s` so that they do not; `p` for "
      "the "
      "second of these alone, `w` for the first; `x` so that blanks and what follows a `#` say "
      "nothing, "
      "`t` for the opposite; `q` for a pattern that stands for itself.";
  const FunctionRow matches = Operator(
      ScalarRow("~", 2, "s ~ pattern", "RegexpLike", kTwoTexts, "BOOLEAN",
                "Whether a part of the text matches the regular expression (see REGEXP_LIKE).",
                "SELECT 'rain' ~ '^r.*n$'", "true", PrepareAs<'t'>, MakeMatch<false>));
  FunctionRow matchesAnyCase = Alias(matches, "~*", "s ~* pattern", "SELECT 'Rain' ~* 'RAI'");
  matchesAnyCase.description = "The same without letter case.";
  matchesAnyCase.make = MakeMatch<true>;
  const auto count = [](int arguments, const char* form, const char* description,
                        const char* example, const char* result) {
    return ScalarRow("regexp_count", arguments, form, "RegexpCount",
                     arguments == 2 ? kTwoTexts : kTextsAndMore, "INTEGER", description, example,
                     result, PrepareAs<'t', 't', 'w', 't'>, MakeCount);
  };
  const auto substr = [](int arguments, const char* form, const char* description,
                         const char* example, const char* result) {
    FunctionRow row =
        ScalarRow("regexp_substr", arguments, form, "RegexpSubstr",
                  arguments == 2 ? kTwoTexts : kTextsAndMore, "text", description, example, result,
                  PrepareAs<'t', 't', 'w', 'w', 't', 'w'>, MakeSubstr);
    row.nulls = "NULL if an operand is NULL, or there is no such match or group";
    return row;
  };
  const auto replace = [](int arguments, const char* form, const char* description,
                          const char* example, const char* result) {
    return ScalarRow("regexp_replace", arguments, form, "RegexpReplace",
                     arguments == 3 ? "three texts" : kTextsAndMore, "text", description, example,
                     result, PrepareRegexpReplace, MakeReplace);
  };
  FunctionRow similar = Operator(
      ScalarRow("similar to", 2, "s [NOT] SIMILAR TO pattern", "SimilarTo", kTwoTexts, "BOOLEAN",
                "Whether the whole text follows a pattern in which `%` is any run of characters, "
                "`_` one character, "
                "and `|` `*` `+` `?` `{2,3}` `()` `[]` have their meaning of regular expressions; "
                "a backslash makes "
                "the next character plain.",
                "SELECT 'abc' SIMILAR TO '%(b|d)%'", "true", PrepareAs<'t'>, MakeSimilar));
  FunctionRow similarEscape = Alias(similar, "similar to", "s [NOT] SIMILAR TO pattern ESCAPE e",
                                    "SELECT '50%' SIMILAR TO '[0-9]+!%' ESCAPE '!'");
  similarEscape.argumentCount = 3;
  similarEscape.arguments = "three texts, e of one character, or of none for no escape";
  similarEscape.description = "The same with another character than the backslash.";
  rows.insert(
      rows.end(),
      {
          like,
          likeOptions,
          matches,
          matchesAnyCase,
          {Kind::kForm, "!~", 2, "s !~ pattern, s !~* pattern", "LogicalNot over RegexpLike",
           kTwoTexts, "BOOLEAN", kNullIfAny, "Whether no part of the text matches.",
           "SELECT 'rain' !~ 'x'", "true"},
          similar,
          similarEscape,
          {Kind::kForm, "substring", 2, "SUBSTRING(s FROM pattern)", "RegexpSubstr", kTwoTexts,
           "text", "NULL if an operand is NULL, or nothing matches",
           "The first part of the text that matches, or what the first group of the pattern "
           "matched there.",
           "SELECT SUBSTRING('route 66' FROM 'e (\\d+)')", "66"},
          substr(2, "REGEXP_SUBSTR(s, pattern)", "The first part of the text that matches.",
                 "SELECT REGEXP_SUBSTR('route 66', '\\d+')", "66"),
          substr(3, "REGEXP_SUBSTR(s, pattern, start)", "The same from a position on.",
                 "SELECT REGEXP_SUBSTR('a1b2', '\\d', 3)", "2"),
          substr(4, "REGEXP_SUBSTR(s, pattern, start, n)", "The match of a number.",
                 "SELECT REGEXP_SUBSTR('a1b2', '\\d', 1, 2)", "2"),
          substr(5, "REGEXP_SUBSTR(s, pattern, start, n, options)", "The same with options.",
                 "SELECT REGEXP_SUBSTR('Rain', 'RA', 1, 1, 'i')", "Ra"),
          substr(6, "REGEXP_SUBSTR(s, pattern, start, n, options, group)",
                 "What a group of the pattern matched there; 0 is the whole match.",
                 "SELECT REGEXP_SUBSTR('x=1, y=2', '(\\w)=(\\d)', 1, 2, '', 2)", "2"),
          count(2, "REGEXP_COUNT(s, pattern)", "How many parts of the text match.",
                "SELECT REGEXP_COUNT('banana', 'an')", "2"),
          count(3, "REGEXP_COUNT(s, pattern, start)", "The same from a position on.",
                "SELECT REGEXP_COUNT('banana', 'an', 3)", "1"),
          count(4, "REGEXP_COUNT(s, pattern, start, options)", "The same with options.",
                "SELECT REGEXP_COUNT('banANa', 'an', 1, 'i')", "2"),
          replace(3, "REGEXP_REPLACE(s, pattern, new)",
                  "The text with the first part that matches replaced. In `new` `\\1` to `\\9` "
                  "stand for the "
                  "groups of the pattern, `\\&` for the whole match.",
                  "SELECT REGEXP_REPLACE('2012-01-31', '(\\d+)-(\\d+)', '\\2/\\1')", "01/2012-31"),
          replace(4, "REGEXP_REPLACE(s, pattern, new, options)",
                  "The same with options, among them `g` for all parts. A number there is a "
                  "position to "
                  "start from.",
                  "SELECT REGEXP_REPLACE('a1b22', '\\d+', '#', 'g')", "a#b#"),
          replace(5, "REGEXP_REPLACE(s, pattern, new, start, n)",
                  "The match of a number replaced, 0 for all of them.",
                  "SELECT REGEXP_REPLACE('a1b2c3', '\\d', '#', 1, 2)", "a1b#c3"),
          replace(6, "REGEXP_REPLACE(s, pattern, new, start, n, options)", "The same with options.",
                  "SELECT REGEXP_REPLACE('aBAb', 'b', '#', 1, 0, 'i')", "a#A#"),
      });
}

}  // namespace sqxer
