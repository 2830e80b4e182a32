#include "FunctionRows.h"
#include "SQXERExprConstant.h"
#include "SQXERExprFunctionText.h"
#include "SQXERExprFunctionTextList.h"

namespace sqxer {
namespace {

constexpr const char* kText = "a text";
constexpr const char* kTwoTexts = "two texts";
constexpr const char* kLongText = "text";

/// LPAD and RPAD, which fill up with blanks where nothing else is named.
template <class Node>
std::unique_ptr<RExpression> MakePad(const TypedExpression& call, Operands& o) {
  if (o.size() == 2) o.push_back(std::make_unique<ConstantLongVarXeChar>(L" "));
  return MakeFunction<Node>(call, o);
}

std::unique_ptr<RExpression> MakeToHex(const TypedExpression& call, Operands& o) {
  return call.arguments[0]->type == XeInt4Data ? MakeFunction<ToHexInt32>(call, o)
                                               : MakeFunction<ToHexNumeric>(call, o);
}

/// A function of values of any type, which become texts.
FunctionRow OfTexts(FunctionRow row, const char* nulls) {
  row.prepare = PrepareConcatenation;
  row.nulls = nulls;
  return row;
}

}  // namespace

void AppendTextMakingRows(std::vector<FunctionRow>& rows) {
  const auto texts = [&](const char* name, int count, const char* form, const char* node,
                         const char* result, const char* description, const char* example,
                         const char* exampleResult, decltype(FunctionRow::make) make) {
    rows.push_back(ScalarRow(name, count, form, node,
                             count == 1   ? kText
                             : count == 2 ? kTwoTexts
                                          : "three texts",
                             result, description, example, exampleResult, PrepareAs<'t'>, make));
  };
  const auto pad = [&](const char* name, const char* form, const char* formOfThree,
                       const char* node, const char* side, const char* example,
                       const char* exampleResult, const char* exampleOfThree,
                       const char* resultOfThree, decltype(FunctionRow::make) make) {
    FunctionRow row = ScalarRow(name, 2, form, node, "a text and a number", kLongText, side,
                                example, exampleResult, PrepareAs<'t', 'w', 't'>, make);
    rows.push_back(row);
    row = Alias(row, name, formOfThree, exampleOfThree);
    row.argumentCount = 3;
    row.arguments = "a text, a number and a text";
    row.description = "The same, filled up with a text over and over again.";
    row.exampleResult = resultOfThree;
    rows.push_back(row);
  };
  rows.push_back(OfTexts(
      ScalarRow("concat", AtLeast(1), "CONCAT(a, ...)", "ConcatAll", "values that become texts",
                kLongText, "The values as texts, one behind the other.",
                "SELECT CONCAT('a', NULL, 1, DATE '2012-01-31')", "a12012-01-31", nullptr,
                MakeFunction<ConcatAll>),
      "never NULL: NULLs are left out"));
  rows.push_back(OfTexts(ScalarRow("concat_ws", AtLeast(2), "CONCAT_WS(separator, a, ...)",
                                   "ConcatWs", "values that become texts", kLongText,
                                   "The values as texts with a text between them.",
                                   "SELECT CONCAT_WS(', ', 'a', NULL, 'b')", "\"a, b\"", nullptr,
                                   MakeFunction<ConcatWs>),
                         "NULL if the separator is; others are left out"));
  rows.push_back(OfTexts(
      ScalarRow("format", AtLeast(1), "FORMAT(format, a, ...)", "Format",
                "values that become texts", kLongText,
                "The format with its `%s` as the values in their order, `%I` as names and `%L` as "
                "literals; `%2$s` takes a certain value, `%-10s` and `%10s` fill up with blanks, "
                "`%*s` "
                "to the width that a value says; `%%` is a percent sign.",
                "SELECT FORMAT('%s of %2$L', 'rain', 'it''s')", "rain of 'it''s'", nullptr,
                MakeFunction<Format>),
      "NULL if the format is; other NULLs are empty, or NULL as `%L`"));
  pad("lpad", "LPAD(s, n)", "LPAD(s, n, filling)", "LPad",
      "The text as one of n characters: its first ones, or filled up with blanks in front.",
      "SELECT LPAD('abc', 5) || '.'", "  abc.", "SELECT LPAD('7', 3, '0')", "007", MakePad<LPad>);
  pad("rpad", "RPAD(s, n)", "RPAD(s, n, filling)", "RPad",
      "The text as one of n characters: its first ones, or filled up with blanks behind.",
      "SELECT RPAD('abc', 5) || '.'", "abc  .", "SELECT RPAD('a', 4, '-+')", "a-+-", MakePad<RPad>);
  rows.push_back(ScalarRow("split_part", 3, "SPLIT_PART(s, delimiter, n)", "SplitPart",
                           "two texts and a number", kLongText,
                           "Part n of the text between delimiters, from 1, or from the end for a "
                           "negative n; the empty text "
                           "where there is none. 0 is an error.",
                           "SELECT SPLIT_PART('a,b,c', ',', -1)", "c", PrepareAs<'t', 't', 'w'>,
                           MakeFunction<SplitPart>));
  texts(
      "strpos", 2, "STRPOS(s, needle)", "StrPos", "INTEGER",
      "Where the needle starts, from 1; 0 where it does not stand, 1 for an empty one. Letter case "
      "counts.",
      "SELECT STRPOS('banana', 'nan')", "3", MakeFunction<StrPos>);
  texts("starts_with", 2, "STARTS_WITH(s, start)", "StartsWith", "BOOLEAN",
        "Whether the text begins with another. Letter case counts.",
        "SELECT STARTS_WITH('birdstrike', 'bird')", "true", MakeFunction<StartsWith>);
  texts("ends_with", 2, "ENDS_WITH(s, end)", "EndsWith", "BOOLEAN",
        "Whether the text ends with another.", "SELECT ENDS_WITH('sales.csv', '.csv')", "true",
        MakeFunction<EndsWith>);
  texts("contains", 2, "CONTAINS(s, needle)", "Contains", "BOOLEAN",
        "Whether another text stands in the text.", "SELECT CONTAINS('birdstrike', 'dst')", "true",
        MakeFunction<Contains>);
  texts("initcap", 1, "INITCAP(s)", "InitCap", kLongText,
        "The first letter of each word in upper case, the others in lower case.",
        "SELECT INITCAP('new york-CITY')", "New York-City", MakeFunction<InitCap>);
  texts("reverse", 1, "REVERSE(s)", "Reverse", kLongText,
        "The characters from the last to the first.", "SELECT REVERSE('abc')", "cba",
        MakeFunction<Reverse>);
  texts("translate", 3, "TRANSLATE(s, from, to)", "Translate", kLongText,
        "Each character that stands in `from` as the one at its place in `to`, or left out where "
        "`to` is "
        "shorter.",
        "SELECT TRANSLATE('12345', '143', 'ax')", "a2x5", MakeFunction<Translate>);
  texts("quote_literal", 1, "QUOTE_LITERAL(s)", "QuoteLiteral", kLongText,
        "The text as a literal of a statement.", "SELECT QUOTE_LITERAL('it''s')", "'it''s'",
        MakeFunction<QuoteLiteral>);
  texts("quote_ident", 1, "QUOTE_IDENT(s)", "QuoteIdent", kLongText,
        "The text as a name of a statement, in quotation marks where it takes them.",
        "SELECT QUOTE_IDENT('my table')", "\"\"\"my table\"\"\"", MakeFunction<QuoteIdent>);
  texts("hex", 1, "HEX(s)", "Hex", kLongText, "The UTF-8 bytes of the text in hexadecimal digits.",
        "SELECT HEX('Rain')", "5261696E", MakeFunction<Hex>);
  rows.push_back(ScalarRow("to_hex", 1, "TO_HEX(n)", "ToHexInt32, ToHexNumeric", "a whole number",
                           kLongText,
                           "The number in hexadecimal digits: of a negative one its two's "
                           "complement, of 32 bits for INTEGER, "
                           "of 64 for NUMERIC.",
                           "SELECT TO_HEX(255)", "ff", PrepareBits, MakeToHex));
  texts("md5", 1, "MD5(s)", "Md5", kLongText,
        "The MD5 digest of the text's UTF-8 bytes in hexadecimal digits.", "SELECT MD5('abc')",
        "900150983cd24fb0d6963f7d28e17f72", MakeFunction<Md5>);
  texts("sha256", 1, "SHA256(s)", "Sha256", kLongText,
        "The SHA-256 digest of the text's UTF-8 bytes in hexadecimal digits.",
        "SELECT LEFT(SHA256('abc'), 16)", "ba7816bf8f01cfea", MakeFunction<Sha256>);
}

}  // namespace sqxer
