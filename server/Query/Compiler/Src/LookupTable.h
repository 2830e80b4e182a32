#pragma once

#include "Catalog.h"
#include "FunctionTable.h"
#include "SQXERExprFunction.h"
#include "TypedExpression.h"

namespace sqxer {

/// The table that a function looks values up in: by a text, row after row as it stands, or by an
/// integer, as a dictionary that is built when it is first asked for.
class LookupTable {
 public:
  explicit LookupTable(LookupSourcePtr source) : source_(std::move(source)) {}

  /// What is looked up, and what is found for it.
  const ColumnInfo& GetKey() const { return source_->GetColumns()[0]; }
  const ColumnInfo& GetValue() const { return source_->GetColumns()[1]; }
  Heap<XeAListStream> Open() const { return source_->Open(); }
  const DravoNativeTableRef& GetNativeTable() const;
  const DravoNativeDictionaryRef& GetDictionary() const;

 private:
  LookupSourcePtr source_;
  mutable DravoNativeTableRef table_;
  mutable DravoNativeDictionaryRef dictionary_;
};

/// The table that the second argument of a call names, once the arguments are prepared. A fixed
/// text that is looked up becomes a long one, as what is found may be longer. Errors, at the second
/// argument: those of finding the table, 58025 for a name that is no literal, 58032 (function,
/// table) for a table whose first two columns do not fit.
LookupTablePtr FindLookupTable(const FunctionRow& row, TypedArguments& arguments, Catalog& catalog);

}  // namespace sqxer
