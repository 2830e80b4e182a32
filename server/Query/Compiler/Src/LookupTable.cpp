#include "LookupTable.h"

#include "ExpressionTyper.h"
#include "PlanError.h"

namespace sqxer {
namespace {

bool Fits(const FunctionRow& row, const LookupSource& source) {
  const XeDataType key = source.GetColumns()[0].type;
  if (!SUXeDataTypeUtility::IsXeTextType(source.GetColumns()[1].type)) return false;
  return row.lookup == FunctionRow::Lookup::kByText ? SUXeDataTypeUtility::IsXeTextType(key)
                                                    : SUXeDataTypeUtility::IsXeIntegerType(key);
}

}  // namespace

const DravoNativeTableRef& LookupTable::GetNativeTable() const {
  if (!table_) {
    const Heap<XeAListStream> rows = Open();
    table_ = std::make_shared<DravoNativeTable>(*rows);
  }
  return table_;
}

const DravoNativeDictionaryRef& LookupTable::GetDictionary() const {
  if (!dictionary_) dictionary_ = std::make_shared<DravoNativeDictionary>(GetNativeTable());
  return dictionary_;
}

LookupTablePtr FindLookupTable(const FunctionRow& row, TypedArguments& arguments,
                               Catalog& catalog) {
  const TypedExpression& named = *arguments[1];
  const XeString function = UpperName(row.name);
  if (!named.IsTextConstant()) ThrowPlanError(kNotALiteral, named.position, {function, L"table"});
  const XeString& name = std::get<XeString>(named.constant.value);
  LookupSourcePtr source;
  try {
    source = catalog.FindLookup(name);
  } catch (ErrorMessage& error) {
    error.SetSourcePosition(named.position);
    throw;
  }
  if (!source || !Fits(row, *source))
    ThrowPlanError(
        kLookupColumns, named.position,
        {function, name, row.lookup == FunctionRow::Lookup::kByText ? L"text" : L"integer"});
  auto table = std::make_shared<const LookupTable>(std::move(source));
  if (row.lookup == FunctionRow::Lookup::kByText && arguments[0]->type == XeCharData)
    arguments[0] = ConvertTyped(arguments[0], XeLongVarCharData);
  return table;
}

}  // namespace sqxer
