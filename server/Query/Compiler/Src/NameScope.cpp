#include "NameScope.h"

#include <algorithm>

#include "NearNames.h"
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
  for (const ColumnOrigin& origin : schema.origins)
    tableNames_.insert(tableNames_.end(), origin.tables.begin(), origin.tables.end());
  if (!schema.origins.empty()) {
    // Each column says what its table is called.
  } else if (!select.tableAlias.empty()) {
    tableNames_ = {select.tableAlias};
  } else {
    tableNames_ = {select.table, schema.name};
  }
  for (std::size_t i = 0; i < schema.columns.size(); ++i)
    columns_.push_back({schema.columns[i].name, static_cast<int>(i)});
}

bool NameScope::HasTable(const SqlExpression& name) const {
  return name.path.size() < 2 || std::ranges::any_of(tableNames_, [&](const XeString& table) {
           return BaseStringUtil::IsCaseInsensitiveMatch(table, name.path[0]);
         });
}

void NameScope::CheckTable(const SqlExpression& name) const {
  bool known = std::any_of(tableNames_.begin(), tableNames_.end(), [&](const XeString& table) {
    return BaseStringUtil::IsCaseInsensitiveMatch(table, name.path[0]);
  });
  if (!known) ThrowPlanError(kNoSuchTable, name.position, {name.path[0]});
}

bool NameScope::IsOfTable(std::size_t column, const XeString& table) const {
  if (schema_->origins.empty()) return true;
  return std::ranges::any_of(schema_->origins[column].tables, [&](const XeString& name) {
    return BaseStringUtil::IsCaseInsensitiveMatch(name, table);
  });
}

std::vector<NamedThing> NameScope::FindCandidates(const SqlExpression& name) const {
  const bool isOfTable = name.path.size() > 1;
  if (isOfTable) CheckTable(name);
  if (schema_ == nullptr || schema_->origins.empty()) return columns_;
  std::vector<NamedThing> candidates;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const bool isMeant = isOfTable ? IsOfTable(i, name.path[0]) : !schema_->origins[i].isShared;
    if (isMeant) candidates.push_back(columns_[i]);
  }
  return candidates;
}

std::vector<int> NameScope::ExpandStar(const SqlExpression& star) const {
  if (!star.path.empty()) CheckTable(star);
  std::vector<int> columns;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const bool isMeant = !star.path.empty()         ? IsOfTable(i, star.path[0])
                         : schema_->origins.empty() ? true
                                                    : !schema_->origins[i].isShared;
    if (isMeant) columns.push_back(static_cast<int>(i));
  }
  // A join has the columns of USING in front, a table has them in their places.
  if (!star.path.empty() && !schema_->origins.empty()) {
    std::ranges::stable_sort(columns, {}, [&](int column) {
      return schema_->origins[static_cast<std::size_t>(column)].place;
    });
  }
  return columns;
}

int NameScope::FindColumn(const SqlExpression& name) const {
  std::vector<int> found = FindByName(FindCandidates(name), name.path.back());
  // Of two columns of a stored table with one and the same name the first is meant, as readers of
  // records do it. What queries have put together goes by clear names.
  const bool isStored = schema_ != nullptr && schema_->origins.empty();
  const bool same = found.size() < 2 || (isStored && std::ranges::all_of(found, [&](int index) {
                                           return columns_[static_cast<std::size_t>(index)].name ==
                                                  columns_[static_cast<std::size_t>(found[0])].name;
                                         }));
  if (!same) {
    XeString candidates;
    for (int index : found) {
      if (!candidates.empty()) candidates += L", ";
      const auto column = static_cast<std::size_t>(index);
      const bool isOfJoin = !schema_->origins.empty() && !schema_->origins[column].tables.empty();
      if (isOfJoin) candidates += schema_->origins[column].tables[0] + L".";
      candidates += L"\"" + columns_[column].name + L"\"";
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
  std::vector<XeString> columns;
  for (const NamedThing& column : columns_) columns.push_back(column.name);
  const XeString advice = AdviseNames(name.path.back(), columns);
  if (!advice.empty()) arguments.push_back(advice);
  ThrowPlanError(kUnknownColumn, name.position, std::move(arguments));
}

}  // namespace sqxer
