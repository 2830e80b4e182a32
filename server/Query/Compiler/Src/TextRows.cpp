#include "FunctionRows.h"
#include "SQXERExprConstant.h"
#include "SQXERExprConvert.h"
#include "SQXERExprFunction.h"
#include "Utility/SUSystemConfig.h"

namespace sqxer {
namespace {

using Kind = FunctionRow::Kind;

constexpr const char* kText = "a text";
constexpr const char* kInteger = "INTEGER";
constexpr const char* kLongText = "text";
constexpr const char* kSameText = "text, CHAR over CHAR";

std::unique_ptr<RExpression> MakeLength(const TypedExpression&, Operands& o) {
  const bool keepsBlanks = SUCompatFlag::GetBool("ZEPH_DISABLE_RIGHTTRIM_ON_LENGTH_FOR_VARCHAR");
  return MakeNodeOf<Length>(o[0], ExpressionVector(), keepsBlanks);
}

/// SUBSTRING from a position, or a part of the text that matches a pattern.
std::unique_ptr<RExpression> MakeSubStringFrom(const TypedExpression& call, Operands& o) {
  const bool isPattern = SUXeDataTypeUtility::IsXeTextType(call.arguments[1]->type);
  return isPattern ? MakeSubStringOfPattern(call, o) : MakeFunction<SubString>(call, o);
}

/// The grammar turns POSITION(a IN b) round.
std::unique_ptr<RExpression> MakePosition(const TypedExpression&, Operands& o) {
  return MakeNodeOf<Position>(o[1], GivenOperands(o, 0, 1));
}

/// TRIM with a style: 0 both ends, 1 the start, 2 the end.
template <int32 style>
std::unique_ptr<RExpression> MakeTrim(const TypedExpression&, Operands& o) {
  if (o.size() == 1) o.push_back(std::make_unique<ConstantLongVarXeChar>(L" "));
  o.push_back(std::make_unique<ConstantInt32>(style));
  return MakeNodeOf<Trim>(o[0], GivenOperands(o, 1, 3));
}

/// CHR, as a long text in which a blank is a character like any other.
std::unique_ptr<RExpression> MakeChr(const TypedExpression&, Operands& o) {
  auto node = MakeNodeOf<ConvertXeChartoLongVarXeChar>(
      MakeNodeOf<sqxer::Char>(o[0], ExpressionVector()), XeLongVarCharData, 1);
  node->KeepBlanks();
  return node;
}

/// OVERLAY(text PLACING new FROM start FOR length).
std::unique_ptr<RExpression> MakeOverlay(const TypedExpression&, Operands& o) {
  std::swap(o[1], o[2]);
  std::swap(o[2], o[3]);
  return MakeNodeOf<Insert>(o[0], GivenOperands(o, 1, 4));
}

FunctionRow Measure(const char* name, const char* form, const char* node, const char* description,
                    const char* example, const char* exampleResult,
                    decltype(FunctionRow::make) make) {
  return {Kind::kFunction, name,        1,       form,          node,           kText, kInteger,
          kNullIfAny,      description, example, exampleResult, PrepareAs<'t'>, make};
}

}  // namespace

void AppendTextRows(std::vector<FunctionRow>& rows) {
  const FunctionRow characters =
      Measure("char_length", "CHAR_LENGTH(s)", "CharacterLength", "The number of characters.",
              "SELECT CHAR_LENGTH('ab  ')", "4", MakeFunction<CharacterLength>);
  const FunctionRow locate = {
      Kind::kFunction,
      "locate",
      2,
      "LOCATE(needle, s)",
      "Locate",
      "two texts",
      kInteger,
      kNullIfAny,
      "Where the needle starts, from 1; 0 where it does not stand. An empty needle stands nowhere. "
      "Letter case as `CaseSensitiveCompare` says.",
      "SELECT LOCATE('a', 'banana')",
      "2",
      PrepareAs<'t', 't', 'w'>,
      MakeFunction<Locate>};
  FunctionRow locateFrom = locate;
  locateFrom.argumentCount = 3;
  locateFrom.form = "LOCATE(needle, s, start)";
  locateFrom.arguments = "two texts and a number";
  locateFrom.description =
      "The same from a position on; a negative start counts from the end and searches backward.";
  locateFrom.example = "SELECT LOCATE('a', 'banana', 3)";
  locateFrom.exampleResult = "4";

  const FunctionRow substring = {
      Kind::kFunction,
      "substring",
      3,
      "SUBSTRING(s FROM start FOR length)",
      "SubString",
      "a text and numbers",
      kSameText,
      kNullIfAny,
      "So many characters from a position on. Positions before the first take part in the count, "
      "or count from the end under `--set SubstringCompliance=on`. A length below 1 is an error. "
      "Programs that build the node may add a number of tokens and their delimiter: positions are "
      "then those of the text's leading tokens.",
      "SELECT SUBSTRING('abcdef' FROM 2 FOR 3)",
      "bcd",
      PrepareSubString,
      MakeFunction<SubString>};
  FunctionRow substringFrom = substring;
  substringFrom.argumentCount = 2;
  substringFrom.form = "SUBSTRING(s FROM start)";
  substringFrom.make = MakeSubStringFrom;
  substringFrom.description =
      "The rest from a position on. Of the empty text it is an error, as its length is 0.";
  substringFrom.example = "SELECT SUBSTRING('abcdef' FROM 4)";
  substringFrom.exampleResult = "def";

  const auto trim = [&](const char* name, int count, const char* form, const char* description,
                        const char* example, const char* result, decltype(FunctionRow::make) make) {
    rows.push_back({Kind::kFunction, name, count, form, "Trim",
                    count == 1 ? kText : "a text, and a text of one character", kSameText,
                    kNullIfAny, description, example, result, PrepareAs<'t'>, make});
  };
  const auto text = [&](const char* name, int count, const char* form, const char* node,
                        const char* arguments, const char* result, const char* description,
                        const char* example, const char* exampleResult, OperandRule prepare,
                        decltype(FunctionRow::make) make) {
    rows.push_back({Kind::kFunction, name, count, form, node, arguments, result, kNullIfAny,
                    description, example, exampleResult, prepare, make});
  };

  rows.push_back(Measure("length", "LENGTH(s)", "Length",
                         "The number of characters without the blanks at the end (with them under "
                         "`--set LengthKeepsBlanks=on`).",
                         "SELECT LENGTH('ab  ')", "2", MakeLength));
  rows.push_back(characters);
  rows.push_back(Alias(characters, "character_length", "CHARACTER_LENGTH(s)",
                       "SELECT CHARACTER_LENGTH('ab  ')"));
  rows.push_back(Measure("octet_length", "OCTET_LENGTH(s)", "OctetLength",
                         "The number of bytes, four for each character.",
                         "SELECT OCTET_LENGTH('abc')", "12", MakeFunction<OctetLength>));
  rows.push_back(Measure("bit_length", "BIT_LENGTH(s)", "BitLength",
                         "The number of bits, 32 for each character.", "SELECT BIT_LENGTH('abc')",
                         "96", MakeFunction<BitLength>));
  rows.push_back(Measure("ascii", "ASCII(s)", "Ascii",
                         "The code of the first character in the server's code page (ISO 8859-1) "
                         "as a signed byte.",
                         "SELECT ASCII('A')", "65", MakeFunction<Ascii>));
  text(
      "position", 2, "POSITION(needle IN s)", "Position", "two texts", kInteger,
      "Where the needle starts, from 1; 0 where it does not stand. An empty needle stands nowhere.",
      "SELECT POSITION('nan' IN 'banana')", "3", PrepareAs<'t'>, MakePosition);
  rows.push_back(locate);
  rows.push_back(locateFrom);
  text("upper", 1, "UPPER(s)", "Upper", kText, kSameText, "The text in capital letters.",
       "SELECT UPPER('rain')", "RAIN", PrepareAs<'t'>, MakeFunction<Upper>);
  text("lower", 1, "LOWER(s)", "Lower", kText, kSameText, "The text in small letters.",
       "SELECT LOWER('RAIN')", "rain", PrepareAs<'t'>, MakeFunction<Lower>);
  rows.push_back(substringFrom);
  rows.push_back(substring);
  for (FunctionRow row :
       {Alias(substringFrom, "substr", "SUBSTR(s, start)", "SELECT SUBSTR('abcdef', 4)"),
        Alias(substring, "substr", "SUBSTR(s, start, length)", "SELECT SUBSTR('abcdef', 2, 3)")}) {
    // Only SUBSTRING has a form with a pattern.
    row.prepare = PrepareAs<'t', 'n'>;
    rows.push_back(row);
  }
  trim("trim", 1, "TRIM(s)", "The text without blanks at its ends.", "SELECT TRIM('  a  ') || '.'",
       "a.", MakeTrim<0>);
  trim("trim", 2, "TRIM(BOTH c FROM s)",
       "The text without a character at its ends. The end is a style (0 both, 1 the start, 2 the "
       "end) "
       "that programs which build the node may compute.",
       "SELECT TRIM(BOTH '-' FROM '--a-')", "a", MakeTrim<0>);
  trim("ltrim", 1, "LTRIM(s)", "The text without blanks at its start.",
       "SELECT LTRIM('  a  ') || '.'", "a  .", MakeTrim<1>);
  trim("ltrim", 2, "TRIM(LEADING c FROM s)", "The text without a character at its start.",
       "SELECT TRIM(LEADING '-' FROM '--a-')", "a-", MakeTrim<1>);
  trim("rtrim", 1, "RTRIM(s)", "The text without blanks at its end.",
       "SELECT RTRIM('  a  ') || '.'", "  a.", MakeTrim<2>);
  trim("rtrim", 2, "TRIM(TRAILING c FROM s)", "The text without a character at its end.",
       "SELECT TRIM(TRAILING '-' FROM '--a-')", "--a", MakeTrim<2>);
  text("replace", 3, "REPLACE(s, from, to)", "Replace", "three texts", kLongText,
       "The text with every occurrence of `from`, left to right, as `to`. An empty `from` stands "
       "nowhere. Letter case as `CaseSensitiveCompare` says.",
       "SELECT REPLACE('a-b-c', '-', '+')", "a+b+c", PrepareAs<'t'>, MakeFunction<Replace>);
  text("insert", 4, "INSERT(s, start, length, new)", "Insert", "a text, two numbers and a text",
       kLongText,
       "The text with another in place of so many characters from a position on; unchanged where "
       "the position is outside.",
       "SELECT INSERT('abcdef', 3, 2, 'XY')", "abXYef", PrepareAs<'t', 'w', 'w', 't'>,
       MakeFunction<Insert>);
  text("overlay", 4, "OVERLAY(s PLACING new FROM start [FOR length])", "Insert",
       "a text, a text and two numbers", kLongText,
       "The same; without a length as many characters as the new text has.",
       "SELECT OVERLAY('abcdef' PLACING 'XY' FROM 3)", "abXYef", PrepareAs<'t', 't', 'w'>,
       MakeOverlay);
  text("left", 2, "LEFT(s, n)", "Left", "a text and a number", kLongText,
       "The first n characters; n below 1 is an error.", "SELECT LEFT('abc', 2)", "ab",
       PrepareAs<'t', 'n'>, MakeFunction<Left>);
  text("right", 2, "RIGHT(s, n)", "Right", "a text and a number", kLongText,
       "The last n characters; n below 1 is an error.", "SELECT RIGHT('abc', 2)", "bc",
       PrepareAs<'t', 'n'>, MakeFunction<Right>);
  text("space", 1, "SPACE(n)", "Space", "a number", kLongText, "So many blanks, at most 255.",
       "SELECT 'a' || SPACE(2) || 'b'", "a  b", PrepareAs<'w'>, MakeFunction<Space>);
  text("repeat", 2, "REPEAT(s, n)", "Repeat", "a text and a number", kLongText,
       "The text n times, cut to four times the length that s can have (that of a literal, of the "
       "longest text of a column), or to 255 characters if that is more.",
       "SELECT REPEAT('ab', 3)", "ababab", PrepareAs<'t', 'w'>, MakeFunction<Repeat>);
  text("chr", 1, "CHR(n)", "Char", "a number", kLongText,
       "The character of a code, as one byte of the server's code page (ISO 8859-1).",
       "SELECT CHR(65)", "A", PrepareAs<'w'>, MakeChr);
  text("nlssort", 1, "NLSSORT(s)", "NLSSort", kText, "binary",
       "The text as bytes that sort and compare as the text does (`--set Locale=`, "
       "`CaseSensitiveCompare`).",
       "SELECT MIN(weather) FROM \"seattle-weather\" GROUP BY weather ORDER BY NLSSORT(weather) "
       "LIMIT 1",
       "drizzle", PrepareAs<'t'>, MakeFunction<NLSSort>);
  text("nlssort", 2, "NLSSORT(s, 'locale')", "NLSSort", "a text and a locale as a literal",
       "binary", "The same in a locale of its own, such as 'sv' or 'de@collation=phonebook'.",
       "SELECT MAX(weather) FROM \"seattle-weather\" GROUP BY weather ORDER BY NLSSORT(weather, "
       "'sv') DESC "
       "LIMIT 1",
       "sun", PrepareSortKey, MakeFunction<NLSSort>);
}

}  // namespace sqxer
