#include "FunctionRows.h"
#include "LookupTable.h"
#include "SQXERExprConvert.h"

namespace sqxer {
namespace {

using Kind = FunctionRow::Kind;

std::unique_ptr<RExpression> MakeCanonical(const TypedExpression& call, Operands& o) {
  return std::make_unique<Canonical>(o[0].release(), call.lookup->Open());
}

std::unique_ptr<RExpression> MakeDictLookup(const TypedExpression& call, Operands& o) {
  const LookupTable& table = *call.lookup;
  auto node = std::make_unique<DictLookup>(o[0].release(), ExpressionVector(),
                                           table.GetDictionary(), table.GetNativeTable());
  if (table.GetValue().type != XeVarCharData) return node;
  // Operators take texts of varying length in their long form only.
  return std::make_unique<ConvertVarXeChartoLongVarXeChar>(node.release(), XeLongVarCharData,
                                                           table.GetValue().length);
}

}  // namespace

void AppendLookupRows(std::vector<FunctionRow>& rows) {
  FunctionRow canonical = {
      Kind::kFunction,
      "canonical",
      2,
      "CANONICAL(s, table)",
      "Canonical",
      "a text, and a table by name whose first two columns are texts",
      "text",
      kNullIfAny,
      "The text of the second column beside the first row that has this one in the first column; "
      "the text itself where no row has it.",
      "SELECT CANONICAL('Sant Louis', misspelt)",
      "Saint Louis",
      PrepareAs<'t'>,
      MakeCanonical};
  canonical.word = 1;
  canonical.lookup = FunctionRow::Lookup::kByText;
  FunctionRow dictionary = {
      Kind::kFunction,
      "dict_lookup",
      2,
      "DICT_LOOKUP(key, table)",
      "DictLookup",
      "an integer, and a table by name whose first two columns are an integer and a text",
      "the second column's type",
      "NULL if the key is NULL or no row has it, or the text is NULL",
      "The text of the second column beside the first row that has this key in the first column.",
      "SELECT DICT_LOOKUP(2, sizes)",
      "Medium",
      PrepareAs<'n', 't'>,
      MakeDictLookup};
  dictionary.word = 1;
  dictionary.lookup = FunctionRow::Lookup::kByKey;
  rows.push_back(canonical);
  rows.push_back(dictionary);
}

}  // namespace sqxer
