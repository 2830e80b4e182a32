#include <algorithm>
#include <utility>

#include "FunctionRows.h"
#include "LookupTable.h"
#include "SQXERExprConvert.h"

namespace sqxer {
namespace {

using Kind = FunctionRow::Kind;

/// A long text as one of up to a length, as it stands.
std::unique_ptr<RExpression> WithLength(std::unique_ptr<RExpression> text, uint32 length) {
  return MakeNodeOf<ConvertVarXeChartoLongVarXeChar>(text, XeLongVarCharData, length);
}

/// The node reports the length of its operand, whatever it finds.
std::unique_ptr<RExpression> MakeCanonical(const TypedExpression& call, Operands& o) {
  auto node = MakeNodeOf<Canonical>(o[0], call.lookup->Open());
  node->SetSourcePosition(call.position);
  const uint32 length = std::max(call.arguments[0]->length, call.lookup->GetValue().length);
  return WithLength(std::move(node), length);
}

std::unique_ptr<RExpression> MakeDictLookup(const TypedExpression& call, Operands& o) {
  const LookupTable& table = *call.lookup;
  auto node = MakeNodeOf<DictLookup>(o[0], ExpressionVector(), table.GetDictionary(),
                                     table.GetNativeTable());
  const uint32 length = table.GetValue().length;
  if (table.GetValue().type != XeCharData) return WithLength(std::move(node), length);
  // The node reports a length in bytes, by which the padding would not be known as such.
  return MakeNodeOf<ConvertXeChartoLongVarXeChar>(node, XeLongVarCharData, length);
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
      "text",
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
