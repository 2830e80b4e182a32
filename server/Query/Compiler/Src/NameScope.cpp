#include "NameScope.h"

#include <algorithm>

#include "PlanError.h"

namespace sqxer {

std::vector<int> FindByName(const std::vector<NamedThing>& things, const XeString& name) {
  std::vector<int> exact, folded;
  for (const NamedThing& thing : things) {
    if (thing.name == name) exact.push_back(thing.index);
    if (BaseStringUtil::IsCaseInsensitiveMatch(thing.name, name)) folded.push_back(thing.index);
  }
  return exact.empty() ? folded : exact;
}

NameScope::NameScope(const TableSchema& schema, const SqlSelect& select)
    : schema_(&schema), table_(select.table) {
  if (!select.tableAlias.empty()) {
    tableNames_ = {select.tableAlias};
  } else {
    tableNames_ = {select.table, schema.name};
  }
  for (std::size_t i = 0; i < schema.columns.size(); ++i)
    columns_.push_back({schema.columns[i].name, static_cast<int>(i)});
}

void NameScope::CheckTable(const SqlExpression& name) const {
  bool known = std::any_of(tableNames_.begin(), tableNames_.end(), [&](const XeString& table) {
    return BaseStringUtil::IsCaseInsensitiveMatch(table, name.path[0]);
  });
  if (!known) ThrowPlanError(kNoSuchTable, name.position, {name.path[0]});
}

int NameScope::FindColumn(const SqlExpression& name) const {
  if (name.path.size() > 1) CheckTable(name);
  std::vector<int> found = FindByName(columns_, name.path.back());
  // Of two columns with one and the same name the first is meant, as readers of records do it.
  bool same = std::all_of(found.begin(), found.end(), [&](int index) {
    return columns_[static_cast<std::size_t>(index)].name ==
           columns_[static_cast<std::size_t>(found[0])].name;
  });
  if (!same) {
    XeString candidates;
    for (int index : found) {
      if (!candidates.empty()) candidates += L", ";
      candidates += L"\"" + columns_[static_cast<std::size_t>(index)].name + L"\"";
    }
    ThrowPlanError(kAmbiguousName, name.position, {name.path.back(), candidates});
  }
  return found.empty() ? -1 : found[0];
}

void NameScope::ThrowUnknown(const SqlExpression& name) const {
  std::vector<XeString> arguments = {name.path.back()};
  if (schema_ == nullptr) ThrowPlanError(kNoColumnsWithoutTable, name.position, arguments);
  // Behind the sentence stand the arguments that it does not mention.
  if (schema_->mayHaveMoreColumns) {
    arguments.push_back(
        L"the first rows told the columns, let more rows tell them: --set TableMemory=BYTES");
  }
  ThrowPlanError(kUnknownColumn, name.position, std::move(arguments));
}

}  // namespace sqxer
